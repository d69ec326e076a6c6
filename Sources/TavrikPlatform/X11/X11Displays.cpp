#include "TavrikPlatform/X11/X11Displays.h"

#include <QGuiApplication>
#include <QScreen>
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

namespace tavrik::x11 {

QList<MonitorGeometry> X11Displays::monitors(Display* display) {
    QList<MonitorGeometry> result;
    if (!display)
        return result;
    int eventBase = 0, errorBase = 0;
    if (!XRRQueryExtension(display, &eventBase, &errorBase)) {
        // Without RandR the whole root window is the one display.
        result.append({1, 0, 0, DisplayWidth(display, DefaultScreen(display)),
                       DisplayHeight(display, DefaultScreen(display)), true});
        return result;
    }
    int count = 0;
    XRRMonitorInfo* info = XRRGetMonitors(display, DefaultRootWindow(display), True, &count);
    for (int i = 0; i < count; ++i) {
        const XRRMonitorInfo& m = info[i];
        // The first output's id stays the same while the monitor is plugged in.
        const quint32 id = m.noutput > 0 ? quint32(m.outputs[0]) : quint32(m.name);
        result.append({id, m.x, m.y, m.width, m.height, bool(m.primary)});
    }
    if (info)
        XRRFreeMonitors(info);
    return result;
}

double X11Displays::pixelsPerPoint() {
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        if (QScreen* screen = QGuiApplication::primaryScreen())
            return screen->devicePixelRatio() > 0 ? screen->devicePixelRatio() : 1.0;
    return 1.0;
}

QList<DisplayInfo> X11Displays::all(Display* display) {
    const QList<MonitorGeometry> list = monitors(display);
    qsizetype main = -1;
    for (qsizetype i = 0; i < list.size() && main < 0; ++i)
        if (list[i].primary)
            main = i;
    for (qsizetype i = 0; i < list.size() && main < 0; ++i)
        if (list[i].x == 0 && list[i].y == 0)
            main = i;
    if (main < 0 && !list.isEmpty())
        main = 0;
    const double scale = pixelsPerPoint();
    QList<DisplayInfo> result;
    for (qsizetype i = 0; i < list.size(); ++i) {
        const MonitorGeometry& m = list[i];
        result.append({m.id, Rect(m.x / scale, m.y / scale, m.width / scale, m.height / scale),
                       scale, i == main});
    }
    return result;
}

} // namespace tavrik::x11
