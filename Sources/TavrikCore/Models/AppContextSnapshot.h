#pragma once

#include "TavrikCore/Support/Result.h"

#include <QJsonObject>
#include <QString>
#include <optional>

namespace tavrik {

// The application in front at one moment of a recording.
struct AppContextSnapshot {
    double timeOffset = 0;
    std::optional<QString> bundleID;
    std::optional<QString> appName;
    std::optional<QString> windowTitle;

    bool operator==(const AppContextSnapshot&) const = default;
    QJsonObject toJson() const;
    static Result<AppContextSnapshot> fromJson(const QJsonValue& value);
};

} // namespace tavrik
