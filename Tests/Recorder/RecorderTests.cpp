#include "RecorderFakes.h"
#include "Support/CoreApplication.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Storage/Paths.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::test;
using Button = InputMonitor::MouseButton;

namespace {

AXTarget field(const QString& title, const QString& app = "org.example.Mail", bool secure = false) {
    AXTarget t;
    t.appBundleID = app;
    t.appName = app.section('.', -1);
    t.windowTitle = "Compose";
    t.axRole = secure ? "password text" : "text";
    t.axTitle = title;
    t.isSecure = secure;
    return t;
}

class RecorderTest : public testing::Test {
protected:
    RecorderTest() {
        ensureCoreApplication();
        auto m = std::make_unique<FakeMonitor>();
        auto c = std::make_unique<FakeCapturer>();
        auto r = std::make_unique<FakeResolver>();
        monitor = m.get();
        capturer = c.get();
        resolver = r.get();
        resolver->targetAt = [](Point p) {
            AXTarget t = field(QStringLiteral("at %1,%2").arg(p.x).arg(p.y));
            t.axRole = "push button";
            return std::optional<AXTarget>(t);
        };
        recorder = std::make_unique<Recorder>(std::move(m), std::move(c), std::move(r),
                                              RecordingStore{}, clock.reader());
    }

    Recording stop() {
        QFuture<std::optional<Recording>> done = recorder->stop();
        EXPECT_TRUE(waitFor(done));
        std::optional<Recording> recording = done.result();
        EXPECT_TRUE(recording.has_value());
        return recording.value_or(Recording{});
    }

    void click(Point p, Button b = Button::left, int count = 1) {
        emit monitor->mouseDown(p, b, count);
        emit monitor->mouseUp(p, b);
    }
    void type(const QString& text) {
        for (QChar c : text)
            emit monitor->key(KeyCodes::forCharacter(c.unicode()).value_or(KeyCodes::unknown), 0,
                              QString(c));
    }

    TempSupportFolder support;
    ManualClock clock;
    FakeMonitor* monitor;
    FakeCapturer* capturer;
    FakeResolver* resolver;
    std::unique_ptr<Recorder> recorder;
};

TEST_F(RecorderTest, PressAndReleaseBecomeClicksByButtonAndCount) {
    recorder->start();
    EXPECT_TRUE(monitor->running);
    click({10, 20});
    clock.advance(1);
    click({30, 40}, Button::left, 2);
    clock.advance(1);
    click({30, 40}, Button::left, 3);
    clock.advance(1);
    click({50, 60}, Button::right, 2);
    clock.advance(1);
    // The release's button is not compared with the press.
    emit monitor->mouseDown({70, 80}, Button::left, 1);
    emit monitor->mouseUp({70, 80}, Button::right);

    const Recording r = stop();
    EXPECT_FALSE(monitor->running);
    ASSERT_EQ(r.events.size(), 5);
    const QList<ActionType> types{ActionType::click, ActionType::doubleClick,
                                  ActionType::doubleClick, ActionType::rightClick,
                                  ActionType::click};
    for (int i = 0; i < 5; ++i) {
        const ActionEvent& e = r.events[i];
        EXPECT_EQ(e.type, types[i]) << i;
        EXPECT_DOUBLE_EQ(e.timeOffset, i);
        EXPECT_FALSE(e.endLocation);
        EXPECT_FALSE(e.typedText || e.keyCode || e.modifierFlags || e.scrollDelta);
        EXPECT_EQ(e.frameIndex, i);
    }
    EXPECT_EQ(r.events[0].location, (Point{10, 20}));
    ASSERT_TRUE(r.events[0].target);
    EXPECT_EQ(r.events[0].target->axTitle, "at 10,20");
}

TEST_F(RecorderTest, ADragNeedsMovementBeyondTheThreshold) {
    recorder->start();
    // Dragged 5 points: still a click.
    emit monitor->mouseDown({100, 100}, Button::left, 1);
    emit monitor->mouseDragged({103, 104});
    emit monitor->mouseUp({103, 104}, Button::left);
    // Exactly the threshold is not beyond it.
    emit monitor->mouseDown({100, 100}, Button::left, 1);
    emit monitor->mouseDragged({106, 100});
    emit monitor->mouseUp({106, 100}, Button::left);
    // 7 points: a drag, wherever it wandered meanwhile.
    emit monitor->mouseDown({100, 100}, Button::left, 2);
    emit monitor->mouseDragged({300, 300});
    emit monitor->mouseUp({107, 100}, Button::left);
    // Far apart but never dragged (the pointer jumped): a click.
    emit monitor->mouseDown({100, 100}, Button::left, 1);
    emit monitor->mouseUp({500, 500}, Button::left);
    // A press replaced by another press leaves no event; a release without a press neither.
    emit monitor->mouseDown({1, 1}, Button::left, 1);
    emit monitor->mouseDown({2, 2}, Button::right, 1);
    emit monitor->mouseUp({2, 2}, Button::right);
    emit monitor->mouseUp({3, 3}, Button::left);
    // Still held at stop: dropped.
    emit monitor->mouseDown({9, 9}, Button::left, 1);

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 5);
    EXPECT_EQ(r.events[0].type, ActionType::click);
    EXPECT_EQ(r.events[1].type, ActionType::click);
    EXPECT_EQ(r.events[2].type, ActionType::drag);
    EXPECT_EQ(r.events[2].location, (Point{100, 100}));
    EXPECT_EQ(r.events[2].endLocation, (Point{107, 100}));
    EXPECT_EQ(r.events[3].type, ActionType::click);
    EXPECT_FALSE(r.events[3].endLocation);
    EXPECT_EQ(r.events[4].type, ActionType::rightClick);
    EXPECT_EQ(r.events[4].location, (Point{2, 2}));
}

