#include "DesktopDriver.h"
#include "Support/Desktop/ChromiumPage.h"
#include "Support/Desktop/Demonstration.h"
#include "Support/Desktop/TaskApp.h"
#include "Support/LocalHttpServer.h"
#include "Support/MessagesApi.h"
#include "Support/OrderSkill.h"
#include "Support/ReplayProcess.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/Runtime/ChildProcessStarter.h"
#include "TavrikCore/Casting/AgentRunner.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Recorder/Recorder.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Storage/RepairProposal.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Synthesis/Synthesizer.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>
#include <cctype>
#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;
using tavrik::test::replay;
using tavrik::test::ReplayResult;
using tavrik::test::TaskApp;
using tavrik::test::waitUntil;

namespace {

void settle(int ms = 450) {
    waitUntil([] { return false; }, ms);
}

class ReplayDesktop : public testing::TestWithParam<TaskApp::Toolkit> {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP()
                << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
        ASSERT_TRUE(desktop.isOpen());
        // Casts find the replaying program here.
        qputenv("TAVRIK_EXECUTABLE", TAVRIK_EXECUTABLE_PATH);
    }

    void clickAt(Point p) {
        desktop.moveTo(int(p.x), int(p.y));
        desktop.click(1);
        desktop.sync();
        settle();
    }
    void type(const char* text) {
        for (const char* c = text; *c; ++c) {
            const unsigned long keysym = XStringToKeysym(QByteArray(1, *c).constData());
            if (std::isupper(static_cast<unsigned char>(*c)))
                desktop.chord({XK_Shift_L}, keysym);
            else
                desktop.tap(keysym);
        }
        settle();
    }
    bool waitForFocusRole(const QString& role) {
        return waitUntil(
            [&] {
                const std::optional<AXTarget> t = probe->focusedTarget();
                return t && t->axRole == role;
            },
            15000);
    }
    bool waitForRole(Point at, const QString& role) {
        return waitUntil(
            [&] {
                const std::optional<AXTarget> t = probe->target(at);
                return t && t->axRole == role;
            },
            15000);
    }

    // Demonstrates the order once in a fresh window and saves it as a skill; returns its folder.
    QString demonstrate(TaskApp::Toolkit toolkit) {
        TaskApp app(toolkit);
        EXPECT_TRUE(app.started());
        Recorder recorder(DesktopBackend::createInputMonitor(),
                          DesktopBackend::createFrameCapturer(),
                          DesktopBackend::createAXResolver());
        EXPECT_TRUE(waitForRole(app.centre("save"), QStringLiteral("push button")));
        clickAt(app.centre("name"));
        EXPECT_TRUE(waitForFocusRole(QStringLiteral("text")));
        recorder.start();
        settle(300);
        clickAt(app.centre("name"));
        type("Ada");
        clickAt(app.centre("notes"));
        type("fast");
        clickAt(app.centre("password"));
        EXPECT_TRUE(waitForFocusRole(QStringLiteral("password text")));
        type("pw123");
        // On the box, as a person clicks it (Qt takes no click beyond its label).
        clickAt(Point{app.rect("subscribe").origin.x + 10, app.centre("subscribe").y});
        clickAt(Point{app.rect("pears").origin.x + 20, app.centre("pears").y});
        clickAt(app.centre("save"));
        // The demonstration itself did what the replays must do again.
        const std::optional<QJsonObject> shown = app.waitForEvent(QStringLiteral("saved"), 5000);
        EXPECT_TRUE(shown && shown->value("fruit").toString() == QStringLiteral("Pears") &&
                    shown->value("subscribe").toBool() &&
                    shown->value("name").toString() == QStringLiteral("Ada"));
        QFuture<std::optional<Recording>> stopped = recorder.stop();
        EXPECT_TRUE(waitUntil([&] { return stopped.isFinished(); }, 20000));
        if (!stopped.result())
            return {};
        Skill skill = Synthesizer::skillFromMarkdown(QString::fromUtf8(test::orderSkillText),
                                                     *stopped.result());
        skill.sourceRecordingID = stopped.result()->id;
        const Result<> saved = SkillStore().save(skill);
        EXPECT_TRUE(saved.ok()) << saved.error().toStdString();
        m_skill = skill;
        return Paths::skill(skill.id);
    }

