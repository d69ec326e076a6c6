#pragma once

#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Support/Result.h"

#include <optional>

// A skill as a folder other agent tools read: SKILL.md with only `name`, `description` and
// `metadata` (Tavrik's own values as strings) in its front matter and the skill's instructions
// as its body; the subfolder "tavrik" keeps Tavrik's SKILL.md and plan document whole, so an
// import loses nothing.
namespace tavrik::AgentSkillFolder {

inline constexpr auto tavrikSubfolder = "tavrik";

// Lower-case ASCII letters and digits joined by single hyphens, at most 64 characters, as
// such tools require of a name; accents are dropped ("Café Order" → "cafe-order"), and a name
// with nothing left becomes "skill".
QString folderName(const QString& skillName);

// The SKILL.md of the exported folder `name`, from the skill and its own SKILL.md text.
QString markdown(const Skill& skill, const QString& name, const QString& tavrikMarkdown);

// Writes the folder DIR/NAME. Fails when it exists already, so nothing is overwritten.
Result<> write(const Skill& skill, const QString& tavrikMarkdown, const QString& folder);

struct Imported {
    Skill skill;
    QString markdown; // kept as the skill's SKILL.md, byte for byte
};

// A folder written by `write`, or any folder with a SKILL.md that has a name and a description.
Result<Imported> read(const QString& folder);

} // namespace tavrik::AgentSkillFolder