TEST_F(RecorderTest, TypingIntoOneFieldIsOneRunEndedByAPressOrAnotherField) {
    AXTarget subject = field("Subject");
    resolver->focused = subject;
    recorder->start();
    clock.advance(0.5);
    type("ab");
    // The value changing while typing does not split the run; the window title neither.
    resolver->focused->axValue = "ab";
    resolver->focused->windowTitle = "Compose: ab";
    clock.advance(0.1);
    type("c");
    clock.advance(0.5);
    click({5, 5});
    clock.advance(0.5);
    type("x");
    resolver->focused = field("Body");
    type("yz");
    // Shift and Alt still type text.
    emit monitor->key(KeyCodes::digit1, ModifierFlags::shift, QStringLiteral("!"));
    emit monitor->key(KeyCodes::e, ModifierFlags::alt, QStringLiteral("é"));

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 4);
    EXPECT_EQ(r.events[0].type, ActionType::keystroke);
    EXPECT_EQ(r.events[0].typedText, "abc");
    EXPECT_DOUBLE_EQ(r.events[0].timeOffset, 0.5);
    EXPECT_EQ(r.events[0].target->axTitle, "Subject");
    // The target is the one of the first key.
    EXPECT_FALSE(r.events[0].target->axValue);
    EXPECT_FALSE(r.events[0].keyCode || r.events[0].modifierFlags || r.events[0].location);
    EXPECT_EQ(r.events[1].type, ActionType::click);
    EXPECT_EQ(r.events[2].typedText, "x");
    EXPECT_EQ(r.events[3].typedText, "yz!é");
    EXPECT_EQ(r.events[3].target->axTitle, "Body");
    // One frame per run, at its first key; "yz" began too soon after "x" for one of its own.
    EXPECT_EQ(r.events[0].frameIndex, 0);
    EXPECT_EQ(r.events[2].frameIndex, 2);
    EXPECT_FALSE(r.events[3].frameIndex);
    EXPECT_EQ(r.frames.size(), 3);
}

// By the time a key is read, the application has acted on it: Tab has moved the focus on.
TEST_F(RecorderTest, KeysThatMoveTheFocusBelongToTheElementThatHadIt) {
    resolver->focused = field("Name");
    recorder->start();
    type("ann");
    resolver->focused = field("Email");
    emit monitor->key(KeyCodes::tab, 0, QStringLiteral("\t"));
    type("a@b");
    resolver->focused = field("Send");
    emit monitor->key(KeyCodes::returnKey, 0, QStringLiteral("\r"));
    // After a focus-moving key the next one asks afresh.
    emit monitor->key(KeyCodes::returnKey, 0, QStringLiteral("\r"));
    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 5);
    EXPECT_EQ(r.events[1].keyCode, KeyCodes::tab);
    EXPECT_EQ(r.events[1].target->axTitle, "Name");
    EXPECT_EQ(r.events[2].target->axTitle, "Email");
    EXPECT_EQ(r.events[3].target->axTitle, "Email");
    EXPECT_EQ(r.events[4].target->axTitle, "Send");
}

// Under load an application may not answer in time; the resolver then knows only its window
// (and counts it as secure where it has secure fields). Such a key stays in the run.
TEST_F(RecorderTest, AFocusTheApplicationDidNotTellInTimeKeepsTheRunWhole) {
    const AXTarget password = field("Password", "org.example.Mail", true);
    AXTarget unread;
    unread.appBundleID = password.appBundleID;
    unread.windowTitle = password.windowTitle;
    unread.isSecure = true;
    resolver->focused = password;
    recorder->start();
    type("pw");
    resolver->focused = unread;
    type("1");
    resolver->focused = password;
    type("23");
    resolver->focused = field("Subject");
    type("hi");
    resolver->focused = unread;
    type("!");
    // In another application an unread focus is nothing to go on: a new run.
    unread.appBundleID = "org.example.Other";
    resolver->focused = unread;
    type("x");

    // The application still busy with the press before the first key: the run is the field named
    // by the first answer, with every key's text once that field is ordinary, none once secure.
    unread.appBundleID = password.appBundleID;
    click({5, 5});
    resolver->focused = unread;
    type("H");
    resolver->focused = field("Body");
    type("ello");
    click({6, 6});
    resolver->focused = unread;
    type("se");
    resolver->focused = password;
    type("cret");

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 7);
    EXPECT_TRUE(r.events[0].target->isSecure);
    EXPECT_EQ(r.events[0].target->axTitle, "Password");
    EXPECT_FALSE(r.events[0].typedText);
    EXPECT_EQ(r.events[1].target->axTitle, "Subject");
    EXPECT_EQ(r.events[1].typedText, "hi!");
    EXPECT_EQ(r.events[2].target->appBundleID, "org.example.Other");
    EXPECT_EQ(r.events[4].typedText, "Hello");
    EXPECT_EQ(r.events[4].target->axTitle, "Body");
    EXPECT_FALSE(r.events[4].target->isSecure);
    EXPECT_FALSE(r.events[6].typedText);
    EXPECT_EQ(r.events[6].target->axTitle, "Password");
    EXPECT_TRUE(r.events[6].target->isSecure);
}

