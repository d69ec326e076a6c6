#include "TavrikCore/Recorder/EventClock.h"

#include <algorithm>

namespace tavrik {

namespace {

constexpr qint64 kNewEpochMs = 60'000;

} // namespace

EventClock::TimePoint EventClock::place(qint64 stampMs, TimePoint arrival) {
    using namespace std::chrono;
    qint64 stamp = stampMs;
    // A wrapping source is read as steps from its last stamp, which survive the wrap.
    if (m_wraps && m_last)
        stamp = *m_last + qint32(quint32(stampMs) - quint32(*m_last));
    m_last = stamp;
    const qint64 arrivalMs = duration_cast<milliseconds>(arrival.time_since_epoch()).count();
    const qint64 offset = arrivalMs - stamp;
    // An event that seems more than a minute late comes from a clock with another epoch (the
    // keys of another toolkit): it starts over.
    if (!m_offsetMs || offset - *m_offsetMs > kNewEpochMs)
        m_offsetMs = offset;
    m_offsetMs = std::min(*m_offsetMs, offset);
    return TimePoint(milliseconds(stamp + *m_offsetMs));
}

void EventClock::reset() {
    m_offsetMs.reset();
    m_last.reset();
}

} // namespace tavrik
