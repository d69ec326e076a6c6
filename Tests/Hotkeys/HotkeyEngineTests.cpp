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

// Each case is a sequence of key changes, each some seconds after the one before: 'v' Control
// down, '^' Control up, 'r' right Control down, 'a' the A key, 's' a tap of Shift.
TEST(HotkeyEngine, ControlDoubleTapsToggleOnlyAsAPairOfPressesWithinTheWindow) {
    struct Case {
        const char* name;
        QList<std::pair<char, double>> steps;
        qsizetype toggles;
    };
    const QList<Case> cases{
        {"a double tap", {{'v', .05}, {'^', .05}, {'v', .1}}, 1},
        {"left then right", {{'v', .05}, {'^', .05}, {'r', .05}}, 1},
        // Only the presses are timed, and the window is strict.
        {"exactly 0.3 s apart", {{'v', .05}, {'^', .2}, {'v', .1}}, 0},
        {"a late press starts a new pair",
         {{'v', .05}, {'^', .2}, {'v', .1}, {'^', .01}, {'v', .28}},
         1},
        {"a long hold", {{'v', .05}, {'^', .25}, {'v', .01}}, 1},
        {"a key between the taps", {{'v', .05}, {'^', .05}, {'a', 0}, {'v', .05}}, 0},
        {"Shift between the taps", {{'v', .05}, {'^', .05}, {'s', .02}, {'v', .02}}, 1},
        {"a third tap", {{'v', .05}, {'^', .05}, {'v', .05}, {'^', .05}, {'v', .05}}, 1},
        {"a fourth tap",
         {{'v', .05}, {'^', .05}, {'v', .05}, {'^', .05}, {'v', .05}, {'^', .05}, {'v', .05}},
         2},
        {"Control reported down again", {{'v', .05}, {'v', .05}, {'v', .05}}, 0},
        {"a clock that went backwards", {{'v', .05}, {'^', .05}, {'v', -10}}, 0},
    };
    for (const Case& c : cases) {
        Driver d;
        for (const auto& [what, after] : c.steps) {
            if (what == 'v' || what == 'r')
                d.controlDown(after, what == 'r' ? KeyCodes::rightControl : KeyCodes::control);
            else if (what == '^')
                d.controlUp(after);
            else if (what == 'a')
                d.press(KeyCodes::a);
            else if (what == 's') {
                d.engine.handleFlagsChanged(KeyCodes::shift, ModifierFlags::shift,
                                            d.clock += after);
                d.engine.handleFlagsChanged(KeyCodes::shift, 0, d.clock += after);
            }
        }
        EXPECT_EQ(d.toggles(), c.toggles) << c.name;
        EXPECT_EQ(d.events.size(), d.toggles()) << c.name;
    }

    // Control-C between the taps is passed on, and spoils the pair.
    Driver copy;
    copy.controlDown();
    EXPECT_FALSE(copy.press(KeyCodes::c, ModifierFlags::control));
    copy.controlUp();
    copy.controlDown();
    EXPECT_EQ(copy.toggles(), 0);
}

TEST(HotkeyEngine, WithoutADesktopStartSaysSo) {
    HotkeyEngine engine;
    EXPECT_FALSE(engine.start());
    EXPECT_FALSE(engine.errorString().isEmpty());
}
