#include "Support/ReplayProcess.h"

#include "Support/WaitUntil.h"
#include "TavrikCore/Replay/ReplaySecrets.h"

#include <QElapsedTimer>
#include <QProcess>

namespace tavrik::test {

bool ReplayResult::succeeded() const {
    return exitCode == 0 && !lines.isEmpty() && lines.last().startsWith(QStringLiteral("✓ "));
}

QString ReplayResult::transcript() const {
    return (lines + errorLines).join(u'\n');
}

void unwindAllocationsFully(QProcessEnvironment& environment) {
    const QString asan = environment.value(QStringLiteral("ASAN_OPTIONS"));
    environment.insert(QStringLiteral("ASAN_OPTIONS"),
                       (asan.isEmpty() ? QString() : asan + u':') +
                           QStringLiteral("fast_unwind_on_malloc=0"));
}

ReplayResult replay(const QString& folder, const QStringList& values,
                    const QMap<qsizetype, QString>& secrets, bool timings) {
    QProcess process;
    QStringList arguments{QStringLiteral("replay"), folder};
    arguments += values;
    if (!secrets.isEmpty())
        arguments.append(QStringLiteral("--secrets-on-stdin"));
    if (timings)
        arguments.append(QStringLiteral("--timings"));
    ReplayResult result;
    QElapsedTimer clock;
    clock.start();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    unwindAllocationsFully(environment);
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(TAVRIK_EXECUTABLE_PATH), arguments);
    process.waitForStarted();
    if (!secrets.isEmpty())
        process.write(ReplaySecrets::encode(secrets));
    process.closeWriteChannel();
    QByteArray output;
    // Read as it comes, to see when the first step began, with this process's events served (a
    // page under test posts to a server here); a hung replay is cut after two minutes.
    waitUntil(
        [&] {
            output += process.readAllStandardOutput();
            if (result.startMs < 0 && output.contains("→ "))
                result.startMs = clock.elapsed();
            return process.state() == QProcess::NotRunning;
        },
        120000);
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.wallMs = clock.elapsed();
    output += process.readAllStandardOutput();
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.lines = QString::fromUtf8(output).split(u'\n', Qt::SkipEmptyParts);
    result.errorLines =
        QString::fromUtf8(process.readAllStandardError()).split(u'\n', Qt::SkipEmptyParts);
    return result;
}

} // namespace tavrik::test
