#pragma once

#include <QString>
#include <QStringList>

namespace tavrik::wayland {

// What the Wayland compositor of this session lets Tavrik do beyond accessibility, decided from
// the environment and the programs installed: wlroots compositors (sway), GNOME Shell with
// Tavrik's extension, and KWin.
class WaylandDesktop {
public:
    struct Offer {
        bool sway = false;  // SWAYSOCK set: window places through its IPC socket
        bool grim = false;  // frames through wlroots screencopy
        bool wtype = false; // keys through a virtual keyboard
        bool gnome = false; // a GNOME session (XDG_CURRENT_DESKTOP, or the shell on the bus)
        bool gnomeExtension = false; // Tavrik's shell extension answers: windows, pointer, keys
        bool screenCast = false;     // a screen stream: the ScreenCast portal or mutter's own
        bool gstreamer = false;      // gst-launch-1.0, which reads the stream
        bool remoteDesktop = false;  // mutter's remote desktop: keys and the pointer
        bool inputDevices = false;   // this user may read the input devices under /dev/input
        bool kwin = false; // KWin answers: windows and pointer through Tavrik's script, keys
        bool kwinFakeInput = false;  // KWin grants Tavrik its fake input: keys and clicks
        bool kwinScreenShot = false; // KWin grants Tavrik its screenshots: key frames
    };

    static Offer current();
    // One plain sentence per thing missing, with the step that would enable it; empty when
    // nothing is.
    static QStringList missing(const Offer& offer);
    static QString programPath(const QString& name);
    // What a recording cannot hear where clicks and scrolls are known only from what they change,
    // with the step that would let it (reading the input devices, where the compositor says where
    // the pointer is; under sway nothing does).
    static QString unheardInput(bool pointerKnown);
};

} // namespace tavrik::wayland
