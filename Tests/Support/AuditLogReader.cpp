#include "Support/AuditLogReader.h"

#include "TavrikCore/Storage/AuditLog.h"

#include <QFile>
#include <QJsonDocument>

namespace tavrik::test {

QList<RunRecord> readAuditLog() {
    QList<RunRecord> records;
    QFile file(AuditLog::filePath());
    if (file.open(QIODevice::ReadOnly))
        for (const QByteArray& line : file.readAll().split('\n'))
            if (Result<RunRecord> record =
                    RunRecord::fromJson(QJsonDocument::fromJson(line).object());
                record.ok())
                records.append(*record);
    return records;
}

} // namespace tavrik::test
