#pragma once

#include <QStringList>

namespace tavrik {

// Why the desktop application cannot start in this session (no X display), or nothing. Qt's
// -platform and -display among `arguments` count as they do for Qt.
std::optional<QString> missingDisplayReason(const QStringList& arguments = {});

// Starts the desktop application and runs it until the user quits. With no display it says so
// in one line on stderr and returns non-zero without creating any window.
int runDesktopApplication(int argc, char** argv);

} // namespace tavrik
