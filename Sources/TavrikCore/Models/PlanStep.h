#pragma once

#include "TavrikCore/Models/AXTarget.h"
#include "TavrikCore/Models/ActionType.h"
#include "TavrikCore/Models/Size.h"
#include "TavrikCore/Support/Result.h"

#include <QUuid>

namespace tavrik {

// One step of a skill's plan; `index` is zero-based, SKILL.md shows index + 1.
struct PlanStep {
    QUuid id = QUuid::createUuid();
    qint64 index = 0;
    QString intent;
    ActionType action = ActionType::click;
    std::optional<AXTarget> target;
    std::optional<Point> location;
    std::optional<QString> text;
    std::optional<quint16> keyCode;
    std::optional<quint64> modifierFlags;
    std::optional<QString> precondition;
    bool isDestructive = false;
    // Where a drag ended and how far a scroll went, as recorded; replay needs them.
    std::optional<Point> endLocation;
    std::optional<Size> scrollDelta;

    bool operator==(const PlanStep&) const = default;
    QJsonObject toJson() const;
    static Result<PlanStep> fromJson(const QJsonValue& value);
};

} // namespace tavrik
