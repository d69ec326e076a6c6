#pragma once

#include <QString>

#include <optional>

namespace tavrik {

// The application whose window is active, as far as the window system can tell without asking
// the application itself (so a hung application still answers).
struct FrontmostApplication {
    std::optional<QString> bundleID; // stand-in for a bundle id: GTK application id, else WM_CLASS class
    std::optional<QString> appName;
    std::optional<QString> windowTitle;
    std::optional<qint64> pid;

    bool operator==(const FrontmostApplication&) const = default;
};

} // namespace tavrik
