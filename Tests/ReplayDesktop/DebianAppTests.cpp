#include "DesktopDriver.h"
#include "Support/Desktop/DebianApp.h"
#include "Support/Desktop/DebianTasks.h"
#include "Support/Desktop/Demonstration.h"
#include "Support/ReplayProcess.h"
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
namespace debian = tavrik::test::debian;

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

    test::TempSupportFolder support;
    test::DesktopDriver desktop;
    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    std::unique_ptr<AXResolver> probe = DesktopBackend::createAXResolver();
};

// Digits typed, operators clicked: the display holds the new sum.
TEST_F(ReplayDebianApps, ACalculatorAddsOtherNumbers) {
    if (!DebianApp::isInstalled(debian::calculatorProgram()))
        GTEST_SKIP() << "needs galculator";
    std::optional<Skill> skill;
    {
        const std::unique_ptr<DebianApp> calculator = debian::startCalculator();
        ASSERT_TRUE(calculator->window(*actor, debian::calculatorTitle(), 20000));
        Demonstration demonstration(desktop);
        demonstration.start();
        ASSERT_TRUE(debian::demonstrateSum(demonstration, *actor));
        EXPECT_TRUE(waitUntil(
            [&] { return debian::display(*calculator, *actor) == QStringLiteral("42"); }, 5000))
            << debian::display(*calculator, *actor).value_or("-").toStdString();
        skill = demonstration.save(QString::fromUtf8(debian::kSumSkill));
    }
    ASSERT_TRUE(skill);
    ASSERT_EQ(CastRoute::method(*skill), CastMethod::replay)
        << test::Demonstration::described(*skill);

    for (const bool moved : {false, true}) {
        SCOPED_TRACE(moved ? "moved and resized" : "unchanged");
        const std::unique_ptr<DebianApp> calculator = debian::startCalculator();
        ASSERT_TRUE(calculator->window(*actor, debian::calculatorTitle(), 20000));
        if (moved)
            ASSERT_TRUE(calculator->placeAndWait(*actor, debian::calculatorTitle(),
                                                 Rect(1100, 500, 480, 440)));
        ASSERT_TRUE(at(QStringLiteral("toggle button"), QStringLiteral("=")));
        const test::ReplayResult result = test::replay(
            Paths::skill(skill->id), {QStringLiteral("first=7"), QStringLiteral("second=5")});
        EXPECT_EQ(result.exitCode, 0) << result.transcript().toStdString() << '\n'
                                      << test::Demonstration::described(*skill);
        EXPECT_TRUE(waitUntil(
            [&] { return debian::display(*calculator, *actor) == QStringLiteral("12"); }, 5000))
            << debian::display(*calculator, *actor).value_or("-").toStdString();
    }
}

// Text typed in the editor, File → Save As… from its menu, a name typed in GTK's file chooser and
// its Save button clicked: the file holds the new text under the new name, also when the window
// moved and changed size and at a bigger interface font.
TEST_F(ReplayDebianApps, AnEditorSavesOtherTextUnderAnotherNameThroughItsMenuAndFileChooser) {
    if (!DebianApp::isInstalled(debian::editorProgram()))
        GTEST_SKIP() << "needs mousepad";
    QTemporaryDir folder;
    std::optional<Skill> skill;
    {
        const std::unique_ptr<DebianApp> editor = debian::startEditor({0, folder.path()});
        ASSERT_TRUE(editor->window(*actor, debian::editorTitle(), 20000));
        Demonstration demonstration(desktop);
        demonstration.start();
        ASSERT_TRUE(debian::demonstrateLetter(demonstration, *actor, *probe));
        QFile saved(folder.filePath(QStringLiteral("letter1.txt")));
        EXPECT_TRUE(waitUntil([&] { return saved.exists(); }, 5000));
        skill = demonstration.save(QString::fromUtf8(debian::kLetterSkill));
    }
    ASSERT_TRUE(skill);
    ASSERT_EQ(CastRoute::method(*skill), CastMethod::replay)
        << test::Demonstration::described(*skill);
    // The menu closes at the click: what was clicked is its item, not what lies beneath.
    EXPECT_TRUE(QString::fromStdString(test::Demonstration::described(*skill))
                    .contains(QStringLiteral("menu item “Save As...")))
        << test::Demonstration::described(*skill);

    enum class Change { none, moved, biggerFont };
    for (const Change change : {Change::none, Change::moved, Change::biggerFont}) {
        const QString name = change == Change::none    ? QStringLiteral("note")
                             : change == Change::moved ? QStringLiteral("memo")
                                                       : QStringLiteral("card");
        SCOPED_TRACE(name.toStdString());
        const std::unique_ptr<DebianApp> editor =
            debian::startEditor({change == Change::biggerFont ? 15 : 0, folder.path()});
        ASSERT_TRUE(editor->window(*actor, debian::editorTitle(), 20000));
        if (change == Change::moved)
            ASSERT_TRUE(
                editor->placeAndWait(*actor, debian::editorTitle(), Rect(900, 400, 700, 560)));
        ASSERT_TRUE(at(QStringLiteral("menu"), QStringLiteral("File")));
        const test::ReplayResult result =
            test::replay(Paths::skill(skill->id),
                         {QStringLiteral("full_name=Grace"), QStringLiteral("file_name=") + name});
        EXPECT_EQ(result.exitCode, 0) << result.transcript().toStdString() << '\n'
                                      << test::Demonstration::described(*skill);
        QFile saved(folder.filePath(name + QStringLiteral(".txt")));
        ASSERT_TRUE(waitUntil([&] { return saved.exists() && saved.size() > 0; }, 5000))
            << result.transcript().toStdString();
        ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
        EXPECT_EQ(QString::fromUtf8(saved.readAll()).trimmed(), QStringLiteral("Hello Grace"));
    }
}

} // namespace
