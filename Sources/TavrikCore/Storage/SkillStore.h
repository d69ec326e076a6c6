#pragma once

#include "TavrikCore/Models/Skill.h"

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
    std::optional<QString>
    save(const Skill& skill, const std::optional<QString>& markdownOverride = std::nullopt) const;
    // The same files in another folder (an export), which `load` reads back.
    std::optional<QString>
    saveInto(const QString& folder, const Skill& skill,
             const std::optional<QString>& markdownOverride = std::nullopt) const;
    // Newest first; folders that fail to load are skipped.
    QList<Skill> loadAll() const;
    // Fails only when SKILL.md cannot be read as UTF-8 text; a broken plan document degrades
    // the skill to what SKILL.md holds.
    std::optional<Skill> load(const QString& folder, QString* error = nullptr) const;
    std::optional<QString> remove(const Skill& skill) const;
    // The text of the skill's SKILL.md, read as `load` reads it.
    std::optional<QString> markdown(const Skill& skill, QString* error = nullptr) const;
    QString markdownPath(const Skill& skill) const;
};

} // namespace tavrik
