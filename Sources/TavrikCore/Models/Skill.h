#pragma once

#include "TavrikCore/Models/CastMethod.h"
#include "TavrikCore/Models/ExecutionMode.h"
#include "TavrikCore/Models/Parameter.h"
#include "TavrikCore/Models/PlanStep.h"
#include "TavrikCore/Models/RuntimeSpec.h"
#include "TavrikCore/Support/Result.h"

#include <QDateTime>

namespace tavrik {

// A saved, parameterised task. `id` also names the skill's folder in the library.
struct Skill {
    QUuid id = QUuid::createUuid();
    QString name;
    QString trigger;
    QString summary;
    ExecutionMode mode = ExecutionMode::skill;
    QList<Parameter> parameters;
    QList<PlanStep> plan;
    QList<QString> appScope;
    std::optional<QString> url;
    std::optional<RuntimeSpec> runtime;
    QDateTime createdAt;
    std::optional<QUuid> sourceRecordingID;
    // Set when the skill's author chose how it is cast ("cast_with" in SKILL.md); otherwise the
    // cast rules decide.
    std::optional<CastMethod> castWith;

    // "/" + the lower-cased name, "&" spelled "and", alphanumeric pieces (isAlphanumeric, so
    // marks stay with their letters) joined by "-"; "/skill" when nothing is left.
    QString slashCommand() const;

    bool operator==(const Skill&) const = default;
    QJsonObject toJson() const;
    static Result<Skill> fromJson(const QJsonValue& value);
};

} // namespace tavrik
