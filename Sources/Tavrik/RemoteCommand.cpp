#include "Tavrik/RemoteCommand.h"

#include "Tavrik/CommandFailure.h"
#include "Tavrik/Shell/RemoteControl.h"
#include "Tavrik/SkillArguments.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>

namespace tavrik {

int runRemoteCommand(const QString& command, const QStringList& arguments, QTextStream& out,
                     QTextStream& err) {
    Q_UNUSED(out);
    const bool casting = command == QStringLiteral("cast");
    QString misuse;
    const std::optional<SkillArguments> parsed =
        parseSkillArguments(command, arguments, {QStringLiteral("--in-app")}, &misuse);
    if (!parsed)
        return failCommand(err, misuse, 2);
    if (!casting && parsed->ref)
        return failCommand(
            err, QStringLiteral("%1 takes no arguments (see tavrik --help)").arg(command), 2);
    if (casting && !parsed->ref)
        return failCommand(
            err, QStringLiteral("cast needs a skill: an id, a slash command or a folder"), 2);

    QDBusInterface tavrik(
        QString::fromLatin1(RemoteControl::service), QString::fromLatin1(RemoteControl::path),
        QString::fromLatin1(RemoteControl::interface), QDBusConnection::sessionBus());
    if (!tavrik.isValid())
        return failCommand(
            err, QStringLiteral("Tavrik is not running in this session: start it first"), 1);
    if (casting) {
        QStringList assignments;
        for (auto it = parsed->values.cbegin(); it != parsed->values.cend(); ++it)
            assignments.append(it.key() + u'=' + it.value());
        const QDBusReply<QString> reply =
            tavrik.call(QStringLiteral("cast"), *parsed->ref, assignments);
        if (!reply.isValid())
            return failCommand(err, reply.error().message(), 1);
        return reply.value().isEmpty() ? 0 : failCommand(err, reply.value(), 1);
    }
    const QDBusReply<void> reply =
        tavrik.call(command == QStringLiteral("record") ? QStringLiteral("toggleRecording")
                                                        : QStringLiteral("openPalette"));
    return reply.isValid() ? 0 : failCommand(err, reply.error().message(), 1);
}

} // namespace tavrik
