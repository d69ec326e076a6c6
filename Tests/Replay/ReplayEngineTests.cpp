#include "Replay/FakeDesktop.h"
#include "Replay/Recorded.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Replay/ReplayEngine.h"
#include "TavrikCore/Replay/ReplayTimings.h"
#include "TavrikCore/Replay/TimedDesktopActor.h"
#include "TavrikCore/Replay/TimedReplayClock.h"
#include "TavrikCore/Replay/TimedSyntheticInput.h"

#include <gtest/gtest.h>

namespace tavrik::test {
namespace {

// A sign-up form: a name field, a password field, a "Subscribe" check box and a Save button.
struct SignUp : ::testing::Test {
    FakeDesktop desktop;
    LiveWindow window;
    Skill skill;
    QStringList lines;
    ReplayEngine::LineSink sink = [this](const QString& line) { lines.append(line); };

    SignUp() {
        window = desktop.addWindow(QStringLiteral("org.example.SignUp"), QStringLiteral("Sign up"),
                                   Rect(50, 50, 500, 400));
        desktop.addElement(window, QStringLiteral("text"), QStringLiteral("Name"),
                           QStringLiteral("filler:0/text:0"), Rect(20, 20, 300, 24));
        desktop.addElement(window, QStringLiteral("password text"), QStringLiteral("Password"),
                           QStringLiteral("filler:0/password text:1"), Rect(20, 60, 300, 24));
        desktop.addElement(window, QStringLiteral("check box"), QStringLiteral("Subscribe"),
                           QStringLiteral("filler:0/check box:2"), Rect(20, 100, 120, 24));
        desktop.addElement(window, QStringLiteral("push button"), QStringLiteral("Save"),
                           QStringLiteral("filler:0/push button:3"), Rect(400, 350, 80, 30));

        skill.name = QStringLiteral("Sign up");
        skill.parameters = {Parameter{QUuid::createUuid(),
                                      QStringLiteral("full_name"),
                                      ParameterType::text,
                                      QStringLiteral("Who?"),
                                      QStringLiteral("Ada"),
                                      {1}}};
        skill.plan.append(
            recordedStep(0, ActionType::click, *desktop.find(QStringLiteral("Name")), window));
        PlanStep typed =
            recordedStep(1, ActionType::keystroke, *desktop.find(QStringLiteral("Name")), window);
        typed.text = QStringLiteral("Ada Lovelace");
        skill.plan.append(typed);
        skill.plan.append(recordedStep(2, ActionType::keystroke,
                                       *desktop.find(QStringLiteral("Password")), window));
        skill.plan.append(
            recordedStep(3, ActionType::click, *desktop.find(QStringLiteral("Subscribe")), window));
        skill.plan.append(
            recordedStep(4, ActionType::click, *desktop.find(QStringLiteral("Save")), window));
    }