    test::TempSupportFolder support;
    test::DesktopDriver desktop;
    std::unique_ptr<AXResolver> probe = DesktopBackend::createAXResolver();
    Skill m_skill;
};

// The same desktop without a toolkit to vary (GetParam is not called).
class ReplayDesktopGtk : public ReplayDesktop {};

TEST_P(ReplayDesktop, ADemonstrationReplaysWithOtherValuesInChangedWindows) {
    const TaskApp::Toolkit toolkit = GetParam();
    const QString folder = demonstrate(toolkit);
    ASSERT_FALSE(folder.isEmpty());
    ASSERT_EQ(CastRoute::method(m_skill), CastMethod::replay)
        << test::Demonstration::described(m_skill);
    const QList<qsizetype> secretSteps = CastRoute::secretSteps(m_skill);
    ASSERT_EQ(secretSteps.size(), 1) << test::Demonstration::described(m_skill);

    const QList<QStringList> changes{
        {},
        {QStringLiteral("--at"), QStringLiteral("900"), QStringLiteral("300"),
         QStringLiteral("--size"), QStringLiteral("600"), QStringLiteral("640")},
        {QStringLiteral("--font-size"), QStringLiteral("15"), QStringLiteral("--size"),
         QStringLiteral("560"), QStringLiteral("760")},
        {QStringLiteral("--extra-fruit"), QStringLiteral("Apricots")},
    };
    for (const QStringList& change : changes) {
        SCOPED_TRACE(change.join(u' ').toStdString());
        const QString qtChange =
            change.join(u' ')
                .replace(QStringLiteral("--at 900 300"), QStringLiteral("--at 900,300"))
                .replace(QStringLiteral("--size 600 640"), QStringLiteral("--size 600,640"))
                .replace(QStringLiteral("--size 560 760"), QStringLiteral("--size 560,760"));
        TaskApp app(toolkit, toolkit == TaskApp::Toolkit::gtk
                                 ? change
                                 : qtChange.split(u' ', Qt::SkipEmptyParts));
        ASSERT_TRUE(app.started());
        ASSERT_TRUE(waitForRole(app.centre("save"), QStringLiteral("push button")));
        const ReplayResult result = replay(folder, {QStringLiteral("full_name=Grace")},
                                           {{secretSteps.first(), QStringLiteral("s3cret")}});
        ASSERT_EQ(result.exitCode, 0) << result.lines.join(u'\n').toStdString();
        EXPECT_TRUE(result.lines.last().startsWith(QStringLiteral("✓ ")))
            << result.lines.join(u'\n').toStdString();
        EXPECT_FALSE(result.lines.join(u'\n').contains(QStringLiteral("s3cret")));
        const std::optional<QJsonObject> saved = app.waitForEvent(QStringLiteral("saved"), 5000);
        ASSERT_TRUE(saved);
        EXPECT_EQ(saved->value("name").toString(), QStringLiteral("Grace"));
        EXPECT_EQ(saved->value("notes").toString(), QStringLiteral("fast"));
        EXPECT_EQ(saved->value("password").toString(), QStringLiteral("s3cret"));
        EXPECT_TRUE(saved->value("subscribe").toBool());
        EXPECT_EQ(saved->value("fruit").toString(), QStringLiteral("Pears"))
            << result.lines.join(u'\n').toStdString();
    }
}

