#pragma once

#include "TavrikCore/Models/Rect.h"

#include <QJsonObject>
#include <QProcess>
#include <QStringList>

namespace tavrik::test {

// The GTK form of form_app.py, or the Qt form (QtForm/), running on the test display, with its
// widgets' screen rectangles. Arguments go to the form as they are.
class DesktopApp {
public:
    enum class Toolkit { gtk, qt };

    explicit DesktopApp(const QStringList& arguments = {}, Toolkit toolkit = Toolkit::gtk);
    ~DesktopApp();

    bool started() const { return m_started; }
    qint64 pid() const { return m_process.processId(); }
    Rect rect(const char* widget) const;
    Point centre(const char* widget) const;

    // Waits, at most `timeoutMs`, for the form to print `line` (what it says when its widgets are
    // used); lines read before count once.
    bool waitForLine(const QString& line, int timeoutMs = 5000);
    // Forgets every line the form has written so far, so a later wait sees only new ones.
    void discardLines();

    void pause();  // SIGSTOP: the application stops answering anything
    void resume(); // SIGCONT

private:
    QProcess m_process;
    QJsonObject m_layout;
    QStringList m_lines;
    bool m_started = false;
    bool m_paused = false;
};

} // namespace tavrik::test
