#include "TavrikPlatform/DesktopSession.h"

#include "TavrikPlatform/Wayland/WaylandDesktop.h"

namespace tavrik::DesktopSession {

Environment fromProcess() {
    return Environment{qEnvironmentVariable("DISPLAY"), qEnvironmentVariable("WAYLAND_DISPLAY"),
                       qEnvironmentVariable("XDG_SESSION_TYPE"),
                       qEnvironmentVariable("TAVRIK_DESKTOP")};
}

Kind detect(const Environment& e) {
    const QString chosen = e.chosen.trimmed().toLower();
    if (chosen == QStringLiteral("x11"))
        return Kind::x11;
    if (chosen == QStringLiteral("wayland"))
        return Kind::wayland;
    if (chosen == QStringLiteral("none"))
        return Kind::none;
    const QString type = e.sessionType.trimmed().toLower();
    if (type == QStringLiteral("wayland"))
        return Kind::wayland;
    // A login manager that says X11 is believed over a stray WAYLAND_DISPLAY.
    if (type != QStringLiteral("x11") && !e.waylandDisplay.isEmpty())
        return Kind::wayland;
    return e.display.isEmpty() ? Kind::none : Kind::x11;
}

Kind current() {
    return detect(fromProcess());
}

QString limitations(Kind kind) {
    switch (kind) {
    case Kind::x11:
        return {};
    case Kind::wayland:
        return (QStringList{QStringLiteral(
                    "This is a Wayland session. Tavrik's windows, the palette, casting skills that "
                    "open web pages and replaying skills through accessibility work here, but "
                    "recording a demonstration needs an X11 session for now: choose \"GNOME on "
                    "Xorg\" (or your desktop's X11 session) at the login screen. Programs running "
                    "under XWayland can be watched as on X11.")} +
                wayland::WaylandDesktop::missing(wayland::WaylandDesktop::current()))
            .join(u' ');
    case Kind::none:
        return QStringLiteral(
            "No desktop session was found (neither DISPLAY nor WAYLAND_DISPLAY is set).");
    }
    return {};
}

} // namespace tavrik::DesktopSession