TEST_P(ReplayDesktop, StopsAtAMissingTargetAndNeverGuessesADestructiveStep) {
    const TaskApp::Toolkit toolkit = GetParam();
    const QString folder = demonstrate(toolkit);
    ASSERT_FALSE(folder.isEmpty());

    // Without a key of the user's own, nothing is repaired.
    const test::ScopedEnvironment noKey = test::ScopedEnvironment::unset("ANTHROPIC_API_KEY");
    // The Save button renamed in the skill: that step has nothing to act on.
    Skill renamed = m_skill;
    PlanStep& save = renamed.plan.last();
    ASSERT_EQ(save.target->axTitle, QStringLiteral("Save"));
    save.target->axTitle = QStringLiteral("Submit Order");
    save.precondition.reset();
    ASSERT_TRUE(SkillStore().save(renamed).ok());
    {
        TaskApp app(toolkit);
        ASSERT_TRUE(app.started());
        ASSERT_TRUE(waitForRole(app.centre("save"), QStringLiteral("push button")));
        const ReplayResult result =
            replay(folder, {}, {{CastRoute::secretSteps(renamed).first(), QStringLiteral("x")}});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(
            result.lines.last().startsWith(QStringLiteral("✗ Step %1 (").arg(renamed.plan.size())))
            << result.lines.join(u'\n').toStdString();
        EXPECT_TRUE(result.lines.last().contains(QStringLiteral("“Submit Order”")))
            << result.lines.join(u'\n').toStdString();
        EXPECT_FALSE(app.waitForEvent(QStringLiteral("saved"), 500));
    }

    // A destructive click whose element was never identified: not clicked where it once was.
    Skill risky = m_skill;
    TaskApp app(toolkit);
    ASSERT_TRUE(app.started());
    PlanStep wipe = risky.plan.last();
    wipe.index = 0;
    wipe.intent = QStringLiteral("Delete everything");
    wipe.isDestructive = true;
    wipe.target->axRole.reset();
    wipe.target->axTitle.reset();
    wipe.location = app.centre("delete");
    wipe.target->windowFrame = Rect(app.rect("window").origin.x, app.rect("window").origin.y, 1, 1);
    risky.plan = {wipe};
    ASSERT_TRUE(SkillStore().save(risky).ok());
    const ReplayResult result = replay(folder, {}, {});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.lines.last().contains(QStringLiteral("does not click where it once was")))
        << result.lines.join(u'\n').toStdString();
    EXPECT_FALSE(app.waitForEvent(QStringLiteral("deleted"), 500));
}

