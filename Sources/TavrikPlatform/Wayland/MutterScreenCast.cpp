#include "TavrikPlatform/Wayland/MutterScreenCast.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusVariant>

namespace tavrik::wayland {

namespace {

const QString kService = QStringLiteral("org.gnome.Mutter.ScreenCast");
const QString kSessionInterface = QStringLiteral("org.gnome.Mutter.ScreenCast.Session");
const QString kStreamInterface = QStringLiteral("org.gnome.Mutter.ScreenCast.Stream");
constexpr int kCallTimeoutMs = 5000;
// RecordMonitor's cursor modes: 1 draws the pointer into the frames, as X11 key frames show it.
constexpr uint kCursorEmbedded = 1;

QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                  const QList<QVariant>& arguments = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(kService, path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, kCallTimeoutMs);
}

QString pathOf(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().first().value<QDBusObjectPath>().path();
}

// The stream's place and size from its Parameters property.
Rect streamFrame(const QString& stream) {
    const QDBusMessage reply =
        call(stream, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
             {kStreamInterface, QStringLiteral("Parameters")});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    const QVariant value = reply.arguments().first().value<QDBusVariant>().variant();
    const auto parameters = qdbus_cast<QVariantMap>(value);
    const auto pair = [&](const QString& key) {
        int a = 0;
        int b = 0;
        const QVariant v = parameters.value(key);
        if (v.userType() == qMetaTypeId<QDBusArgument>()) {
            const auto argument = v.value<QDBusArgument>();
            argument.beginStructure();
            argument >> a >> b;
            argument.endStructure();
        }
        return std::make_pair(double(a), double(b));
    };
    const auto [x, y] = pair(QStringLiteral("position"));
    const auto [width, height] = pair(QStringLiteral("size"));
    return Rect(x, y, width, height);
}

} // namespace

MutterScreenCast::MutterScreenCast(QString remoteDesktopSessionId, QObject* parent)
    : ScreenCastSource(parent), m_remoteDesktopSessionId(std::move(remoteDesktopSessionId)) {}

MutterScreenCast::~MutterScreenCast() {
    if (!m_stream.isEmpty())
        QDBusConnection::sessionBus().disconnect(kService, m_stream, kStreamInterface,
                                                 QStringLiteral("PipeWireStreamAdded"), this,
                                                 SLOT(onStreamAdded(QDBusMessage)));
    // A linked session ends with its remote-desktop session.
    if (!m_session.isEmpty() && m_remoteDesktopSessionId.isEmpty())
        QDBusConnection::sessionBus().send(QDBusMessage::createMethodCall(
            kService, m_session, kSessionInterface, QStringLiteral("Stop")));
}

bool MutterScreenCast::isOffered() {
    const QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    return bus && bus->isServiceRegistered(kService).value();
}

void MutterScreenCast::start() {
    if (!m_session.isEmpty())
        return;
    QVariantMap properties;
    if (!m_remoteDesktopSessionId.isEmpty())
        properties.insert(QStringLiteral("remote-desktop-session-id"), m_remoteDesktopSessionId);
    m_session = pathOf(call(QStringLiteral("/org/gnome/Mutter/ScreenCast"), kService,
                            QStringLiteral("CreateSession"), {properties}));
    if (m_session.isEmpty()) {
        emit failed(QStringLiteral("mutter made no screen-cast session"));
        return;
    }
    m_stream =
        pathOf(call(m_session, kSessionInterface, QStringLiteral("RecordMonitor"),
                    {QString(), QVariantMap{{QStringLiteral("cursor-mode"), kCursorEmbedded}}}));
    if (m_stream.isEmpty()) {
        emit failed(QStringLiteral("mutter records no monitor"));
        return;
    }
    QDBusConnection::sessionBus().connect(kService, m_stream, kStreamInterface,
                                          QStringLiteral("PipeWireStreamAdded"), this,
                                          SLOT(onStreamAdded(QDBusMessage)));
    if (m_remoteDesktopSessionId.isEmpty()) {
        const QDBusMessage started = call(m_session, kSessionInterface, QStringLiteral("Start"));
        if (started.type() != QDBusMessage::ReplyMessage)
            emit failed(QStringLiteral("mutter did not start the screen cast: %1")
                            .arg(started.errorMessage()));
    }
}

void MutterScreenCast::onStreamAdded(const QDBusMessage& message) {
    if (message.arguments().isEmpty())
        return;
    emit started(Stream{message.arguments().first().toUInt(), streamFrame(m_stream)});
}

} // namespace tavrik::wayland
