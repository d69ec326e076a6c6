#include "TavrikPlatform/X11/XConnection.h"

#include <QHash>
#include <QMutex>
#include <QSet>
#include <X11/Xlib.h>
#include <mutex>

namespace tavrik::x11 {

namespace {

struct Registry {
    QMutex mutex;
    QSet<Display*> ours;
    QHash<Display*, int> trapped; // display -> first error code since its trap was set
    XErrorHandler previous = nullptr;
};

Registry& registry() {
    static Registry r;
    return r;
}

int handleError(Display* display, XErrorEvent* event) {
    Registry& r = registry();
    XErrorHandler previous;
    {
        QMutexLocker lock(&r.mutex);
        if (auto it = r.trapped.find(display); it != r.trapped.end()) {
            if (it.value() == 0)
                it.value() = event->error_code;
            return 0;
        }
        // An untrapped error on our own connections loses one request, not the process.
        if (r.ours.contains(display))
            return 0;
        previous = r.previous;
    }
    return previous ? previous(display, event) : 0;
}

void installHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        Registry& r = registry();
        QMutexLocker lock(&r.mutex);
        r.previous = XSetErrorHandler(handleError);
    });
}

} // namespace

XConnection::XConnection() {
    installHandler();
    m_display = XOpenDisplay(nullptr);
    if (m_display) {
        QMutexLocker lock(&registry().mutex);
        registry().ours.insert(m_display);
    }
}

XConnection::~XConnection() {
    if (!m_display)
        return;
    XCloseDisplay(m_display);
    QMutexLocker lock(&registry().mutex);
    registry().ours.remove(m_display);
}

unsigned long XConnection::root() const {
    return m_display ? DefaultRootWindow(m_display) : 0;
}

ErrorTrap::ErrorTrap(Display* display) : m_display(display) {
    installHandler();
    XSync(display, False);
    QMutexLocker lock(&registry().mutex);
    registry().trapped.insert(display, 0);
}

ErrorTrap::~ErrorTrap() {
    XSync(m_display, False);
    QMutexLocker lock(&registry().mutex);
    registry().trapped.remove(m_display);
}

int ErrorTrap::sync() {
    XSync(m_display, False);
    QMutexLocker lock(&registry().mutex);
    return registry().trapped.value(m_display);
}

} // namespace tavrik::x11
