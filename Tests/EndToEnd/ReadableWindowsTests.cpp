#include "ApplicationFlow.h"
#include "Tavrik/Analytics.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QGuiApplication>
#include <QScreen>
#include <QSettings>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;
using namespace tavrik::test;

namespace {

using ReadableWindows = ApplicationFlow;

bool isRow(const AccessibleNode& node, const QString& name) {
    return node.role() == "list item" && node.name() == name;
}

// The palette's painted rows read as a list whose selected item follows the arrow keys; the pill
// says its status and the panel its heading and buttons.
TEST_F(ReadableWindows, ThePaletteRowsThePillAndThePanelReachScreenReaders) {
    ASSERT_TRUE(SkillStore().save(librarySkill("Water the plants", {}, false)).ok());
    ASSERT_TRUE(SkillStore().save(librarySkill("Wash the car", {}, false)).ok());
    RunningApplication app(environment());
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";

    openPalette(app, "wa");
    const std::optional<AccessibleNode> list = app.waitFor("list", "Skills");
    ASSERT_TRUE(list) << "the palette's rows are not a list";
    // The main window lists the same skills: the rows are looked for in the palette's list.
    const std::optional<AccessibleNode> plants =
        findNode(*list, [](const AccessibleNode& n) { return isRow(n, "Water the plants"); });
    const std::optional<AccessibleNode> car =
        findNode(*list, [](const AccessibleNode& n) { return isRow(n, "Wash the car"); });
    ASSERT_TRUE(plants && car) << "a skill's row cannot be read";
    EXPECT_EQ(plants->description(), "/water-the-plants");
    EXPECT_TRUE(
        findNode(*list, [](const AccessibleNode& n) { return isRow(n, "Record a new skill"); }));
    EXPECT_TRUE(list->screenRect().contains(plants->screenRect())) << "a row is off its list";
    // The first row is selected; Down moves the selection, and the focus a reader follows.
    const AccessibleNode first = plants->isFocused() ? *plants : *car;
    const AccessibleNode second = plants->isFocused() ? *car : *plants;
    EXPECT_TRUE(first.isFocused() && !second.isFocused());
    desktop.tap(XK_Down);
    desktop.sync();
    EXPECT_TRUE(waitUntil([&] { return second.isFocused() && !first.isFocused(); }))
        << "the selected row is not the focused item";
    screenshot("e2e-palette-rows");
    desktop.tap(XK_Escape);
    desktop.sync();
    ASSERT_TRUE(waitUntil([&] { return !app.window("Tavrik Palette").has_value(); }));

    // An empty demonstration opens the panel with its error.
    const std::optional<AccessibleNode> panel = openErrorPanel(app);
    ASSERT_TRUE(panel) << "the panel has no name";
    EXPECT_TRUE(findNode(*panel, [](const AccessibleNode& n) {
        return n.role() == "label" && n.name() == "Couldn't create the skill";
    }));
    EXPECT_TRUE(findNode(*panel, [](const AccessibleNode& n) {
        return n.role() == "push button" && n.name() == "Close";
    }));
}

// At twice the scale a 1920x1080 screen is 960x540 points: the main window, the welcome window,
// the palette and the pill all fit on it.
TEST_F(ReadableWindows, AtTwiceTheScaleNoWindowIsLargerThanTheScreen) {
    QSettings("Tavrik", "Tavrik").remove(Analytics::optOutKey); // so the welcome window shows
    QProcessEnvironment env = environment();
    env.insert("QT_SCALE_FACTOR", "2");
    RunningApplication app(env);
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    ASSERT_TRUE(waitUntil([&] { return app.window("Welcome to Tavrik").has_value(); }));
    ASSERT_TRUE(waitUntil([&] { return app.window("Tavrik").has_value(); }));
    // The accessibility tree gives sizes in the program's points.
    const QSize points = QGuiApplication::primaryScreen()->geometry().size() / 2;
    pause(500); // the window manager places the windows
    screenshot("e2e-scale-2");
    const std::optional<AccessibleNode> top = applicationOf(app.pid());
    ASSERT_TRUE(top);
    int checked = 0;
    for (const AccessibleNode& window : top->children()) {
        if (!window.isShowing())
            continue;
        const QRect rect = window.screenRect();
        EXPECT_LE(rect.width(), points.width()) << window.name().toStdString();
        EXPECT_LE(rect.height(), points.height()) << window.name().toStdString();
        ++checked;
    }
    EXPECT_GE(checked, 3); // the main window, the welcome window and the pill
}

} // namespace
