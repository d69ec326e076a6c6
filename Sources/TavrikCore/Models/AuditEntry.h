#pragma once

#include "TavrikCore/Models/ActionType.h"
#include "TavrikCore/Support/Result.h"

#include <QDateTime>
#include <QJsonObject>
#include <optional>

namespace tavrik {

// One step a runner took during a run.
struct AuditEntry {
    QDateTime timestamp;
    QString intent;
    ActionType action = ActionType::click;
    QString detail;
    bool agentic = false;

    bool operator==(const AuditEntry&) const = default;
    QJsonObject toJson() const;
    static Result<AuditEntry> fromJson(const QJsonValue& value);
};

} // namespace tavrik
