#include "NativeForm.h"

namespace tavrik::test {

namespace {
QProcessEnvironment nativeEnvironment() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Native clients only: nothing may fall back to X.
    environment.remove(QStringLiteral("DISPLAY"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
    // Without an X root property to read, Qt exports its tree on Wayland only when told to.
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    return environment;
}
} // namespace

NativeForm::NativeForm(Toolkit toolkit, const QStringList& arguments)
    : m_form(toolkit, QStringLiteral(TAVRIK_QT_TASK_APP), arguments, nativeEnvironment()) {}

QString NativeForm::appID(Toolkit toolkit) {
    return toolkit == Toolkit::gtk ? QStringLiteral("org.tavrik.TaskForm")
                                   : QStringLiteral("tavrik-qt-task-form");
}

} // namespace tavrik::test
