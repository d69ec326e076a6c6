#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// `tavrik cast REF [name=value ...] [--yes]`: runs a skill through the agent runtime without
// the interface, printing its progress; Ctrl-C stops it like Esc. Needs a running
// QCoreApplication.
int castSkill(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
