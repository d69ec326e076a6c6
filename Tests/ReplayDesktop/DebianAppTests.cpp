#include "DebianApp.h"
#include "Demonstration.h"
#include "DesktopDriver.h"
#include "ReplayProcess.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace tavrik;
using tavrik::test::DebianApp;
using tavrik::test::Demonstration;
using tavrik::test::waitUntil;

namespace {

// Demonstrations in applications from Debian's archive, replayed with other values and in a
// window that moved and changed size: what their toolkits and dialogs do is not ours to shape.
class ReplayDebianApps : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP()
                << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
        ASSERT_TRUE(desktop.isOpen());
    }

    // The centre of the showing element of `role` whose name, trimmed, is `name`.
    std::optional<Point> at(const QString& role, const QString& name, int timeoutMs = 15000) {
        std::optional<Point> found;
        waitUntil(
            [&] {
                for (const LiveWindow& window : actor->windows())
                    for (const LiveElement& e : actor->elements(window, role, 2000))
                        if (e.name.trimmed() == name && e.showing && e.frame.size.width > 0) {
                            found = test::centre(e.frame);
                            return true;
                        }
                return false;
            },
            timeoutMs);
        return found;
    }

    static QString described(const Skill& skill) {
        QStringList lines;
        for (const PlanStep& step : skill.plan)
            lines.append(step.intent + QStringLiteral(" → ") +
                         (step.target
                              ? step.target->axRole.value_or("-") + QStringLiteral(" “") +
                                    step.target->axTitle.value_or(QString()) +
                                    QStringLiteral("” in “") +
                                    step.target->windowTitle.value_or(QString()) +
                                    QStringLiteral("” of ") + step.target->appBundleID.value_or("-")
                              : QStringLiteral("no target")));
        return lines.join(u'\n');
    }

    test::TempSupportFolder support;
    test::DesktopDriver desktop;
    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    std::unique_ptr<AXResolver> probe = DesktopBackend::createAXResolver();
};

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

// Digits typed, operators clicked: the display holds the new sum.
TEST_F(ReplayDebianApps, ACalculatorAddsOtherNumbers) {
    const QString program = QStringLiteral("/usr/bin/galculator");
    if (!DebianApp::isInstalled(program))
        GTEST_SKIP() << "needs galculator";
    const QString appID = QStringLiteral("Galculator");
    std::optional<Skill> skill;
    {
        DebianApp calculator(program, {}, appID);
        const std::optional<LiveWindow> window =
            calculator.window(*actor, QStringLiteral("galculator"), 20000);
        ASSERT_TRUE(window);
        const std::optional<Point> plus = at(QStringLiteral("toggle button"), QStringLiteral("+"));
        const std::optional<Point> equals =
            at(QStringLiteral("toggle button"), QStringLiteral("="));
        ASSERT_TRUE(plus && equals);
        Demonstration demonstration(desktop);
        demonstration.start();
        demonstration.type(QStringLiteral("12"));
        demonstration.click(*plus);
        demonstration.type(QStringLiteral("30"));
        demonstration.click(*equals);
        EXPECT_TRUE(waitUntil(
            [&] {
                return calculator.text(*actor, *window, QStringLiteral("text")) ==
                       QStringLiteral("42");
            },
            5000))
            << calculator.text(*actor, *window, QStringLiteral("text")).value_or("-").toStdString();
        skill = demonstration.save(QString::fromUtf8(kSumSkill));
    }
    ASSERT_TRUE(skill);
    ASSERT_EQ(CastRoute::method(*skill), CastMethod::replay) << described(*skill).toStdString();

    for (const bool moved : {false, true}) {
        SCOPED_TRACE(moved ? "moved and resized" : "unchanged");
        DebianApp calculator(program, {}, appID);
        std::optional<LiveWindow> window =
            calculator.window(*actor, QStringLiteral("galculator"), 20000);
        ASSERT_TRUE(window);
        if (moved) {
            ASSERT_TRUE(calculator.place(Rect(1100, 500, 480, 440)));
            ASSERT_TRUE(waitUntil(
                [&] {
                    window = calculator.window(*actor, QStringLiteral("galculator"), 2000);
                    return window && window->frame.origin.x >= 1000;
                },
                10000));
        }
        ASSERT_TRUE(at(QStringLiteral("toggle button"), QStringLiteral("=")));
        const test::ReplayResult result = test::replay(
            Paths::skill(skill->id), {QStringLiteral("first=7"), QStringLiteral("second=5")});
        EXPECT_EQ(result.exitCode, 0) << result.lines.join(u'\n').toStdString() << '\n'
                                      << described(*skill).toStdString();
        EXPECT_TRUE(waitUntil(
            [&] {
                return calculator.text(*actor, *window, QStringLiteral("text")) ==
                       QStringLiteral("12");
            },
            5000))
            << calculator.text(*actor, *window, QStringLiteral("text")).value_or("-").toStdString();
    }
}

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

