#pragma once

#include "Support/WaitUntil.h"

#include <QList>
#include <functional>

using Display = struct _XDisplay;

namespace tavrik::test {

// Drives the test desktop the way a user would, through XTest, and offers a plain window that
// holds the keyboard focus and notes the keys it receives.
class DesktopDriver {
public:
    DesktopDriver();
    ~DesktopDriver();
    DesktopDriver(const DesktopDriver&) = delete;
    DesktopDriver& operator=(const DesktopDriver&) = delete;

    bool isOpen() const { return m_display != nullptr; }
    Display* display() const { return m_display; }

    void key(unsigned long keysym, bool down);
    // Presses and releases the key `times` times in a row.
    void tap(unsigned long keysym, int times = 1);
    // Presses the modifiers, taps the key, releases them in reverse.
    void chord(const QList<unsigned long>& modifiers, unsigned long keysym);
    void moveTo(int x, int y);
    void button(unsigned button, bool down);
    void click(unsigned button);
    void sync();

    // A mapped top-level window at (x, y) with a solid colour (0xRRGGBB) that the window manager
    // leaves alone.
    unsigned long createWindow(int x, int y, int width, int height, unsigned long rgb);
    // A window that holds the keyboard focus and notes the keysyms of key presses sent to it.
    void createFocusWindow();
    // The keysyms pressed in the focus window since the last call.
    QList<unsigned long> takeReceivedKeys();
    // Waits until the focus window has received `keysym`; returns what it received meanwhile.
    QList<unsigned long> keysUntil(unsigned long keysym, int timeoutMs = 10000);

private:
    void queueKey(unsigned long keysym, bool down);

    Display* m_display = nullptr;
    unsigned long m_focusWindow = 0;
    QList<unsigned long> m_windows;
};

} // namespace tavrik::test
