#include "Tavrik/Shell/RemoteControl.h"

#include "Tavrik/AppState.h"
#include "Tavrik/SkillArguments.h"
#include "Tavrik/SkillReference.h"

#include <QDBusConnection>

namespace tavrik {

RemoteControl::RemoteControl(AppState* app, std::function<void()> showMainWindow, QObject* parent)
    : QObject(parent), m_app(app), m_showMainWindow(std::move(showMainWindow)) {}

bool RemoteControl::registerOnSessionBus() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.registerService(QString::fromLatin1(service)))
        return false;
    return bus.registerObject(QString::fromLatin1(path), this,
                              QDBusConnection::ExportScriptableSlots);
}

void RemoteControl::activate() {
    if (m_showMainWindow)
        m_showMainWindow();
}

void RemoteControl::toggleRecording() {
    m_app->toggleRecording();
}

void RemoteControl::openPalette() {
    m_app->openPalette();
}

QString RemoteControl::cast(const QString& ref, const QStringList& assignments) {
    QString error;
    const std::optional<SkillArguments> parsed =
        parseSkillArguments(QStringLiteral("cast"), QStringList{ref} + assignments, {}, &error);
    if (!parsed)
        return error;
    const Result<ResolvedSkill> resolved = resolveSkillReference(ref);
    if (!resolved.ok())
        return resolved.error();
    if (const std::optional<QString> unknown = unknownParameter(resolved->skill, parsed->values))
        return *unknown;
    if (m_app->state().kind() != TavrikState::Kind::idle)
        return QStringLiteral("Tavrik is busy: finish or stop what it is doing first");
    // After the answer: a destructive skill asks first, and the caller must not wait on that.
    QMetaObject::invokeMethod(
        m_app,
        [app = m_app, skill = resolved->skill, values = parsed->values] {
            app->cast(skill, values);
        },
        Qt::QueuedConnection);
    return {};
}

} // namespace tavrik
