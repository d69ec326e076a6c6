#include "TavrikPlatform/Wayland/GnomeShellHotkeys.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace tavrik::wayland {

namespace {

constexpr int timeoutMs = 1000;

QDBusMessage shellCall(const QString& method, const QList<QVariant>& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(GnomeShellWindows::busName, GnomeShellWindows::objectPath,
                                       GnomeShellWindows::busName, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, timeoutMs);
}

} // namespace

GnomeShellHotkeys::GnomeShellHotkeys(QObject* parent) : HotkeyGrabber(parent) {}

GnomeShellHotkeys::~GnomeShellHotkeys() {
    stop();
}

bool GnomeShellHotkeys::start() {
    if (m_running)
        return true;
    m_error.clear();
    if (!QDBusConnection::sessionBus().connect(
            GnomeShellWindows::busName, GnomeShellWindows::objectPath, GnomeShellWindows::busName,
            QStringLiteral("AcceleratorActivated"), this, SLOT(onActivated(uint)))) {
        m_error = QStringLiteral("Tavrik's GNOME Shell extension is not running, so Control-/ "
                                 "cannot open the palette.");
        return false;
    }
    m_running = true;
    using namespace ModifierFlags;
    // The palette opens with Control-/, with or without Shift and Alt, as on X11.
    const QList<std::pair<QString, quint64>> palette{
        {QStringLiteral("<Control>slash"), control},
        {QStringLiteral("<Control><Shift>slash"), control | shift},
        {QStringLiteral("<Control><Alt>slash"), control | alt},
        {QStringLiteral("<Control><Shift><Alt>slash"), control | shift | alt}};
    bool all = true;
    for (const auto& [accelerator, flags] : palette)
        all = grab(accelerator, Key{KeyCodes::slash, flags}) != 0 && all;
    if (!all) {
        // Half a shortcut is none: give back what was taken.
        stop();
        m_error = QStringLiteral("Another program holds Control-/ on this desktop, so it cannot "
                                 "open Tavrik's palette. Free the shortcut in GNOME's Keyboard "
                                 "settings, or open the palette with \"tavrik palette\".");
        return false;
    }
    return true;
}

void GnomeShellHotkeys::stop() {
    if (!m_running)
        return;
    for (const uint action : m_actions.keys())
        release(action);
    m_escapeActions.clear();
    QDBusConnection::sessionBus().disconnect(
        GnomeShellWindows::busName, GnomeShellWindows::objectPath, GnomeShellWindows::busName,
        QStringLiteral("AcceleratorActivated"), this, SLOT(onActivated(uint)));
    m_running = false;
}

void GnomeShellHotkeys::setEscapeGrabbed(bool grabbed) {
    if (!m_running || grabbed == !m_escapeActions.isEmpty())
        return;
    if (!grabbed) {
        for (const uint action : std::as_const(m_escapeActions))
            release(action);
        m_escapeActions.clear();
        return;
    }
    using namespace ModifierFlags;
    for (const auto& [accelerator, flags] :
         QList<std::pair<QString, quint64>>{{QStringLiteral("Escape"), 0},
                                            {QStringLiteral("<Shift>Escape"), shift},
                                            {QStringLiteral("<Control>Escape"), control}}) {
        if (const uint action = grab(accelerator, Key{KeyCodes::escape, flags}))
            m_escapeActions.append(action);
    }
}

void GnomeShellHotkeys::onActivated(uint action) {
    const auto it = m_actions.constFind(action);
    if (it != m_actions.constEnd())
        emit keyPressed(it->code, it->flags);
}

uint GnomeShellHotkeys::grab(const QString& accelerator, Key key) {
    const QDBusMessage reply = shellCall(QStringLiteral("GrabAccelerator"), {accelerator});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return 0;
    const uint action = reply.arguments().first().toUInt();
    if (action != 0)
        m_actions.insert(action, key);
    return action;
}

void GnomeShellHotkeys::release(uint action) {
    shellCall(QStringLiteral("UngrabAccelerator"), {action});
    m_actions.remove(action);
}

} // namespace tavrik::wayland
