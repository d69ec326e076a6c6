#include "Tavrik/SkillArguments.h"

namespace tavrik {

std::optional<SkillArguments> parseSkillArguments(const QString& command,
                                                  const QStringList& arguments,
                                                  const QStringList& known, QString* error) {
    SkillArguments parsed;
    for (const QString& argument : arguments) {
        if (known.contains(argument)) {
            parsed.options.insert(argument);
        } else if (argument.startsWith(QStringLiteral("--"))) {
            *error = QStringLiteral("unknown option for %1: %2 (see tavrik --help)")
                         .arg(command, argument);
            return std::nullopt;
        } else if (!parsed.ref) {
            parsed.ref = argument;
        } else if (const qsizetype equals = argument.indexOf(u'='); equals > 0) {
            parsed.values.insert(argument.left(equals), argument.mid(equals + 1));
        } else {
            *error = QStringLiteral("parameters are given as name=value, not %1").arg(argument);
            return std::nullopt;
        }
    }
    return parsed;
}

std::optional<QString> unknownParameter(const Skill& skill, const QMap<QString, QString>& values) {
    QStringList names;
    for (const Parameter& p : skill.parameters) {
        names.append(p.name);
    }
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (!names.contains(it.key())) {
            return QStringLiteral("“%1” has no parameter %2 (it has: %3)")
                .arg(skill.name, it.key(),
                     names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", ")));
        }
    }
    return std::nullopt;
}

} // namespace tavrik
