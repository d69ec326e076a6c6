#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <condition_variable>
#include <mutex>

namespace tavrik::wayland {

// The session-bus end of Tavrik's KWin script, living on a thread of its own so that the script's
// reports arrive while the caller waits for them. The script fetches its next request with `next`,
// which is answered once there is one; `report` brings back the windows and the pointer as JSON.
class KWinScriptService final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.tavrik.KWin")
public:
    static inline const QString objectPath = QStringLiteral("/app/tavrik/KWin");

    explicit KWinScriptService(QDBusConnection connection);

    // Thread-safe: queues a request for the script ("report N", "activate ID", "quit").
    void request(const QString& line);
    // Thread-safe: waits for the report answering request serial, and returns its JSON.
    std::optional<QByteArray> waitForReport(int serial, int timeoutMs);
    // Thread-safe: whether the script has asked for a request since it was loaded.
    bool isConnected();

public slots:
    Q_SCRIPTABLE QString next(const QDBusMessage& message);
    Q_SCRIPTABLE void report(const QString& json);

private:
    void answerLocked();
    void keepAlive();

    QDBusConnection m_connection;
    QTimer* m_keepAlive;
    std::mutex m_mutex;
    std::condition_variable m_reported;
    QStringList m_queue;
    std::optional<QDBusMessage> m_waiting;
    bool m_connected = false;
    int m_lastSerial = -1;
    QByteArray m_lastReport;
};

} // namespace tavrik::wayland
