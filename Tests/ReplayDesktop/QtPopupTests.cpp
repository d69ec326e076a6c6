#include "DesktopDriver.h"
#include "Support/Desktop/Demonstration.h"
#include "Support/Desktop/TaskApp.h"
#include "Support/ReplayProcess.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikPlatform/AccessibilityBackend.h"

#include <gtest/gtest.h>

using namespace tavrik;
using tavrik::test::Demonstration;
using tavrik::test::TaskApp;

namespace {

const char* const kMenuSkill = R"(---
name: Save from the menu
trigger: save from the menu
---

# Save from the menu

Picks Save As from the File menu.
)";

Point centre(const Rect& r) {
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

// Qt lists an open menu under the menu bar item that opened it, not as a window of its own: the
// item clicked in it is what is recorded and replayed, not a point in the menu's window.
TEST(ReplayQtPopups, AnItemOfAnOpenMenuIsRecordedAndReplayedByItsName) {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        GTEST_SKIP() << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
    test::TempSupportFolder support;
    test::DesktopDriver desktop;
    ASSERT_TRUE(desktop.isOpen());
    const std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    std::optional<Skill> skill;
    {
        TaskApp app(TaskApp::Toolkit::qt, {QStringLiteral("--menu")});
        ASSERT_TRUE(app.started());
        const std::optional<Rect> file =
            Demonstration::find(*actor, QStringLiteral("menu item"), QStringLiteral("File"), 15000);
        ASSERT_TRUE(file);
        Demonstration demonstration(desktop);
        demonstration.start();
        demonstration.click(centre(*file));
        const std::optional<Rect> item = Demonstration::find(*actor, QStringLiteral("menu item"),
                                                             QStringLiteral("Save As…"), 15000);
        ASSERT_TRUE(item);
        demonstration.click(centre(*item));
        const std::optional<QJsonObject> picked = app.waitForEvent(QStringLiteral("menu"), 5000);
        ASSERT_TRUE(picked);
        EXPECT_EQ(picked->value("item").toString(), QStringLiteral("Save As…"));
        skill = demonstration.save(QString::fromUtf8(kMenuSkill));
    }
    ASSERT_TRUE(skill);
    ASSERT_EQ(skill->plan.size(), 2);
    const std::optional<AXTarget>& picked = skill->plan.at(1).target;
    ASSERT_TRUE(picked);
    EXPECT_EQ(picked->axRole, QStringLiteral("menu item"))
        << skill->plan.at(1).intent.toStdString();
    EXPECT_EQ(picked->axTitle, QStringLiteral("Save As…"));

    TaskApp app(TaskApp::Toolkit::qt,
                {QStringLiteral("--menu"), QStringLiteral("--at"), QStringLiteral("900,300")});
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(
        Demonstration::find(*actor, QStringLiteral("menu item"), QStringLiteral("File"), 15000));
    const test::ReplayResult result = test::replay(Paths::skill(skill->id), {});
    EXPECT_TRUE(result.succeeded()) << result.transcript().toStdString();
    const std::optional<QJsonObject> replayed = app.waitForEvent(QStringLiteral("menu"), 5000);
    ASSERT_TRUE(replayed) << result.transcript().toStdString();
    EXPECT_EQ(replayed->value("item").toString(), QStringLiteral("Save As…"));
}

// A combo box opens its list at the press, with the current choice under the pointer: the press
// is recorded on the box, not on that choice or the list's pop-up. The choice clicked in the open
// list is recorded as that item below the box, so replay in a moved window makes the same choice.
TEST(ReplayQtPopups, AChoiceInAnOpenComboBoxIsRecordedAndReplayedByItsName) {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        GTEST_SKIP() << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
    test::TempSupportFolder support;
    test::DesktopDriver desktop;
    ASSERT_TRUE(desktop.isOpen());
    const std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    std::optional<Skill> skill;
    {
        TaskApp app(TaskApp::Toolkit::qt, {QStringLiteral("--sizes")});
        ASSERT_TRUE(app.started());
        const std::optional<Rect> box = Demonstration::find(*actor, QStringLiteral("combo box"),
                                                            QStringLiteral("Medium"), 15000);
        ASSERT_TRUE(box);
        Demonstration demonstration(desktop);
        demonstration.start();
        // Qt takes a release later than a double-click interval after its list opened as a
        // choice of the item under the pointer, and the recorder's read at the press can hold the
        // box that long on a loaded machine: the release is sent with the press, so it waits in
        // the box's queue rather than arriving after the read.
        demonstration.quickClick(centre(*box));
        const std::optional<Rect> large = Demonstration::find(*actor, QStringLiteral("list item"),
                                                              QStringLiteral("Large"), 15000);
        ASSERT_TRUE(large);
        demonstration.click(centre(*large));
        const std::optional<QJsonObject> chosen = app.waitForEvent(QStringLiteral("size"), 5000);
        ASSERT_TRUE(chosen);
        EXPECT_EQ(chosen->value("size").toString(), QStringLiteral("Large"));
        skill = demonstration.save(QString::fromUtf8(kMenuSkill));
    }
    ASSERT_TRUE(skill);
    ASSERT_FALSE(skill->plan.isEmpty());
    const std::optional<AXTarget>& pressed = skill->plan.first().target;
    ASSERT_TRUE(pressed);
    EXPECT_EQ(pressed->axRole, QStringLiteral("combo box"))
        << skill->plan.first().intent.toStdString();
    EXPECT_EQ(pressed->axTitle, QStringLiteral("Medium"));
    ASSERT_EQ(skill->plan.size(), 2);
    const std::optional<AXTarget>& choice = skill->plan.at(1).target;
    ASSERT_TRUE(choice);
    EXPECT_EQ(choice->axRole, QStringLiteral("list item"))
        << skill->plan.at(1).intent.toStdString();
    EXPECT_EQ(choice->axTitle, QStringLiteral("Large"));
    ASSERT_TRUE(choice->axPath && pressed->axPath);
    EXPECT_TRUE(choice->axPath->startsWith(*pressed->axPath + u'/'))
        << choice->axPath->toStdString();

    TaskApp moved(TaskApp::Toolkit::qt,
                  {QStringLiteral("--sizes"), QStringLiteral("--at"), QStringLiteral("900,300")});
    ASSERT_TRUE(moved.started());
    ASSERT_TRUE(
        Demonstration::find(*actor, QStringLiteral("combo box"), QStringLiteral("Medium"), 15000));
    const test::ReplayResult result = test::replay(Paths::skill(skill->id), {});
    EXPECT_TRUE(result.succeeded()) << result.transcript().toStdString();
    const std::optional<QJsonObject> replayed = moved.waitForEvent(QStringLiteral("size"), 5000);
    ASSERT_TRUE(replayed) << result.transcript().toStdString();
    EXPECT_EQ(replayed->value("size").toString(), QStringLiteral("Large"));
}

} // namespace
