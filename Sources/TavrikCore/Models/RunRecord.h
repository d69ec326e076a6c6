#pragma once

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
    static std::optional<RunRecord> fromJson(const QJsonValue& value, QString* error = nullptr);
};

} // namespace tavrik
