#pragma once

#include "TavrikCore/Models/RunRecord.h"
#include "TavrikCore/Models/Skill.h"

#include <QMap>

// What every cast does the same way, from the palette or from the terminal.
namespace tavrik::CastRules {

// Parameters without a value, or with an empty one, take their example value.
QMap<QString, QString> completeParameters(const Skill& skill, const QMap<QString, QString>& given);

struct DestructiveWarning {
    QString message;
    QString details;
};
// The question asked before a skill that can submit, send, delete or overwrite; nothing when
// no step is marked destructive.
std::optional<DestructiveWarning> destructiveWarning(const Skill& skill);

// The line shown when a run ends.
QString outcomeText(bool success, const QString& summary);

RunRecord runRecord(const QDateTime& startedAt, const Skill& skill, const QList<QString>& steps,
                    bool success);

} // namespace tavrik::CastRules