// With a key, the model (here a local server answering as it would) finds the button by its
// listing, presses it, and the new element waits as a proposal until the user takes it.
TEST_F(ReplayDesktopGtk, TheModelRepairsAMissingStepAndTheChangeWaitsForTheUser) {
    const QString folder = demonstrate(TaskApp::Toolkit::gtk);
    ASSERT_FALSE(folder.isEmpty());
    Skill renamed = m_skill;
    // Not a name that reads as destructive: such a step is never repaired.
    renamed.plan.last().target->axTitle = QStringLiteral("Place Order");
    renamed.plan.last().precondition.reset();
    ASSERT_TRUE(SkillStore().save(renamed).ok());

    test::LocalHttpServer server;
    server.route("POST", "/v1/messages", [](const test::RecordedRequest& request) {
        const QJsonArray history = request.json().object().value("messages").toArray();
        const QString brief =
            history[0].toObject().value("content").toArray()[0].toObject().value("text").toString();
        const QRegularExpressionMatch save =
            QRegularExpression(QStringLiteral("\\[(\\d+)\\] push button “Save”")).match(brief);
        if (!save.hasMatch())
            return test::CannedResponse::json(
                200,
                test::messages::answer(
                    {QJsonObject{{"type", "tool_use"},
                                 {"id", "toolu_0"},
                                 {"name", "finish"},
                                 {"input", QJsonObject{{"give_up", "no Save button listed"}}}}},
                    "tool_use"));
        const int index = save.captured(1).toInt();
        const QString tool = history.size() == 1 ? QStringLiteral("act") : QStringLiteral("finish");
        return test::CannedResponse::json(
            200, test::messages::answer({QJsonObject{{"type", "tool_use"},
                                                     {"id", "toolu_" + tool},
                                                     {"name", tool},
                                                     {"input", QJsonObject{{"index", index}}}}},
                                        "tool_use"));
    });
    const test::ScopedEnvironment key("ANTHROPIC_API_KEY", "sk-ant-test");
    const test::ScopedEnvironment host(Hosts::modelApiVariable, server.baseUrl().toUtf8());

    const auto tavrik = [](const QStringList& arguments, const QByteArray& input) {
        QProcess process;
        process.start(QStringLiteral(TAVRIK_EXECUTABLE_PATH), arguments);
        process.waitForStarted();
        process.write(input);
        process.closeWriteChannel();
        waitUntil([&] { return process.state() == QProcess::NotRunning; }, 120000);
        return std::pair{process.exitCode(), QString::fromUtf8(process.readAllStandardOutput() +
                                                               process.readAllStandardError())};
    };

    TaskApp app(TaskApp::Toolkit::gtk);
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(waitForRole(app.centre("save"), QStringLiteral("push button")));
    const auto [status, text] = tavrik({QStringLiteral("cast"), folder}, QByteArrayLiteral("x\n"));
    ASSERT_EQ(status, 0) << text.toStdString();
    EXPECT_TRUE(
        text.contains(QStringLiteral("Repairing step %1 with the model…").arg(renamed.plan.size())))
        << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("“Place Order” (push button) → “Save” (push button)")))
        << text.toStdString();
    EXPECT_TRUE(text.contains(
        QStringLiteral("To update the skill: tavrik cast %1 --update-skill").arg(folder)))
        << text.toStdString();
    EXPECT_EQ(server.requestCount(), 2);
    const std::optional<QJsonObject> saved = app.waitForEvent(QStringLiteral("saved"), 5000);
    ASSERT_TRUE(saved) << text.toStdString();
    // The key frame went with the first request.
    const QJsonArray first = server.requests()[0]
                                 .json()
                                 .object()
                                 .value("messages")
                                 .toArray()[0]
                                 .toObject()
                                 .value("content")
                                 .toArray();
    ASSERT_EQ(first.size(), 2);
    EXPECT_EQ(first[1].toObject().value("type").toString(), QStringLiteral("image"));

    // Nothing changed in the skill until the user says so.
    EXPECT_EQ(SkillStore().load(folder)->plan.last().target->axTitle,
              QStringLiteral("Place Order"));
    const std::optional<RepairProposal> proposal = RepairProposal::load(renamed.id);
    ASSERT_TRUE(proposal);
    ASSERT_EQ(proposal->changes.size(), 1);
    EXPECT_EQ(proposal->changes[0].after.axTitle, QStringLiteral("Save"));
    const auto [acceptStatus, acceptText] =
        tavrik({QStringLiteral("cast"), folder, QStringLiteral("--update-skill")}, {});
    EXPECT_EQ(acceptStatus, 0) << acceptText.toStdString();
    EXPECT_EQ(SkillStore().load(folder)->plan.last().target->axTitle, QStringLiteral("Save"));
    EXPECT_FALSE(RepairProposal::load(renamed.id));
}

