#include "TavrikPlatform/Wayland/KWinScriptService.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tavrik::wayland {

namespace {
// KWin's calls time out after 25 s, which would end the script's chain of requests.
constexpr int keepAliveMs = 10000;
} // namespace

KWinScriptService::KWinScriptService(QDBusConnection connection)
    : m_connection(std::move(connection)), m_keepAlive(new QTimer(this)) {
    m_keepAlive->setInterval(keepAliveMs);
    connect(m_keepAlive, &QTimer::timeout, this, &KWinScriptService::keepAlive);
    m_keepAlive->start();
}

void KWinScriptService::request(const QString& line) {
    const std::lock_guard lock(m_mutex);
    // One report answers every request for one made before it.
    if (line.startsWith(QLatin1String("report ")))
        m_queue.removeIf([](const QString& queued) { return queued.startsWith(u"report "); });
    m_queue.append(line);
    answerLocked();
}

std::optional<QByteArray> KWinScriptService::waitForReport(int serial, int timeoutMs) {
    std::unique_lock lock(m_mutex);
    if (!m_reported.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                             [&] { return m_lastSerial >= serial; }))
        return std::nullopt;
    return m_lastReport;
}

bool KWinScriptService::isConnected() {
    const std::lock_guard lock(m_mutex);
    return m_connected;
}

QString KWinScriptService::next(const QDBusMessage& message) {
    const std::lock_guard lock(m_mutex);
    m_connected = true;
    message.setDelayedReply(true);
    m_waiting = message;
    answerLocked();
    return {};
}

void KWinScriptService::report(const QString& json) {
    const QByteArray bytes = json.toUtf8();
    const int serial = QJsonDocument::fromJson(bytes).object().value("serial").toInt(-1);
    {
        const std::lock_guard lock(m_mutex);
        m_connected = true;
        m_lastSerial = std::max(m_lastSerial, serial);
        m_lastReport = bytes;
    }
    m_reported.notify_all();
}

void KWinScriptService::answerLocked() {
    if (!m_waiting || m_queue.isEmpty())
        return;
    m_connection.send(m_waiting->createReply(m_queue.takeFirst()));
    m_waiting.reset();
}

void KWinScriptService::keepAlive() {
    const std::lock_guard lock(m_mutex);
    if (m_waiting && m_queue.isEmpty())
        m_queue.append(QStringLiteral("idle"));
    answerLocked();
}

} // namespace tavrik::wayland
