#include "TavrikCore/Storage/RunContext.h"

namespace tavrik {

RunContext::RunContext(Skill skill, QMap<QString, QString> parameters)
    : m_skill(std::move(skill)), m_parameters(std::move(parameters)) {}

void RunContext::abort() {
    QMutexLocker locker(&m_lock);
    m_aborted.store(true, std::memory_order_release);
}

void RunContext::record(const AuditEntry& entry) {
    QMutexLocker locker(&m_lock);
    m_auditLog.append(entry);
}

QList<AuditEntry> RunContext::auditLog() const {
    QMutexLocker locker(&m_lock);
    return m_auditLog;
}

QString RunContext::fill(const QString& templateText) const {
    QString result = templateText;
    for (auto it = m_parameters.cbegin(); it != m_parameters.cend(); ++it)
        result.replace(QStringLiteral("{{") + it.key() + QStringLiteral("}}"), it.value(),
                       Qt::CaseSensitive);
    return result;
}

} // namespace tavrik
