#pragma once

#include "TavrikCore/Models/RunRecord.h"

// The audit file logs/runs.jsonl: one compact JSON run record per line. It only grows; nothing
// reads it back.
namespace tavrik::AuditLog {

QString filePath();

// Never fails to the caller: a run must not be reported as failed because its log line was lost.
void append(const RunRecord& record);

} // namespace tavrik::AuditLog
