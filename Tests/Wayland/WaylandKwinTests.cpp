#include "NativeForm.h"
#include "ScreenCastGrant.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/Wayland/FakeInputKeys.h"
#include "TavrikPlatform/Wayland/KWinFrameCapturer.h"
#include "TavrikPlatform/Wayland/KWinHotkeys.h"
#include "TavrikPlatform/Wayland/KWinScript.h"
#include "TavrikPlatform/Wayland/KWinWindows.h"
#include "WaylandSession.h"

#include <QElapsedTimer>
#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <iostream>
#include <linux/input-event-codes.h>

namespace tavrik {
namespace {

using test::NativeForm;
using test::underKwin;
using test::waitFor;
using test::WaylandSession;

Point centre(const Rect& r) {
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

bool contains(const Rect& outer, const Rect& inner) {
    return inner.origin.x >= outer.origin.x && inner.origin.y >= outer.origin.y &&
           inner.origin.x + inner.size.width <= outer.origin.x + outer.size.width &&
           inner.origin.y + inner.size.height <= outer.origin.y + outer.size.height;
}

// A report of the script: a window under KWin's title bar counts from its surface, one that
// decorates itself from the frame it set; KWin's ids become stable small numbers; minimised and
// empty windows are not visible; the app id falls back to the class.
TEST(KWinReport, WindowsAndPointer) {
    const QByteArray json = R"({"serial": 3, "cursor": {"x": 12, "y": 34}, "windows": [
        {"id": "{a}", "pid": 7, "resourceClass": "QtTaskApp", "desktopFileName": "", "caption": "Qt",
         "frame": {"x": 100, "y": 50, "width": 420, "height": 590},
         "buffer": {"x": 100, "y": 80, "width": 420, "height": 560}, "decorated": true,
         "active": true, "minimized": false, "hidden": false},
        {"id": "{b}", "pid": 8, "resourceClass": "gedit", "desktopFileName": "org.gnome.gedit",
         "caption": "Notes", "frame": {"x": 300, "y": 200, "width": 500, "height": 400},
         "buffer": {"x": 274, "y": 177, "width": 552, "height": 452}, "decorated": false,
         "active": false, "minimized": true, "hidden": false},
        {"id": "", "pid": 9},
        {"id": "{c}", "pid": 9, "resourceClass": "x", "frame": {"x": 0, "y": 0, "width": 0,
         "height": 0}, "buffer": {"x": 0, "y": 0, "width": 0, "height": 0}, "decorated": true}]})";
    QHash<QString, qint64> numbers;
    const auto numberFor = [&](const QString& id) {
        return *numbers.insert(id, numbers.value(id, numbers.size() + 1));
    };
    const QList<wayland::CompositorWindow> windows =
        wayland::KWinWindows::parseWindows(json, numberFor);
    ASSERT_EQ(windows.size(), 3);
    const wayland::CompositorWindow& qt = windows[0];
    EXPECT_EQ(qt.id, 1);
    EXPECT_EQ(qt.pid, 7);
    EXPECT_EQ(qt.appID, QStringLiteral("QtTaskApp"));
    EXPECT_EQ(qt.frame, Rect(100, 80, 420, 560));
    EXPECT_EQ(qt.outline, Rect(100, 50, 420, 590));
    EXPECT_TRUE(qt.focused);
    EXPECT_TRUE(qt.visible);
    const wayland::CompositorWindow& gedit = windows[1];
    EXPECT_EQ(gedit.appID, QStringLiteral("org.gnome.gedit"));
    EXPECT_EQ(gedit.frame, Rect(300, 200, 500, 400));
    EXPECT_EQ(gedit.buffer, Rect(274, 177, 552, 452));
    EXPECT_FALSE(gedit.visible);
    EXPECT_FALSE(windows[2].visible);
    EXPECT_EQ(wayland::KWinWindows::parseWindows(json, numberFor)[1].id, gedit.id);
    EXPECT_EQ(wayland::KWinWindows::parsePointer(json), (Point{12, 34}));
    EXPECT_FALSE(wayland::KWinWindows::parsePointer("{}"));
    EXPECT_TRUE(wayland::KWinWindows::parseWindows("not json", numberFor).isEmpty());
}

