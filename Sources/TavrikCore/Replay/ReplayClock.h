#pragma once

#include <QtGlobal>

namespace tavrik {

// Time as replay waits for it; tests give one that advances only when slept.
class ReplayClock {
public:
    virtual ~ReplayClock() = default;
    virtual qint64 elapsedMs() const = 0;
    virtual void sleepMs(int ms) = 0;
};

// The real one: a monotonic clock and a blocking sleep.
class SystemReplayClock final : public ReplayClock {
public:
    SystemReplayClock();
    qint64 elapsedMs() const override;
    void sleepMs(int ms) override;

private:
    qint64 m_startNs = 0;
};

} // namespace tavrik
