#include "DesktopDriver.h"
#include "Support/InputLog.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/X11/X11InputMonitor.h"

#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;

namespace {

class Monitor : public testing::Test {
protected:
    using Button = InputMonitor::MouseButton;

    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP() << "needs an X display (run under scripts/virtual-desktop)";
        ASSERT_TRUE(desktop.isOpen());
        desktop.createFocusWindow();
        ASSERT_TRUE(monitor.start()) << monitor.errorString().toStdString();
    }

    QList<test::SeenInput> ofKind(const QString& kind) const { return log.ofKind(kind); }
    bool waitForKey(quint16 code) { return log.waitForKey(code); }

    test::DesktopDriver desktop;
    x11::X11InputMonitor monitor;
    test::InputLog log{monitor};
};

} // namespace

TEST_F(Monitor, PointerPressesCarryTheirExactPositionAndClickCount) {
    desktop.moveTo(100, 200);
    desktop.click(1);
    desktop.click(1); // a double click
    desktop.moveTo(300, 50);
    desktop.click(3);
    desktop.moveTo(400, 400);
    desktop.button(1, true);
    desktop.moveTo(420, 410);
    desktop.moveTo(450, 430);
    desktop.button(1, false);
    desktop.tap(XK_z);
    ASSERT_TRUE(waitForKey(KeyCodes::z));

    const QList<test::SeenInput> downs = ofKind("down");
    ASSERT_EQ(downs.size(), 4);
    EXPECT_EQ(downs[0].point, (Point{100, 200}));
    EXPECT_EQ(downs[0].button, int(Button::left));
    EXPECT_EQ(downs[0].clickCount, 1);
    EXPECT_EQ(downs[1].clickCount, 2);
    EXPECT_EQ(downs[2].point, (Point{300, 50}));
    EXPECT_EQ(downs[2].button, int(Button::right));
    EXPECT_EQ(downs[2].clickCount, 1);
    EXPECT_EQ(downs[3].point, (Point{400, 400}));
    EXPECT_EQ(downs[3].clickCount, 1); // far from the last left click

    const QList<test::SeenInput> ups = ofKind("up");
    ASSERT_EQ(ups.size(), 4);
    EXPECT_EQ(ups[2].button, int(Button::right));
    EXPECT_EQ(ups[3].point, (Point{450, 430}));
    const QList<test::SeenInput> drags = ofKind("drag");
    ASSERT_EQ(drags.size(), 2);
    EXPECT_EQ(drags[1].point, (Point{450, 430}));
}

TEST_F(Monitor, WheelClicksAreScrollLines) {
    desktop.moveTo(640, 360);
    desktop.click(4);
    desktop.click(4);
    desktop.click(5);
    desktop.click(6);
    desktop.click(7);
    desktop.tap(XK_z);
    ASSERT_TRUE(waitForKey(KeyCodes::z));
    const QList<test::SeenInput> scrolls = ofKind("scroll");
    ASSERT_EQ(scrolls.size(), 5);
    EXPECT_EQ(scrolls[0].point, (Point{640, 360}));
    EXPECT_EQ(std::pair(scrolls[0].dx, scrolls[0].dy), std::pair(0.0, 1.0));
    EXPECT_EQ(std::pair(scrolls[2].dx, scrolls[2].dy), std::pair(0.0, -1.0));
    EXPECT_EQ(std::pair(scrolls[3].dx, scrolls[3].dy), std::pair(1.0, 0.0));
    EXPECT_EQ(std::pair(scrolls[4].dx, scrolls[4].dy), std::pair(-1.0, 0.0));
    EXPECT_TRUE(ofKind("down").isEmpty());
}

TEST_F(Monitor, KeysCarryCanonicalCodesModifiersAndTypedCharacters) {
    desktop.tap(XK_a);
    desktop.chord({XK_Shift_L}, XK_a);
    desktop.chord({XK_Shift_L}, XK_1);
    desktop.tap(XK_Return);
    desktop.tap(XK_Left);
    desktop.chord({XK_Control_L}, XK_c);
    desktop.chord({XK_Control_L}, XK_slash); // Tavrik's palette shortcut: not input
    desktop.tap(XK_z);
    ASSERT_TRUE(waitForKey(KeyCodes::z));

    const QList<test::SeenInput> keys = ofKind("key");
    ASSERT_EQ(keys.size(), 7);
    EXPECT_EQ(keys[0].keyCode, KeyCodes::a);
    EXPECT_EQ(keys[0].flags, 0u);
    EXPECT_EQ(keys[0].characters, QString("a"));
    EXPECT_EQ(keys[1].keyCode, KeyCodes::a);
    EXPECT_EQ(keys[1].flags, ModifierFlags::shift);
    EXPECT_EQ(keys[1].characters, QString("A"));
    EXPECT_EQ(keys[2].keyCode, KeyCodes::digit1);
    EXPECT_EQ(keys[2].characters, QString("!"));
    EXPECT_EQ(keys[3].keyCode, KeyCodes::returnKey);
    EXPECT_EQ(keys[3].characters, QString("\r"));
    EXPECT_EQ(keys[4].keyCode, KeyCodes::leftArrow);
    EXPECT_EQ(keys[4].characters, std::nullopt); // arrows type nothing
    EXPECT_EQ(keys[5].keyCode, KeyCodes::c);
    EXPECT_EQ(keys[5].flags, ModifierFlags::control);
    EXPECT_EQ(keys[6].keyCode, KeyCodes::z);

    // Modifier changes, with the flags after each.
    const QList<test::SeenInput> flags = ofKind("flags");
    ASSERT_GE(flags.size(), 2);
    EXPECT_EQ(flags[0].keyCode, KeyCodes::shift);
    EXPECT_EQ(flags[0].flags, ModifierFlags::shift);
    EXPECT_EQ(flags[1].keyCode, KeyCodes::shift);
    EXPECT_EQ(flags[1].flags, 0u);

    // The monitor never took anything from the focused window.
    const QList<unsigned long> received = desktop.keysUntil(XK_z);
    EXPECT_EQ(received.count(XK_a), 2);
    EXPECT_TRUE(received.contains(XK_Return));
    EXPECT_TRUE(received.contains(XK_c));
}

TEST_F(Monitor, StoppedMonitorReportsNothing) {
    monitor.stop();
    EXPECT_FALSE(monitor.isRunning());
    desktop.moveTo(650, 650); // inside the focus window: the focus stays
    desktop.click(1);
    desktop.tap(XK_z);
    desktop.keysUntil(XK_z);
    test::waitUntil([] { return false; }, 100);
    EXPECT_TRUE(log.seen.isEmpty());
    ASSERT_TRUE(monitor.start());
    ASSERT_TRUE(monitor.start()); // already running
    desktop.tap(XK_z);
    EXPECT_TRUE(waitForKey(KeyCodes::z));
}