// Keys for KWin's fake keyboard: modifiers around the key, released in reverse; text on a US
// layout with Shift for capitals and shifted punctuation; nothing at all for text it cannot type.
TEST(KWinFakeKeys, KeysAndText) {
    using Event = wayland::FakeInputKeys::Event;
    EXPECT_EQ(wayland::FakeInputKeys::forKey(KeyCodes::slash,
                                             ModifierFlags::control | ModifierFlags::shift),
              (QList<Event>{{KEY_LEFTCTRL, true},
                            {KEY_LEFTSHIFT, true},
                            {KEY_SLASH, true},
                            {KEY_SLASH, false},
                            {KEY_LEFTSHIFT, false},
                            {KEY_LEFTCTRL, false}}));
    EXPECT_EQ(wayland::FakeInputKeys::forKey(KeyCodes::returnKey, 0),
              (QList<Event>{{KEY_ENTER, true}, {KEY_ENTER, false}}));
    EXPECT_EQ(wayland::FakeInputKeys::forKey(KeyCodes::keypadEnter, 0)->first().linuxCode,
              KEY_KPENTER);
    EXPECT_FALSE(wayland::FakeInputKeys::forKey(KeyCodes::unknown, 0));
    EXPECT_EQ(wayland::FakeInputKeys::forText(QStringLiteral("a?")),
              (QList<Event>{{KEY_A, true},
                            {KEY_A, false},
                            {KEY_LEFTSHIFT, true},
                            {KEY_SLASH, true},
                            {KEY_SLASH, false},
                            {KEY_LEFTSHIFT, false}}));
    EXPECT_EQ(wayland::FakeInputKeys::forText(QStringLiteral("B"))->size(), 4);
    EXPECT_FALSE(wayland::FakeInputKeys::forText(QStringLiteral("aé")));
    EXPECT_EQ(wayland::KWinHotkeys::qtKey(KeyCodes::slash, ModifierFlags::control),
              int(Qt::ControlModifier) | Qt::Key_Slash);
    EXPECT_EQ(wayland::KWinHotkeys::qtKey(KeyCodes::escape, ModifierFlags::shift),
              int(Qt::ShiftModifier) | Qt::Key_Escape);
}

// Under KWin's own title bar, GTK and Qt windows are placed where the script says, their
// elements at global points: a click through fake input at the password field's centre moves the
// focus there from the name field, the keys typed next land in it, and the script then reports
// the pointer where the click was.
TEST_F(WaylandSession, KwinPlacesNativeWindowsAndFakeInputReachesTheirElements) {
    if (!underKwin())
        GTEST_SKIP() << "needs KWin";
    wayland::KWinWindows placer(wayland::KWinScript::shared());
    ASSERT_TRUE(placer.isReachable());
    const std::unique_ptr<SyntheticInput> input = DesktopBackend::createSyntheticInput();
    ASSERT_TRUE(input->isAvailable());
    for (const NativeForm::Toolkit toolkit : {NativeForm::Toolkit::gtk, NativeForm::Toolkit::qt}) {
        SCOPED_TRACE(NativeForm::appID(toolkit).toStdString());
        NativeForm form(toolkit);
        const std::optional<FormView> view = viewOf(form, toolkit, QStringLiteral("password text"));
        ASSERT_TRUE(view);
        const LiveWindow& window = view->window;
        const LiveElement& password = view->element;
        const std::optional<wayland::CompositorWindow> placed = placer.windowOfProcess(form.pid());
        ASSERT_TRUE(placed);
        EXPECT_TRUE(placed->focused);
        EXPECT_EQ(window.frame, placed->frame);
        // KWin's title bar is above the content, which is where both toolkits count from.
        EXPECT_LT(placed->outline.origin.y, placed->frame.origin.y);
        EXPECT_TRUE(contains(placed->outline, placed->frame));
        EXPECT_TRUE(contains(placed->frame, password.frame));

        const Point at = centre(password.frame);
        ASSERT_TRUE(input->click(at, SyntheticInput::Button::left, 1));
        ASSERT_TRUE(input->typeText(QStringLiteral("Ab1")));
        EXPECT_TRUE(form.waitForEvent(QStringLiteral("password"), 5000));
        EXPECT_TRUE(waitFor(
            [&] {
                const std::optional<LiveElement> now = actor->refresh(password);
                return now && now->focused;
            },
            5000));
        const std::optional<Point> pointer = placer.pointer();
        ASSERT_TRUE(pointer);
        EXPECT_EQ(qRound(pointer->x), qRound(at.x));
        EXPECT_EQ(qRound(pointer->y), qRound(at.y));
    }
}

