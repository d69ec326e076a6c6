#pragma once

#include "TavrikCore/Models/Skill.h"

// How a SKILL.md edited by the user changes the skill it was written for. Every save and rename
// path of the application goes through here, so the file, the skill and its plan document agree.
namespace tavrik::SkillEdits {

// `skill` as the edited `markdown` describes it: every field the text carries (its front matter
// and the summary) comes from the text, while the identity (id, creation date, source
// recording) and the plan, which the text does not hold, stay. A runtime or parameter list the
// user left as rendered stays the skill's own, which holds more than the text writes.
Skill merged(const Skill& skill, const QString& markdown);

// `markdown` with the name its front matter gives set to `name`, quoted as rendering quotes it.
// A front matter without a name line gets one; a text without front matter gets one.
QString renamed(const QString& markdown, const QString& name);

} // namespace tavrik::SkillEdits