// Text typed in the editor, File → Save As… from its menu, a name typed in GTK's file chooser
// and its Save button clicked: the file holds the new text under the new name.
TEST_F(ReplayDebianApps, AnEditorSavesOtherTextUnderAnotherNameThroughItsMenuAndFileChooser) {
    const QString program = QStringLiteral("/usr/bin/mousepad");
    if (!DebianApp::isInstalled(program))
        GTEST_SKIP() << "needs mousepad";
    const QString appID = QStringLiteral("org.xfce.mousepad");
    const QStringList arguments{QStringLiteral("--disable-server")};
    QTemporaryDir folder;
    std::optional<Skill> skill;
    {
        DebianApp editor(program, arguments, appID);
        ASSERT_TRUE(editor.window(*actor, QStringLiteral("Mousepad"), 20000));
        const std::optional<Point> page = at(QStringLiteral("text"), QString());
        const std::optional<Point> file = at(QStringLiteral("menu"), QStringLiteral("File"));
        ASSERT_TRUE(page && file);
        Demonstration demonstration(desktop);
        demonstration.start();
        demonstration.click(*page);
        demonstration.type(QStringLiteral("Hello Ada"));
        demonstration.click(*file);
        const std::optional<Point> saveAs =
            at(QStringLiteral("menu item"), QStringLiteral("Save As..."));
        ASSERT_TRUE(saveAs);
        demonstration.click(*saveAs);
        ASSERT_TRUE(editor.window(*actor, QStringLiteral("Save As"), 15000));
        // A person types the name once the chooser's name field has the keyboard.
        ASSERT_TRUE(waitUntil(
            [&] {
                const std::optional<AXTarget> focus = probe->focusedTarget();
                return focus && focus->windowTitle == QStringLiteral("Save As") &&
                       focus->axRole == QStringLiteral("text");
            },
            15000));
        const std::optional<Point> save = at(QStringLiteral("push button"), QStringLiteral("Save"));
        ASSERT_TRUE(save);
        demonstration.type(folder.filePath(QStringLiteral("letter1.txt")));
        demonstration.click(*save);
        QFile saved(folder.filePath(QStringLiteral("letter1.txt")));
        // If the file never comes, what the chooser shows tells a lost click from a mangled name.
        EXPECT_TRUE(waitUntil([&] { return saved.exists(); }, 5000)) << [&] {
            const std::optional<AXTarget> focus = probe->focusedTarget();
            const bool open = editor.window(*actor, QStringLiteral("Save As"), 0).has_value();
            return QStringLiteral("chooser %1; keyboard at %2 “%3” holding “%4”")
                .arg(open ? QStringLiteral("still open") : QStringLiteral("closed"),
                     focus ? focus->axRole.value_or(QString()) : QString(),
                     focus ? focus->axTitle.value_or(QString()) : QString(),
                     focus ? focus->axValue.value_or(QString()) : QString())
                .toStdString();
        }();
        skill = demonstration.save(QString::fromUtf8(kLetterSkill));
    }
    ASSERT_TRUE(skill);
    ASSERT_EQ(CastRoute::method(*skill), CastMethod::replay) << described(*skill).toStdString();

    for (const bool moved : {false, true}) {
        SCOPED_TRACE(moved ? "moved and resized" : "unchanged");
        const QString name = moved ? QStringLiteral("memo") : QStringLiteral("note");
        DebianApp editor(program, arguments, appID);
        ASSERT_TRUE(editor.window(*actor, QStringLiteral("Mousepad"), 20000));
        if (moved) {
            ASSERT_TRUE(editor.place(Rect(900, 400, 700, 560)));
            ASSERT_TRUE(waitUntil(
                [&] {
                    const std::optional<LiveWindow> w =
                        editor.window(*actor, QStringLiteral("Mousepad"), 2000);
                    return w && w->frame.origin.x >= 800;
                },
                10000));
        }
        ASSERT_TRUE(at(QStringLiteral("menu"), QStringLiteral("File")));
        const test::ReplayResult result =
            test::replay(Paths::skill(skill->id),
                         {QStringLiteral("full_name=Grace"), QStringLiteral("file_name=") + name});
        EXPECT_EQ(result.exitCode, 0) << result.lines.join(u'\n').toStdString() << '\n'
                                      << described(*skill).toStdString();
        QFile saved(folder.filePath(name + QStringLiteral(".txt")));
        ASSERT_TRUE(waitUntil([&] { return saved.exists() && saved.size() > 0; }, 5000))
            << result.lines.join(u'\n').toStdString();
        ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
        EXPECT_EQ(QString::fromUtf8(saved.readAll()).trimmed(), QStringLiteral("Hello Grace"));
    }
}

} // namespace
