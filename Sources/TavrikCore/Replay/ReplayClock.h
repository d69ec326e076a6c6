#pragma once

#include <QtGlobal>

namespace tavrik {

// Time as replay waits for it; tests give one that advances only when slept.
class ReplayClock {
public:
    virtual ~ReplayClock() = default;
    virtual qint64 elapsedMs() const = 0;
    // Finer, for telling apart calls that take well under a millisecond.
    virtual qint64 elapsedNs() const { return elapsedMs() * 1000000; }
    virtual void sleepMs(int ms) = 0;
};

// The real one: a monotonic clock and a blocking sleep.
class SystemReplayClock final : public ReplayClock {
public:
    SystemReplayClock();
    qint64 elapsedMs() const override;
    qint64 elapsedNs() const override;
    void sleepMs(int ms) override;

private:
    qint64 m_startNs = 0;
};

} // namespace tavrik
