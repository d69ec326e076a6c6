#pragma once

#include "TavrikCore/Replay/ReplayClock.h"
#include "TavrikCore/Replay/ReplayTimings.h"

namespace tavrik {

// A clock whose sleeps count as waiting for the application.
class TimedReplayClock final : public ReplayClock {
public:
    TimedReplayClock(ReplayClock& clock, ReplayTimings& timings)
        : m_clock(clock), m_timings(timings) {}

    qint64 elapsedMs() const override { return m_clock.elapsedMs(); }
    qint64 elapsedNs() const override { return m_clock.elapsedNs(); }
    void sleepMs(int ms) override;

private:
    ReplayClock& m_clock;
    ReplayTimings& m_timings;
};

} // namespace tavrik
