#include "TavrikCore/Replay/ReplayClock.h"

#include <QDeadlineTimer>
#include <QThread>

namespace tavrik {

namespace {
qint64 nowNs() {
    return QDeadlineTimer::current(Qt::PreciseTimer).deadlineNSecs();
}
} // namespace

SystemReplayClock::SystemReplayClock() : m_startNs(nowNs()) {}

qint64 SystemReplayClock::elapsedMs() const {
    return (nowNs() - m_startNs) / 1000000;
}

void SystemReplayClock::sleepMs(int ms) {
    QThread::msleep(ulong(ms));
}

} // namespace tavrik
