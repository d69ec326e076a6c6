#include "NativeForm.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QThread>

namespace tavrik::test {

bool waitFor(const std::function<bool()>& done, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

NativeForm::NativeForm(Toolkit toolkit) {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Native clients only: nothing may fall back to X.
    environment.remove(QStringLiteral("DISPLAY"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
    // Without an X root property to read, Qt exports its tree on Wayland only when told to.
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    m_process.setProcessEnvironment(environment);
    if (toolkit == Toolkit::gtk)
        m_process.start(QStringLiteral("/usr/bin/python3"),
                        {QStringLiteral(TAVRIK_SOURCE_DIR "/Tests/ReplayDesktop/task_app.py")});
    else
        m_process.start(QStringLiteral(TAVRIK_QT_TASK_APP), QStringList{});
    // The form prints its layout (with its pid) once it is shown.
    m_started = waitFor(
        [&] {
            readLines();
            return !m_events.isEmpty() && m_events.first().contains(QStringLiteral("pid"));
        },
        15000);
}

NativeForm::~NativeForm() {
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

QString NativeForm::appID(Toolkit toolkit) {
    return toolkit == Toolkit::gtk ? QStringLiteral("org.tavrik.TaskForm")
                                   : QStringLiteral("tavrik-qt-task-form");
}

void NativeForm::readLines() {
    while (m_process.canReadLine() || m_process.waitForReadyRead(0)) {
        if (!m_process.canReadLine())
            break;
        const QJsonObject line = QJsonDocument::fromJson(m_process.readLine()).object();
        if (!line.isEmpty())
            m_events.append(line);
    }
}

std::optional<QJsonObject> NativeForm::waitForEvent(const QString& name, int timeoutMs) {
    std::optional<QJsonObject> found;
    waitFor(
        [&] {
            readLines();
            for (const QJsonObject& e : m_events)
                if (e.value(QStringLiteral("event")).toString() == name)
                    found = e;
            return found.has_value();
        },
        timeoutMs);
    return found;
}

} // namespace tavrik::test