    bool run(const QMap<QString, QString>& values,
             const QMap<qsizetype, QString>& secrets = {{2, QStringLiteral("hunter2")}}) {
        ReplayEngine engine(desktop, desktop, desktop);
        return engine.run(skill, values, secrets, sink);
    }
};

TEST_F(SignUp, CarriesOutTheFormThroughAccessibilityWithTheRunsValues) {
    ASSERT_TRUE(run({{QStringLiteral("full_name"), QStringLiteral("Grace")}}))
        << lines.join('\n').toStdString();
    EXPECT_EQ(desktop.find(QStringLiteral("Name"))->value, QStringLiteral("Grace Lovelace"));
    EXPECT_TRUE(desktop.find(QStringLiteral("Subscribe"))->checked);
    EXPECT_EQ(desktop.log,
              (QStringList{
                  QStringLiteral("focus Name"), QStringLiteral("insert Grace Lovelace into Name"),
                  QStringLiteral("focus Password"), QStringLiteral("insert (secret) into Password"),
                  QStringLiteral("action click Subscribe"), QStringLiteral("activate Sign up"),
                  QStringLiteral("click 490,415 left x1")}));
    EXPECT_EQ(lines.last(), QStringLiteral("✓ Replayed 5 steps of “Sign up”"));
    EXPECT_TRUE(
        lines.contains(QStringLiteral("→ type (a secret) into “Password” in org.example.SignUp")));
    // The secret goes into the field and nowhere else.
    EXPECT_FALSE(lines.join('\n').contains(QStringLiteral("hunter2")));
    EXPECT_FALSE(desktop.log.join('\n').contains(QStringLiteral("hunter2")));
}

TEST_F(SignUp, WaitsForATargetThatAppearsLateAndGivesUpOnOneThatNeverDoes) {
    desktop.find(QStringLiteral("Save"))->showing = false;
    desktop.onSleep = [this] {
        if (desktop.now >= 2000)
            desktop.find(QStringLiteral("Save"))->showing = true;
    };
    ASSERT_TRUE(run({}));
    EXPECT_GE(desktop.now, 2000);

    // Gone for good: the run ends at that step, after the wait, having done nothing more.
    desktop.elementList.removeLast();
    desktop.onSleep = nullptr;
    desktop.now = 0;
    desktop.log.clear();
    EXPECT_FALSE(run({}));
    EXPECT_EQ(
        lines.last(),
        QStringLiteral("✗ Step 5 (Step on Save): no element like “Save” in org.example.SignUp "
                       "(push button) is showing"));
    EXPECT_GE(desktop.now, 10000);
    EXPECT_LT(desktop.now, 11000);
    EXPECT_FALSE(desktop.log.contains(QStringLiteral("click 490,415 left x1")));
}

// Where each step's time went, through the same wrappers a real replay uses: in a desktop where
// only calls and sleeps take time, every step's time is theirs and the engine's own is nothing.
TEST_F(SignUp, EachStepsTimeIsSplitIntoBusInputWaitingAndItsOwn) {
    desktop.callCostMs = 2;
    desktop.inputCostMs = 5;
    desktop.find(QStringLiteral("Save"))->showing = false;
    desktop.onSleep = [this] {
        if (desktop.now >= 700)
            desktop.find(QStringLiteral("Save"))->showing = true;
    };
    ReplayTimings timings(desktop);
    TimedDesktopActor actor(desktop, timings);
    TimedSyntheticInput input(desktop, timings);
    TimedReplayClock clock(desktop, timings);
    ReplayEngine engine(actor, input, clock);
    qint64 firstStepAt = -1;
    ASSERT_TRUE(engine.run(skill, {}, {{2, QStringLiteral("hunter2")}}, [&](const QString& line) {
        if (line.startsWith(QStringLiteral("→ "))) {
            if (firstStepAt < 0)
                firstStepAt = desktop.now;
            timings.beginStep();
        }
        lines.append(line);
    }));
    timings.finish();

    ASSERT_EQ(timings.steps().size(), skill.plan.size());
    qint64 total = 0;
    for (const ReplayTimings::Step& step : timings.steps()) {
        EXPECT_EQ(step.ownNs(), 0) << ReplayTimings::line(0, step).toStdString();
        EXPECT_GT(step.busNs, 0);
        total += step.totalNs;
    }
    EXPECT_EQ(total, (desktop.now - firstStepAt) * 1000000);
    // The Save button was waited for; the push button went down under the pointer.
    const ReplayTimings::Step& save = timings.steps().last();
    EXPECT_GE(save.waitNs, 600 * 1000000LL);
    EXPECT_EQ(save.inputNs, 5 * 1000000LL);
    EXPECT_EQ(ReplayTimings::line(4, save).section(u' ', 0, 2),
              QStringLiteral("timing step=5 total_us=%1").arg(save.totalNs / 1000));
}

// A push button goes down under the pointer only where the pointer reaches it; covered (or
// where the hit test lands elsewhere) it is pressed through accessibility.
TEST_F(SignUp, APushButtonIsClickedWhereItShowsAndPressedThroughAccessibilityWhenCovered) {
    skill.plan = {skill.plan[4]};
    desktop.windowList[0].active = false;
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("activate Sign up"),
                                        QStringLiteral("click 490,415 left x1")}));

    // Covered, or its window would not come to the front: pressed through accessibility.
    desktop.log.clear();
    desktop.covered = {QStringLiteral("Save")};
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("activate Sign up"),
                                        QStringLiteral("action click Save")}));
    desktop.log.clear();
    desktop.covered.clear();
    desktop.activationWorks = false;
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("activate Sign up"),
                                        QStringLiteral("action click Save")}));
}