// Demonstrates choosing Blue in the task form's colour dialog, the click on Blue an ordinary one
// or a quick one (press and release with no pause), then saving the form unless `saveAfter` is
// false; the skill recorded, whose second step must be that click.
std::optional<Skill> demonstrateBlue(test::DesktopDriver& desktop, AXResolver& probe, TaskApp& app,
                                     bool quickClick, bool saveAfter) {
    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    // Whether a target that `matches` shows at `at` within 15 s.
    const auto shows = [&probe](Point at, const std::function<bool(const AXTarget&)>& matches) {
        return waitUntil(
            [&] {
                const std::optional<AXTarget> t = probe.target(at);
                return t && matches(*t);
            },
            15000);
    };
    EXPECT_TRUE(shows(app.centre("choose"),
                      [](const AXTarget& t) { return t.axRole == QStringLiteral("push button"); }));
    test::Demonstration demonstration(desktop);
    demonstration.start();
    demonstration.click(app.centre("choose"));
    const std::optional<Rect> blue = test::Demonstration::find(
        *actor, QStringLiteral("push button"), QStringLiteral("Blue"), 15000);
    EXPECT_TRUE(blue) << "the dialog did not open";
    if (!blue)
        return std::nullopt;
    const Point bluePoint{blue->origin.x + blue->size.width / 2,
                          blue->origin.y + blue->size.height / 2};
    // A person clicks what shows: the dialog's window is up on X as well.
    EXPECT_TRUE(
        shows(bluePoint, [](const AXTarget& t) { return t.axTitle == QStringLiteral("Blue"); }));
    if (quickClick)
        demonstration.quickClick(bluePoint);
    else
        demonstration.click(bluePoint);
    // The dialog closed on that click, before anything else happened.
    EXPECT_TRUE(shows(bluePoint, [](const AXTarget& t) {
        return t.windowTitle != QStringLiteral("Pick a Colour");
    }));
    if (saveAfter) {
        demonstration.click(app.centre("save"));
        const std::optional<QJsonObject> shown = app.waitForEvent(QStringLiteral("saved"), 5000);
        EXPECT_TRUE(shown && shown->value("colour").toString() == QStringLiteral("blue"));
    }
    std::optional<Skill> skill = demonstration.save(QString::fromUtf8(test::orderSkillText));
    EXPECT_TRUE(skill);
    if (!skill)
        return std::nullopt;
    QStringList recorded;
    for (const PlanStep& step : skill->plan)
        recorded.append(
            QStringLiteral("%1: %2 “%3” in “%4” at %5")
                .arg(step.intent,
                     step.target ? step.target->axRole.value_or("-") : QStringLiteral("no target"),
                     step.target ? step.target->axTitle.value_or(QString()) : QString(),
                     step.target ? step.target->windowTitle.value_or(QString()) : QString(),
                     step.target ? step.target->axPath.value_or("-") : QStringLiteral("-")));
    EXPECT_EQ(skill->plan.size(), saveAfter ? 3 : 2) << recorded.join(u'\n').toStdString();
    const std::optional<AXTarget> pressed =
        skill->plan.size() > 1 ? skill->plan[1].target : std::nullopt;
    EXPECT_TRUE(pressed && pressed->axRole == QStringLiteral("push button") &&
                pressed->axTitle == QStringLiteral("Blue") &&
                pressed->windowTitle == QStringLiteral("Pick a Colour"))
        << recorded.join(u'\n').toStdString();
    return skill;
}

// A modal dialog opened from a button's handler (GTK's Dialog.run, Qt's exec): the click in the
// dialog is recorded on the dialog's button, not on the main window under it, and replays as long
// as the application answers while its dialog is open.
TEST_P(ReplayDesktop, ADialogTaskIsRecordedInTheDialogAndReplays) {
    const TaskApp::Toolkit toolkit = GetParam();
    std::optional<Skill> skill;
    {
        TaskApp app(toolkit);
        ASSERT_TRUE(app.started());
        skill = demonstrateBlue(desktop, *probe, app, false, true);
    }
    ASSERT_FALSE(HasFailure());
    ASSERT_EQ(CastRoute::method(*skill), CastMethod::replay)
        << test::Demonstration::described(*skill);

    const QStringList moved = toolkit == TaskApp::Toolkit::gtk
                                  ? QStringList{"--at", "900", "300", "--size", "600", "640"}
                                  : QStringList{"--at", "900,300", "--size", "600,640"};
    for (const QStringList& change : {QStringList{}, moved}) {
        SCOPED_TRACE(change.join(u' ').toStdString());
        TaskApp app(toolkit, change);
        ASSERT_TRUE(app.started());
        ASSERT_TRUE(waitForRole(app.centre("save"), QStringLiteral("push button")));
        const ReplayResult result = replay(Paths::skill(skill->id), {}, {});
        EXPECT_EQ(result.exitCode, 0) << result.lines.join(u'\n').toStdString();
        const std::optional<QJsonObject> saved = app.waitForEvent(QStringLiteral("saved"), 5000);
        ASSERT_TRUE(saved) << result.lines.join(u'\n').toStdString();
        EXPECT_EQ(saved->value("colour").toString(), QStringLiteral("blue"));
    }
}

// A press and release with no pause between them on a dialog's button: the dialog is gone by the
// time the recorder reads the press, which still lands on the button the pointer rested on.
TEST_P(ReplayDesktop, AQuickClickThatClosesADialogIsRecordedOnItsButton) {
    TaskApp app(GetParam());
    ASSERT_TRUE(app.started());
    demonstrateBlue(desktop, *probe, app, true, false);
}

