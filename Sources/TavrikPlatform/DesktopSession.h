#pragma once

#include <QString>

// Which kind of desktop session Tavrik runs in, decided once for every backend: a Wayland
// session is Wayland even when it offers an X display (Xwayland) beside it, because the X11
// backends there see and reach only X programs, and a capture of the root window is black.
namespace tavrik::DesktopSession {

enum class Kind { x11, wayland, none };

struct Environment {
    QString display;        // DISPLAY
    QString waylandDisplay; // WAYLAND_DISPLAY
    QString sessionType;    // XDG_SESSION_TYPE, set by login managers
    QString chosen;         // TAVRIK_DESKTOP_BACKEND: x11, wayland or null (tests, odd setups)
};

Environment fromProcess();
Kind detect(const Environment& environment);
Kind current();

// What Tavrik cannot do in such a session, and the step that would change it, in plain words;
// empty where everything works.
QString limitations(Kind kind);

} // namespace tavrik::DesktopSession
