#include "DesktopDriver.h"
#include "Support/InputLog.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/X11/X11InputMonitor.h"
#include "TavrikPlatform/X11/XTestInput.h"

#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;

namespace {

// What the input monitor saw of the input XTestInput made: the recorder's view of a replay.
class SyntheticInputTest : public testing::Test {
protected:
    using MouseButton = InputMonitor::MouseButton;

    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP() << "needs an X display (run under scripts/virtual-desktop)";
        ASSERT_TRUE(input.isAvailable());
        desktop.createFocusWindow();
        ASSERT_TRUE(monitor.start()) << monitor.errorString().toStdString();
    }

    QList<test::SeenInput> ofKind(const QString& kind) const { return log.ofKind(kind); }

    // Ends a sequence with a z and waits for the monitor to see it.
    bool finish() {
        input.pressKey(KeyCodes::z, 0);
        return log.waitForKey(KeyCodes::z);
    }

    x11::XTestInput input;
    test::DesktopDriver desktop;
    x11::X11InputMonitor monitor;
    test::InputLog log{monitor};
};

} // namespace

TEST_F(SyntheticInputTest, KeysCarryTheirModifiersAndTypeTheirCharacters) {
    ASSERT_TRUE(input.pressKey(KeyCodes::c, ModifierFlags::control));
    ASSERT_TRUE(input.pressKey(KeyCodes::returnKey, 0));
    ASSERT_TRUE(input.pressKey(KeyCodes::a, ModifierFlags::shift | ModifierFlags::alt));
    ASSERT_TRUE(input.pressKey(KeyCodes::f5, 0));
    ASSERT_TRUE(input.typeText("Hi!"));
    EXPECT_FALSE(input.pressKey(KeyCodes::unknown, 0));
    // A control character has no key: nothing of the text is typed.
    EXPECT_FALSE(input.typeText("ab\x01"));
    ASSERT_TRUE(finish());

    const QList<test::SeenInput> keys = ofKind("key");
    ASSERT_EQ(keys.size(), 8);
    EXPECT_EQ(keys[0].keyCode, KeyCodes::c);
    EXPECT_EQ(keys[0].flags, ModifierFlags::control);
    EXPECT_EQ(keys[1].keyCode, KeyCodes::returnKey);
    EXPECT_EQ(keys[1].flags, 0u);
    EXPECT_EQ(keys[2].keyCode, KeyCodes::a);
    EXPECT_EQ(keys[2].flags, ModifierFlags::shift | ModifierFlags::alt);
    EXPECT_EQ(keys[3].keyCode, KeyCodes::f5);
    EXPECT_EQ(keys[4].characters, QString("H"));
    EXPECT_EQ(keys[4].flags, ModifierFlags::shift);
    EXPECT_EQ(keys[5].characters, QString("i"));
    EXPECT_EQ(keys[5].flags, 0u);
    EXPECT_EQ(keys[6].keyCode, KeyCodes::digit1);
    EXPECT_EQ(keys[6].characters, QString("!"));
    EXPECT_EQ(keys[7].keyCode, KeyCodes::z);

    // The focused window got them too, and every key went back up.
    const QList<unsigned long> received = desktop.keysUntil(XK_z);
    EXPECT_TRUE(received.contains(XK_c));
    EXPECT_TRUE(received.contains(XK_F5));
    EXPECT_FALSE(received.contains(XK_b));
}

TEST_F(SyntheticInputTest, PointerInputLandsWhereAsked) {
    using B = SyntheticInput::Button;
    // A window under every point that takes the clicks, so that none reaches the window
    // manager's desktop menus.
    const unsigned long pad = desktop.createWindow(50, 30, 650, 450, 0x404040);
    XSelectInput(desktop.display(), pad, ButtonPressMask | ButtonReleaseMask);
    desktop.sync();
    ASSERT_TRUE(input.click(Point{100, 200}, B::left, 2));
    ASSERT_TRUE(input.click(Point{300, 50}, B::right, 1));
    ASSERT_TRUE(input.click(Point{310, 60}, B::middle, 1));
    EXPECT_FALSE(input.click(Point{310, 60}, B::left, 0));
    ASSERT_TRUE(input.drag(Point{400, 400}, Point{500, 450}));
    ASSERT_TRUE(input.scroll(Point{640, 360}, -1, 2));
    ASSERT_TRUE(finish());

    // The monitor leaves the middle button out; the window below shows it came.
    const QList<test::SeenInput> downs = ofKind("down");
    ASSERT_EQ(downs.size(), 4);
    EXPECT_EQ(downs[0].point, (Point{100, 200}));
    EXPECT_EQ(downs[1].clickCount, 2);
    EXPECT_EQ(downs[2].point, (Point{300, 50}));
    EXPECT_EQ(downs[2].button, int(MouseButton::right));
    EXPECT_EQ(downs[3].point, (Point{400, 400}));
    const QList<test::SeenInput> ups = ofKind("up");
    ASSERT_EQ(ups.size(), 4);
    EXPECT_EQ(ups[3].point, (Point{500, 450}));
    // The pointer travels in steps, ending where the button comes up.
    const QList<test::SeenInput> drags = ofKind("drag");
    ASSERT_GE(drags.size(), 3);
    EXPECT_EQ(drags.last().point, (Point{500, 450}));

    const QList<test::SeenInput> scrolls = ofKind("scroll");
    ASSERT_EQ(scrolls.size(), 3);
    EXPECT_EQ(scrolls[0].point, (Point{640, 360}));
    // The monitor reports wheel deltas, where down and right are negative.
    EXPECT_EQ(std::pair(scrolls[0].dx, scrolls[0].dy), std::pair(0.0, -1.0));
    EXPECT_EQ(std::pair(scrolls[1].dx, scrolls[1].dy), std::pair(0.0, -1.0));
    EXPECT_EQ(std::pair(scrolls[2].dx, scrolls[2].dy), std::pair(1.0, 0.0));

    // The X buttons themselves, as the window under the pointer got them.
    QList<unsigned> pressed;
    XSync(desktop.display(), False);
    while (XPending(desktop.display())) {
        XEvent event;
        XNextEvent(desktop.display(), &event);
        if (event.type == ButtonPress)
            pressed.append(event.xbutton.button);
    }
    EXPECT_EQ(pressed, (QList<unsigned>{1, 1, 3, 2, 1, 5, 5, 6}));
}
