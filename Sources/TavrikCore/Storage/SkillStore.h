#pragma once

#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Support/Result.h"

namespace tavrik {

// The skill library: skills/<ID>/ holding SKILL.md, execution_plan.json and, for skills made
// from a recording, recording.ref. Holds no state; every call goes to the file system. Each file
// is read only when it is a regular file of a sensible size, so a pipe, a device or a huge file
// dropped into a skill folder costs that skill, never the library. A skill folder that is a
// symbolic link is read through, refused for saving, and removed as a link only.
class SkillStore {
public:
    // Writes the folder; `markdownOverride` replaces the rendered SKILL.md (the user's edits).
    // Stops at the first failure, whose message is returned; files already written stay.
    Result<> save(const Skill& skill,
                  const std::optional<QString>& markdownOverride = std::nullopt) const;
    // The same files in another folder (an export), which `load` reads back.
    Result<> saveInto(const QString& folder, const Skill& skill,
                      const std::optional<QString>& markdownOverride = std::nullopt) const;
    // Newest first; folders that fail to load are skipped.
    QList<Skill> loadAll() const;
    // Fails only when SKILL.md cannot be read as UTF-8 text; a broken plan document degrades
    // the skill to what SKILL.md holds.
    Result<Skill> load(const QString& folder) const;
    Result<> remove(const Skill& skill) const;
    // The text of the skill's SKILL.md, read as `load` reads it.
    Result<QString> markdown(const Skill& skill) const;
    QString markdownPath(const Skill& skill) const;
};

} // namespace tavrik