// Delivery lagging behind the user: the keys typed before a click are handed over once the
// application has acted on that click, and the focus it reports is the clicked field.
TEST_F(RecorderTest, KeysHandedOverAfterTheNextPressStayWithTheFieldTheyWereTypedInto) {
    resolver->focused = field("Notes");
    recorder->start();
    type("f");
    resolver->focused = field("Password", "org.example.Mail", true);
    monitor->waiting = true;
    type("ast");
    emit monitor->key(KeyCodes::c, ModifierFlags::control, QStringLiteral("c"));
    monitor->waiting = false;
    click({5, 5});
    type("pw");

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 4);
    EXPECT_EQ(r.events[0].typedText, "fast");
    EXPECT_EQ(r.events[0].target->axTitle, "Notes");
    EXPECT_EQ(r.events[1].keyCode, KeyCodes::c);
    EXPECT_EQ(r.events[1].target->axTitle, "Notes");
    EXPECT_TRUE(r.events[3].target->isSecure);
    EXPECT_FALSE(r.events[3].typedText);
}

// A window coming to the front is busy at the press: its element is read at the release, unless
// only another window answers then or a later press is already waiting.
TEST_F(RecorderTest, APressItsApplicationDidNotAnswerIsReadAgainAtTheRelease) {
    AXTarget unread;
    unread.appBundleID = "org.example.Mail";
    unread.windowTitle = "Compose";
    std::optional<AXTarget> answer = unread;
    resolver->targetAt = [&](Point) { return answer; };
    recorder->start();
    emit monitor->mouseDown({5, 5}, Button::left, 1);
    answer = field("To");
    emit monitor->mouseUp({5, 5}, Button::left);
    clock.advance(1);
    answer = unread;
    emit monitor->mouseDown({6, 6}, Button::left, 1);
    answer = field("To");
    answer->windowTitle = "Inbox";
    emit monitor->mouseUp({6, 6}, Button::left);
    clock.advance(1);
    answer = unread;
    emit monitor->mouseDown({7, 7}, Button::left, 1);
    answer = field("To");
    monitor->waiting = true;
    emit monitor->mouseUp({7, 7}, Button::left);

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 3);
    EXPECT_EQ(r.events[0].target->axTitle, "To");
    EXPECT_FALSE(r.events[1].target->axRole);
    EXPECT_FALSE(r.events[2].target->axRole);
}

TEST_F(RecorderTest, TypingWithoutAFocusedElementGivesOneEventPerKey) {
    recorder->start();
    type("hi");
    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 2);
    EXPECT_EQ(r.events[0].typedText, "h");
    EXPECT_FALSE(r.events[0].target);
    EXPECT_EQ(r.events[1].typedText, "i");
}

TEST_F(RecorderTest, SecureFieldsNeverKeepTypedText) {
    resolver->focused = field("Password", "org.example.Mail", true);
    recorder->start();
    type("hunter2");
    emit monitor->key(KeyCodes::returnKey, 0, QStringLiteral("\r"));

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 2);
    EXPECT_EQ(r.events[0].type, ActionType::keystroke);
    EXPECT_FALSE(r.events[0].typedText);
    ASSERT_TRUE(r.events[0].target);
    EXPECT_TRUE(r.events[0].target->isSecure);
    EXPECT_EQ(r.events[1].keyCode, KeyCodes::returnKey);

    // Nothing written for the recording holds any of it.
    QDirIterator files(Paths::recording(r.id), QDir::Files, QDirIterator::Subdirectories);
    int read = 0;
    while (files.hasNext()) {
        QFile file(files.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        EXPECT_FALSE(bytes.contains("hunter") || bytes.contains("unter2"))
            << file.fileName().toStdString();
        ++read;
    }
    EXPECT_GE(read, 1);
}

