#include "TavrikCore/Models/AuditEntry.h"
#include "TavrikCore/Models/RunRecord.h"
#include "TavrikCore/Support/Json.h"

namespace tavrik {

QJsonObject AuditEntry::toJson() const {
    return {{"timestamp", json::dateText(timestamp)},
            {"intent", intent},
            {"action", toString(action)},
            {"detail", detail},
            {"agentic", agentic}};
}

Result<AuditEntry> AuditEntry::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    AuditEntry e;
    e.timestamp = r.date("timestamp");
    e.intent = r.string("intent");
    e.action = r.enumeration("action", actionTypeFromString, "action type");
    e.detail = r.string("detail");
    e.agentic = r.boolean("agentic");
    return json::finish(r, e);
}

QJsonObject RunRecord::toJson() const {
    return {{"startedAt", json::dateText(startedAt)},
            {"skill", skill},
            {"mode", mode},
            {"actions", QJsonArray::fromStringList(actions)},
            {"aborted", aborted}};
}

Result<RunRecord> RunRecord::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    RunRecord record;
    record.startedAt = r.date("startedAt");
    record.skill = r.string("skill");
    record.mode = r.string("mode");
    record.actions = r.strings("actions");
    record.aborted = r.boolean("aborted");
    return json::finish(r, record);
}

} // namespace tavrik
