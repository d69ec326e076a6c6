#pragma once

#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Support/Result.h"

namespace tavrik {

// The machine-readable half of a skill, kept as execution_plan.json beside SKILL.md.
struct ExecutionPlanDocument {
    QList<Parameter> parameters;
    QList<PlanStep> plan;
    std::optional<RuntimeSpec> runtime;
    // When the skill was saved, for a SKILL.md whose text (kept as the user wrote it) has no
    // "created:" line.
    std::optional<QDateTime> createdAt;

    bool operator==(const ExecutionPlanDocument&) const = default;
    QJsonObject toJson() const;
    static Result<ExecutionPlanDocument> fromJson(const QJsonValue& value);
};

} // namespace tavrik
