#pragma once

#include "Support/TaskForm.h"
#include "Support/WaitUntil.h"

namespace tavrik::test {

// The Wayland tests' name for the shared wait.
inline bool waitFor(const std::function<bool()>& done, int timeoutMs) {
    return waitUntil(done, timeoutMs);
}

// The replay tests' GTK or Qt order form, started as a native Wayland client of the session's
// compositor; the JSON lines it prints when saved.
class NativeForm {
public:
    using Toolkit = TaskForm::Toolkit;

    // `arguments` go to the form (the GTK one takes --quantity for a slider).
    explicit NativeForm(Toolkit toolkit, const QStringList& arguments = {});

    bool started() const { return m_form.started(); }
    qint64 pid() const { return m_form.pid(); }
    // The identity X11 gives the form, which recordings carry.
    static QString appID(Toolkit toolkit);
    QList<QJsonObject> events() { return m_form.events(); }
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs) {
        return m_form.waitForEvent(name, timeoutMs);
    }

private:
    TaskForm m_form;
};

} // namespace tavrik::test
