#include "TavrikPlatform/Wayland/WaylandDesktop.h"

#include "TavrikPlatform/Evdev/EvdevDevices.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

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
    offer.grim = !programPath(QStringLiteral("grim")).isEmpty();
    offer.wtype = !programPath(QStringLiteral("wtype")).isEmpty();
    offer.inputDevices = evdev::EvdevDevices::anyReadable(evdev::EvdevDevices::Kind::pointer) ||
                         evdev::EvdevDevices::anyReadable(evdev::EvdevDevices::Kind::keyboard);
    return offer;
}

QString WaylandDesktop::programPath(const QString& name) {
    return QStandardPaths::findExecutable(name);
}

QStringList WaylandDesktop::missing(const Offer& offer) {
    if (offer.gnome && !offer.gnomeExtension) {
        return {QStringLiteral(
            "GNOME tells Tavrik where windows are and lets it take its shortcuts only through "
            "Tavrik's GNOME Shell extension: turn it on with \"gnome-extensions enable "
            "tavrik@tavrik.app\" (or in the Extensions app), then log out and back in.")};
    }
    if (offer.gnome) {
        QStringList lines{QStringLiteral(
            "GNOME does not let Tavrik take key frames of the screen or make up keys and clicks "
            "yet: replay acts through accessibility, and steps that need a key press or a click "
            "at a place stop.")};
        if (!offer.inputDevices) {
            lines << QStringLiteral(
                "Clicks are recorded from what they change, so drags, scrolls and clicks that "
                "change nothing are left out, and a double tap of Control does not start a "
                "recording: for both, add yourself to the input group "
                "(\"sudo usermod -aG input $USER\"), then log out and back in.");
        }
        return lines;
    }
    if (!offer.sway) {
        return {QStringLiteral(
            "This Wayland desktop tells Tavrik neither where windows are nor what is on screen, "
            "and takes no made-up keys or clicks from it: recording and replay act through "
            "accessibility only, and steps that need a key press or a click at a place stop. "
            "Under sway all of this works.")};
    }
    QStringList lines;
    if (!offer.grim)
        lines << QStringLiteral("Key frames of the screen need grim: install the grim package.");
    if (!offer.wtype)
        lines << QStringLiteral("Key presses during replay need wtype: install the wtype package.");
    return lines;
}

} // namespace tavrik::wayland
