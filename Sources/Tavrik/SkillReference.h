#pragma once

#include "TavrikCore/Models/Skill.h"

namespace tavrik {

struct ResolvedSkill {
    Skill skill;
    QString folder;
};

// What the user typed to name a skill: a skill folder, a skill id, or a slash command (the
// leading "/" may be left out). The error is one readable line.
std::optional<ResolvedSkill> resolveSkillReference(const QString& ref, QString* error);

} // namespace tavrik
