#pragma once

#include <QObject>
#include <QString>

namespace tavrik {

// The desktop side of the global hotkeys: reports every key press and modifier change on the
// desktop, and keeps the palette shortcut (Control-/, with or without Shift and Alt) and, while
// asked to, Esc from reaching the focused application.
class HotkeyGrabber : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~HotkeyGrabber() override = default;

    // False when keys cannot be watched or a shortcut cannot be taken; errorString() says
    // which. What could be started keeps running.
    virtual bool start() = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    // Takes Esc (with any modifiers) away from applications, or gives it back.
    virtual void setEscapeGrabbed(bool grabbed) = 0;
    virtual QString errorString() const = 0;
    // Whether Control's taps are among the changes reported once started (not every desktop
    // shows a program its modifiers).
    virtual bool reportsControlTaps() const { return false; }

signals:
    // A non-modifier key went down; `flags` are the modifiers held at that moment.
    void keyPressed(quint16 keyCode, quint64 flags);
    // A modifier key went down or up; `flags` are the modifiers held after the change and `time`
    // is in seconds on a monotonic clock.
    void flagsChanged(quint16 keyCode, quint64 flags, double time);
};

} // namespace tavrik
