#pragma once

#include "Support/Desktop/DebianApp.h"

#include <QString>
#include <memory>

namespace tavrik {
class AXResolver;
} // namespace tavrik

namespace tavrik::test {

class Demonstration;

// Tasks in applications from Debian's archive that the desktop tests and the replay benchmark
// both demonstrate: how each application is started for them and what a person does in it.
namespace debian {

// galculator: 12 + 30 =, with parameters `first` and `second`.
extern const char* const kSumSkill;
// mousepad: "Hello Ada" saved as letter1.txt, with parameters `full_name` and `file_name`.
extern const char* const kLetterSkill;

const QString& calculatorProgram();
const QString& editorProgram();
// Started with `setup`; its main window has shown when `window` finds it.
std::unique_ptr<DebianApp> startCalculator(const DebianApp::Setup& setup = {});
std::unique_ptr<DebianApp> startEditor(const DebianApp::Setup& setup = {});
// Titles of their main windows.
QString calculatorTitle();
QString editorTitle();

// Types 12, clicks "+", types 30, clicks "=" (digits typed, operators clicked).
bool demonstrateSum(Demonstration& demonstration, DesktopActor& actor);
// Clicks the page, types "Hello Ada", opens File → Save As… from the menu, types letter1.txt
// once the chooser's name field has the keyboard and clicks Save: the file goes into the folder
// the editor was started in. With a `place`, the chooser's sidebar place of that name is clicked
// first (on its words, as a person aims), then the name field: the file goes into that place.
bool demonstrateLetter(Demonstration& demonstration, DesktopActor& actor, AXResolver& probe,
                       const QString& place = {});

// What the calculator's display shows now.
std::optional<QString> display(DebianApp& calculator, DesktopActor& actor);

} // namespace debian
} // namespace tavrik::test
