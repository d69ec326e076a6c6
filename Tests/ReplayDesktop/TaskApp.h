#pragma once

#include "TavrikCore/Models/Rect.h"

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QStringList>

namespace tavrik::test {

// task_app.py (GTK) or QtTaskApp running on the test display: its widgets' rectangles, and the
// JSON lines it prints when something happens (Save, Delete All).
class TaskApp {
public:
    enum class Toolkit { gtk, qt };

    TaskApp(Toolkit toolkit, const QStringList& arguments = {});
    ~TaskApp();

    bool started() const { return m_started; }
    Rect rect(const char* widget) const;
    Point centre(const char* widget) const;
    // Events printed so far; waits up to `timeoutMs` for one with "event" equal to `name`.
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs);
    QList<QJsonObject> events();

private:
    void readLines();
    QProcess m_process;
    QJsonObject m_layout;
    QList<QJsonObject> m_events;
    bool m_started = false;
};

} // namespace tavrik::test