TEST_F(RecorderTest, ShortcutsAndSpecialKeysAreTheirOwnKeystrokes) {
    resolver->focused = field("Body");
    recorder->start();
    type("hello");
    clock.advance(1);
    const quint64 controlAndDevice = ModifierFlags::control | 0x1;
    emit monitor->key(KeyCodes::c, controlAndDevice, QStringLiteral("\x03"));
    emit monitor->key(KeyCodes::v, ModifierFlags::super, QStringLiteral("v"));
    emit monitor->key(KeyCodes::returnKey, 0, QStringLiteral("\r"));
    emit monitor->key(KeyCodes::leftArrow, ModifierFlags::shift, std::nullopt);
    emit monitor->key(KeyCodes::f5, 0, std::nullopt);                // types nothing
    emit monitor->key(KeyCodes::unknown, 0, QStringLiteral("\x1b")); // a control character
    emit monitor->key(KeyCodes::pageDown, 0, QStringLiteral("x"));   // discrete by its code

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 8);
    EXPECT_EQ(r.events[0].typedText, "hello");
    const QList<quint16> codes{KeyCodes::c,         KeyCodes::v,  KeyCodes::returnKey,
                               KeyCodes::leftArrow, KeyCodes::f5, KeyCodes::unknown,
                               KeyCodes::pageDown};
    for (int i = 1; i < 8; ++i) {
        const ActionEvent& e = r.events[i];
        EXPECT_EQ(e.type, ActionType::keystroke);
        EXPECT_EQ(e.keyCode, codes[i - 1]) << i;
        EXPECT_FALSE(e.typedText) << i;
        EXPECT_FALSE(e.location) << i;
        ASSERT_TRUE(e.target);
        EXPECT_EQ(e.target->axTitle, "Body");
        EXPECT_DOUBLE_EQ(e.timeOffset, 1);
    }
    EXPECT_EQ(r.events[1].modifierFlags, controlAndDevice);
    EXPECT_EQ(r.events[2].modifierFlags, ModifierFlags::super);
    EXPECT_EQ(r.events[3].modifierFlags, 0u);
}

// A scroll run is closed by a press, a shortcut or special key, or stop; typing text in between
// does not close it, and the run's next tick closes the typing run instead.
TEST_F(RecorderTest, ScrollTicksCoalesceUntilAPressOrADiscreteKey) {
    resolver->focused = field("Body");
    recorder->start();
    type("ab");
    clock.advance(1);
    // The first tick ends the typing run; the run keeps the first tick's point and target.
    emit monitor->scroll({200, 300}, 0, -1);
    clock.advance(5);
    emit monitor->mouseMoved({900, 900});
    emit monitor->scroll({250, 350}, 0, -1);
    emit monitor->scroll({250, 350}, 1, -1);
    clock.advance(1);
    click({10, 10});
    emit monitor->scroll({400, 400}, -1, 0);
    type("c");
    emit monitor->scroll({400, 400}, 0, 2);
    emit monitor->key(KeyCodes::c, ModifierFlags::control, std::nullopt);
    // A run still open at stop is kept.
    emit monitor->scroll({1, 1}, 0, 1);
    emit monitor->scroll({1, 1}, 0, 1);

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 7);
    EXPECT_EQ(r.events[0].typedText, "ab");
    const ActionEvent& first = r.events[1];
    EXPECT_EQ(first.type, ActionType::scroll);
    EXPECT_DOUBLE_EQ(first.timeOffset, 1);
    EXPECT_EQ(first.location, (Point{200, 300}));
    EXPECT_EQ(first.scrollDelta, (Size{1, -3}));
    EXPECT_EQ(first.target->axTitle, "at 200,300");
    EXPECT_EQ(r.events[2].type, ActionType::click);
    EXPECT_EQ(r.events[3].typedText, "c");
    EXPECT_EQ(r.events[4].type, ActionType::scroll);
    EXPECT_EQ(r.events[4].location, (Point{400, 400}));
    EXPECT_EQ(r.events[4].scrollDelta, (Size{-1, 2}));
    EXPECT_EQ(r.events[5].keyCode, KeyCodes::c);
    EXPECT_EQ(r.events[6].scrollDelta, (Size{0, 2}));
    // One accessibility question per scroll run, plus the click's.
    EXPECT_EQ(resolver->targetCalls, 4);
}

TEST_F(RecorderTest, ApplicationChangesAreNotedOnce) {
    resolver->focused = field("Inbox", "org.example.Mail");
    recorder->start();
    // Another window of the same application: not noted.
    resolver->targetAt = [](Point p) {
        AXTarget t = field("Send", "org.example.Mail");
        t.windowTitle = "Another window";
        if (p.x > 500)
            t = field("Go", "org.example.Browser");
        if (p.x > 1000)
            t.appBundleID.reset();
        return std::optional<AXTarget>(t);
    };
    clock.advance(1);
    click({100, 100});
    clock.advance(1);
    click({600, 100});
    clock.advance(1);
    click({1100, 100}); // no identity: nothing to note
    clock.advance(1);
    emit monitor->scroll({100, 100}, 0, 1); // scrolling never notes
    clock.advance(1);
    type("q"); // focus is still on Mail's Inbox
    const Recording r = stop();

    ASSERT_EQ(r.appContexts.size(), 3);
    EXPECT_DOUBLE_EQ(r.appContexts[0].timeOffset, 0);
    EXPECT_EQ(r.appContexts[0].bundleID, "org.example.Mail");
    EXPECT_EQ(r.appContexts[0].appName, "Mail");
    EXPECT_EQ(r.appContexts[0].windowTitle, "Compose");
    EXPECT_DOUBLE_EQ(r.appContexts[1].timeOffset, 2);
    EXPECT_EQ(r.appContexts[1].bundleID, "org.example.Browser");
    EXPECT_DOUBLE_EQ(r.appContexts[2].timeOffset, 5);
    EXPECT_EQ(r.appContexts[2].bundleID, "org.example.Mail");
}