// Esc ends a cast's process group: a replay stopped halfway types nothing more.
TEST_P(ReplayDesktop, AStoppedReplayTypesNothingMore) {
    const TaskApp::Toolkit toolkit = GetParam();
    ASSERT_FALSE(demonstrate(toolkit).isEmpty());
    Skill keys = m_skill;
    const PlanStep clickNotes = m_skill.plan[2];
    ASSERT_EQ(clickNotes.action, ActionType::click);
    keys.plan = {clickNotes};
    // Far more keys than a loaded machine could type before the stop is seen.
    const int keyCount = 400;
    for (int i = 1; i <= keyCount; ++i) {
        PlanStep press = clickNotes;
        press.index = i;
        press.action = ActionType::keystroke;
        press.keyCode = KeyCodes::x;
        press.intent = QStringLiteral("Press x");
        keys.plan.append(press);
    }
    ASSERT_TRUE(SkillStore().save(keys).ok());

    TaskApp app(toolkit);
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(waitForRole(app.centre("notes"), QStringLiteral("text")));
    ChildProcessStarter processes;
    AgentRunner runner(processes);
    runner.run(keys, {});
    const auto typed = [&] {
        const std::optional<AXTarget> focus = probe->focusedTarget();
        return focus && focus->axValue ? focus->axValue->size() : 0;
    };
    ASSERT_TRUE(waitUntil([&] { return typed() >= 5; }, 20000));
    runner.cancel();
    const qsizetype atStop = typed();
    settle(1000);
    const qsizetype later = typed();
    std::printf("replay stopped with %lld keys typed; %lld a second later\n", qlonglong(atStop),
                qlonglong(later));
    // One key may have been on its way when the signal landed; nothing after that.
    EXPECT_LE(later, atStop + 1);
    EXPECT_LT(later, keyCount);
}

// `tavrik cast` as a person types it: a dry run first, then the cast, the password typed at the
// terminal (here, piped in) and never echoed or kept.
TEST_F(ReplayDesktopGtk, TheCommandLineChecksThenCastsWithAPasswordFromTheTerminal) {
    const QString folder = demonstrate(TaskApp::Toolkit::gtk);
    ASSERT_FALSE(folder.isEmpty());
    const auto tavrik = [&](const QStringList& arguments, const QByteArray& input) {
        QProcess process;
        process.start(QStringLiteral(TAVRIK_EXECUTABLE_PATH), arguments);
        process.waitForStarted();
        process.write(input);
        process.closeWriteChannel();
        waitUntil([&] { return process.state() == QProcess::NotRunning; }, 120000);
        return std::pair{process.exitCode(), QString::fromUtf8(process.readAllStandardOutput() +
                                                               process.readAllStandardError())};
    };

    // Nothing open: every step's element is missing, and nothing is run.
    const auto [closedStatus, closedText] =
        tavrik({QStringLiteral("cast"), folder, QStringLiteral("--dry-run")}, {});
    EXPECT_EQ(closedStatus, 1) << closedText.toStdString();
    EXPECT_TRUE(closedText.contains(QStringLiteral("Step 9 (Click on Save in")))
        << closedText.toStdString();
    EXPECT_TRUE(closedText.contains(QStringLiteral("missing, "))) << closedText.toStdString();

    TaskApp app(TaskApp::Toolkit::gtk,
                {QStringLiteral("--extra-fruit"), QStringLiteral("Apricots")});
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(waitForRole(app.centre("save"), QStringLiteral("push button")));
    const auto [checkStatus, checkText] =
        tavrik({QStringLiteral("cast"), folder, QStringLiteral("--dry-run")}, {});
    EXPECT_EQ(checkStatus, 0) << checkText.toStdString();
    EXPECT_TRUE(checkText.contains(QStringLiteral("✓ Found the elements of all 9 steps")))
        << checkText.toStdString();
    EXPECT_FALSE(app.waitForEvent(QStringLiteral("saved"), 300)) << "a dry run acted";

    const auto [castStatus, castText] =
        tavrik({QStringLiteral("cast"), folder, QStringLiteral("full_name=Lin")},
               QByteArrayLiteral("t0p\n"));
    EXPECT_EQ(castStatus, 0) << castText.toStdString();
    EXPECT_FALSE(castText.contains(QStringLiteral("t0p")));
    const std::optional<QJsonObject> saved = app.waitForEvent(QStringLiteral("saved"), 5000);
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->value("name").toString(), QStringLiteral("Lin"));
    EXPECT_EQ(saved->value("password").toString(), QStringLiteral("t0p"));
    EXPECT_EQ(saved->value("fruit").toString(), QStringLiteral("Pears"));
    // The run is audited with its steps, the password nowhere in it.
    QFile log(Paths::logs() + QStringLiteral("/runs.jsonl"));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QByteArray audit = log.readAll();
    EXPECT_TRUE(audit.contains("\"mode\":\"replay\"")) << audit.constData();
    EXPECT_FALSE(audit.contains("t0p"));
}

