#include "TavrikCore/Recorder/EventClock.h"

#include <algorithm>

namespace tavrik {

EventClock::TimePoint EventClock::place(qint64 stampMs, TimePoint arrival) {
    using namespace std::chrono;
    qint64 stamp = stampMs;
    // A wrapping source is read as steps from its last stamp, which survive the wrap.
    if (m_wraps && m_last)
        stamp = *m_last + qint32(quint32(stampMs) - quint32(*m_last));
    m_last = stamp;
    const qint64 arrivalMs = duration_cast<milliseconds>(arrival.time_since_epoch()).count();
    const qint64 offset = arrivalMs - stamp;
    m_offsetMs = m_offsetMs ? std::min(*m_offsetMs, offset) : offset;
    return TimePoint(milliseconds(stamp + *m_offsetMs));
}

void EventClock::reset() {
    m_offsetMs.reset();
    m_last.reset();
}

} // namespace tavrik