TEST_F(RecorderTest, WithoutAFocusedElementTheFrontmostWindowIsTheFirstContext) {
    resolver->frontmost = FrontmostApplication{"org.example.Term", "Term", "~", 42};
    recorder->start();
    const Recording r = stop();
    ASSERT_EQ(r.appContexts.size(), 1);
    EXPECT_EQ(r.appContexts[0].bundleID, "org.example.Term");
    EXPECT_EQ(r.appContexts[0].windowTitle, "~");
}

TEST_F(RecorderTest, FramesAreSpacedAndTakenOnTheDisplayUnderThePointer) {
    capturer->screens = {{1, Rect(0, 0, 1440, 900), 2.0, true},
                         {2, Rect(1440, -100, 1920, 1080), 1.0, false}};
    resolver->secureRects = {Rect(1500, -120, 200, 40), Rect(100, 100, 50, 20),
                             Rect(5000, 0, 10, 10)};
    recorder->start();
    // Keys before any pointer signal: the main display.
    emit monitor->key(KeyCodes::returnKey, 0, std::nullopt);
    clock.advance(0.1);
    click({2000, 500}); // too soon: no frame
    clock.advance(0.2);
    click({2000, 500}); // 0.3 s after the last frame: one
    clock.advance(0.299);
    emit monitor->key(KeyCodes::tab, 0, std::nullopt); // too soon
    clock.advance(0.3);
    emit monitor->key(KeyCodes::tab, 0, std::nullopt); // the pointer's last display

    const Recording r = stop();
    ASSERT_EQ(capturer->requests.size(), 3);
    const auto& main = capturer->requests[0];
    EXPECT_EQ(main.displayID, 1u);
    EXPECT_EQ(main.width, 2880);
    EXPECT_EQ(main.height, 1800);
    EXPECT_EQ(main.redact, (QList<Rect>{Rect(200, 200, 100, 40)}));
    const auto& second = capturer->requests[1];
    EXPECT_EQ(second.displayID, 2u);
    EXPECT_EQ(second.width, 1920);
    // Clipped at the display's top edge; the field right of every display is left out.
    EXPECT_EQ(second.redact, (QList<Rect>{Rect(60, 0, 200, 20)}));
    EXPECT_EQ(capturer->requests[2].displayID, 2u);
    EXPECT_TRUE(
        main.path.endsWith(r.id.toString(QUuid::WithoutBraces).toUpper() + "/frames/000001.png"));
    EXPECT_TRUE(capturer->requests[2].path.endsWith("/frames/000003.png"));

    ASSERT_EQ(r.events.size(), 5);
    EXPECT_EQ(r.events[0].frameIndex, 0);
    EXPECT_FALSE(r.events[1].frameIndex);
    EXPECT_EQ(r.events[2].frameIndex, 1);
    EXPECT_FALSE(r.events[3].frameIndex);
    EXPECT_EQ(r.events[4].frameIndex, 2);
    ASSERT_EQ(r.frames.size(), 3);
    EXPECT_EQ(r.frames[1].relativePath, "frames/000002.png");
    EXPECT_EQ(r.frames[1].displayID, 2u);
    EXPECT_EQ(r.frames[1].pixelSize, (Size{1920, 1080}));
    EXPECT_EQ(r.frames[1].redactedRegions, second.redact);
    EXPECT_NEAR(r.frames[1].timeOffset, 0.3, 1e-9);
}

TEST_F(RecorderTest, WithoutDisplaysNoFrameIsRequested) {
    capturer->screens.clear();
    recorder->start();
    click({1, 1});
    clock.advance(1);
    click({1, 1});
    const Recording r = stop();
    EXPECT_TRUE(capturer->requests.isEmpty());
    EXPECT_TRUE(r.frames.isEmpty());
    ASSERT_EQ(r.events.size(), 2);
    EXPECT_FALSE(r.events[0].frameIndex || r.events[1].frameIndex);
}

TEST_F(RecorderTest, FailedCapturesLeaveGapsAndEventsAreRenumbered) {
    capturer->failing = {2};
    recorder->start();
    for (int i = 0; i < 3; ++i) {
        click({double(i), 0});
        clock.advance(0.1);
        click({double(i), 0}); // shares the frame of the click before
        clock.advance(1);
    }
    const Recording r = stop();
    ASSERT_EQ(r.frames.size(), 2);
    EXPECT_EQ(r.frames[0].relativePath, "frames/000001.png");
    EXPECT_EQ(r.frames[1].relativePath, "frames/000003.png");
    ASSERT_EQ(r.events.size(), 6);
    EXPECT_EQ(r.events[0].frameIndex, 0);
    EXPECT_FALSE(r.events[2].frameIndex);
    EXPECT_EQ(r.events[4].frameIndex, 1);
}

