#pragma once

#include "TavrikCore/Models/AuditEntry.h"
#include "TavrikCore/Models/Skill.h"

#include <QMap>
#include <QMutex>
#include <atomic>

namespace tavrik {

// The shared state of one run: the skill, the values given for its parameters, the abort flag
// and the audit trail. Shared by reference between the run's participants, possibly on several
// threads.
class RunContext {
public:
    RunContext(Skill skill, QMap<QString, QString> parameters);

    const Skill& skill() const { return m_skill; }
    const QMap<QString, QString>& parameters() const { return m_parameters; }

    // Idempotent; the flag never goes back to false.
    void abort();
    // Runners poll this between steps, so it never waits for the lock.
    bool aborted() const { return m_aborted.load(std::memory_order_acquire); }

    void record(const AuditEntry& entry);
    QList<AuditEntry> auditLog() const;

    // Replaces each "{{name}}" with its value, literally and case-sensitively. Placeholders
    // without a value and filtered ones ("{{q|urlencode}}") stay as they are.
    QString fill(const QString& templateText) const;

private:
    const Skill m_skill;
    const QMap<QString, QString> m_parameters;
    std::atomic<bool> m_aborted{false};
    mutable QMutex m_lock;
    QList<AuditEntry> m_auditLog;
};

} // namespace tavrik
