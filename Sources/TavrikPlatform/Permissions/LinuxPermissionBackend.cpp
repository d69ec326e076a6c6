#include "TavrikPlatform/Permissions/LinuxPermissionBackend.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QProcess>
#include <QStandardPaths>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace tavrik::linux_desktop {

namespace {

constexpr int busTimeoutMs = 1000;
const char* const a11yService = "org.a11y.Bus";
const char* const a11yPath = "/org/a11y/bus";

int ignoreXError(Display*, XErrorEvent*) {
    return 0;
}

PermissionStatus checkDisplay(Permission permission) {
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        return PermissionStatus::denied;
    }
    bool ok = false;
    if (permission == Permission::inputMonitoring) {
        int opcode = 0;
        int event = 0;
        int error = 0;
        ok = XQueryExtension(display, "RECORD", &opcode, &event, &error);
    } else {
        // A server that refuses to be read back (a security policy) fails this with BadAccess.
        XErrorHandler previous = XSetErrorHandler(&ignoreXError);
        XImage* image =
            XGetImage(display, DefaultRootWindow(display), 0, 0, 1, 1, AllPlanes, ZPixmap);
        XSync(display, False);
        XSetErrorHandler(previous);
        ok = image != nullptr;
        if (image) {
            XDestroyImage(image);
        }
    }
    XCloseDisplay(display);
    return ok ? PermissionStatus::granted : PermissionStatus::denied;
}

QDBusMessage a11yCall(const char* interface, const char* method, const QVariantList& args = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        QString::fromLatin1(a11yService), QString::fromLatin1(a11yPath),
        QString::fromLatin1(interface), QString::fromLatin1(method));
    message.setArguments(args);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, busTimeoutMs);
}

PermissionStatus checkAccessibility() {
    if (!QDBusConnection::sessionBus().isConnected()) {
        return PermissionStatus::notDetermined;
    }
    const QDBusMessage enabled =
        a11yCall("org.freedesktop.DBus.Properties", "Get",
                 {QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")});
    if (enabled.type() != QDBusMessage::ReplyMessage || enabled.arguments().isEmpty() ||
        !enabled.arguments().first().value<QDBusVariant>().variant().toBool()) {
        return PermissionStatus::denied;
    }
    const QDBusMessage address = a11yCall("org.a11y.Bus", "GetAddress");
    if (address.type() != QDBusMessage::ReplyMessage || address.arguments().isEmpty() ||
        address.arguments().first().toString().isEmpty()) {
        return PermissionStatus::denied;
    }
    return PermissionStatus::granted;
}

} // namespace

PermissionStatus LinuxPermissionBackend::check(Permission permission) {
    if (permission == Permission::accessibility) {
        return checkAccessibility();
    }
    return checkDisplay(permission);
}

bool LinuxPermissionBackend::enable(Permission permission) {
    if (permission != Permission::accessibility || !QDBusConnection::sessionBus().isConnected()) {
        return false;
    }
    const QDBusMessage reply =
        a11yCall("org.freedesktop.DBus.Properties", "Set",
                 {QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"),
                  QVariant::fromValue(QDBusVariant(true))});
    return reply.type() == QDBusMessage::ReplyMessage;
}

QList<QStringList> settingsCommands(Permission permission) {
    if (permission != Permission::accessibility) {
        return {};
    }
    return {
        {"gnome-control-center", "universal-access"},
        {"systemsettings", "kcm_access"},
        {"xfce4-accessibility-settings"},
        {"mate-at-properties"},
        {"cinnamon-settings", "universal-access"},
    };
}

bool openDesktopSettings(Permission permission) {
    for (const QStringList& command : settingsCommands(permission)) {
        const QString program = QStandardPaths::findExecutable(command.first());
        if (!program.isEmpty() && QProcess::startDetached(program, command.mid(1))) {
            return true;
        }
    }
    return false;
}

} // namespace tavrik::linux_desktop