// Where the pointer comes to rest, the resolver reads ahead of a press; it is not asked at every
// point the pointer passes.
TEST_F(RecorderTest, APointerAtRestIsReadWhereItStopped) {
    recorder->start();
    emit monitor->mouseMoved({10, 10});
    emit monitor->mouseMoved({20, 20});
    emit monitor->mouseMoved({30, 30});
    ASSERT_TRUE(waitUntil([&] { return !resolver->hovered.isEmpty(); }));
    ASSERT_EQ(resolver->hovered.size(), 1);
    EXPECT_EQ(resolver->hovered[0], (Point{30, 30}));
}

// A loaded application may not answer the read of the resting pointer in time: it is asked again
// while the pointer stays, and a pointer that moves on is read where it stops next.
TEST_F(RecorderTest, ARestingPointerItsApplicationDidNotAnswerIsReadAgain) {
    resolver->unansweredHovers = 1;
    recorder->start();
    emit monitor->mouseMoved({30, 30});
    ASSERT_TRUE(waitUntil([&] { return resolver->hovered.size() == 2; }));
    emit monitor->mouseMoved({40, 40});
    ASSERT_TRUE(waitUntil([&] { return resolver->hovered.size() == 3; }));
    EXPECT_EQ(resolver->hovered, (QList<Point>{{30, 30}, {30, 30}, {40, 40}}));
}

TEST_F(RecorderTest, StopWaitsForPendingFrames) {
    capturer->hold = true;
    recorder->start();
    click({1, 1});
    clock.advance(1);
    click({2, 2});
    QFuture<std::optional<Recording>> done = recorder->stop();
    QCoreApplication::processEvents();
    EXPECT_FALSE(done.isFinished());
    EXPECT_TRUE(recorder->isRecording());
    // Input after stop began is not recorded, and a second stop is the same stop.
    click({3, 3});
    QFuture<std::optional<Recording>> again = recorder->stop();
    capturer->settle(1, true);
    QCoreApplication::processEvents();
    EXPECT_FALSE(done.isFinished());
    capturer->settle(0, true);
    ASSERT_TRUE(waitFor(done));
    ASSERT_TRUE(waitFor(again));
    const Recording r = *done.result();
    EXPECT_EQ(r.id, again.result()->id);
    EXPECT_EQ(r.events.size(), 2);
    EXPECT_EQ(r.frames.size(), 2);
    EXPECT_FALSE(recorder->isRecording());
}

TEST_F(RecorderTest, ACaptureThatNeverEndsDelaysStopOnlyUpToItsLimit) {
    capturer->hold = true;
    recorder->setCaptureWaitMs(50);
    recorder->start();
    click({1, 1});
    QFuture<std::optional<Recording>> done = recorder->stop();
    ASSERT_TRUE(waitFor(done));
    const Recording r = *done.result();
    EXPECT_TRUE(r.frames.isEmpty());
    EXPECT_FALSE(r.events[0].frameIndex);
    // A late result belongs to no recording.
    recorder->start();
    capturer->settle(0, true);
    QCoreApplication::processEvents();
    EXPECT_TRUE(stop().frames.isEmpty());
}

TEST_F(RecorderTest, EmptyRecordingsAreSavedAndStopWithoutRecordingGivesNothing) {
    QFuture<std::optional<Recording>> idle = recorder->stop();
    ASSERT_TRUE(idle.isFinished());
    EXPECT_FALSE(idle.result());

    recorder->start();
    recorder->start(); // already recording: nothing restarts
    EXPECT_EQ(monitor->starts, 1);
    clock.advance(2.6);
    const Recording r = stop();
    EXPECT_TRUE(r.events.isEmpty());
    EXPECT_TRUE(r.frames.isEmpty());
    EXPECT_EQ(r.displays, capturer->screens);
    ASSERT_TRUE(r.endedAt);
    EXPECT_EQ(r.startedAt.msecsTo(*r.endedAt), 2600);
    EXPECT_TRUE(QDir(RecordingStore().framesDirectory(r.id)).exists());
    EXPECT_EQ(recorder->lastRecording(), r);

    // Input after stop is ignored; the next recording starts afresh.
    click({1, 1});
    recorder->start();
    const Recording next = stop();
    EXPECT_NE(next.id, r.id);
    EXPECT_TRUE(next.events.isEmpty());
}

TEST_F(RecorderTest, TheSavedRecordingIsTheReturnedOne) {
    resolver->focused = field("Subject");
    recorder->start();
    type("hi");
    clock.advance(1);
    click({10, 10});
    clock.advance(1.5);
    const Recording r = stop();

    const Result<Recording> loaded = RecordingStore().load(r.id);
    ASSERT_TRUE(loaded.ok());
    EXPECT_EQ(loaded->events, r.events);
    EXPECT_EQ(loaded->frames, r.frames);
    EXPECT_EQ(loaded->appContexts, r.appContexts);
    EXPECT_EQ(loaded->displays, r.displays);
    EXPECT_EQ(loaded->startedAt.toSecsSinceEpoch(), r.startedAt.toSecsSinceEpoch());
    EXPECT_EQ(loaded->endedAt->toSecsSinceEpoch(), r.endedAt->toSecsSinceEpoch());
}

