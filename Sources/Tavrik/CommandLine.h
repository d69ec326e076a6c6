#pragma once

#include <QStringList>
#include <QTextStream>

namespace tavrik {

// The command line for people and scripts. Every command here runs without a display.
int runCommandLine(int argc, char** argv);

// The same, on already-split arguments (without the program name), for tests.
int runCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
