#include "DesktopApp.h"

#include "Support/CoreApplication.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <csignal>

namespace tavrik::test {

DesktopApp::DesktopApp(const QStringList& arguments, Toolkit toolkit) {
    ensureCoreApplication();
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (toolkit == Toolkit::qt) {
        // Qt exports its tree only when accessibility was on before it started.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
        env.insert("QT_QPA_PLATFORM", "xcb");
        m_process.setProcessEnvironment(env);
        m_process.start(QStringLiteral(TAVRIK_QT_FORM), arguments);
    } else {
        // The system interpreter: the one first on PATH may lack the GObject bindings.
        m_process.start("/usr/bin/python3",
                        QStringList{QStringLiteral(TAVRIK_SOURCE_DIR "/Tests/AtSpi/form_app.py")} +
                            arguments);
    }
    if (!m_process.waitForStarted(5000)) {
        return;
    }
    // The layout is the first JSON line; what the form says before it is kept for waitForLine.
    while (m_layout.isEmpty()) {
        while (!m_process.canReadLine() && m_process.waitForReadyRead(10000)) {
        }
        if (!m_process.canReadLine()) {
            break;
        }
        const QByteArray line = m_process.readLine();
        m_layout = QJsonDocument::fromJson(line).object();
        if (m_layout.isEmpty()) {
            m_lines.append(QString::fromUtf8(line).trimmed());
        }
    }
    m_started = !m_layout.isEmpty();
}

DesktopApp::~DesktopApp() {
    if (m_paused) {
        resume();
    }
    m_process.kill();
    m_process.waitForFinished(3000);
}

Rect DesktopApp::rect(const char* widget) const {
    const QJsonArray r = m_layout.value(QString::fromLatin1(widget)).toArray();
    return Rect(r.at(0).toDouble(), r.at(1).toDouble(), r.at(2).toDouble(), r.at(3).toDouble());
}

Point DesktopApp::centre(const char* widget) const {
    const Rect r = rect(widget);
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

bool DesktopApp::waitForLine(const QString& line, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (true) {
        while (m_process.canReadLine()) {
            m_lines.append(QString::fromUtf8(m_process.readLine()).trimmed());
        }
        if (m_lines.removeOne(line)) {
            return true;
        }
        if (deadline.hasExpired() || m_process.state() != QProcess::Running) {
            return false;
        }
        m_process.waitForReadyRead(int(std::max<qint64>(1, deadline.remainingTime())));
    }
}

void DesktopApp::discardLines() {
    while (m_process.waitForReadyRead(0)) {
    }
    m_process.readAll();
    m_lines.clear();
}

void DesktopApp::pause() {
    ::kill(pid_t(m_process.processId()), SIGSTOP);
    m_paused = true;
}

void DesktopApp::resume() {
    ::kill(pid_t(m_process.processId()), SIGCONT);
    m_paused = false;
}

} // namespace tavrik::test