// A GTK dialog carries only the program's window class; it is still the same application.
TEST_F(ReplayDesktopGtk, ADialogHasTheIdentityOfItsApplication) {
    TaskApp app(TaskApp::Toolkit::gtk);
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(waitForRole(app.centre("choose"), QStringLiteral("push button")));
    clickAt(app.centre("choose"));
    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    std::optional<LiveWindow> dialog;
    ASSERT_TRUE(waitUntil(
        [&] {
            for (const LiveWindow& w : actor->windows())
                if (w.title == QStringLiteral("Pick a Colour"))
                    dialog = w;
            return dialog.has_value();
        },
        10000));
    EXPECT_EQ(dialog->appID, QStringLiteral("org.tavrik.TaskForm"));
    ASSERT_TRUE(waitUntil(
        [&] {
            const std::optional<AXTarget> focus = probe->focusedTarget();
            return focus && focus->windowTitle == QStringLiteral("Pick a Colour");
        },
        10000));
    EXPECT_EQ(probe->focusedTarget()->appBundleID, QStringLiteral("org.tavrik.TaskForm"));
}

// A local page in Chromium, served from 127.0.0.1.
class ReplayDesktopPage : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP()
                << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
        if (!test::ChromiumPage::isInstalled())
            GTEST_SKIP() << "needs /usr/bin/chromium";
        test::ChromiumPage::serve(server);
        actor = DesktopBackend::createDesktopActor();
    }

    test::TempSupportFolder support;
    test::DesktopDriver desktop;
    test::LocalHttpServer server;
    std::unique_ptr<DesktopActor> actor;
};

// Pages too: a form on a local page in Chromium, demonstrated once, replays with another name in
// a window that moved.
TEST_F(ReplayDesktopPage, AFormOnAPageReplaysWithAnotherValue) {
    const auto at = [&](const char* role, const char* name) {
        const std::optional<Rect> r = test::Demonstration::find(*actor, QString::fromLatin1(role),
                                                                QString::fromLatin1(name), 20000);
        return r ? Point{r->origin.x + r->size.width / 2, r->origin.y + r->size.height / 2}
                 : Point{-1, -1};
    };

    std::optional<Skill> skill;
    {
        test::ChromiumPage page(server);
        ASSERT_TRUE(page.started());
        const Point name = at("entry", "Name");
        ASSERT_GE(name.x, 0);
        test::Demonstration demonstration(desktop);
        demonstration.start();
        demonstration.click(name);
        demonstration.type(QStringLiteral("Ada"));
        demonstration.click(at("entry", "Notes"));
        demonstration.type(QStringLiteral("fast"));
        demonstration.click(at("check box", "Subscribe"));
        demonstration.click(at("push button", "Save"));
        EXPECT_TRUE(page.waitForEvent(QStringLiteral("saved"), 5000));
        skill = demonstration.save(QString::fromUtf8(test::orderSkillText));
    }
    ASSERT_TRUE(skill);
    ASSERT_EQ(CastRoute::method(*skill), CastMethod::replay)
        << test::Demonstration::described(*skill);
    // Clicked on its text, recorded as the button with its place on the page.
    const std::optional<AXTarget>& save = skill->plan.last().target;
    ASSERT_TRUE(save);
    EXPECT_EQ(save->axRole, QStringLiteral("push button"));
    EXPECT_TRUE(save->axPath && !save->axPath->isEmpty());

    test::ChromiumPage page(server, {}, {QStringLiteral("--window-position=700,200")});
    ASSERT_TRUE(page.started());
    ASSERT_GE(at("push button", "Save").x, 0);
    const ReplayResult result =
        replay(Paths::skill(skill->id), {QStringLiteral("full_name=Grace")}, {});
    ASSERT_EQ(result.exitCode, 0) << result.lines.join(u'\n').toStdString();
    const std::optional<QJsonObject> saved = page.waitForEvent(QStringLiteral("saved"), 5000);
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->value("name").toString(), QStringLiteral("Grace"));
    EXPECT_EQ(saved->value("notes").toString(), QStringLiteral("fast"));
    EXPECT_TRUE(saved->value("subscribe").toBool());
}

