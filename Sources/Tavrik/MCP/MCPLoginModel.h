#pragma once

#include <QObject>
#include <QString>
#include <functional>

namespace tavrik {

// What the login prompt for a tool server shows: asking, waiting for the browser, or why it
// did not work. The prompt window draws it; its two actions call back.
class MCPLoginModel : public QObject {
    Q_OBJECT
public:
    struct Phase {
        enum class Kind { prompt, authenticating, failed };
        Kind kind = Kind::prompt;
        QString message; // failed only

        static Phase prompt() { return {}; }
        static Phase authenticating() { return {Kind::authenticating, {}}; }
        static Phase failed(const QString& message) { return {Kind::failed, message}; }
        bool operator==(const Phase&) const = default;
    };

    MCPLoginModel(QString skillName, QString serviceName, QObject* parent = nullptr)
        : QObject(parent), m_skillName(std::move(skillName)),
          m_serviceName(std::move(serviceName)) {}

    const Phase& phase() const { return m_phase; }
    void setPhase(const Phase& phase) {
        if (phase == m_phase)
            return;
        m_phase = phase;
        emit phaseChanged();
    }
    const QString& skillName() const { return m_skillName; }
    const QString& serviceName() const { return m_serviceName; }

    std::function<void()> onLogin;
    std::function<void()> onCancel;

signals:
    void phaseChanged();

private:
    Phase m_phase;
    QString m_skillName;
    QString m_serviceName;
};

} // namespace tavrik
