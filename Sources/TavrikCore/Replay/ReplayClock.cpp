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
    return elapsedNs() / 1000000;
}

qint64 SystemReplayClock::elapsedNs() const {
    return nowNs() - m_startNs;
}

void SystemReplayClock::sleepMs(int ms) {
    QThread::msleep(ulong(ms));
}

} // namespace tavrik
