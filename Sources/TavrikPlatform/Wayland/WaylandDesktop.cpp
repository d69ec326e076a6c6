#include "TavrikPlatform/Wayland/WaylandDesktop.h"

#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <QStandardPaths>

namespace tavrik::wayland {

WaylandDesktop::Offer WaylandDesktop::current() {
    Offer offer;
    offer.sway = !SwayIpc::socketFromEnvironment().isEmpty();
    offer.grim = !programPath(QStringLiteral("grim")).isEmpty();
    offer.wtype = !programPath(QStringLiteral("wtype")).isEmpty();
    return offer;
}

QString WaylandDesktop::programPath(const QString& name) {
    return QStandardPaths::findExecutable(name);
}

QStringList WaylandDesktop::missing(const Offer& offer) {
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
