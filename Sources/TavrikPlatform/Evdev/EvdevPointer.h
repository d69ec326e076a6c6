#pragma once

#include "TavrikCore/Models/Point.h"
#include "TavrikCore/Recorder/ClickCounter.h"
#include "TavrikCore/Recorder/EventClock.h"
#include "TavrikCore/Recorder/InputMonitor.h"
#include "TavrikPlatform/Evdev/EvdevDecoder.h"

#include <functional>
#include <optional>

namespace tavrik::evdev {

// Turns a pointer device's buttons, motion and wheel into the input monitor's gestures. A device
// tells only how far the pointer moved, so each gesture is placed where the compositor says the
// pointer is (`Locate`); a press it cannot place is left out with its release.
class EvdevPointer {
public:
    using Locate = std::function<std::optional<Point>()>;

    EvdevPointer(InputMonitor& out, Locate locate);

    void take(const InputEvent& event);
    // Forgets a held button: after lost events its release may never come.
    void reset();

private:
    void press(const InputEvent& event, InputMonitor::MouseButton button);
    void release(InputMonitor::MouseButton button);
    void motion(const InputEvent& event);

    InputMonitor& m_out;
    Locate m_locate;
    ClickCounter m_counter;
    EventClock m_times; // the kernel's
    std::optional<InputMonitor::MouseButton> m_held;
    std::optional<Point> m_last;
    std::optional<qint64> m_lastMotionUs; // when motion was last placed
};

} // namespace tavrik::evdev
