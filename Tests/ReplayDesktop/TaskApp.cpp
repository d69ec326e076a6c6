#include "TaskApp.h"

#include "DesktopDriver.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace tavrik::test {

TaskApp::TaskApp(Toolkit toolkit, const QStringList& arguments) {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (toolkit == Toolkit::gtk) {
        m_process.start(
            QStringLiteral("/usr/bin/python3"),
            QStringList{QStringLiteral(TAVRIK_SOURCE_DIR "/Tests/ReplayDesktop/task_app.py")} +
                arguments);
    } else {
        // Qt shows its accessibility tree only when told to at start.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
        m_process.setProcessEnvironment(environment);
        m_process.start(QStringLiteral(TAVRIK_QT_TASK_APP), arguments);
    }
    m_started = waitUntil(
        [&] {
            readLines();
            return !m_layout.isEmpty();
        },
        15000);
}

TaskApp::~TaskApp() {
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

void TaskApp::readLines() {
    while (m_process.canReadLine() || m_process.waitForReadyRead(0)) {
        if (!m_process.canReadLine())
            break;
        const QJsonObject line = QJsonDocument::fromJson(m_process.readLine()).object();
        if (line.contains(QStringLiteral("pid")))
            m_layout = line;
        else if (!line.isEmpty())
            m_events.append(line);
    }
}

Rect TaskApp::rect(const char* widget) const {
    const QJsonArray r = m_layout.value(QLatin1String(widget)).toArray();
    return Rect(r[0].toDouble(), r[1].toDouble(), r[2].toDouble(), r[3].toDouble());
}

Point TaskApp::centre(const char* widget) const {
    const Rect r = rect(widget);
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

QList<QJsonObject> TaskApp::events() {
    readLines();
    return m_events;
}

std::optional<QJsonObject> TaskApp::waitForEvent(const QString& name, int timeoutMs) {
    std::optional<QJsonObject> found;
    waitUntil(
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
