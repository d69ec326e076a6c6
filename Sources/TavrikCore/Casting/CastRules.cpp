#include "TavrikCore/Casting/CastRules.h"

#include "TavrikCore/Replay/CastRoute.h"

namespace tavrik::CastRules {

QMap<QString, QString> completeParameters(const Skill& skill, const QMap<QString, QString>& given) {
    QMap<QString, QString> complete = given;
    for (const Parameter& parameter : skill.parameters)
        if (complete.value(parameter.name).isEmpty())
            complete.insert(parameter.name, parameter.exampleValue);
    return complete;
}

std::optional<DestructiveWarning> destructiveWarning(const Skill& skill) {
    QStringList lines;
    for (const PlanStep& step : skill.plan)
        if (step.isDestructive)
            lines.append(QStringLiteral("•  ") + step.intent);
    if (lines.isEmpty())
        return std::nullopt;
    return DestructiveWarning{
        QStringLiteral("Let Tavrik run “") + skill.name + QStringLiteral("”?"),
        QStringLiteral("This skill can submit, send, delete, or overwrite something:\n\n") +
            lines.join(u'\n') +
            QStringLiteral(
                "\n\nTavrik will act on its own once you proceed. Press Esc anytime to stop.")};
}

QString outcomeText(bool success, const QString& summary) {
    QString trimmed = summary.trimmed();
    if (!trimmed.isEmpty())
        return trimmed;
    return success ? QStringLiteral("Done.") : QStringLiteral("Couldn't finish the skill.");
}

RunRecord runRecord(const QDateTime& startedAt, const Skill& skill, const QList<QString>& steps,
                    bool success) {
    const bool replayed = CastRoute::method(skill) == CastMethod::replay;
    return RunRecord{
        startedAt, skill.name, replayed ? QStringLiteral("replay") : QStringLiteral("agent"),
        steps.isEmpty() ? QList<QString>{QStringLiteral("(no tool calls)")} : steps, !success};
}

} // namespace tavrik::CastRules
