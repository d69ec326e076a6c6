#include "TavrikPlatform/Wayland/CompositorWindows.h"

#include <QJsonObject>

namespace tavrik::wayland {

std::optional<CompositorWindow> CompositorWindows::windowOfProcess(qint64 pid,
                                                                   const QString& appID) {
    for (const CompositorWindow& window : windows()) {
        if (window.pid == pid && (appID.isEmpty() || window.appID == appID))
            return window;
    }
    return std::nullopt;
}

Rect rectFromJson(const QJsonValue& value) {
    const QJsonObject r = value.toObject();
    return Rect(r.value("x").toDouble(), r.value("y").toDouble(), r.value("width").toDouble(),
                r.value("height").toDouble());
}

} // namespace tavrik::wayland
