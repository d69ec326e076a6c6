#pragma once

#include "TavrikCore/Models/AXTarget.h"
#include "TavrikCore/Models/Point.h"

#include <QObject>
#include <QString>
#include <chrono>
#include <optional>

namespace tavrik {

// Watches the whole desktop's pointer and keyboard while a demonstration is recorded. It never
// alters or swallows input, and it leaves out the key presses the hotkey engine takes for itself.
// Signals arrive on the thread the monitor lives on. Points are global screen points; key codes
// and flags are canonical (see KeyCodes.h).
class InputMonitor : public QObject {
    Q_OBJECT
public:
    enum class MouseButton { left, right };
    Q_ENUM(MouseButton)

    using QObject::QObject;
    ~InputMonitor() override = default;

    // True at once when running; false when global input cannot be read (errorString() says why).
    virtual bool start() = 0;
    virtual void stop() = 0;
    // Hands over, through the signals and before returning, every event the desktop has already
    // seen: a stop that arrives by another path (a hotkey) must not lose the last moments.
    virtual void deliverPending() {}
    // Whether a button press that happened after the input being delivered has already reached
    // the monitor: on a loaded machine delivery lags, and what the desktop says now it says after
    // that press. False where the source cannot tell.
    virtual bool pressWaiting() const { return false; }
    virtual bool isRunning() const = 0;
    virtual QString errorString() const = 0;

    using TimePoint = std::chrono::steady_clock::time_point;
    // When the input the signals are delivering happened, read from their handlers: a loaded
    // machine delivers late and in bursts, and what is paced (key frames) follows the user, not
    // the delivery. Absent when the source gives no time.
    std::optional<TimePoint> eventTime() const { return m_eventTime; }
    // Set by whatever emits the signals, before each emission.
    void setEventTime(std::optional<TimePoint> time) { m_eventTime = time; }
    // What the press being delivered landed on, read from mouseDown's handler, when the source
    // knows the element itself (a click inferred from what it did to it): a read by point after
    // the fact may find only the window. Absent when only the point is known.
    const std::optional<AXTarget>& eventTarget() const { return m_eventTarget; }
    // Set by whatever emits mouseDown, and cleared after.
    void setEventTarget(std::optional<AXTarget> target) { m_eventTarget = std::move(target); }

signals:
    // `clickCount` is 1 for a single click, 2 for the second of a double click, and so on.
    void mouseDown(tavrik::Point point, tavrik::InputMonitor::MouseButton button, int clickCount);
    void mouseUp(tavrik::Point point, tavrik::InputMonitor::MouseButton button);
    // The pointer moved with the left button down.
    void mouseDragged(tavrik::Point point);
    // The pointer moved with the left button up.
    void mouseMoved(tavrik::Point point);
    // Deltas in lines; positive deltaY scrolls up (away from the user), positive deltaX left.
    void scroll(tavrik::Point point, double deltaX, double deltaY);
    // A non-modifier key went down. `flags` are the modifiers held; `characters` what the
    // keyboard layout types for it, absent when it types nothing.
    void key(quint16 keyCode, quint64 flags, std::optional<QString> characters);
    // A modifier key went down or up; `flags` are the modifiers held afterwards.
    void flagsChanged(quint16 keyCode, quint64 flags);

private:
    std::optional<TimePoint> m_eventTime;
    std::optional<AXTarget> m_eventTarget;
};

} // namespace tavrik

Q_DECLARE_METATYPE(std::optional<QString>)
