#include "TavrikPlatform/Wayland/ScreenCastPortal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <atomic>

namespace tavrik::wayland {

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kScreenCast = QStringLiteral("org.freedesktop.portal.ScreenCast");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");
constexpr int kCallTimeoutMs = 5000;
// The portal's SelectSources values: a monitor, the pointer drawn into the frames, and a grant
// kept until it is revoked.
constexpr uint kMonitor = 1;
constexpr uint kCursorEmbedded = 2;
constexpr uint kPersistUntilRevoked = 2;

uint portalProperty(const QString& name) {
    QDBusMessage get = QDBusMessage::createMethodCall(
        kService, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get.setArguments({kScreenCast, name});
    const QDBusMessage reply =
        QDBusConnection::sessionBus().call(get, QDBus::Block, kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return 0;
    return reply.arguments().first().value<QDBusVariant>().variant().toUInt();
}

// A value of a results map: a plain value, or a D-Bus structure still to be read.
QVariant plain(const QVariant& value) {
    if (value.userType() == qMetaTypeId<QDBusVariant>())
        return value.value<QDBusVariant>().variant();
    return value;
}

std::optional<std::pair<int, int>> pairOf(const QVariant& value) {
    const QVariant v = plain(value);
    if (v.userType() != qMetaTypeId<QDBusArgument>())
        return std::nullopt;
    const auto argument = v.value<QDBusArgument>();
    int a = 0;
    int b = 0;
    argument.beginStructure();
    argument >> a >> b;
    argument.endStructure();
    return std::make_pair(a, b);
}

// The portal keeps each session and request object until it is closed, under the token we gave.
// Tokens never repeat in a process: one made from an object's address came back with the next
// object at that address while the last one's session was still open, and the portal refused it.
QString nextToken(const QString& kind) {
    static std::atomic<quint64> issued{0};
    return QStringLiteral("tavrik_%1_%2").arg(kind).arg(++issued);
}

} // namespace

ScreenCastPortal::ScreenCastPortal(QString restoreToken,
                                   std::function<void(const QString&)> keepToken, QObject* parent)
    : ScreenCastSource(parent), m_restoreToken(std::move(restoreToken)),
      m_keepToken(std::move(keepToken)) {}

ScreenCastPortal::~ScreenCastPortal() {
    // A dialog still open goes with its request.
    if (m_step != Step::none && !m_requestPath.isEmpty())
        QDBusConnection::sessionBus().send(QDBusMessage::createMethodCall(
            kService, m_requestPath, kRequest, QStringLiteral("Close")));
    unsubscribe();
    if (!m_session.isEmpty())
        QDBusConnection::sessionBus().send(QDBusMessage::createMethodCall(
            kService, m_session, QStringLiteral("org.freedesktop.portal.Session"),
            QStringLiteral("Close")));
}

bool ScreenCastPortal::isOffered() {
    const QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    if (!bus || !bus->isServiceRegistered(kService).value())
        return false;
    return portalProperty(QStringLiteral("version")) >= 1;
}

void ScreenCastPortal::start() {
    if (m_step != Step::none)
        return;
    QVariantMap options;
    options.insert(QStringLiteral("session_handle_token"), nextToken(QStringLiteral("session")));
    request(Step::createSession, QStringLiteral("CreateSession"), {}, options);
}

bool ScreenCastPortal::request(Step step, const QString& method, const QList<QVariant>& arguments,
                               QVariantMap options) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    // The portal answers on a request object whose path we can know before asking, so the
    // answer cannot come before we listen for it.
    const QString token = nextToken(QStringLiteral("request"));
    QString sender = bus.baseService().mid(1);
    sender.replace(u'.', u'_');
    unsubscribe();
    m_requestPath =
        QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
    bus.connect(kService, m_requestPath, kRequest, QStringLiteral("Response"), this,
                SLOT(onResponse(QDBusMessage)));
    options.insert(QStringLiteral("handle_token"), token);
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kScreenCast, method);
    call.setArguments(arguments + QList<QVariant>{options});
    const QDBusMessage reply = bus.call(call, QDBus::Block, kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        fail(QStringLiteral("the screen-cast portal refused %1: %2")
                 .arg(method, reply.errorMessage()));
        return false;
    }
    m_step = step;
    return true;
}

