#include "ReplayProcess.h"

#include "DesktopDriver.h"
#include "TavrikCore/Replay/ReplaySecrets.h"

#include <QProcess>

namespace tavrik::test {

ReplayResult replay(const QString& folder, const QStringList& values,
                    const QMap<qsizetype, QString>& secrets) {
    QProcess process;
    QStringList arguments{QStringLiteral("replay"), folder};
    arguments += values;
    if (!secrets.isEmpty())
        arguments.append(QStringLiteral("--secrets-on-stdin"));
    process.start(QStringLiteral(TAVRIK_EXECUTABLE_PATH), arguments);
    process.waitForStarted();
    if (!secrets.isEmpty())
        process.write(ReplaySecrets::encode(secrets));
    process.closeWriteChannel();
    ReplayResult result;
    waitUntil([&] { return process.state() == QProcess::NotRunning; }, 120000);
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.lines = QString::fromUtf8(process.readAll()).split(u'\n', Qt::SkipEmptyParts);
    return result;
}

} // namespace tavrik::test