// A menu is pressed where it is and must be seen to open; where the press did nothing it is
// opened through accessibility, and one that opens neither way ends the run rather than the
// next step waiting for its items.
TEST_F(SignUp, AMenuIsClickedWhereItIsAndSeenToOpen) {
    desktop.addElement(window, QStringLiteral("menu"), QStringLiteral("File"),
                       QStringLiteral("filler:0/menu bar:4/menu:0"), Rect(10, 0, 40, 20));
    skill.plan = {
        recordedStep(0, ActionType::click, *desktop.find(QStringLiteral("File")), window)};
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("activate Sign up"),
                                        QStringLiteral("click 80,60 left x1")}));
    EXPECT_TRUE(desktop.find(QStringLiteral("File"))->selected);

    desktop.find(QStringLiteral("File"))->selected = false;
    desktop.log.clear();
    desktop.clicksLand = false;
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("activate Sign up"),
                                        QStringLiteral("click 80,60 left x1"),
                                        QStringLiteral("action click File")}));
    EXPECT_TRUE(desktop.find(QStringLiteral("File"))->selected);

    desktop.find(QStringLiteral("File"))->selected = false;
    desktop.menusOpenThroughActions = false;
    EXPECT_FALSE(run({}));
    EXPECT_EQ(lines.last(), QStringLiteral("✗ Step 1 (Step on File): “File” in "
                                           "org.example.SignUp did not open"));
}

TEST_F(SignUp, WaitsForADisabledButtonAndALongerPreconditionWait) {
    desktop.find(QStringLiteral("Save"))->enabled = false;
    skill.plan[4].precondition = QStringLiteral("the upload finished; wait up to 30 seconds");
    desktop.onSleep = [this] {
        if (desktop.now >= 20000)
            desktop.find(QStringLiteral("Save"))->enabled = true;
    };
    EXPECT_TRUE(run({})) << lines.last().toStdString();
}

TEST_F(SignUp, ARefusedActionFallsBackToAClickWhereTheElementIsNow) {
    desktop.refusedActions = {QStringLiteral("click")};
    skill.plan = {skill.plan[3]};
    // The action is refused: the engine falls back to a click where the box is now.
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, QStringList{QStringLiteral("click 130,162 left x1")});
    EXPECT_TRUE(desktop.find(QStringLiteral("Subscribe"))->checked);

    // A click that does not turn the box ends the run rather than leaving it unchecked.
    desktop.log.clear();
    desktop.clicksLand = false;
    EXPECT_FALSE(run({}));
    EXPECT_EQ(lines.last(), QStringLiteral("✗ Step 4 (Step on Subscribe): “Subscribe” in "
                                           "org.example.SignUp did not change"));
    EXPECT_TRUE(desktop.find(QStringLiteral("Subscribe"))->checked);
}

// A toggle's frame can lag its window after a move, and an action can be carried out although
// its answer said it failed: the box is turned exactly once either way.
TEST_F(SignUp, AToggleIsTurnedOnceWhenItsActionIsLateOrItsFrameStale) {
    skill.plan = {skill.plan[3]};
    desktop.lateActions = {QStringLiteral("click")};
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, QStringList{QStringLiteral("action click Subscribe")});
    EXPECT_TRUE(desktop.find(QStringLiteral("Subscribe"))->checked);

    desktop.find(QStringLiteral("Subscribe"))->checked = false;
    desktop.log.clear();
    desktop.lateActions.clear();
    desktop.refusedActions = {QStringLiteral("click")};
    desktop.covered = {QStringLiteral("Subscribe")};
    desktop.onSleep = [this] {
        if (desktop.now >= 300)
            desktop.covered.clear();
    };
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.log, QStringList{QStringLiteral("click 130,162 left x1")});
    EXPECT_TRUE(desktop.find(QStringLiteral("Subscribe"))->checked);
    EXPECT_GE(desktop.now, 300);
}

// A busy application carries out an action whose answer ran out of time a little later: the box
// is still turned once, by the action, with no click on top to turn it back.
TEST_F(SignUp, AToggleWhoseActionIsCarriedOutAfterItsAnswerIsNotClickedToo) {
    skill.plan = {skill.plan[3]};
    desktop.refusedActions = {QStringLiteral("click")};
    bool carriedOut = false;
    desktop.onSleep = [&] {
        if (desktop.now >= 300 && !carriedOut) {
            carriedOut = true;
            desktop.find(QStringLiteral("Subscribe"))->checked = true;
        }
    };
    ASSERT_TRUE(run({})) << lines.join('\n').toStdString();
    EXPECT_TRUE(desktop.find(QStringLiteral("Subscribe"))->checked);
    EXPECT_TRUE(desktop.log.isEmpty()) << desktop.log.join('\n').toStdString();
}

