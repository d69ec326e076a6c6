#include "TavrikCore/Replay/TimedReplayClock.h"

namespace tavrik {

void TimedReplayClock::sleepMs(int ms) {
    const bool outermost = m_timings.enterCall();
    const qint64 start = m_clock.elapsedNs();
    m_clock.sleepMs(ms);
    m_timings.leaveCall();
    if (outermost)
        m_timings.addWait(m_clock.elapsedNs() - start);
}

} // namespace tavrik
