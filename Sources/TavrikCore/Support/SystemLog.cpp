#include "TavrikCore/Support/SystemLog.h"

#include <QDateTime>
#include <QLocale>
#include <QStringList>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace tavrik::SystemLog {

namespace {

// A plain unconnected datagram socket: each line names its destination, so a restarted journal
// needs no reconnecting, and a missing /dev/log (containers) only loses the syslog copy.
struct Target {
    int socket = -1;
    sockaddr_un address{};
    socklen_t addressLength = 0;
    bool alsoToStderr = false;
};

Target g_target;

int priority(QtMsgType type) {
    switch (type) {
    case QtDebugMsg:
        return LOG_DEBUG;
    case QtInfoMsg:
        return LOG_INFO;
    case QtWarningMsg:
        return LOG_WARNING;
    case QtCriticalMsg:
        return LOG_ERR;
    case QtFatalMsg:
        return LOG_CRIT;
    }
    return LOG_NOTICE;
}

void handle(QtMsgType type, const QMessageLogContext&, const QString& message) {
    for (const QString& line : lines(message)) {
        if (g_target.socket >= 0) {
            const QByteArray packet = datagram(type, line);
            ::sendto(g_target.socket, packet.constData(), size_t(packet.size()), MSG_NOSIGNAL,
                     reinterpret_cast<const sockaddr*>(&g_target.address), g_target.addressLength);
        }
        if (g_target.alsoToStderr) {
            const QByteArray text = line.toUtf8() + '\n';
            [[maybe_unused]] const ssize_t written =
                ::write(STDERR_FILENO, text.constData(), size_t(text.size()));
        }
    }
    if (type == QtFatalMsg)
        ::abort();
}

} // namespace

QStringList lines(const QString& message) {
    QStringList result;
    for (QString line : message.split(u'\n')) {
        if (line.endsWith(u'\r'))
            line.chop(1);
        if (line.trimmed().isEmpty())
            continue;
        result.append(line.startsWith(QLatin1String(prefix)) ? line : QLatin1String(prefix) + line);
    }
    return result;
}

QByteArray datagram(QtMsgType type, const QString& line) {
    // The C library's header: local time, the month in English, the day padded with a space.
    const QDateTime now = QDateTime::currentDateTime();
    const QString header = QLocale::c().toString(now, QStringLiteral("MMM ")) +
                           QString::number(now.date().day()).rightJustified(2, u' ') +
                           QLocale::c().toString(now, QStringLiteral(" hh:mm:ss"));
    return '<' + QByteArray::number(LOG_USER | priority(type)) + '>' + header.toLatin1() + ' ' +
           identifier + '[' + QByteArray::number(qint64(::getpid())) + "]: " + line.toUtf8();
}

void install(const QString& socketPath, bool alsoToStderr) {
    if (g_target.socket >= 0)
        ::close(g_target.socket);
    g_target = Target{};
    g_target.alsoToStderr = alsoToStderr;
    const QByteArray path = socketPath.toLocal8Bit();
    if (!path.isEmpty() && size_t(path.size()) < sizeof(g_target.address.sun_path)) {
        g_target.socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        g_target.address.sun_family = AF_UNIX;
        std::memcpy(g_target.address.sun_path, path.constData(), size_t(path.size()));
        g_target.addressLength =
            socklen_t(offsetof(sockaddr_un, sun_path) + size_t(path.size()) + 1);
    }
    qInstallMessageHandler(handle);
}

void install() {
    QString path = qEnvironmentVariable(socketVariable);
    if (path.isEmpty())
        path = QStringLiteral("/dev/log");
    install(path, ::isatty(STDERR_FILENO) == 1);
}

} // namespace tavrik::SystemLog
