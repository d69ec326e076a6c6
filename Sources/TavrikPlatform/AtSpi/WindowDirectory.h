#pragma once

#include "TavrikCore/Models/Point.h"
#include "TavrikCore/Models/Rect.h"

#include <QList>
#include <QString>
#include <optional>

namespace tavrik::atspi {

// A top-level client window as the window manager lists it.
struct ClientWindow {
    unsigned long id = 0;
    std::optional<qint64> pid;
    Rect frame;      // the client area, root coordinates
    Rect outerFrame; // with the window manager's decorations
    QString wmClass; // WM_CLASS class name
    QString gtkApplicationID;
    QString title;
    bool popup = false; // a menu or drop-down that bypasses the window manager

    // The stand-in for a bundle identifier: the GTK application id (equal to the desktop file
    // id) when set, else the WM_CLASS class.
    std::optional<QString> appID() const;
};

// What the accessibility bus does not know about top-level windows, from the window system: which
// are there and whose, which is active, activating one, and where a toolkit's window-local
// coordinates start. On X11 accessibility coordinates are already global; on Wayland they are
// relative to the window, and only the compositor knows where the window is.
class WindowDirectory {
public:
    virtual ~WindowDirectory() = default;
    virtual bool isOpen() const = 0;
    // The mapped client windows, the top of the stack first; empty where the window system does
    // not list them (then listsWindows() is false and callers name applications themselves).
    virtual QList<ClientWindow> clients() = 0;
    virtual bool listsWindows() const { return true; }
    virtual std::optional<ClientWindow> active() = 0;
    // The topmost window whose frame (decorations included) holds `point`; from the listing's
    // order unless the window system can say better.
    virtual std::optional<ClientWindow> topmostAt(Point point) {
        for (ClientWindow& window : clients()) {
            const Rect& f = window.outerFrame;
            if (point.x >= f.origin.x && point.y >= f.origin.y &&
                point.x < f.origin.x + f.size.width && point.y < f.origin.y + f.size.height)
                return window;
        }
        return std::nullopt;
    }
    virtual bool activate(unsigned long window, int timeoutMs) = 0;
    virtual QString appName(const ClientWindow& window) = 0;
    // The global point where the toolkit's accessibility coordinates of `window` start; absent
    // when they are global already, or when the window's place is unknown.
    virtual std::optional<Point> accessibleOrigin(const ClientWindow& window,
                                                  const QString& toolkit) {
        Q_UNUSED(window);
        Q_UNUSED(toolkit);
        return std::nullopt;
    }
    // Gives `window` the identity its application has on X11 (GTK application id, else the
    // WM_CLASS class, which Qt takes from its application name), so that recordings match across
    // sessions. X11 windows carry it already.
    virtual void nameApplication(ClientWindow& window, const QString& toolkit,
                                 const QString& accessibleName) {
        Q_UNUSED(window);
        Q_UNUSED(toolkit);
        Q_UNUSED(accessibleName);
    }
};

} // namespace tavrik::atspi
