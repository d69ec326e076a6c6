#pragma once

#include "Support/TaskForm.h"
#include "TavrikCore/Models/Rect.h"

namespace tavrik::test {

// The task form on the test display (X11), with its widgets' screen rectangles.
class TaskApp {
public:
    using Toolkit = TaskForm::Toolkit;

    explicit TaskApp(Toolkit toolkit, const QStringList& arguments = {});

    bool started() const { return m_form.started(); }
    Rect rect(const char* widget) const;
    Point centre(const char* widget) const;
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs) {
        return m_form.waitForEvent(name, timeoutMs);
    }
    QList<QJsonObject> events() { return m_form.events(); }

private:
    TaskForm m_form;
};

} // namespace tavrik::test
