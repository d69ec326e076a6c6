#include "Support/Desktop/TaskApp.h"

#include <QJsonArray>

namespace tavrik::test {

namespace {
QProcessEnvironment formEnvironment() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Qt shows its accessibility tree only when told to at start.
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    return environment;
}
} // namespace

TaskApp::TaskApp(Toolkit toolkit, const QStringList& arguments)
    : m_form(toolkit, QStringLiteral(TAVRIK_QT_TASK_APP), arguments, formEnvironment()) {}

Rect TaskApp::rect(const char* widget) const {
    const QJsonArray r = m_form.layout().value(QLatin1String(widget)).toArray();
    return Rect(r[0].toDouble(), r[1].toDouble(), r[2].toDouble(), r[3].toDouble());
}

Point TaskApp::centre(const char* widget) const {
    const Rect r = rect(widget);
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

} // namespace tavrik::test
