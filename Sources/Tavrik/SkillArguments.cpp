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

} // namespace tavrik
