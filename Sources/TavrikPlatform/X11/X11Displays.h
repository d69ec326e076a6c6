#pragma once

#include "TavrikCore/Models/DisplayInfo.h"

#include <QList>

using Display = struct _XDisplay;

namespace tavrik::x11 {

// A monitor as XRandR reports it, in root-window pixels.
struct MonitorGeometry {
    quint32 id = 0;
    int x = 0, y = 0, width = 0, height = 0;
    bool primary = false;
};

// Displays on X11: the XRandR monitors. X11 has one coordinate space for all monitors, so global
// points are root pixels divided by one desktop-wide scale (the toolkit's device pixel ratio,
// 1 on most desktops).
namespace X11Displays {

// The monitors in XRandR's order; the primary one, else the one at the origin, else the first
// is main.
QList<MonitorGeometry> monitors(Display* display);
QList<DisplayInfo> all(Display* display);
// Root pixels per global point.
double pixelsPerPoint();

} // namespace X11Displays

} // namespace tavrik::x11
