#include "TavrikPlatform/X11/X11FloatingWindow.h"

#include <QGuiApplication>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/shape.h>
#include <vector>

namespace tavrik::x11 {

namespace {

Display* applicationDisplay() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->display() : nullptr;
}

} // namespace

bool setInputShape(quintptr window, const QRegion& region) {
    Display* display = applicationDisplay();
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

bool disableSaveUnder(quintptr window) {
    Display* display = applicationDisplay();
    if (!display || !window)
        return false;
    XSetWindowAttributes attributes{};
    attributes.save_under = False;
    XChangeWindowAttributes(display, Window(window), CWSaveUnder, &attributes);
    XFlush(display);
    return true;
}

} // namespace tavrik::x11
