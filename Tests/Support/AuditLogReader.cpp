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
            if (std::optional<RunRecord> record =
                    RunRecord::fromJson(QJsonDocument::fromJson(line).object()))
                records.append(*record);
    return records;
}

} // namespace tavrik::test
