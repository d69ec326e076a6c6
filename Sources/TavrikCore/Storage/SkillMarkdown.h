#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QStringList>
#include <optional>

// The SKILL.md text form of a skill. Rendering writes the whole plan into the body; parsing is
// lenient and reads only the front matter (plus the first body line as a summary fallback), so
// the plan survives a round trip only through execution_plan.json.
namespace tavrik::SkillMarkdown {

QString render(const Skill& skill);

// Every text yields a skill; the optional exists so callers keep an error path.
std::optional<Skill> parse(const QString& text);

// A front-matter value as render writes it: quoted (inner quotes escaped) only when it holds
// ":", "#", "," or "[" or starts with a blank.
QString frontMatterValue(const QString& value);

// The numbered steps under the body's "## Instructions" (or "## Steps") heading, without their
// numbers, as the user reads them; empty when there is no such list.
QStringList instructionSteps(const QString& text);

// What follows the front matter, as parse splits it (the whole text when there is none).
QString body(const QString& text);

} // namespace tavrik::SkillMarkdown
