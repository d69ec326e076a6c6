#include "TavrikCore/Storage/AuditLog.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Support/Files.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tavrik::AuditLog {

QString filePath() {
    return Paths::logs() + QStringLiteral("/runs.jsonl");
}

void append(const RunRecord& record) {
    const QByteArray line = json::compact(record.toJson()) + '\n';
    QDir().mkpath(Paths::logs());
    const QString path = filePath();
    // Only a plain file is appended to: opening a pipe to write waits for a reader, and a link
    // would carry the log elsewhere.
    const QFileInfo info(path);
    if (info.isFile() && !info.isSymLink()) {
        QFile existing(path);
        if (existing.open(QIODevice::WriteOnly | QIODevice::Append))
            existing.write(line);
        return;
    }
    // First record, or whatever was there replaced: the whole file at once, so a crash never
    // leaves half a line.
    if (Result<> written = Files::write(path, line); !written.ok())
        qWarning("Tavrik: the run was not logged: %s", qPrintable(written.error()));
}

} // namespace tavrik::AuditLog