TEST_F(SignUp, NoSecretNoRun) {
    EXPECT_FALSE(run({}, {}));
    EXPECT_EQ(
        lines.last(),
        QStringLiteral("✗ Step 3 (Step on Password): no value was given for the secure field"));
    EXPECT_FALSE(desktop.log.contains(QStringLiteral("click 490,415 left x1")));
}

TEST_F(SignUp, StopsBetweenActionsWhenAsked) {
    ReplayEngine engine(desktop, desktop, desktop);
    engine.setStopRequest([this] { return desktop.log.size() >= 2; });
    EXPECT_FALSE(engine.run(skill, {}, {{2, QStringLiteral("x")}}, sink));
    EXPECT_EQ(lines.last(), QStringLiteral("✗ Stopped"));
    EXPECT_EQ(desktop.log.size(), 2);
}

// Typed into an empty one-line field, the run's text is all the field holds, whatever the
// application put there first; typed after text already there, or into a document, it is added.
TEST_F(SignUp, TypingIntoAFieldThatWasEmptyLeavesItHoldingJustTheText) {
    skill.plan = {skill.plan[1]};
    skill.plan[0].target->axValue = QStringLiteral("Ad");
    desktop.find(QStringLiteral("Name"))->value = QStringLiteral("letter1.txt");
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.find(QStringLiteral("Name"))->value, QStringLiteral("Ada Lovelace"));
    EXPECT_EQ(desktop.log,
              (QStringList{QStringLiteral("focus Name"),
                           QStringLiteral("replace the text of Name with Ada Lovelace")}));

    skill.plan[0].target->axValue = QStringLiteral("Dear ");
    desktop.find(QStringLiteral("Name"))->value = QStringLiteral("Dear ");
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.find(QStringLiteral("Name"))->value, QStringLiteral("Dear Ada Lovelace"));

    skill.plan[0].target->axValue.reset();
    desktop.find(QStringLiteral("Name"))->singleLine = false;
    desktop.find(QStringLiteral("Name"))->value = QStringLiteral("First line\n");
    ASSERT_TRUE(run({}));
    EXPECT_EQ(desktop.find(QStringLiteral("Name"))->value,
              QStringLiteral("First line\nAda Lovelace"));
}

TEST_F(SignUp, TypingFallsBackToKeysWhenTheFieldRefusesText) {
    desktop.insertTextWorks = false;
    skill.plan = {skill.plan[1]};
    ASSERT_TRUE(run({}));
    EXPECT_TRUE(desktop.log.contains(QStringLiteral("type Ada Lovelace")));
    EXPECT_EQ(desktop.find(QStringLiteral("Name"))->value, QStringLiteral("Ada Lovelace"));
}

// A busy application inserts the text after its answer ran out of time: no keys type it again.
TEST_F(SignUp, TextInsertedAfterItsAnswerRanOutOfTimeIsNotTypedAgain) {
    desktop.insertTextWorks = false;
    bool carriedOut = false;
    desktop.onSleep = [&] {
        if (desktop.now >= 300 && !carriedOut) {
            carriedOut = true;
            desktop.find(QStringLiteral("Name"))->value = QStringLiteral("Ada Lovelace");
        }
    };
    skill.plan = {skill.plan[1]};
    ASSERT_TRUE(run({})) << lines.join(u'\n').toStdString();
    EXPECT_EQ(desktop.find(QStringLiteral("Name"))->value, QStringLiteral("Ada Lovelace"));
    EXPECT_TRUE(desktop.log.filter(QStringLiteral("type")).isEmpty())
        << desktop.log.join(u'\n').toStdString();
}

// A calculator's digits typed while one of its buttons has the keyboard: keys to the window, and
// the button holds no text that could show them.
TEST_F(SignUp, TypingAtAButtonSendsKeysWithoutReadingItBack) {
    PlanStep typed =
        recordedStep(0, ActionType::keystroke, *desktop.find(QStringLiteral("Save")), window);
    typed.text = QStringLiteral("30");
    desktop.find(QStringLiteral("Save"))->focused = true;
    skill.plan = {typed};
    ASSERT_TRUE(run({})) << lines.join(u'\n').toStdString();
    EXPECT_EQ(desktop.log.filter(QStringLiteral("type")), QStringList{QStringLiteral("type 30")});
    EXPECT_TRUE(desktop.log.filter(QStringLiteral("insert")).isEmpty());
}

