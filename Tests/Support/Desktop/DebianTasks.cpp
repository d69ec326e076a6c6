#include "Support/Desktop/DebianTasks.h"

#include "Support/Desktop/Demonstration.h"
#include "Support/WaitUntil.h"
#include "TavrikCore/Recorder/AXResolver.h"
#include "TavrikCore/Replay/DesktopActor.h"

namespace tavrik::test::debian {

const char* const kSumSkill = R"(---
name: Add two numbers
trigger: add two numbers
parameters:
  - name: first
    type: text
    prompt: The first number?
    example: 12
  - name: second
    type: text
    prompt: The second number?
    example: 30
---

# Add two numbers

Adds two numbers on the calculator.
)";

const char* const kLetterSkill = R"(---
name: Write a letter
trigger: write a letter to someone
parameters:
  - name: full_name
    type: text
    prompt: To whom?
    example: Ada
  - name: file_name
    type: text
    prompt: Saved as?
    example: letter1
---

# Write a letter

Writes a greeting in the text editor and saves it under a new name.
)";

const QString& calculatorProgram() {
    static const QString program = QStringLiteral("/usr/bin/galculator");
    return program;
}

const QString& editorProgram() {
    static const QString program = QStringLiteral("/usr/bin/mousepad");
    return program;
}

std::unique_ptr<DebianApp> startCalculator(const DebianApp::Setup& setup) {
    return std::make_unique<DebianApp>(calculatorProgram(), QStringList{},
                                       QStringLiteral("Galculator"), setup);
}

std::unique_ptr<DebianApp> startEditor(const DebianApp::Setup& setup) {
    // Its own instance: another mousepad on the display would open the window instead.
    return std::make_unique<DebianApp>(editorProgram(),
                                       QStringList{QStringLiteral("--disable-server")},
                                       QStringLiteral("org.xfce.mousepad"), setup);
}

QString calculatorTitle() {
    return QStringLiteral("galculator");
}

QString editorTitle() {
    return QStringLiteral("Mousepad");
}

namespace {
bool clickNamed(Demonstration& demonstration, DesktopActor& actor, const QString& role,
                const QString& name) {
    const std::optional<Rect> r = Demonstration::find(actor, role, name, 15000);
    if (r)
        demonstration.click(centre(*r));
    return r.has_value();
}

// The chooser's file name field: the first showing field of its window.
std::optional<Rect> nameField(DesktopActor& actor) {
    std::optional<Rect> found;
    waitUntil(
        [&] {
            for (const LiveWindow& window : actor.windows())
                if (window.title == QStringLiteral("Save As"))
                    for (const LiveElement& e : actor.elements(window, QStringLiteral("text"), 20))
                        if (e.showing && e.frame.size.width > 0 && e.frame.size.height > 0) {
                            found = e.frame;
                            return true;
                        }
            return false;
        },
        15000);
    return found;
}
} // namespace

bool demonstrateSum(Demonstration& demonstration, DesktopActor& actor) {
    const std::optional<Rect> plus =
        Demonstration::find(actor, QStringLiteral("toggle button"), QStringLiteral("+"), 15000);
    const std::optional<Rect> equals =
        Demonstration::find(actor, QStringLiteral("toggle button"), QStringLiteral("="), 15000);
    if (!plus || !equals)
        return false;
    demonstration.type(QStringLiteral("12"));
    demonstration.click(centre(*plus));
    demonstration.type(QStringLiteral("30"));
    demonstration.click(centre(*equals));
    return true;
}

bool demonstrateLetter(Demonstration& demonstration, DesktopActor& actor, AXResolver& probe,
                       const QString& place) {
    const std::optional<Rect> page =
        Demonstration::find(actor, QStringLiteral("text"), QString(), 15000);
    if (!page)
        return false;
    demonstration.click(centre(*page));
    demonstration.type(QStringLiteral("Hello Ada"));
    if (!clickNamed(demonstration, actor, QStringLiteral("menu"), QStringLiteral("File")) ||
        !clickNamed(demonstration, actor, QStringLiteral("menu item"),
                    QStringLiteral("Save As...")))
        return false;
    // A person types the name once the chooser's name field has the keyboard.
    if (!waitUntil(
            [&] {
                const std::optional<AXTarget> focus = probe.focusedTarget();
                return focus && focus->windowTitle == QStringLiteral("Save As") &&
                       focus->axRole == QStringLiteral("text");
            },
            15000))
        return false;
    const std::optional<Rect> save =
        Demonstration::find(actor, QStringLiteral("push button"), QStringLiteral("Save"), 15000);
    if (!save)
        return false;
    if (!place.isEmpty()) {
        if (!clickNamed(demonstration, actor, QStringLiteral("label"), place))
            return false;
        const std::optional<Rect> field = nameField(actor);
        if (!field)
            return false;
        demonstration.click(centre(*field));
    }
    // Only the name: a typed path has the chooser complete each folder in a list of its own,
    // which takes the next click.
    demonstration.type(QStringLiteral("letter1.txt"));
    demonstration.click(centre(*save));
    return true;
}

std::optional<QString> display(DebianApp& calculator, DesktopActor& actor) {
    const std::optional<LiveWindow> window = calculator.window(actor, calculatorTitle(), 2000);
    if (!window)
        return std::nullopt;
    return calculator.text(actor, *window, QStringLiteral("text"));
}

} // namespace tavrik::test::debian
