#pragma once

#include <QMap>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace tavrik::test {

struct ReplayResult {
    int exitCode = -1;
    QStringList lines;
    // What it wrote to standard error (warnings; with `timings`, one line per step).
    QStringList errorLines;
    // From the program's start until it exited, and until it announced its first step (-1: never).
    qint64 wallMs = 0;
    qint64 startMs = -1;

    // Exited with 0 and said so on its last line.
    bool succeeded() const;
    // Both outputs, for a failure message.
    QString transcript() const;
};

// `tavrik replay` as a cast runs it: its own process, values as arguments, secrets on stdin.
// With `timings` it also reports where each step's time went.
ReplayResult replay(const QString& folder, const QStringList& values,
                    const QMap<qsizetype, QString>& secrets = {}, bool timings = false);

// A sanitized process that talks to applications unwinds its allocations fully, so the leak a
// desktop call that timed out leaves with libdbus is traced there (scripts/lsan-suppressions.txt)
// and a leak of our own is named. Not for a process listening to keys: the full unwinder slows it
// past what Qt waits for.
void unwindAllocationsFully(QProcessEnvironment& environment);

} // namespace tavrik::test