TEST_F(SignUp, ChecksEveryStepWithoutActing) {
    desktop.elementList.removeLast();
    ReplayEngine engine(desktop, desktop, desktop);
    EXPECT_FALSE(engine.check(skill, {}, sink));
    EXPECT_TRUE(desktop.log.isEmpty());
    EXPECT_EQ(lines[0],
              QStringLiteral("· Step 1 (Step on Name): found “Name” in org.example.SignUp"));
    EXPECT_TRUE(lines[4].startsWith(QStringLiteral("· Step 5 (Step on Save): missing, ")));
    EXPECT_EQ(lines.last(), QStringLiteral("✗ 1 of 5 steps have no element to act on now"));
    EXPECT_EQ(desktop.now, 0);
}

// Pointer steps with nothing but a window recorded (a canvas the toolkit does not describe).
TEST(ReplayEngine, WindowOnlyStepsClickWhereTheyWereInTheWindowButNeverDestructively) {
    FakeDesktop desktop;
    const LiveWindow window = desktop.addWindow(QStringLiteral("paint"), QStringLiteral("Canvas"),
                                                Rect(300, 200, 640, 480));
    PlanStep click;
    click.intent = QStringLiteral("Click the canvas");
    click.action = ActionType::click;
    click.target = AXTarget{};
    click.target->appBundleID = QStringLiteral("paint");
    click.target->windowFrame = Rect(0, 0, 640, 480);
    click.location = Point{100, 50};
    PlanStep drag = click;
    drag.index = 1;
    drag.action = ActionType::drag;
    drag.endLocation = Point{150, 90};
    Skill skill;
    skill.plan = {click, drag};
    QStringList lines;
    ReplayEngine engine(desktop, desktop, desktop);
    ASSERT_TRUE(engine.run(skill, {}, {}, [&](const QString& l) { lines.append(l); }));
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("click 400,250 left x1"),
                                        QStringLiteral("drag 400,250 to 450,290")}));

    desktop.log.clear();
    skill.plan = {click};
    skill.plan[0].isDestructive = true;
    EXPECT_FALSE(engine.run(skill, {}, {}, [&](const QString& l) { lines.append(l); }));
    EXPECT_TRUE(desktop.log.isEmpty());
    EXPECT_TRUE(
        lines.last().startsWith(QStringLiteral("✗ Step 1 (Click the canvas): it may delete")));
}

TEST(ReplayEngine, KeyPressesFocusTheirElementAndAnOpenApplicationIsNeeded) {
    FakeDesktop desktop;
    const LiveWindow window =
        desktop.addWindow(QStringLiteral("editor"), QStringLiteral("Notes"), Rect(0, 0, 800, 600));
    const LiveElement& text =
        desktop.addElement(window, QStringLiteral("text"), QString(),
                           QStringLiteral("scroll pane:0/text:0"), Rect(0, 40, 800, 560));
    PlanStep save = recordedStep(0, ActionType::keystroke, text, window);
    save.keyCode = KeyCodes::s;
    save.modifierFlags = ModifierFlags::control | 0x100; // device bits are not passed on
    Skill skill;
    skill.plan = {save};
    QStringList lines;
    ReplayEngine engine(desktop, desktop, desktop);
    ASSERT_TRUE(engine.run(skill, {}, {}, [&](const QString& l) { lines.append(l); }));
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("focus "), QStringLiteral("key 1 40000")}));

    desktop.windowList.clear();
    desktop.log.clear();
    EXPECT_FALSE(engine.run(skill, {}, {}, [&](const QString& l) { lines.append(l); }));
    EXPECT_EQ(lines.last(), QStringLiteral("✗ Step 1 (Step on ): editor has no window open"));
}

