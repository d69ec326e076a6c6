#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <functional>

namespace tavrik::test {

// Polls `done` (handling events) until it holds or `timeoutMs` pass.
bool waitFor(const std::function<bool()>& done, int timeoutMs);

// The replay tests' GTK or Qt order form, started as a native Wayland client of the session's
// compositor; the JSON lines it prints when saved.
class NativeForm {
public:
    enum class Toolkit { gtk, qt };

    explicit NativeForm(Toolkit toolkit);
    ~NativeForm();

    bool started() const { return m_started; }
    qint64 pid() const { return m_process.processId(); }
    // The identity X11 gives the form, which recordings carry.
    static QString appID(Toolkit toolkit);
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs);

private:
    void readLines();
    QProcess m_process;
    QList<QJsonObject> m_events;
    bool m_started = false;
};

} // namespace tavrik::test
