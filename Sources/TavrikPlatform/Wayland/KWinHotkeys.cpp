#include "TavrikPlatform/Wayland/KWinHotkeys.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <atomic>

namespace tavrik::wayland {

namespace {

const QString service = QStringLiteral("org.kde.kglobalaccel");
const QString componentInterface = QStringLiteral("org.kde.kglobalaccel.Component");
constexpr int timeoutMs = 2000;
// setShortcut's flags: the key is meant to be active now, and not one kept from an earlier run.
constexpr uint setPresent = 2, noAutoloading = 4;

QDBusMessage accelCall(const QString& method, const QList<QVariant>& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        service, QStringLiteral("/kglobalaccel"), QStringLiteral("org.kde.KGlobalAccel"), method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, timeoutMs);
}

std::atomic<int> instances{0};

} // namespace

KWinHotkeys::KWinHotkeys(QObject* parent)
    : HotkeyGrabber(parent),
      // A component per grabber: the service would hand one component's key to itself again.
      m_component(QStringLiteral("tavrik-%1-%2")
                      .arg(QCoreApplication::applicationPid())
                      .arg(instances.fetch_add(1))) {}

KWinHotkeys::~KWinHotkeys() {
    stop();
}

bool KWinHotkeys::isOffered() {
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    return bus && bus->isServiceRegistered(service).value();
}

int KWinHotkeys::qtKey(quint16 keyCode, quint64 flags) {
    int key = 0;
    switch (keyCode) {
    case KeyCodes::slash:
        key = Qt::Key_Slash;
        break;
    case KeyCodes::escape:
        key = Qt::Key_Escape;
        break;
    default:
        return 0;
    }
    if (flags & ModifierFlags::control)
        key |= Qt::ControlModifier;
    if (flags & ModifierFlags::shift)
        key |= Qt::ShiftModifier;
    if (flags & ModifierFlags::alt)
        key |= Qt::AltModifier;
    return key;
}

QStringList KWinHotkeys::actionID(const QString& action) const {
    // Component and action, each with the name KDE's shortcut settings show.
    return {m_component, action, QStringLiteral("Tavrik"), action};
}

bool KWinHotkeys::start() {
    if (m_running)
        return true;
    m_error.clear();
    if (!isOffered()) {
        m_error = QStringLiteral("KWin's shortcut service is not running, so Control-/ cannot "
                                 "open the palette.");
        return false;
    }
    // The component exists once one of its actions is registered.
    const QStringList first = actionID(QStringLiteral("palette"));
    accelCall(QStringLiteral("doRegister"), {first});
    const QDBusMessage component = accelCall(QStringLiteral("getComponent"), {m_component});
    m_componentPath = component.arguments().value(0).value<QDBusObjectPath>().path();
    if (m_componentPath.isEmpty() ||
        !QDBusConnection::sessionBus().connect(service, m_componentPath, componentInterface,
                                               QStringLiteral("globalShortcutPressed"), this,
                                               SLOT(onPressed(QString, QString, qlonglong)))) {
        accelCall(QStringLiteral("unRegister"), {first});
        m_error = QStringLiteral("KWin's shortcut service did not take Tavrik's shortcuts.");
        return false;
    }
    m_running = true;
    using namespace ModifierFlags;
    // The palette opens with Control-/, with or without Shift and Alt, as on X11.
    const QList<std::pair<QString, quint64>> palette{
        {QStringLiteral("palette"), control},
        {QStringLiteral("palette-shift"), control | shift},
        {QStringLiteral("palette-alt"), control | alt},
        {QStringLiteral("palette-shift-alt"), control | shift | alt}};
    bool all = true;
    for (const auto& [action, flags] : palette)
        all = take(action, Key{KeyCodes::slash, flags}) && all;
    if (!all) {
        // Half a shortcut is none: give back what was taken.
        stop();
        m_error = QStringLiteral("Another program holds Control-/ on this desktop, so it cannot "
                                 "open Tavrik's palette. Free the shortcut in KDE's Shortcuts "
                                 "settings, or open the palette with \"tavrik palette\".");
        return false;
    }
    return true;
}

void KWinHotkeys::stop() {
    if (!m_running)
        return;
    for (const QString& action : m_actions.keys())
        release(action);
    m_escapeActions.clear();
    QDBusConnection::sessionBus().disconnect(service, m_componentPath, componentInterface,
                                             QStringLiteral("globalShortcutPressed"), this,
                                             SLOT(onPressed(QString, QString, qlonglong)));
    m_running = false;
}

void KWinHotkeys::setEscapeGrabbed(bool grabbed) {
    if (!m_running || grabbed == !m_escapeActions.isEmpty())
        return;
    if (!grabbed) {
        for (const QString& action : std::as_const(m_escapeActions))
            release(action);
        m_escapeActions.clear();
        return;
    }
    using namespace ModifierFlags;
    for (const auto& [action, flags] :
         QList<std::pair<QString, quint64>>{{QStringLiteral("escape"), 0},
                                            {QStringLiteral("escape-shift"), shift},
                                            {QStringLiteral("escape-control"), control}}) {
        if (take(action, Key{KeyCodes::escape, flags}))
            m_escapeActions.append(action);
    }
}

void KWinHotkeys::onPressed(const QString& component, const QString& action, qlonglong) {
    if (component != m_component)
        return;
    const auto it = m_actions.constFind(action);
    if (it != m_actions.constEnd())
        emit keyPressed(it->code, it->flags);
}

bool KWinHotkeys::take(const QString& action, Key key) {
    const QStringList id = actionID(action);
    accelCall(QStringLiteral("doRegister"), {id});
    const int wanted = qtKey(key.code, key.flags);
    const QDBusMessage reply =
        accelCall(QStringLiteral("setShortcut"),
                  {id, QVariant::fromValue(QList<int>{wanted}), setPresent | noAutoloading});
    // The service answers with the keys it gave: none when another component holds the key.
    const QList<int> given = qdbus_cast<QList<int>>(reply.arguments().value(0));
    m_actions.insert(action, key);
    if (given.contains(wanted))
        return true;
    release(action);
    return false;
}

void KWinHotkeys::release(const QString& action) {
    const QStringList id = actionID(action);
    accelCall(QStringLiteral("setShortcut"),
              {id, QVariant::fromValue(QList<int>{}), setPresent | noAutoloading});
    accelCall(QStringLiteral("unRegister"), {id});
    m_actions.remove(action);
}

} // namespace tavrik::wayland
