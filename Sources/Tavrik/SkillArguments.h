#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QMap>
#include <QSet>
#include <QStringList>
#include <optional>

namespace tavrik {

// What `tavrik COMMAND REF [name=value ...] [options]` was given.
struct SkillArguments {
    std::optional<QString> ref;
    QMap<QString, QString> values;
    QSet<QString> options;
};

// Splits the arguments of a command that runs a skill; `known` are the options it takes. On
// misuse, nothing and the one-line reason.
std::optional<SkillArguments> parseSkillArguments(const QString& command,
                                                  const QStringList& arguments,
                                                  const QStringList& known, QString* error);

// Why `values` cannot be given to `skill` (a name it has no parameter for), or nothing.
std::optional<QString> unknownParameter(const Skill& skill, const QMap<QString, QString>& values);

} // namespace tavrik
