#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// `tavrik export-skills DIR`: every skill of the library as a folder other agent tools read.
int exportSkills(const QStringList& arguments, QTextStream& out, QTextStream& err);
// `tavrik import-skill DIR`: such a folder (or any SKILL.md folder) added to the library.
int importSkill(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
