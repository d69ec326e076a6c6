#include "Tavrik/Shell/SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace tavrik {

namespace {
constexpr int kWaitMs = 500;
constexpr char kReopen[] = "reopen\n";
} // namespace

SingleInstance::SingleInstance(QObject* parent) : QObject(parent) {}

QString SingleInstance::socketName() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    return QDir(folder).filePath(
        QStringLiteral("tavrik-%1.socket").arg(qEnvironmentVariable("DISPLAY")).remove(u':'));
}

bool SingleInstance::handOverToRunning() {
    QLocalSocket socket;
    socket.connectToServer(socketName());
    if (!socket.waitForConnected(kWaitMs))
        return false;
    socket.write(kReopen);
    return socket.waitForBytesWritten(kWaitMs);
}

bool SingleInstance::listen() {
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    // A socket left by an instance that crashed answers nobody; it is safe to replace.
    QLocalServer::removeServer(socketName());
    if (!m_server->listen(socketName()))
        return false;
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (socket->readAll().startsWith("reopen"))
                    emit reopenRequested();
                socket->disconnectFromServer();
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    return true;
}

} // namespace tavrik