void ScreenCastPortal::onResponse(const QDBusMessage& message) {
    const Step step = m_step;
    unsubscribe();
    const QList<QVariant> arguments = message.arguments();
    if (arguments.size() < 2) {
        fail(QStringLiteral("the screen-cast portal gave an answer without results"));
        return;
    }
    const uint response = arguments.at(0).toUInt();
    const auto results = qdbus_cast<QVariantMap>(arguments.at(1));
    if (response != 0) {
        // 1: the user said no; 2: something else ended it.
        fail(response == 1 ? QStringLiteral("screen sharing was not allowed")
                           : QStringLiteral("the screen-cast portal gave up"));
        return;
    }
    switch (step) {
    case Step::createSession: {
        m_session = plain(results.value(QStringLiteral("session_handle"))).toString();
        QVariantMap options{{QStringLiteral("types"), kMonitor},
                            {QStringLiteral("multiple"), false},
                            {QStringLiteral("persist_mode"), kPersistUntilRevoked}};
        if (portalProperty(QStringLiteral("AvailableCursorModes")) & kCursorEmbedded)
            options.insert(QStringLiteral("cursor_mode"), kCursorEmbedded);
        if (!m_restoreToken.isEmpty())
            options.insert(QStringLiteral("restore_token"), m_restoreToken);
        request(Step::selectSources, QStringLiteral("SelectSources"),
                {QVariant::fromValue(QDBusObjectPath(m_session))}, options);
        break;
    }
    case Step::selectSources:
        request(Step::start, QStringLiteral("Start"),
                {QVariant::fromValue(QDBusObjectPath(m_session)), QString()}, {});
        break;
    case Step::start: {
        m_step = Step::none;
        const QString token = plain(results.value(QStringLiteral("restore_token"))).toString();
        if (!token.isEmpty() && token != m_restoreToken) {
            m_restoreToken = token;
            if (m_keepToken)
                m_keepToken(token);
        }
        const std::optional<Stream> stream = streamFromResults(results);
        if (!stream) {
            fail(QStringLiteral("the screen-cast portal started no stream"));
            return;
        }
        emit started(*stream);
        break;
    }
    case Step::none:
        break;
    }
}

std::optional<ScreenCastSource::Stream>
ScreenCastPortal::streamFromResults(const QVariantMap& results) {
    const QVariant streams = plain(results.value(QStringLiteral("streams")));
    if (streams.userType() != qMetaTypeId<QDBusArgument>())
        return std::nullopt;
    const auto argument = streams.value<QDBusArgument>();
    std::optional<Stream> first;
    argument.beginArray();
    while (!argument.atEnd()) {
        uint node = 0;
        QVariantMap properties;
        argument.beginStructure();
        argument >> node >> properties;
        argument.endStructure();
        if (first)
            continue;
        Stream stream{node, {}};
        const auto position = pairOf(properties.value(QStringLiteral("position")));
        const auto size = pairOf(properties.value(QStringLiteral("size")));
        if (position)
            stream.frame.origin = Point{double(position->first), double(position->second)};
        if (size)
            stream.frame.size = Size{double(size->first), double(size->second)};
        first = stream;
    }
    argument.endArray();
    return first;
}

void ScreenCastPortal::fail(const QString& error) {
    m_step = Step::none;
    unsubscribe();
    emit failed(error);
}

void ScreenCastPortal::unsubscribe() {
    if (m_requestPath.isEmpty())
        return;
    QDBusConnection::sessionBus().disconnect(kService, m_requestPath, kRequest,
                                             QStringLiteral("Response"), this,
                                             SLOT(onResponse(QDBusMessage)));
    m_requestPath.clear();
}

} // namespace tavrik::wayland