// A row's label takes a plain click; the click counts once the row shows as selected.
// A place in GTK's file chooser sidebar: a label four levels inside a list box row, which has no
// action; the row opens its place as the click selects it.
TEST(ReplayEngine, AClickInsideAListRowMustLeaveTheRowSelected) {
    FakeDesktop desktop;
    const LiveWindow window =
        desktop.addWindow(QStringLiteral("fruit"), QStringLiteral("Fruit"), Rect(0, 0, 400, 300));
    const QString row = QStringLiteral("list box:0/list item:1");
    desktop.addElement(window, QStringLiteral("list item"), QString(), row, Rect(10, 40, 200, 20));
    desktop.addElement(window, QStringLiteral("panel"), QString(), row + QStringLiteral("/panel:0"),
                       Rect(10, 40, 200, 20));
    desktop.addElement(window, QStringLiteral("panel"), QString(),
                       row + QStringLiteral("/panel:0/panel:0"), Rect(10, 40, 200, 20));
    desktop.addElement(window, QStringLiteral("filler"), QString(),
                       row + QStringLiteral("/panel:0/panel:0/filler:0"), Rect(12, 40, 190, 20));
    const LiveElement& label = desktop.addElement(
        window, QStringLiteral("label"), QStringLiteral("Pears"),
        row + QStringLiteral("/panel:0/panel:0/filler:0/label:1"), Rect(14, 42, 60, 16));
    Skill skill;
    skill.plan = {recordedStep(0, ActionType::click, label, window)};
    QStringList lines;
    const auto sink = [&](const QString& l) { lines.append(l); };
    int lost = 0;
    desktop.onPress = [&](const QString& name) {
        if (name == QStringLiteral("Pears") && lost-- > 0)
            desktop.elementList[0].selected = false;
    };
    const auto replay = [&](int clicksLost) {
        lost = clicksLost;
        desktop.elementList[0].selected = false;
        desktop.log.clear();
        ReplayEngine engine(desktop, desktop, desktop);
        return engine.run(skill, {}, {}, sink);
    };
    const QString click = QStringLiteral("click 44,50 left x1");

    ASSERT_TRUE(replay(0)) << lines.join('\n').toStdString();
    EXPECT_EQ(desktop.log, QStringList{click});
    EXPECT_TRUE(desktop.elementList[0].selected);
    // The row let the first click go by: once more, and the row is seen to take it.
    ASSERT_TRUE(replay(1)) << lines.join('\n').toStdString();
    EXPECT_EQ(desktop.log, (QStringList{click, click}));
    EXPECT_TRUE(desktop.elementList[0].selected);

    // The clicks go nowhere (the toolkit was busy): the run stops at that step, after one more
    // click only, and none where it may do damage.
    const QString stopped = QStringLiteral(
        "✗ Step 1 (Step on Pears): “Pears” in fruit was clicked but its row is not selected");
    EXPECT_FALSE(replay(5));
    EXPECT_EQ(lines.last(), stopped);
    EXPECT_EQ(desktop.log, (QStringList{click, click}));
    skill.plan[0].isDestructive = true;
    EXPECT_FALSE(replay(1));
    EXPECT_EQ(lines.last(), stopped);
    EXPECT_EQ(desktop.log, QStringList{click});
}

// A main window with a modal dialog over it whose "Blue" button closes it; the person then
// pressed Save in the main window.
struct ColourDialog : ::testing::Test {
    FakeDesktop desktop;
    LiveWindow main;
    LiveWindow dialog;
    Skill skill;
    QStringList lines;
    // Presses the dialog takes no notice of, the first ones.
    int ignored = 0;

    ColourDialog() {
        main = desktop.addWindow(QStringLiteral("org.example.Paint"), QStringLiteral("Paint"),
                                 Rect(0, 0, 600, 400));
        desktop.addElement(main, QStringLiteral("push button"), QStringLiteral("Save"),
                           QStringLiteral("filler:0/push button:0"), Rect(500, 350, 80, 30));
        openDialog();
        skill.plan = {
            recordedStep(0, ActionType::click, *desktop.find(QStringLiteral("Blue")), dialog),
            recordedStep(1, ActionType::click, *desktop.find(QStringLiteral("Save")), main)};
        desktop.onPress = [this](const QString& name) {
            if (name == QStringLiteral("Blue") && ignored-- <= 0)
                desktop.closeWindow(dialog.handle);
        };
    }

    void openDialog() {
        dialog = desktop.addWindow(QStringLiteral("org.example.Paint"),
                                   QStringLiteral("Pick a Colour"), Rect(100, 100, 300, 200));
        desktop.addElement(dialog, QStringLiteral("push button"), QStringLiteral("Blue"),
                           QStringLiteral("filler:0/push button:0"), Rect(20, 150, 80, 30));
        desktop.activateWindow(dialog);
        desktop.log.clear();
    }

    bool run() {
        ReplayEngine engine(desktop, desktop, desktop);
        return engine.run(skill, {}, {}, [this](const QString& l) { lines.append(l); });
    }
};

