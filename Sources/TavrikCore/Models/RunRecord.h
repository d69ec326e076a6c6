#pragma once

#include "TavrikCore/Support/Result.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <optional>

namespace tavrik {

// One finished run, as appended to logs/runs.jsonl.
struct RunRecord {
    QDateTime startedAt;
    QString skill;
    QString mode;
    QList<QString> actions;
    bool aborted = false;

    bool operator==(const RunRecord&) const = default;
    QJsonObject toJson() const;
    static Result<RunRecord> fromJson(const QJsonValue& value);
};

} // namespace tavrik
