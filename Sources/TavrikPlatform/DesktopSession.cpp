#include "TavrikPlatform/DesktopSession.h"

#include "TavrikPlatform/Wayland/WaylandDesktop.h"

namespace tavrik::DesktopSession {

Environment fromProcess() {
    return Environment{qEnvironmentVariable("DISPLAY"), qEnvironmentVariable("WAYLAND_DISPLAY"),
                       qEnvironmentVariable("XDG_SESSION_TYPE"),
                       qEnvironmentVariable("TAVRIK_DESKTOP_BACKEND")};
}

Kind detect(const Environment& e) {
    const QString chosen = e.chosen.trimmed().toLower();
    if (chosen == QStringLiteral("x11"))
        return Kind::x11;
    if (chosen == QStringLiteral("wayland"))
        return Kind::wayland;
    if (chosen == QStringLiteral("null") || chosen == QStringLiteral("none"))
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
                    "This is a Wayland session, where no program may watch the keyboard and the "
                    "pointer: Tavrik follows a demonstration through accessibility, so it hears "
                    "what is typed into the application in front and the clicks that move the "
                    "focus or change a control, but not drags, scrolls in views without a "
                    "scroll bar or clicks that change nothing. For those, choose your desktop's "
                    "X11 session (\"GNOME on Xorg\") at "
                    "the login screen.")} +
                wayland::WaylandDesktop::missing(wayland::WaylandDesktop::current()))
            .join(u' ');
    case Kind::none:
        return QStringLiteral(
            "No desktop session was found (neither DISPLAY nor WAYLAND_DISPLAY is set).");
    }
    return {};
}

} // namespace tavrik::DesktopSession