// The dialog must be seen to go before the next step acts in the window under it: a press it
// did not take is made once more through accessibility, and a dialog that stays ends the run
// naming the step, never with a "✓".
TEST_F(ColourDialog, AButtonThatLeavesADialogMustBeSeenToCloseIt) {
    ASSERT_TRUE(run()) << lines.join('\n').toStdString();
    EXPECT_EQ(desktop.log, (QStringList{QStringLiteral("activate Pick a Colour"),
                                        QStringLiteral("click 160,265 left x1"),
                                        QStringLiteral("activate Paint"),
                                        QStringLiteral("click 540,365 left x1")}));

    openDialog();
    ignored = 1;
    ASSERT_TRUE(run()) << lines.join('\n').toStdString();
    EXPECT_EQ(desktop.log.mid(0, 3), (QStringList{QStringLiteral("activate Pick a Colour"),
                                                  QStringLiteral("click 160,265 left x1"),
                                                  QStringLiteral("action click Blue")}));
}

TEST_F(ColourDialog, ADialogThatStaysEndsTheRunWithoutActingBehindIt) {
    ignored = 2;
    EXPECT_FALSE(run());
    EXPECT_EQ(lines.last(), QStringLiteral("✗ Step 1 (Step on Blue): “Blue” in org.example.Paint "
                                           "was pressed but “Pick a Colour” stayed open"));
    EXPECT_EQ(desktop.log.last(), QStringLiteral("action click Blue"));

    // The press was taken (the button has the focus now) or the button may do damage: not again.
    lines.clear();
    desktop.log.clear();
    ignored = 1;
    desktop.onPress = [this](const QString& name) { desktop.find(name)->focused = true; };
    EXPECT_FALSE(run());
    EXPECT_FALSE(desktop.log.contains(QStringLiteral("action click Blue")));
    desktop.onPress = nullptr;
    desktop.find(QStringLiteral("Blue"))->focused = false;
    skill.plan[0].isDestructive = true;
    desktop.log.clear();
    EXPECT_FALSE(run());
    EXPECT_FALSE(desktop.log.contains(QStringLiteral("action click Blue")));
    EXPECT_TRUE(lines.last().endsWith(QStringLiteral("stayed open")));
}

// A last press in a dialog that reads like it closes it (Save, OK) is checked the same way; a last
// press in an application's only window, or one that does not read so, is not.
TEST_F(ColourDialog, OnlyALastPressThatClosesADialogIsChecked) {
    skill.plan = {skill.plan[0]};
    ignored = 2;
    ASSERT_TRUE(run()) << "“Blue” does not read like it closes its dialog";

    desktop.find(QStringLiteral("Blue"))->name = QStringLiteral("OK");
    skill.plan[0].target->axTitle = QStringLiteral("OK");
    EXPECT_FALSE(run());
    EXPECT_TRUE(lines.last().endsWith(QStringLiteral("“Pick a Colour” stayed open")));

    desktop.closeWindow(dialog.handle);
    skill.plan = {recordedStep(0, ActionType::click, *desktop.find(QStringLiteral("Save")), main)};
    EXPECT_TRUE(run());
}

// A place in a file chooser's sidebar: a label that offers no action and never shows as
// selected; what it did shows only in the chooser's path bar.
TEST(ReplayEngine, AClickOnANamedElementWithoutActionsIsMadeOnceMoreWhenNothingChanged) {
    FakeDesktop desktop;
    const LiveWindow window = desktop.addWindow(QStringLiteral("editor"), QStringLiteral("Save As"),
                                                Rect(0, 0, 600, 400));
    const LiveElement& place =
        desktop.addElement(window, QStringLiteral("label"), QStringLiteral("Letters"),
                           QStringLiteral("panel:0/label:3"), Rect(10, 100, 80, 20));
    desktop.addElement(window, QStringLiteral("toggle button"), QStringLiteral("Documents"),
                       QStringLiteral("panel:1/toggle button:0"), Rect(200, 10, 80, 20));
    Skill skill;
    skill.plan = {recordedStep(0, ActionType::click, place, window)};
    int lost = 0;
    desktop.onPress = [&](const QString& name) {
        if (name == QStringLiteral("Letters") && lost-- <= 0)
            desktop.elementList[1].name = QStringLiteral("Letters");
    };
    QStringList lines;
    const auto sink = [&](const QString& l) { lines.append(l); };
    const auto replay = [&](int clicksLost) {
        lost = clicksLost;
        desktop.elementList[1].name = QStringLiteral("Documents");
        desktop.log.clear();
        ReplayEngine engine(desktop, desktop, desktop);
        return engine.run(skill, {}, {}, sink);
    };
    const QString click = QStringLiteral("click 50,110 left x1");

    ASSERT_TRUE(replay(0));
    EXPECT_EQ(desktop.log, QStringList{click});
    ASSERT_TRUE(replay(1));
    EXPECT_EQ(desktop.log, (QStringList{click, click}));
    EXPECT_EQ(desktop.elementList[1].name, QStringLiteral("Letters"));
    // Once more only: a click that changes nothing may be all it ever does.
    ASSERT_TRUE(replay(5));
    EXPECT_EQ(desktop.log, (QStringList{click, click}));
    // Never twice where it may do damage.
    skill.plan[0].isDestructive = true;
    ASSERT_TRUE(replay(1));
    EXPECT_EQ(desktop.log, QStringList{click});
}

