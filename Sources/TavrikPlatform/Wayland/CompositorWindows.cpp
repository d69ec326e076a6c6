#include "TavrikPlatform/Wayland/CompositorWindows.h"

namespace tavrik::wayland {

std::optional<CompositorWindow> CompositorWindows::windowOfProcess(qint64 pid,
                                                                   const QString& appID) {
    for (const CompositorWindow& window : windows()) {
        if (window.pid == pid && (appID.isEmpty() || window.appID == appID))
            return window;
    }
    return std::nullopt;
}

} // namespace tavrik::wayland
