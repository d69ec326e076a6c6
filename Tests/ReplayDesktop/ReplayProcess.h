#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

namespace tavrik::test {

struct ReplayResult {
    int exitCode = -1;
    QStringList lines;
};

// `tavrik replay` as a cast runs it: its own process, values as arguments, secrets on stdin.
ReplayResult replay(const QString& folder, const QStringList& values,
                    const QMap<qsizetype, QString>& secrets = {});

} // namespace tavrik::test
