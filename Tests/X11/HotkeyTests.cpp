#include "DesktopDriver.h"
#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikPlatform/X11/X11HotkeyGrabber.h"

#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;

namespace {

class Hotkeys : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP() << "needs an X display (run under scripts/virtual-desktop)";
        ASSERT_TRUE(desktop.isOpen());
        engine = std::make_unique<HotkeyEngine>(std::make_unique<x11::X11HotkeyGrabber>());
        QObject::connect(engine.get(), &HotkeyEngine::triggered,
                         [this](HotkeyEngine::Event e) { events.append(e); });
        ASSERT_TRUE(engine->start()) << engine->errorString().toStdString();
        desktop.createFocusWindow();
    }

    // Types the sentinel key and returns what the focused window received up to it.
    QList<unsigned long> windowKeys() {
        desktop.tap(XK_z);
        return desktop.keysUntil(XK_z);
    }

    test::DesktopDriver desktop;
    std::unique_ptr<HotkeyEngine> engine;
    QList<HotkeyEngine::Event> events;
};

} // namespace

TEST_F(Hotkeys, ControlSlashOpensThePaletteAndNeverReachesTheFocusedWindow) {
    desktop.chord({XK_Control_L}, XK_slash);
    desktop.chord({XK_Control_R, XK_Shift_L}, XK_slash);
    // CapsLock on: the lock variants of the grab still catch it.
    desktop.tap(XK_Caps_Lock);
    desktop.chord({XK_Control_L}, XK_slash);
    desktop.tap(XK_Caps_Lock);
    desktop.tap(XK_slash); // a plain slash is typed as usual
    const QList<unsigned long> keys = windowKeys();
    EXPECT_EQ(keys.count(XK_slash), 1);
    EXPECT_TRUE(keys.contains(XK_Control_L)); // the window still sees the modifier
    ASSERT_TRUE(test::waitUntil([&] { return events.size() >= 3; }));
    EXPECT_EQ(events, QList<HotkeyEngine::Event>(3, HotkeyEngine::Event::openPalette));

    // With Super it is someone else's shortcut.
    events.clear();
    desktop.chord({XK_Control_L, XK_Super_L}, XK_slash);
    EXPECT_EQ(windowKeys().count(XK_slash), 1);
    EXPECT_TRUE(events.isEmpty());
}

TEST_F(Hotkeys, DoubleTapOfControlFromRealKeyEvents) {
    desktop.tap(XK_Control_L, 2);
    ASSERT_TRUE(test::waitUntil([&] { return !events.isEmpty(); }));
    EXPECT_EQ(events, QList{HotkeyEngine::Event::toggleRecording});

    // Control-A in between: no double tap, and Control-A reaches the application. A repeated
    // release (as some injectors send) is harmless.
    events.clear();
    desktop.chord({XK_Control_L}, XK_a);
    desktop.key(XK_Control_L, false);
    desktop.tap(XK_Control_L);
    EXPECT_TRUE(windowKeys().contains(XK_a));
    test::waitUntil([] { return false; }, 100);
    EXPECT_TRUE(events.isEmpty());
}

TEST_F(Hotkeys, EscapeIsTakenOnlyWhileCasting) {
    // Casting starts before the desktop's report of this Esc has been read: it reached the
    // application, so it stops nothing.
    desktop.tap(XK_Escape);
    EXPECT_EQ(windowKeys().count(XK_Escape), 1);
    engine->setCasting(true);

    desktop.tap(XK_Escape);
    desktop.chord({XK_Shift_L}, XK_Escape);
    const QList<unsigned long> whileCasting = windowKeys();
    EXPECT_TRUE(whileCasting.contains(XK_z));
    EXPECT_EQ(whileCasting.count(XK_Escape), 0);
    // A double tap after them: once it is seen, every key before it has been judged.
    desktop.tap(XK_Control_L, 2);
    ASSERT_TRUE(
        test::waitUntil([&] { return events.contains(HotkeyEngine::Event::toggleRecording); }));
    EXPECT_EQ(events, (QList{HotkeyEngine::Event::panic, HotkeyEngine::Event::panic,
                             HotkeyEngine::Event::toggleRecording}));

    engine->setCasting(false);
    desktop.tap(XK_Escape);
    EXPECT_EQ(windowKeys().count(XK_Escape), 1);
}

TEST_F(Hotkeys, AShortcutTakenByAnotherProgramIsReported) {
    engine->stop();
    Display* other = desktop.display();
    const Window root = DefaultRootWindow(other);
    const int slash = XKeysymToKeycode(other, XK_slash);
    XGrabKey(other, slash, ControlMask, root, True, GrabModeAsync, GrabModeAsync);
    XSync(other, False);

    x11::X11HotkeyGrabber grabber;
    EXPECT_FALSE(grabber.start());
    EXPECT_TRUE(grabber.errorString().startsWith("hotkey taken"))
        << grabber.errorString().toStdString();
    EXPECT_TRUE(grabber.isRunning()); // the double tap still works
    grabber.stop();
    XUngrabKey(other, slash, ControlMask, root);
    XSync(other, False);
    // Nothing of the failed attempt is left: a fresh start gets every variant.
    EXPECT_TRUE(grabber.start()) << grabber.errorString().toStdString();
}