// Keys go to the element focused at the key: Tab belongs to the field it leaves, and an address
// typed into the address bar is the bar's, though the page loaded before still says it is focused.
TEST_F(ReplayDesktopPage, KeysAreRecordedOnTheElementFocusedAtTheKey) {
    test::ChromiumPage page(server, {}, {}, {}, test::ChromiumPage::Frame::browser);
    ASSERT_TRUE(page.started());
    const std::optional<Rect> name =
        test::Demonstration::find(*actor, QStringLiteral("entry"), QStringLiteral("Name"), 20000);
    ASSERT_TRUE(name);

    test::Demonstration demonstration(desktop);
    demonstration.start();
    demonstration.click(
        {name->origin.x + name->size.width / 2, name->origin.y + name->size.height / 2});
    demonstration.type(QStringLiteral("Ada"));
    demonstration.chord({}, XK_Tab);
    demonstration.type(QStringLiteral("fast"));
    const auto shown = [&] {
        qsizetype count = 0;
        for (const test::RecordedRequest& request : server.requests())
            count += request.json().object().value("event") == QStringLiteral("shown");
        return count;
    };
    const QString address = server.baseUrl().sliced(server.baseUrl().indexOf("//") + 2) + "/";
    demonstration.chord({XK_Control_L}, XK_l);
    demonstration.type(address);
    demonstration.chord({}, XK_Return);
    ASSERT_TRUE(waitUntil([&] { return shown() == 2; }));
    demonstration.chord({XK_Control_L}, XK_l);
    demonstration.type(QStringLiteral("plums"));
    const std::optional<Skill> skill = demonstration.save(QString::fromUtf8(test::orderSkillText));
    ASSERT_TRUE(skill);

    const auto typed = [&](const QString& text) -> std::optional<AXTarget> {
        for (const PlanStep& step : skill->plan)
            if (step.text == text)
                return step.target;
        ADD_FAILURE() << "nothing typed as " << text.toStdString();
        return std::nullopt;
    };
    const std::optional<AXTarget> field = typed(QStringLiteral("Ada"));
    ASSERT_TRUE(field);
    EXPECT_EQ(field->axTitle, QStringLiteral("Name"));
    const auto tab = std::find_if(skill->plan.begin(), skill->plan.end(),
                                  [](const PlanStep& s) { return s.keyCode == KeyCodes::tab; });
    ASSERT_NE(tab, skill->plan.end());
    ASSERT_TRUE(tab->target);
    EXPECT_EQ(tab->target->axTitle, QStringLiteral("Name"));
    const std::optional<AXTarget> notes = typed(QStringLiteral("fast"));
    ASSERT_TRUE(notes);
    EXPECT_EQ(notes->axTitle, QStringLiteral("Notes"));
    const std::optional<AXTarget> bar = typed(QStringLiteral("plums"));
    ASSERT_TRUE(bar);
    EXPECT_EQ(bar->axRole, QStringLiteral("entry"));
    EXPECT_NE(bar->axTitle, QStringLiteral("Name"));
    EXPECT_NE(bar->axPath, field->axPath);
}

INSTANTIATE_TEST_SUITE_P(Toolkits, ReplayDesktop,
                         testing::Values(TaskApp::Toolkit::gtk, TaskApp::Toolkit::qt),
                         [](const auto& info) {
                             return info.param == TaskApp::Toolkit::gtk ? "Gtk" : "Qt";
                         });

} // namespace
