#pragma once

#include "TavrikCore/Models/AXTarget.h"
#include "TavrikCore/Models/ActionType.h"
#include "TavrikCore/Support/Result.h"

#include <QUuid>

namespace tavrik {

// One coalesced interaction of a recording. While recording, `frameIndex` holds a frame
// reservation number; the recorder turns it into an index into the recording's frames at stop.
struct ActionEvent {
    QUuid id = QUuid::createUuid();
    double timeOffset = 0;
    ActionType type = ActionType::click;
    std::optional<Point> location;
    std::optional<Point> endLocation;
    std::optional<Size> scrollDelta;
    std::optional<AXTarget> target;
    std::optional<QString> typedText;
    std::optional<quint16> keyCode;
    std::optional<quint64> modifierFlags;
    std::optional<qint64> frameIndex;

    bool operator==(const ActionEvent&) const = default;
    QJsonObject toJson() const;
    static Result<ActionEvent> fromJson(const QJsonValue& value);
};

} // namespace tavrik
