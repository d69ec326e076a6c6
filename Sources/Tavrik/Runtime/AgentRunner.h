#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QMap>
#include <QObject>
#include <QPointer>
#include <QProcess>

namespace tavrik {

struct AgentRunOptions {
    // The text of secure steps by step position, for a replay; handed over on the child's
    // standard input, never on its command line.
    QMap<qsizetype, QString> secrets;
    // Find every step's element and act on nothing (replays only).
    bool checkOnly = false;
};

// Runs one skill in a child process and turns its output lines into progress phrases, the list
// of tools it used and a final summary. One runner per run. The child is the agent runtime, or,
// for a skill whose recorded plan is replayed, `tavrik replay`: both speak the same lines.
class AgentRunner : public QObject {
    Q_OBJECT
public:
    explicit AgentRunner(QObject* parent = nullptr);
    ~AgentRunner() override;

    using Options = AgentRunOptions;

    // Main thread. Results arrive through `progress` and, exactly once, `finished` (not after
    // `cancel`).
    // `skillFolder` defaults to the skill's folder in the library.
    void run(const Skill& skill, const QMap<QString, QString>& parameters,
             const QString& skillFolder = {}, const Options& options = {});

    // Ends the runtime and everything it started (its whole process group): a polite signal,
    // then a forced one after `grace`. No `finished` follows.
    void cancel(int graceMs = 1500);

    const QList<QString>& steps() const { return m_steps; }
    const QString& lastSummary() const { return m_lastSummary; }
    bool isRunning() const;

    // The phrase a person sees for one trimmed output line, or nothing.
    static std::optional<QString> humanize(const QString& line);

signals:
    void progress(const QString& phrase);
    void finished(bool success, const QString& summary);

private:
    void readOutput();
    void handle(const QString& line);
    void processEnded(int exitCode, QProcess::ExitStatus status);

    QPointer<QProcess> m_process;
    QList<QString> m_steps;
    QString m_lastSummary;
};

} // namespace tavrik
