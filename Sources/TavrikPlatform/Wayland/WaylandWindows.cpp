#include "TavrikPlatform/Wayland/WaylandWindows.h"

#include "TavrikPlatform/Wayland/CoordinateMapper.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QThread>

namespace tavrik::wayland {

using atspi::ClientWindow;

WaylandWindows::WaylandWindows(std::unique_ptr<CompositorWindows> locator)
    : m_locator(std::move(locator)) {}

QList<ClientWindow> WaylandWindows::clients() {
    if (!m_locator)
        return {};
    m_last = m_locator->windows();
    QList<ClientWindow> result;
    // Without a stacking order the focused window counts as the one on top.
    const bool stacked = m_locator->keepsStackingOrder();
    for (int pass = 0; pass < (stacked ? 1 : 2); ++pass) {
        for (const CompositorWindow& placed : m_last) {
            if ((!stacked && placed.focused != (pass == 0)) || !placed.visible)
                continue;
            ClientWindow window;
            window.id = (unsigned long)placed.id;
            window.pid = placed.pid;
            window.frame = placed.frame;
            window.outerFrame = placed.outline;
            window.wmClass = placed.appID;
            window.title = placed.title;
            result.append(window);
        }
    }
    return result;
}

std::optional<ClientWindow> WaylandWindows::active() {
    const QList<ClientWindow> windows = clients();
    for (const CompositorWindow& placed : m_last) {
        if (placed.focused) {
            for (const ClientWindow& window : windows) {
                if (window.id == (unsigned long)placed.id)
                    return window;
            }
        }
    }
    return std::nullopt;
}

bool WaylandWindows::activate(unsigned long window, int timeoutMs) {
    if (!m_locator || !m_locator->focus(qint64(window)))
        return false;
    // The compositor may apply focus after it answers; reading back confirms it, and that the
    // window is still there.
    const QDeadlineTimer deadline(timeoutMs);
    do {
        const std::optional<ClientWindow> now = active();
        if (now && now->id == window)
            return true;
        QThread::msleep(10);
    } while (!deadline.hasExpired());
    return false;
}

QString WaylandWindows::appName(const ClientWindow& window) {
    return window.appID().value_or(QString());
}

std::optional<Point> WaylandWindows::accessibleOrigin(const ClientWindow& window,
                                                      const QString& toolkit) {
    if (!m_locator || window.id == 0)
        return std::nullopt;
    WindowGeometry geometry{window.frame, window.frame, window.frame};
    for (const CompositorWindow& placed : m_last) {
        if ((unsigned long)placed.id == window.id && placed.buffer)
            geometry.buffer = placed.buffer;
    }
    if (m_locator->clientsDecorate())
        geometry.content = CoordinateMapper::qtContent(window.frame);
    return CoordinateMapper::origin(geometry, CoordinateMapper::toolkitNamed(toolkit));
}

void WaylandWindows::nameApplication(ClientWindow& window, const QString& toolkit,
                                     const QString& accessibleName) {
    switch (CoordinateMapper::toolkitNamed(toolkit)) {
    case CoordinateMapper::Toolkit::qt:
        // Qt's Wayland app id is its executable's name; on X11 its class is the application name.
        window.wmClass = accessibleName;
        window.gtkApplicationID.clear();
        return;
    case CoordinateMapper::Toolkit::gtk:
        // GTK's Wayland app id is its application id, as _GTK_APPLICATION_ID is on X11.
        if (window.wmClass.contains(u'.'))
            window.gtkApplicationID = window.wmClass;
        else if (window.pid)
            window.gtkApplicationID = busApplicationID(*window.pid);
        if (window.wmClass.isEmpty())
            window.wmClass = accessibleName;
        return;
    case CoordinateMapper::Toolkit::other:
        if (window.wmClass.isEmpty())
            window.wmClass = accessibleName;
        return;
    }
}

QString WaylandWindows::busApplicationID(qint64 pid) {
    if (auto it = m_busNames.constFind(pid); it != m_busNames.constEnd())
        return *it;
    QString found;
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    if (bus) {
        const QStringList names = bus->registeredServiceNames().value();
        for (const QString& name : names) {
            if (name.startsWith(u':') || name.startsWith(QLatin1String("org.freedesktop.")) ||
                name.startsWith(QLatin1String("org.a11y.")) || !name.contains(u'.'))
                continue;
            if (qint64(bus->servicePid(name).value()) == pid) {
                found = name;
                break;
            }
        }
    }
    m_busNames.insert(pid, found);
    return found;
}

} // namespace tavrik::wayland
