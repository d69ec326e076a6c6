#pragma once

#include "TavrikCore/Models/RunRecord.h"

namespace tavrik::test {

// Every record of the current support folder's audit log, in file order.
QList<RunRecord> readAuditLog();

} // namespace tavrik::test
