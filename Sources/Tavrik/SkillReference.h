#pragma once

#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Support/Result.h"

namespace tavrik {

struct ResolvedSkill {
    Skill skill;
    QString folder;
};

// What the user typed to name a skill: a skill folder, a skill id, or a slash command (the
// leading "/" may be left out).
Result<ResolvedSkill> resolveSkillReference(const QString& ref);

} // namespace tavrik