// A file chooser the run opens fills in its path bar for a while; a place clicked meanwhile it
// would let go by.
TEST(ReplayEngine, AWindowThatCameUpDuringTheRunIsActedInOnceItIsStill) {
    FakeDesktop desktop;
    const LiveWindow main =
        desktop.addWindow(QStringLiteral("editor"), QStringLiteral("Editor"), Rect(0, 0, 600, 400));
    const LiveElement saveAs =
        desktop.addElement(main, QStringLiteral("push button"), QStringLiteral("Save As"),
                           QStringLiteral("filler:0/push button:0"), Rect(10, 10, 80, 20));
    LiveWindow chooser;
    const auto openChooser = [&] {
        chooser = desktop.addWindow(QStringLiteral("editor"), QStringLiteral("Save As"),
                                    Rect(100, 100, 400, 300));
        return desktop.addElement(chooser, QStringLiteral("label"), QStringLiteral("Letters"),
                                  QStringLiteral("panel:0/label:0"), Rect(10, 100, 80, 20));
    };
    Skill skill;
    skill.plan = {recordedStep(0, ActionType::click, saveAs, main),
                  recordedStep(1, ActionType::click, openChooser(), chooser)};
    desktop.closeWindow(chooser.handle);
    int filling = 0;
    desktop.onPress = [&](const QString& name) {
        if (name == QStringLiteral("Save As")) {
            openChooser();
            filling = 3;
        } else {
            desktop.addElement(chooser, QStringLiteral("toggle button"), name,
                               QStringLiteral("panel:1/toggle button:0"), Rect(200, 10, 60, 20));
            desktop.log.append(QStringLiteral("opened ") + name);
        }
    };
    desktop.onSleep = [&] {
        if (filling <= 0)
            return;
        desktop.addElement(
            chooser, QStringLiteral("toggle button"), QStringLiteral("folder %1").arg(filling),
            QStringLiteral("panel:1/toggle button:%1").arg(filling), Rect(200, 10, 60, 20));
        desktop.log.append(QStringLiteral("shows folder %1").arg(filling--));
    };
    QStringList lines;
    ReplayEngine engine(desktop, desktop, desktop);
    ASSERT_TRUE(engine.run(skill, {}, {}, [&](const QString& l) { lines.append(l); }))
        << lines.join('\n').toStdString();
    EXPECT_EQ(desktop.log.count(QStringLiteral("click 150,210 left x1")), 1);
    const qsizetype opened = desktop.log.indexOf(QStringLiteral("opened Letters"));
    const qsizetype filled = desktop.log.indexOf(QStringLiteral("shows folder 1"));
    EXPECT_TRUE(filled >= 0 && filled < opened) << desktop.log.join('\n').toStdString();
}

TEST(ReplayEngine, PreconditionsLengthenTheWait) {
    FakeDesktop desktop;
    ReplayEngine engine(desktop, desktop, desktop);
    PlanStep step;
    EXPECT_EQ(engine.waitFor(step), 10000);
    step.precondition = QStringLiteral("the file has downloaded (up to 45 s)");
    EXPECT_EQ(engine.waitFor(step), 45000);
    step.precondition = QStringLiteral("after 5 minutes");
    EXPECT_EQ(engine.waitFor(step), 120000);
    step.precondition = QStringLiteral("the dialog is open");
    EXPECT_EQ(engine.waitFor(step), 30000);
    step.precondition = QStringLiteral("wait 2 seconds");
    EXPECT_EQ(engine.waitFor(step), 10000);
}

} // namespace
} // namespace tavrik::test
