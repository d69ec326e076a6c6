#include "Support/TaskForm.h"

#include "Support/WaitUntil.h"

#include <QJsonDocument>

namespace tavrik::test {

TaskForm::TaskForm(Toolkit toolkit, const QString& qtProgram, const QStringList& arguments,
                   const QProcessEnvironment& environment) {
    m_process.setProcessChannelMode(toolkit == Toolkit::gtk4 ? QProcess::SeparateChannels
                                                             : QProcess::ForwardedErrorChannel);
    m_process.setProcessEnvironment(environment);
    // The system interpreter: the one first on PATH may lack the GObject bindings.
    if (toolkit == Toolkit::gtk)
        m_process.start(
            QStringLiteral("/usr/bin/python3"),
            QStringList{QStringLiteral(TAVRIK_SOURCE_DIR "/Tests/ReplayDesktop/task_app.py")} +
                arguments);
    else if (toolkit == Toolkit::gtk4)
        m_process.start(
            QStringLiteral("/usr/bin/python3"),
            QStringList{QStringLiteral(TAVRIK_SOURCE_DIR "/Tests/Gtk4Desktop/gtk4_app.py")} +
                arguments);
    else
        m_process.start(qtProgram, arguments);
    waitUntil(
        [&] {
            readLines();
            return started();
        },
        15000);
}

TaskForm::~TaskForm() {
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

void TaskForm::readLines() {
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

QString TaskForm::errors() {
    m_errors += QString::fromUtf8(m_process.readAllStandardError());
    return m_errors;
}

QList<QJsonObject> TaskForm::events() {
    readLines();
    return m_events;
}

std::optional<QJsonObject> TaskForm::waitForEvent(const QString& name, int timeoutMs) {
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
