#pragma once

#include <QtGlobal>
#include <chrono>
#include <optional>

namespace tavrik {

// Places an input source's timestamps (milliseconds from an epoch of its own: the X server's
// start, the kernel's clock, a toolkit's) on this process's steady clock. No event arrives before
// it happens, so the smallest gap seen between a stamp and its arrival is the best estimate of
// where the source's epoch lies; relative times between events are exact either way.
class EventClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // `wraps` for sources whose stamps are 32 bits and wrap after 49 days (X server time).
    explicit EventClock(bool wraps = false) : m_wraps(wraps) {}

    // When an event stamped `stampMs` happened, as seen on its arrival at `arrival`.
    TimePoint place(qint64 stampMs, TimePoint arrival = std::chrono::steady_clock::now());
    void reset();

private:
    bool m_wraps;
    std::optional<qint64> m_offsetMs; // arrival minus stamp, the smallest seen
    std::optional<qint64> m_last;     // the last stamp, unwrapped
};

} // namespace tavrik
