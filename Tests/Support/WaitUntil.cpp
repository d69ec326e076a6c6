#include "Support/WaitUntil.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

namespace tavrik::test {

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return true;
}

} // namespace tavrik::test