TEST_F(RecorderTest, AFailedSaveStillReturnsTheRecording) {
    // A file where the recordings folder should be: nothing can be written under it.
    QDir().mkpath(Paths::support());
    QFile blocker(Paths::recordings());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    recorder->start();
    click({1, 1});
    const Recording r = stop();
    EXPECT_EQ(r.events.size(), 1);
    EXPECT_FALSE(RecordingStore().load(r.id).ok());
    EXPECT_EQ(recorder->lastRecording(), r);
}

// A monitor that inferred a click from the element's own event says what it landed on: under
// load a read at the point may find only the window, whose coordinates replay elsewhere misses.
TEST_F(RecorderTest, AClickItsMonitorDescribesKeepsThatElement) {
    AXTarget windowOnly;
    windowOnly.appBundleID = "org.example.Mail";
    windowOnly.windowTitle = "Compose";
    resolver->targetAt = [windowOnly](Point) { return std::optional<AXTarget>(windowOnly); };
    resolver->focused = field("Subject");
    recorder->start();
    const auto inferredClick = [this](Point p, const AXTarget& on) {
        monitor->setEventTarget(on);
        emit monitor->mouseDown(p, Button::left, 1);
        monitor->setEventTarget(std::nullopt);
        emit monitor->mouseUp(p, Button::left);
    };
    inferredClick({10, 10}, field("Name"));
    // The click gave it the keyboard: a focus-moving key after it is its own.
    emit monitor->key(KeyCodes::tab, 0, QStringLiteral("\t"));
    // One delivered while the recorder still reads for the key before keeps its own element.
    AXTarget box = field("Subscribe");
    box.axRole = "check box";
    resolver->duringNextQuery = [&] { inferredClick({20, 20}, box); };
    emit monitor->key(KeyCodes::escape, 0, std::nullopt);
    // A press that comes with no element is read at its point.
    click({30, 30});

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 5);
    const auto title = [&](qsizetype i) {
        return r.events[i].target.value_or(AXTarget{}).axTitle.value_or(QStringLiteral("none"));
    };
    EXPECT_EQ(title(0), "Name");
    EXPECT_EQ(r.events[1].keyCode, KeyCodes::tab);
    EXPECT_EQ(title(1), "Name");
    EXPECT_EQ(r.events[3].type, ActionType::click);
    EXPECT_EQ(title(3), "Subscribe");
    EXPECT_EQ(r.events[4].target, windowOnly);
    // Only the bare press was read: at the press, and again at its release for want of an element.
    EXPECT_EQ(resolver->targetCalls, 2);
}

// A monitor that heard the focus taken says, with each key, what had it at the press: under load
// the read for the first key of a run may find only the window, and split the run.
TEST_F(RecorderTest, AKeyItsMonitorSaysTheFocusOfGoesThere) {
    AXTarget windowOnly;
    windowOnly.appBundleID = "org.example.Mail";
    windowOnly.windowTitle = "Compose";
    resolver->focused = windowOnly;
    recorder->start();
    const int readsAtStart = resolver->focusedCalls;
    const auto keysOn = [this](const AXTarget& on, const std::function<void()>& keys) {
        monitor->setEventTarget(on);
        keys();
        monitor->setEventTarget(std::nullopt);
    };
    keysOn(field("Name"), [this] { type("Ada"); });
    // A discrete key, and one that moves the focus, go where the focus was at the press.
    keysOn(field("Name"), [this] { emit monitor->key(KeyCodes::escape, 0, std::nullopt); });
    keysOn(field("Name"), [this] { emit monitor->key(KeyCodes::tab, 0, QStringLiteral("\t")); });
    const int readsForKnownKeys = resolver->focusedCalls - readsAtStart;
    // A secret field the monitor names keeps its typing to itself.
    keysOn(field("Password", "org.example.Mail", true), [this] { type("pw"); });
    // A key it says nothing of is read as before.
    resolver->focused = field("Subject");
    type("Hi");

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 5);
    const auto title = [&](qsizetype i) {
        return r.events[i].target.value_or(AXTarget{}).axTitle.value_or(QStringLiteral("none"));
    };
    EXPECT_EQ(title(0), "Name");
    EXPECT_EQ(r.events[0].typedText, "Ada");
    EXPECT_EQ(r.events[1].keyCode, KeyCodes::escape);
    EXPECT_EQ(title(1), "Name");
    EXPECT_EQ(r.events[2].keyCode, KeyCodes::tab);
    EXPECT_EQ(title(2), "Name");
    EXPECT_EQ(title(3), "Password");
    EXPECT_FALSE(r.events[3].typedText);
    EXPECT_EQ(title(4), "Subject");
    EXPECT_EQ(r.events[4].typedText, "Hi");
    EXPECT_EQ(readsForKnownKeys, 0);
}

