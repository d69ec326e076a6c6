#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"

#include <QList>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {

// Feeds the engine the way a desktop would and collects what it emits.
struct Driver {
    HotkeyEngine engine;
    QList<HotkeyEngine::Event> events;
    double clock = 1000.0;

    Driver() {
        QObject::connect(&engine, &HotkeyEngine::triggered,
                         [this](HotkeyEngine::Event e) { events.append(e); });
    }
    void controlDown(double after = 0.05, quint16 key = KeyCodes::control) {
        clock += after;
        engine.handleFlagsChanged(key, ModifierFlags::control, clock);
    }
    void controlUp(double after = 0.05, quint16 key = KeyCodes::control) {
        clock += after;
        engine.handleFlagsChanged(key, 0, clock);
    }
    bool press(quint16 key, quint64 flags = 0) { return engine.handleKeyDown(key, flags); }
    qsizetype toggles() const { return events.count(HotkeyEngine::Event::toggleRecording); }
};

} // namespace

TEST(HotkeyEngine, DoubleTapOfControlTogglesOnceWithinTheWindow) {
    Driver d;
    d.controlDown();
    d.controlUp();
    d.controlDown(0.1); // 0.15 s after the first press
    EXPECT_EQ(d.events, QList{HotkeyEngine::Event::toggleRecording});

    // Left then right Control also pairs up.
    Driver lr;
    lr.controlDown();
    lr.controlUp();
    lr.controlDown(0.05, KeyCodes::rightControl);
    EXPECT_EQ(lr.toggles(), 1);
}

TEST(HotkeyEngine, PairIsTimedBetweenPressesAndTheWindowIsStrict) {
    Driver slow;
    slow.controlDown();
    slow.controlUp(0.2);
    slow.controlDown(0.1); // exactly 0.3 s after the first press
    EXPECT_EQ(slow.toggles(), 0);
    slow.controlUp(0.01);
    slow.controlDown(0.28); // but it starts a new pair
    EXPECT_EQ(slow.toggles(), 1);

    // A long hold does not matter: only the presses are timed.
    Driver held;
    held.controlDown();
    held.controlUp(0.25);
    held.controlDown(0.01);
    EXPECT_EQ(held.toggles(), 1);
}

TEST(HotkeyEngine, AnyKeyBetweenTheTwoPressesSpoilsThePair) {
    Driver d;
    d.controlDown();
    EXPECT_FALSE(d.press(KeyCodes::c, ModifierFlags::control)); // Control-C
    d.controlUp();
    d.controlDown();
    EXPECT_EQ(d.toggles(), 0);

    Driver typed;
    typed.controlDown();
    typed.controlUp();
    typed.press(KeyCodes::a);
    typed.controlDown();
    EXPECT_EQ(typed.toggles(), 0);

    // Other modifiers neither spoil nor start a pair.
    Driver shift;
    shift.controlDown();
    shift.controlUp();
    shift.engine.handleFlagsChanged(KeyCodes::shift, ModifierFlags::shift, shift.clock += 0.02);
    shift.engine.handleFlagsChanged(KeyCodes::shift, 0, shift.clock += 0.02);
    shift.controlDown(0.02);
    EXPECT_EQ(shift.toggles(), 1);
}

TEST(HotkeyEngine, ThirdTapStartsANewPairAndHeldControlDoesNotRepeat) {
    Driver d;
    d.controlDown();
    d.controlUp();
    d.controlDown();
    d.controlUp();
    d.controlDown();
    EXPECT_EQ(d.toggles(), 1);
    d.controlUp();
    d.controlDown();
    EXPECT_EQ(d.toggles(), 2);

    // Repeated flag reports while Control stays down are not fresh presses.
    Driver held;
    held.controlDown();
    held.controlDown();
    held.controlDown();
    EXPECT_EQ(held.toggles(), 0);

    // A clock that went backwards (wrapped server time) completes nothing.
    Driver wrapped;
    wrapped.controlDown();
    wrapped.controlUp();
    wrapped.controlDown(-10);
    EXPECT_EQ(wrapped.toggles(), 0);
}

TEST(HotkeyEngine, WithoutADesktopStartSaysSo) {
    HotkeyEngine engine;
    EXPECT_FALSE(engine.start());
    EXPECT_FALSE(engine.errorString().isEmpty());
}
