#pragma once

#include <QByteArray>

using Display = struct _XDisplay;

namespace tavrik::x11 {

// One private connection to the X server. Xlib's default error handler ends the process on any
// protocol error; connections opened here report errors to ErrorTrap instead.
class XConnection {
public:
    XConnection(); // the display named by $DISPLAY
    ~XConnection();
    XConnection(const XConnection&) = delete;
    XConnection& operator=(const XConnection&) = delete;

    bool isOpen() const { return m_display != nullptr; }
    Display* display() const { return m_display; }
    unsigned long root() const;

private:
    Display* m_display = nullptr;
};

// Catches the protocol errors of one connection for as long as it lives.
class ErrorTrap {
public:
    explicit ErrorTrap(Display* display);
    ~ErrorTrap();
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;

    // Waits for the server to process everything sent so far; returns the first error code seen
    // since the trap was set (0 when none).
    int sync();

private:
    Display* m_display;
};

} // namespace tavrik::x11
