#include "TavrikCore/Storage/AuditLog.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

namespace tavrik::AuditLog {

QString filePath() {
    return Paths::logs() + QStringLiteral("/runs.jsonl");
}

void append(const RunRecord& record) {
    const QByteArray line = json::compact(record.toJson()) + '\n';
    QDir().mkpath(Paths::logs());
    const QString path = filePath();
    QFile existing(path);
    if (existing.exists() && existing.open(QIODevice::WriteOnly | QIODevice::Append)) {
        existing.write(line);
        return;
    }
    // First record: write the whole file at once so a crash never leaves half a line.
    QSaveFile fresh(path);
    if (fresh.open(QIODevice::WriteOnly)) {
        fresh.write(line);
        fresh.commit();
    }
}

} // namespace tavrik::AuditLog
