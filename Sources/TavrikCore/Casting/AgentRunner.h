#pragma once

#include "TavrikCore/Casting/ProcessStarter.h"
#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Storage/RunContext.h"

#include <QMap>
#include <QObject>
#include <QPointer>
#include <memory>

namespace tavrik {

struct AgentRunOptions {
    // The text of secure steps by step position, for a replay; handed over on the child's
    // standard input, never on its command line.
    QMap<qsizetype, QString> secrets;
    // Find every step's element and act on nothing (replays only).
    bool checkOnly = false;
};

// Runs one skill in a process from `starter` and turns its output lines into progress phrases,
// the run's audit trail and a final summary. One runner per run. The process is the agent
// runtime, or, for a skill whose recorded plan is replayed, `tavrik replay`: both speak the same
// lines.
class AgentRunner : public QObject {
    Q_OBJECT
public:
    explicit AgentRunner(ProcessStarter& starter, QObject* parent = nullptr);
    ~AgentRunner() override;

    using Options = AgentRunOptions;

    // Main thread. Results arrive through `progress` and, exactly once, `finished` (not after
    // `cancel`).
    // `skillFolder` defaults to the skill's folder in the library.
    void run(const Skill& skill, const QMap<QString, QString>& parameters,
             const QString& skillFolder = {}, const Options& options = {});

    // Ends the process and everything it started, and marks the run aborted. No `finished`
    // follows.
    void cancel(int graceMs = 1500);

    // The shared state of the run (nothing before `run`): its skill and values, the abort flag
    // and one audit entry per tool the process reported.
    std::shared_ptr<RunContext> context() const { return m_context; }
    // The tools used so far, in order.
    QList<QString> steps() const;
    const QString& lastSummary() const { return m_lastSummary; }
    bool isRunning() const { return m_process != nullptr; }

    // The phrase a person sees for one trimmed output line, or nothing.
    static std::optional<QString> humanize(const QString& line);

signals:
    void progress(const QString& phrase);
    void finished(bool success, const QString& summary);

private:
    void readOutput(const QByteArray& data);
    void handle(const QString& line);
    void processEnded(bool success);

    ProcessStarter& m_starter;
    std::shared_ptr<RunContext> m_context;
    QPointer<RuntimeProcess> m_process;
    bool m_agentic = true;
    QString m_lastSummary;
};

} // namespace tavrik
