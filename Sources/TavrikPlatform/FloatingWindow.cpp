#include "TavrikPlatform/FloatingWindow.h"

#include <QGuiApplication>
#include <QWindow>

#ifdef TAVRIK_HAVE_X11
#include "TavrikPlatform/X11/X11FloatingWindow.h"
#endif

namespace tavrik::FloatingWindow {

namespace {

bool onX11() {
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

} // namespace

void prepare(QWindow* window) {
#ifdef TAVRIK_HAVE_X11
    if (window && onX11())
        x11::disableSaveUnder(window->winId());
#else
    Q_UNUSED(window);
#endif
}

void setTakesClicks(QWindow* window, bool takes) {
    if (!window)
        return;
#ifdef TAVRIK_HAVE_X11
    if (onX11()) {
        const QSize pixels = window->size() * window->devicePixelRatio();
        x11::setInputShape(window->winId(),
                           takes ? QRegion(QRect(QPoint(0, 0), pixels)) : QRegion());
        return;
    }
#endif
    window->setFlag(Qt::WindowTransparentForInput, !takes);
}

} // namespace tavrik::FloatingWindow
