#include "Tavrik/Runtime/ProcessGroup.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTimer>
#include <csignal>
#include <sys/types.h>
#include <unistd.h>

namespace tavrik::ProcessGroup {

void startInOwnGroup(QProcess& process) {
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
}

void terminate(QProcess& process, int graceMs) {
    const qint64 group = process.processId();
    process.setParent(nullptr);
    QObject::connect(&process, &QProcess::finished, &process, &QObject::deleteLater);
    if (group <= 0) {
        process.deleteLater();
        return;
    }
    ::kill(-pid_t(group), SIGTERM);
    // Not owned by the process object: the group may outlive its leader.
    QObject* timerOwner = QCoreApplication::instance();
    if (timerOwner)
        QTimer::singleShot(graceMs, timerOwner, [group] { ::kill(-pid_t(group), SIGKILL); });
}

int livingMembers(qint64 groupId) {
    int living = 0;
    const QStringList entries =
        QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool isPid = false;
        entry.toLongLong(&isPid);
        if (!isPid)
            continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        // "pid (comm) state ppid pgrp ...": comm may hold blanks and parentheses.
        const QByteArray line = stat.readAll();
        const qsizetype close = line.lastIndexOf(')');
        if (close < 0)
            continue;
        const QList<QByteArray> fields = line.mid(close + 2).split(' ');
        if (fields.size() > 2 && fields[0] != "Z" && fields[2].toLongLong() == groupId)
            ++living;
    }
    return living;
}

} // namespace tavrik::ProcessGroup
