#pragma once

#include <QDeadlineTimer>
#include <QHash>

namespace tavrik::atspi {

// Applications that stopped answering accessibility calls, left alone for a while so that a hung
// one costs little. One unanswered question is not enough: on a loaded machine a just-started
// application misses a reply now and then and answers the next one, and leaving it alone would
// make everything asked of it meanwhile unreadable (a recording's clicks without their elements,
// its typing counted as secret). Two questions in a row without an answer are enough.
class QuietApplications {
public:
    void setCooldown(int ms) { m_cooldownMs = ms; }

    bool contains(qint64 pid) {
        auto it = m_until.find(pid);
        if (it == m_until.end()) {
            return false;
        }
        if (it->hasExpired()) {
            m_until.erase(it);
            return false;
        }
        return true;
    }

    // After a question to `pid`: whether one of its calls went unanswered.
    void questionEnded(qint64 pid, bool unanswered) {
        if (!unanswered) {
            m_misses.remove(pid);
            return;
        }
        if (++m_misses[pid] >= 2) {
            m_misses.remove(pid);
            m_until.insert(pid, QDeadlineTimer(m_cooldownMs));
        }
    }

private:
    int m_cooldownMs = 3000;
    QHash<qint64, int> m_misses;
    QHash<qint64, QDeadlineTimer> m_until;
};

} // namespace tavrik::atspi
