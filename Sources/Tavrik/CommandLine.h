#pragma once

#include <QStringList>
#include <QTextStream>
#include <optional>

namespace tavrik {

// No arguments, or only Qt's own options with their values (-style fusion, -platform xcb,
// -reverse, ...), start the desktop application, which hands them to QApplication; anything
// else is a command. Takes the arguments without the program name.
bool startsDesktopApplication(const QStringList& arguments);
// The arguments as QApplication reads them: an option with its value after "=" (-platform=xcb,
// which Qt itself takes only for a few) becomes the option and the value.
QStringList toolkitArguments(const QStringList& arguments);
// The value the last of Qt's `option` gives ("-platform" in `-platform offscreen`, "-style" in
// `--style=fusion`), read as QApplication reads it; nothing when it is not given.
std::optional<QString> toolkitOptionValue(const QStringList& arguments, QStringView option);

// The command line for people and scripts. Every command here runs without a display.
int runCommandLine(int argc, char** argv);

// The same, on already-split arguments (without the program name), for tests.
int runCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

} // namespace tavrik
