#include "TavrikPlatform/Wayland/GnomeShellWindows.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace tavrik::wayland {

namespace {

std::optional<QList<QVariant>> call(const QString& method, const QList<QVariant>& arguments,
                                    int timeoutMs) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(GnomeShellWindows::busName, GnomeShellWindows::objectPath,
                                       GnomeShellWindows::busName, method);
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return std::nullopt;
    return reply.arguments();
}

} // namespace

bool GnomeShellWindows::isOffered() {
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    return bus && bus->isServiceRegistered(busName).value();
}

bool GnomeShellWindows::isReachable() {
    return pointer().has_value();
}

QList<CompositorWindow> GnomeShellWindows::parseWindows(const QByteArray& json) {
    QList<CompositorWindow> found;
    for (const QJsonValue value : QJsonDocument::fromJson(json).array()) {
        const QJsonObject w = value.toObject();
        CompositorWindow window;
        window.id = w.value("id").toInteger();
        window.pid = w.value("pid").toInteger();
        // GTK's application id where the window has one, as on X11; the class otherwise.
        window.appID = w.value("appId").toString();
        if (window.appID.isEmpty())
            window.appID = w.value("wmClass").toString();
        window.title = w.value("title").toString();
        window.frame = rectFromJson(w.value("frame"));
        window.outline = window.frame;
        if (w.contains("buffer"))
            window.buffer = rectFromJson(w.value("buffer"));
        window.focused = w.value("focused").toBool();
        // The shell lists a window before it has placed it, empty or sized at the corner.
        window.visible = !w.value("minimized").toBool() && w.value("shown").toBool() &&
                         window.frame.size.width > 0 && window.frame.size.height > 0;
        if (window.id != 0)
            found.append(window);
    }
    return found;
}

QList<CompositorWindow> GnomeShellWindows::windows() {
    const std::optional<QList<QVariant>> reply =
        call(QStringLiteral("ListWindows"), {}, m_timeoutMs);
    if (!reply || reply->isEmpty())
        return {};
    return parseWindows(reply->first().toString().toUtf8());
}

bool GnomeShellWindows::focus(qint64 id) {
    const std::optional<QList<QVariant>> reply =
        call(QStringLiteral("ActivateWindow"), {QVariant::fromValue(quint64(id))}, m_timeoutMs);
    return reply && !reply->isEmpty() && reply->first().toBool();
}

std::optional<Point> GnomeShellWindows::pointer() {
    const std::optional<QList<QVariant>> reply =
        call(QStringLiteral("GetPointer"), {}, m_timeoutMs);
    if (!reply || reply->size() < 2)
        return std::nullopt;
    return Point{reply->at(0).toDouble(), reply->at(1).toDouble()};
}

} // namespace tavrik::wayland
