#pragma once

#include <QString>

namespace tavrik {

// Why the desktop application cannot start in this session (no X display), or nothing.
std::optional<QString> missingDisplayReason();

// Starts the desktop application and runs it until the user quits. With no display it says so
// in one line on stderr and returns non-zero without creating any window.
int runDesktopApplication(int argc, char** argv);

} // namespace tavrik
