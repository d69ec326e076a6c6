#include "TavrikPlatform/X11/X11InputShape.h"

#include <QGuiApplication>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/shape.h>
#include <vector>

namespace tavrik::x11 {

bool setInputShape(quintptr window, const QRegion& region) {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    Display* display = x11 ? x11->display() : nullptr;
    if (!display || !window)
        return false;
    std::vector<XRectangle> rectangles;
    for (const QRect& rect : region)
        rectangles.push_back(XRectangle{short(rect.x()), short(rect.y()),
                                        (unsigned short)rect.width(),
                                        (unsigned short)rect.height()});
    XShapeCombineRectangles(display, Window(window), ShapeInput, 0, 0, rectangles.data(),
                            int(rectangles.size()), ShapeSet, Unsorted);
    XFlush(display);
    return true;
}

} // namespace tavrik::x11
