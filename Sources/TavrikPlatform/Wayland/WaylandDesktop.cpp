#include "TavrikPlatform/Wayland/WaylandDesktop.h"

#include "TavrikPlatform/Evdev/EvdevDevices.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"
#include "TavrikPlatform/Wayland/KWinFrameCapturer.h"
#include "TavrikPlatform/Wayland/KWinScript.h"
#include "TavrikPlatform/Wayland/MutterRemoteDesktop.h"
#include "TavrikPlatform/Wayland/MutterScreenCast.h"
#include "TavrikPlatform/Wayland/ScreenCastPortal.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#ifdef TAVRIK_HAVE_KWIN_FAKE_INPUT
#include "TavrikPlatform/Wayland/FakeInput/KWinFakeInput.h"
#endif

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QStandardPaths>

namespace tavrik::wayland {

WaylandDesktop::Offer WaylandDesktop::current() {
    Offer offer;
    offer.sway = !SwayIpc::socketFromEnvironment().isEmpty();
    offer.gnomeExtension = !offer.sway && GnomeShellWindows::isOffered();
    const QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    offer.gnome = !offer.sway &&
                  (offer.gnomeExtension ||
                   qEnvironmentVariable("XDG_CURRENT_DESKTOP")
                       .split(u':')
                       .contains(QLatin1String("GNOME"), Qt::CaseInsensitive) ||
                   (bus && bus->isServiceRegistered(QStringLiteral("org.gnome.Shell")).value()));
    offer.kwin = !offer.sway && !offer.gnome && KWinScript::isOffered();
#ifdef TAVRIK_HAVE_KWIN_FAKE_INPUT
    offer.kwinFakeInput = offer.kwin && KWinFakeInput().isAvailable();
#endif
    offer.kwinScreenShot = offer.kwin && KWinFrameCapturer::isGranted();
    offer.grim = !programPath(QStringLiteral("grim")).isEmpty();
    offer.wtype = !programPath(QStringLiteral("wtype")).isEmpty();
    offer.inputDevices = evdev::EvdevDevices::anyReadable(evdev::EvdevDevices::Kind::pointer) ||
                         evdev::EvdevDevices::anyReadable(evdev::EvdevDevices::Kind::keyboard);
    if (offer.gnome) {
        offer.screenCast = ScreenCastPortal::isOffered() || MutterScreenCast::isOffered();
        offer.gstreamer = !programPath(QStringLiteral("gst-launch-1.0")).isEmpty();
        offer.remoteDesktop = MutterRemoteDesktop().isAvailable();
    }
    return offer;
}

QString WaylandDesktop::programPath(const QString& name) {
    return QStandardPaths::findExecutable(name);
}

namespace {

// Where the compositor gives the pointer and its shortcuts but no input, the devices do.
QString inputGroupHint() {
    return QStringLiteral(
        "Clicks and scrolls are recorded from what they change, so drags that change no value, "
        "scrolls in views without a scroll bar and clicks that change nothing are left out, and "
        "a double tap of Control does not start a recording: for both, add yourself to the "
        "input group (\"sudo usermod -aG input $USER\"), then log out and back in.");
}

} // namespace

QString WaylandDesktop::unheardInput(bool pointerKnown) {
    if (pointerKnown)
        return inputGroupHint();
    return QStringLiteral(
        "sway tells no program where the pointer is, so clicks and scrolls are recorded from "
        "what they change: a drag that changes no element's value (only a slider's is heard), a "
        "scroll in a view without a scroll bar and a click that changes nothing are left out, "
        "and no setting or permission brings them back.");
}

QStringList WaylandDesktop::missing(const Offer& offer) {
    if (offer.gnome && !offer.gnomeExtension) {
        return {QStringLiteral(
            "GNOME tells Tavrik where windows are and lets it take its shortcuts only through "
            "Tavrik's GNOME Shell extension: turn it on with \"gnome-extensions enable "
            "tavrik@tavrik.app\" (or in the Extensions app), then log out and back in.")};
    }
    if (offer.gnome) {
        QStringList lines;
        if (!offer.screenCast)
            lines << QStringLiteral("GNOME offers no screen casting here, so recordings have no "
                                    "key frames: install xdg-desktop-portal-gnome.");
        else if (!offer.gstreamer)
            lines << QStringLiteral("Key frames of the screen need GStreamer's PipeWire source: "
                                    "install the gstreamer1.0-tools and gstreamer1.0-pipewire "
                                    "packages.");
        if (!offer.remoteDesktop)
            lines << QStringLiteral(
                "GNOME does not let Tavrik make up keys and clicks here: replay acts through "
                "accessibility, and steps that need a key press or a click at a place stop.");
        if (!offer.inputDevices)
            lines << inputGroupHint();
        return lines;
    }
    if (offer.kwin) {
        QStringList lines;
        if (!offer.kwinScreenShot)
            lines << QStringLiteral(
                "KWin gives key frames of the screen only to programs whose menu entry asks for "
                "them: start Tavrik from its menu entry (installed by its package), or "
                "recordings have no pictures.");
        if (!offer.kwinFakeInput)
            lines << QStringLiteral(
                "KWin gives made-up keys and clicks only to programs whose menu entry asks for "
                "them: start Tavrik from its menu entry (installed by its package), or replay "
                "acts through accessibility only and steps that need a key press stop.");
        if (!offer.inputDevices)
            lines << inputGroupHint();
        return lines;
    }
    if (!offer.sway) {
        QStringList lines{QStringLiteral(
            "This Wayland desktop tells Tavrik neither where windows are nor what is on screen, "
            "and takes no made-up keys or clicks from it: recording and replay act through "
            "accessibility only, and steps that need a key press or a click at a place stop. "
            "Under sway all of this works.")};
        // Neither shortcuts nor keys: only the keyboards themselves tell a double tap.
        if (!offer.inputDevices)
            lines << QStringLiteral(
                "This desktop shows Tavrik no keys, so a double tap of Control does not start a "
                "recording (start one from Tavrik's menu or with \"tavrik record\"): for the "
                "double tap, add yourself to the input group (\"sudo usermod -aG input $USER\"), "
                "then log out and back in.");
        return lines;
    }
    QStringList lines{unheardInput(false)};
    if (!offer.grim)
        lines << QStringLiteral("Key frames of the screen need grim: install the grim package.");
    if (!offer.wtype)
        lines << QStringLiteral("Key presses during replay need wtype: install the wtype package.");
    return lines;
}

} // namespace tavrik::wayland
