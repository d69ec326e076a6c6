#include "DesktopDriver.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

namespace tavrik::test {

DesktopDriver::DesktopDriver() {
    m_display = XOpenDisplay(nullptr);
}

DesktopDriver::~DesktopDriver() {
    if (!m_display)
        return;
    for (unsigned long w : m_windows)
        XDestroyWindow(m_display, w);
    XCloseDisplay(m_display);
}

// A gesture's events leave in one write, so the server stamps them together however late this
// process is scheduled on a loaded machine.
void DesktopDriver::queueKey(unsigned long keysym, bool down) {
    XTestFakeKeyEvent(m_display, XKeysymToKeycode(m_display, keysym), down, CurrentTime);
}

void DesktopDriver::key(unsigned long keysym, bool down) {
    queueKey(keysym, down);
    XFlush(m_display);
}

void DesktopDriver::tap(unsigned long keysym, int times) {
    for (int i = 0; i < times; ++i) {
        queueKey(keysym, true);
        queueKey(keysym, false);
    }
    XFlush(m_display);
}

void DesktopDriver::chord(const QList<unsigned long>& modifiers, unsigned long keysym) {
    for (unsigned long m : modifiers)
        queueKey(m, true);
    queueKey(keysym, true);
    queueKey(keysym, false);
    for (auto it = modifiers.rbegin(); it != modifiers.rend(); ++it)
        queueKey(*it, false);
    XFlush(m_display);
}

void DesktopDriver::moveTo(int x, int y) {
    XTestFakeMotionEvent(m_display, -1, x, y, CurrentTime);
    XFlush(m_display);
}

void DesktopDriver::button(unsigned button, bool down) {
    XTestFakeButtonEvent(m_display, button, down, CurrentTime);
    XFlush(m_display);
}

void DesktopDriver::click(unsigned b) {
    button(b, true);
    button(b, false);
}

void DesktopDriver::sync() {
    XSync(m_display, False);
}

unsigned long DesktopDriver::createWindow(int x, int y, int width, int height, unsigned long rgb) {
    XSetWindowAttributes attributes{};
    attributes.override_redirect = True;
    attributes.background_pixel = rgb; // TrueColor 24-bit visual: the pixel is the colour
    const Window w = XCreateWindow(m_display, DefaultRootWindow(m_display), x, y, unsigned(width),
                                   unsigned(height), 0, CopyFromParent, InputOutput, CopyFromParent,
                                   CWOverrideRedirect | CWBackPixel, &attributes);
    XMapRaised(m_display, w);
    XClearWindow(m_display, w);
    XSync(m_display, False);
    m_windows.append(w);
    return w;
}

void DesktopDriver::createFocusWindow() {
    // When the focused window of an earlier driver went away the focus fell back to the root, and
    // the window manager then moves it to a window of its own. Its move must not come after ours.
    const auto focusAtRoot = [this] {
        Window focus = 0;
        int revert = 0;
        XGetInputFocus(m_display, &focus, &revert);
        return focus == DefaultRootWindow(m_display) || focus == PointerRoot || focus == 0;
    };
    waitUntil([&] { return !focusAtRoot(); }, 2000); // a desktop without a manager keeps it there
    m_focusWindow = createWindow(600, 600, 200, 100, 0x808080);
    XSelectInput(m_display, m_focusWindow, KeyPressMask | KeyReleaseMask);
    XSetInputFocus(m_display, m_focusWindow, RevertToParent, CurrentTime);
    XSync(m_display, False);
}

QList<unsigned long> DesktopDriver::takeReceivedKeys() {
    QList<unsigned long> keys;
    XSync(m_display, False);
    while (XPending(m_display)) {
        XEvent event;
        XNextEvent(m_display, &event);
        if (event.type == KeyPress)
            keys.append(XLookupKeysym(&event.xkey, 0));
    }
    return keys;
}

QList<unsigned long> DesktopDriver::keysUntil(unsigned long keysym, int timeoutMs) {
    QList<unsigned long> keys;
    waitUntil(
        [&] {
            keys += takeReceivedKeys();
            return keys.contains(keysym);
        },
        timeoutMs);
    return keys;
}

} // namespace tavrik::test
