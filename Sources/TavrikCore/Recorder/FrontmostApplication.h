#pragma once

#include "TavrikCore/Models/AppContextSnapshot.h"

#include <QString>
#include <optional>

namespace tavrik {

// The application whose window is active, as far as the window system can tell without asking
// the application itself (so a hung application still answers).
struct FrontmostApplication {
    // The stand-in for a bundle id: the GTK application id, else the WM_CLASS class.
    std::optional<QString> bundleID;
    std::optional<QString> appName;
    std::optional<QString> windowTitle;
    std::optional<qint64> pid;

    AppContextSnapshot snapshot(double timeOffset) const {
        return AppContextSnapshot{timeOffset, bundleID, appName, windowTitle};
    }

    bool operator==(const FrontmostApplication&) const = default;
};

} // namespace tavrik
