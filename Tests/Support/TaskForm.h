#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QStringList>
#include <optional>

namespace tavrik::test {

// The replay tests' order form running as a child process: task_app.py (GTK 3), gtk4_app.py (a
// smaller GTK 4 one) or the Qt build of it at `qtProgram`. It prints JSON lines: its layout (with
// its pid) once it is shown, then one line per thing that happens in it (Save, Delete All).
class TaskForm {
public:
    enum class Toolkit { gtk, qt, gtk4 };

    // Waits until the form has shown itself.
    TaskForm(Toolkit toolkit, const QString& qtProgram, const QStringList& arguments,
             const QProcessEnvironment& environment);
    ~TaskForm();
    TaskForm(const TaskForm&) = delete;
    TaskForm& operator=(const TaskForm&) = delete;

    bool started() const { return !m_layout.isEmpty(); }
    qint64 pid() const { return m_process.processId(); }
    const QJsonObject& layout() const { return m_layout; }
    // Events printed so far.
    QList<QJsonObject> events();
    // What the GTK 4 form wrote to standard error so far (the others' goes to the test's).
    QString errors();
    // Waits up to `timeoutMs` for an event whose "event" is `name`; the last such one.
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs);

private:
    void readLines();

    QProcess m_process;
    QJsonObject m_layout;
    QList<QJsonObject> m_events;
    QString m_errors;
};

} // namespace tavrik::test