// The palette shortcut typed through fake input reaches Tavrik through KWin's shortcut service;
// Esc only while asked for; a shortcut already taken is refused plainly, and stopping gives it
// back.
TEST_F(WaylandSession, KwinTakesThePaletteShortcutAndGivesItBack) {
    if (!underKwin())
        GTEST_SKIP() << "needs KWin";
    // The grabber Tavrik chooses here: KWin's shortcuts, with keyboards added where readable.
    NativeForm form(NativeForm::Toolkit::gtk);
    QList<std::pair<quint16, quint64>> pressed;
    const std::unique_ptr<HotkeyGrabber> hotkeys = startedShortcuts(form, pressed);
    ASSERT_TRUE(hotkeys);
    const std::unique_ptr<SyntheticInput> keyboard = DesktopBackend::createSyntheticInput();
    ASSERT_TRUE(keyboard->pressKey(KeyCodes::slash, ModifierFlags::control));
    ASSERT_TRUE(waitFor([&] { return !pressed.isEmpty(); }, 5000));
    EXPECT_EQ(pressed.takeFirst(), std::make_pair(KeyCodes::slash, ModifierFlags::control));

    // Esc is not taken yet: the shortcut typed after it is the next thing heard.
    ASSERT_TRUE(keyboard->pressKey(KeyCodes::escape, 0));
    ASSERT_TRUE(keyboard->pressKey(KeyCodes::slash, ModifierFlags::control));
    ASSERT_TRUE(waitFor([&] { return !pressed.isEmpty(); }, 5000));
    EXPECT_EQ(pressed.takeFirst().first, KeyCodes::slash);
    hotkeys->setEscapeGrabbed(true);
    ASSERT_TRUE(keyboard->pressKey(KeyCodes::escape, 0));
    ASSERT_TRUE(waitFor([&] { return !pressed.isEmpty(); }, 5000));
    EXPECT_EQ(pressed.takeFirst().first, KeyCodes::escape);
    hotkeys->setEscapeGrabbed(false);

    test::expectHeldUntilStopped<wayland::KWinHotkeys>(*hotkeys);
}

// KWin serves its screenshots to the program its menu entry names (Tavrik's entry, naming this
// test program, is in the session's data folders): the workspace is one display, and the frame
// has the password field black.
TEST_F(WaylandSession, KwinFramesHidePasswords) {
    if (!underKwin())
        GTEST_SKIP() << "needs KWin";
    NativeForm form(NativeForm::Toolkit::gtk);
    const std::optional<FormView> view =
        viewOf(form, NativeForm::Toolkit::gtk, QStringLiteral("password text"));
    ASSERT_TRUE(view);
    ASSERT_TRUE(view->element.secure);

    const std::unique_ptr<FrameCapturer> frames = DesktopBackend::createFrameCapturer();
    ASSERT_NE(dynamic_cast<wayland::KWinFrameCapturer*>(frames.get()), nullptr)
        << wayland::KWinFrameCapturer().errorString().toStdString();
    ASSERT_EQ(frames->displays().size(), 1);
    EXPECT_EQ(frames->displays().first().frame, Rect(0, 0, 1920, 1080));
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("frame.png"));
    ASSERT_EQ(test::savedFrame(*frames, wayland::KWinFrameCapturer::displayID,
                               {view->element.frame}, path),
              (Size{1920, 1080}));
    test::expectHiddenInFrame(QImage(path), view->element.frame);

    // What a key frame costs (reported, not judged).
    QElapsedTimer timer;
    timer.start();
    constexpr int rounds = 5;
    for (int i = 0; i < rounds; ++i)
        ASSERT_TRUE(test::savedFrame(*frames, wayland::KWinFrameCapturer::displayID, {},
                                     dir.filePath(QStringLiteral("more.png"))));
    std::cout << "[ measure  ] KWin key frame, saved: " << timer.elapsed() / rounds << " ms\n";
}

} // namespace
} // namespace tavrik
