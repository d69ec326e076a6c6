#pragma once

#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Support/Result.h"

#include <QString>

namespace tavrik {

// The accessibility description of the element acted on.
struct AXTarget {
    std::optional<QString> appBundleID;
    std::optional<QString> appName;
    std::optional<QString> windowTitle;
    std::optional<QString> axRole;
    std::optional<QString> axSubrole;
    std::optional<QString> axTitle;
    std::optional<QString> axValue;
    std::optional<QString> axIdentifier;
    std::optional<Rect> frameInWindow;
    bool isSecure = false;
    std::optional<QString> url;
    // Replay finds the element again by these: its accessible description, its place under the
    // window (see AXPath.h) and the window's frame in global points when it was recorded, which
    // `frameInWindow` and the event's location are relative to.
    std::optional<QString> axDescription;
    std::optional<QString> axPath;
    std::optional<Rect> windowFrame;

    // First present of title, value, role (presence, not emptiness), else "element"; then
    // " in <app>" when the application's name is known.
    QString humanLabel() const;

    bool operator==(const AXTarget&) const = default;
    QJsonObject toJson() const;
    static Result<AXTarget> fromJson(const QJsonValue& value);
};

size_t qHash(const AXTarget& target, size_t seed = 0);

} // namespace tavrik
