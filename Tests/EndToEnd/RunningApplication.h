#pragma once

#include "AccessibleTree.h"

#include <QProcess>
#include <QProcessEnvironment>

namespace tavrik::test {

// The real `tavrik` program started as a user starts it, on the test desktop, with its
// accessibility tree exported so a test can read what it shows.
class RunningApplication {
public:
    explicit RunningApplication(QProcessEnvironment environment);
    ~RunningApplication();
    RunningApplication(const RunningApplication&) = delete;
    RunningApplication& operator=(const RunningApplication&) = delete;

    bool isRunning() const { return m_process.state() == QProcess::Running; }
    qint64 pid() const { return m_process.processId(); }

    // The first showing node that matches, once it appears within the time given.
    std::optional<AccessibleNode> waitFor(const std::function<bool(const AccessibleNode&)>& matches,
                                          int timeoutMs = 5000);
    std::optional<AccessibleNode> waitFor(const QString& role, const QString& name,
                                          int timeoutMs = 5000);
    // The pill's window (with the skill panel in it), and its status as screen readers hear it
    // ("Ready", "Recording…", ...).
    std::optional<AccessibleNode> pill();
    // A showing top-level window by its title.
    std::optional<AccessibleNode> window(const QString& title);
    QString pillStatus();
    bool waitForPillStatus(const QString& status, int timeoutMs = 5000);

private:
    QProcess m_process;
};

} // namespace tavrik::test
