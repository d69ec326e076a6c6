#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>
#include <optional>

namespace tavrik::wayland {

// A client of sway's IPC socket (SWAYSOCK): i3-ipc framing, one request and its reply at a time,
// each bounded by a timeout so that a stuck compositor cannot stall the caller.
class SwayIpc {
public:
    enum Type : quint32 {
        runCommand = 0,
        getWorkspaces = 1,
        getOutputs = 3,
        subscribe = 2,
        getTree = 4,
        getVersion = 7,
        getConfig = 9,
        getInputs = 100,
        getSeats = 101
    };

    struct Message {
        quint32 type = 0;
        QByteArray payload;
    };

    // "i3-ipc", payload length and type in the machine's byte order, then the payload.
    static QByteArray encode(quint32 type, const QByteArray& payload);
    // Takes one whole message off the front of `buffer`; nothing while it is incomplete. A buffer
    // that does not start with the magic string is not sway's: `malformed` is set.
    static std::optional<Message> take(QByteArray& buffer, bool* malformed = nullptr);

    explicit SwayIpc(QString socketPath, int timeoutMs = 1000);
    // SWAYSOCK of this process; empty when it is not set.
    static QString socketFromEnvironment();

    const QString& socketPath() const { return m_socketPath; }
    // The reply's JSON; absent on any failure (errorString() says which).
    std::optional<QJsonDocument> request(quint32 type, const QByteArray& payload = {});
    QString errorString() const { return m_error; }

private:
    QString m_socketPath;
    int m_timeoutMs;
    QString m_error;
};

} // namespace tavrik::wayland