// A scroll inferred from a view's scroll bar comes in pieces (a toolkit animates one wheel step)
// with the view it moved: one scroll over that view, its steps summed, and no read at the point.
TEST_F(RecorderTest, AScrollItsMonitorInfersKeepsItsView) {
    resolver->targetAt = [](Point) { return std::optional<AXTarget>(field("Subject")); };
    recorder->start();
    AXTarget log = field("Log");
    log.axRole = "scroll pane";
    monitor->setEventTarget(log);
    for (const double piece : {-0.4, -1.5, -1.1})
        emit monitor->scroll({50, 60}, 0, piece);
    monitor->setEventTarget(std::nullopt);
    // A wheel the monitor says nothing of, after a key that ends the first, is read at its point.
    emit monitor->key(KeyCodes::c, ModifierFlags::control, std::nullopt);
    emit monitor->scroll({50, 60}, 0, 1);

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 3);
    EXPECT_EQ(r.events[0].type, ActionType::scroll);
    EXPECT_EQ(r.events[0].target, log);
    ASSERT_TRUE(r.events[0].scrollDelta);
    EXPECT_NEAR(r.events[0].scrollDelta->height, -3.0, 1e-9);
    EXPECT_EQ(r.events[2].target.value_or(AXTarget{}).axTitle, "Subject");
    EXPECT_EQ(resolver->targetCalls, 1);
}

// Accessibility queries can run a nested event loop, which delivers the signals that follow.
TEST_F(RecorderTest, SignalsArrivingDuringAQueryWaitForTheirTurn) {
    resolver->focused = field("Body");
    recorder->start();
    resolver->duringNextQuery = [this] {
        emit monitor->mouseDragged({150, 100});
        emit monitor->mouseUp({150, 100}, Button::left);
        emit monitor->key(KeyCodes::a, 0, QStringLiteral("a"));
    };
    emit monitor->mouseDown({100, 100}, Button::left, 1);
    clock.advance(1);
    // Stop asked for while a key's focus query is waiting: that key still counts.
    resolver->duringNextQuery = [this] {
        recorder->stop();
        emit monitor->key(KeyCodes::c, 0, QStringLiteral("c"));
    };
    emit monitor->key(KeyCodes::b, 0, QStringLiteral("b"));
    const Recording r = stop();

    ASSERT_EQ(r.events.size(), 2);
    EXPECT_EQ(r.events[0].type, ActionType::drag);
    EXPECT_EQ(r.events[0].endLocation, (Point{150, 100}));
    EXPECT_EQ(r.events[1].typedText, "ab");
}

// A loaded machine delivers input late and in bursts: frames, and the times events carry, follow
// when the user acted.
TEST_F(RecorderTest, InputIsTimedByWhenItHappenedNotWhenItArrived) {
    using namespace std::chrono_literals;
    recorder->start();
    const auto happened = [](std::chrono::milliseconds ago) {
        return std::chrono::steady_clock::now() - ago;
    };
    clock.advance(2);
    // Three keys pressed 0.5 s apart, arriving together: a frame each.
    for (auto ago : {1500ms, 1000ms, 500ms}) {
        monitor->setEventTime(happened(ago));
        emit monitor->key(KeyCodes::tab, 0, std::nullopt);
    }
    // A click 0.1 s after the last key, arriving a second later: too soon for a frame.
    clock.advance(1);
    monitor->setEventTime(happened(1400ms));
    click({10, 10});
    // A source that stamps behind the last event cannot move time backwards.
    monitor->setEventTime(happened(5s));
    emit monitor->key(KeyCodes::escape, 0, std::nullopt);
    // Typing arriving during a query keeps the time it arrived with, not the time it is taken.
    clock.advance(1);
    monitor->setEventTime(std::nullopt);
    resolver->focused = field("Body");
    resolver->duringNextQuery = [this] {
        emit monitor->key(KeyCodes::returnKey, 0, std::nullopt);
        clock.advance(1);
    };
    emit monitor->key(KeyCodes::a, 0, QStringLiteral("a"));

    const Recording r = stop();
    ASSERT_EQ(r.events.size(), 7);
    const double expected[] = {0.5, 1.0, 1.5, 1.6, 1.6, 4.0, 4.0};
    for (int i = 0; i < 7; ++i)
        EXPECT_NEAR(r.events[i].timeOffset, expected[i], 0.05) << i;
    EXPECT_TRUE(r.events[0].frameIndex && r.events[1].frameIndex && r.events[2].frameIndex);
    EXPECT_FALSE(r.events[3].frameIndex);
    EXPECT_FALSE(r.events[4].frameIndex);
    EXPECT_EQ(r.events[5].typedText, "a");
    ASSERT_EQ(r.frames.size(), 4);
    EXPECT_NEAR(r.frames[1].timeOffset, 1.0, 0.05);
}

TEST(RecorderRules, SameTargetComparesIdentityNotContent) {
    AXTarget a = field("To");
    AXTarget b = a;
    b.axValue = "someone";
    b.windowTitle = "other";
    b.frameInWindow = Rect(1, 2, 3, 4);
    b.url = "https://example.org";
    EXPECT_TRUE(Recorder::sameTarget(a, b));
    EXPECT_FALSE(Recorder::sameTarget(a, std::nullopt));
    EXPECT_FALSE(Recorder::sameTarget(std::nullopt, std::nullopt));
    b = a;
    b.axIdentifier = "to-field";
    EXPECT_FALSE(Recorder::sameTarget(a, b));
    b = a;
    b.appBundleID.reset();
    EXPECT_FALSE(Recorder::sameTarget(a, b));
    b = a;
    b.axRole = "combo box";
    EXPECT_FALSE(Recorder::sameTarget(a, b));
}

} // namespace
