#include "TavrikPlatform/Wayland/KWinWindows.h"

#include "TavrikPlatform/Wayland/KWinScript.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace tavrik::wayland {

KWinWindows::KWinWindows(std::shared_ptr<KWinScript> script, int timeoutMs)
    : m_script(std::move(script)), m_timeoutMs(timeoutMs) {}

bool KWinWindows::isReachable() {
    return m_script && m_script->report(m_timeoutMs).has_value();
}

QList<CompositorWindow> KWinWindows::parseWindows(const QByteArray& json,
                                                  const std::function<qint64(QString)>& numberFor) {
    QList<CompositorWindow> found;
    const QJsonArray windows = QJsonDocument::fromJson(json).object().value("windows").toArray();
    for (const QJsonValue value : windows) {
        const QJsonObject w = value.toObject();
        const QString kwinID = w.value("id").toString();
        if (kwinID.isEmpty())
            continue;
        CompositorWindow window;
        window.id = numberFor(kwinID);
        window.pid = w.value("pid").toInteger();
        // The desktop file's name is the Wayland app id; X11 windows have only their class.
        window.appID = w.value("desktopFileName").toString();
        if (window.appID.isEmpty())
            window.appID = w.value("resourceClass").toString();
        window.title = w.value("caption").toString();
        window.outline = rectFromJson(w.value("frame"));
        window.buffer = rectFromJson(w.value("buffer"));
        // Under KWin's title bar the surface is the window's content; a window that decorates
        // itself has its frame set by the client, inside a buffer that may hold a shadow.
        window.frame = w.value("decorated").toBool() ? *window.buffer : window.outline;
        window.focused = w.value("active").toBool();
        window.visible = !w.value("minimized").toBool() && !w.value("hidden").toBool() &&
                         window.frame.size.width > 0 && window.frame.size.height > 0;
        found.append(window);
    }
    return found;
}

std::optional<Point> KWinWindows::parsePointer(const QByteArray& json) {
    const QJsonObject root = QJsonDocument::fromJson(json).object();
    if (!root.contains("cursor"))
        return std::nullopt;
    const QJsonObject cursor = root.value("cursor").toObject();
    return Point{cursor.value("x").toDouble(), cursor.value("y").toDouble()};
}

QList<CompositorWindow> KWinWindows::windows() {
    if (!m_script)
        return {};
    const std::optional<QByteArray> report = m_script->report(m_timeoutMs);
    if (!report)
        return {};
    return parseWindows(*report,
                        [&](const QString& kwinID) { return m_script->numberFor(kwinID); });
}

bool KWinWindows::focus(qint64 id) {
    if (!m_script)
        return false;
    const QString kwinID = m_script->kwinIDFor(id);
    if (kwinID.isEmpty())
        return false;
    m_script->activate(kwinID);
    return true;
}

std::optional<Point> KWinWindows::pointer() {
    if (!m_script)
        return std::nullopt;
    const std::optional<QByteArray> report = m_script->report(m_timeoutMs);
    return report ? parsePointer(*report) : std::nullopt;
}

} // namespace tavrik::wayland
