#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <cstring>

namespace tavrik::wayland {

namespace {

constexpr char kMagic[] = "i3-ipc";
constexpr qsizetype kMagicSize = 6;
constexpr qsizetype kHeaderSize = kMagicSize + 8;
// Far above any tree of a real session; a larger length means the stream is out of step.
constexpr quint32 kMaxPayload = 64u << 20;

} // namespace

QByteArray SwayIpc::encode(quint32 type, const QByteArray& payload) {
    QByteArray message(kMagic, kMagicSize);
    const quint32 length = quint32(payload.size());
    message.append(reinterpret_cast<const char*>(&length), 4);
    message.append(reinterpret_cast<const char*>(&type), 4);
    message.append(payload);
    return message;
}

std::optional<SwayIpc::Message> SwayIpc::take(QByteArray& buffer, bool* malformed) {
    if (malformed)
        *malformed = false;
    const qsizetype known = std::min(buffer.size(), kMagicSize);
    if (std::memcmp(buffer.constData(), kMagic, size_t(known)) != 0) {
        if (malformed)
            *malformed = true;
        return std::nullopt;
    }
    if (buffer.size() < kHeaderSize)
        return std::nullopt;
    quint32 length = 0;
    Message message;
    std::memcpy(&length, buffer.constData() + kMagicSize, 4);
    std::memcpy(&message.type, buffer.constData() + kMagicSize + 4, 4);
    if (length > kMaxPayload) {
        if (malformed)
            *malformed = true;
        return std::nullopt;
    }
    if (buffer.size() < kHeaderSize + qsizetype(length))
        return std::nullopt;
    message.payload = buffer.mid(kHeaderSize, length);
    buffer.remove(0, kHeaderSize + length);
    return message;
}

SwayIpc::SwayIpc(QString socketPath, int timeoutMs)
    : m_socketPath(std::move(socketPath)), m_timeoutMs(timeoutMs) {}

QString SwayIpc::socketFromEnvironment() {
    const QString sway = qEnvironmentVariable("SWAYSOCK");
    return sway.isEmpty() ? qEnvironmentVariable("I3SOCK") : sway;
}

std::optional<QJsonDocument> SwayIpc::request(quint32 type, const QByteArray& payload) {
    m_error.clear();
    if (m_socketPath.isEmpty()) {
        m_error = QStringLiteral("no sway IPC socket (SWAYSOCK is not set)");
        return std::nullopt;
    }
    const QDeadlineTimer deadline(m_timeoutMs);
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    if (!socket.waitForConnected(int(deadline.remainingTime()))) {
        m_error =
            QStringLiteral("cannot connect to %1: %2").arg(m_socketPath, socket.errorString());
        return std::nullopt;
    }
    socket.write(encode(type, payload));
    QByteArray buffer;
    while (!deadline.hasExpired()) {
        if (!socket.waitForReadyRead(int(deadline.remainingTime())))
            break;
        buffer += socket.readAll();
        bool malformed = false;
        std::optional<Message> reply = take(buffer, &malformed);
        if (malformed)
            break;
        if (!reply)
            continue;
        QJsonParseError error;
        QJsonDocument document = QJsonDocument::fromJson(reply->payload, &error);
        if (error.error != QJsonParseError::NoError) {
            m_error =
                QStringLiteral("sway answered with invalid JSON: %1").arg(error.errorString());
            return std::nullopt;
        }
        return document;
    }
    m_error =
        QStringLiteral("sway did not answer request %1 within %2 ms").arg(type).arg(m_timeoutMs);
    return std::nullopt;
}

} // namespace tavrik::wayland
