#include "Replay/FakeDesktop.h"
#include "Replay/Recorded.h"
#include "Support/CoreApplication.h"
#include "Support/LocalModel.h"
#include "Support/MessagesApi.h"
#include "Support/PaintedFrames.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Replay/ModelStepRepairer.h"
#include "TavrikCore/Replay/ReplayEngine.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace tavrik::test {
namespace {

// A task list whose "Add task" button was renamed "Create task" after the skill was recorded.
struct ModelRepair : ::testing::Test {
    QCoreApplication* app = ensureCoreApplication();
    TempSupportFolder support;
    LocalModel model;
    LocalHttpServer& server = model.server;
    FakeDesktop desktop;
    PaintedFrames frames;
    LiveWindow window;
    Skill skill;
    QStringList lines;
    QList<ReplayEngine::Repair> repairs;

    ModelRepair() {
        window = desktop.addWindow(QStringLiteral("org.example.Tasks"), QStringLiteral("Tasks"),
                                   Rect(100, 100, 400, 300));
        desktop.addElement(window, QStringLiteral("text"), QStringLiteral("Title"),
                           QStringLiteral("filler:0/text:0"), Rect(20, 20, 300, 24));
        desktop.addElement(window, QStringLiteral("password text"), QStringLiteral("Token"),
                           QStringLiteral("filler:0/password text:1"), Rect(20, 60, 300, 24));
        desktop.addElement(window, QStringLiteral("push button"), QStringLiteral("Add task"),
                           QStringLiteral("filler:0/push button:2"), Rect(20, 250, 100, 30));
        desktop.addElement(window, QStringLiteral("push button"), QStringLiteral("Cancel"),
                           QStringLiteral("filler:0/push button:3"), Rect(280, 250, 100, 30));
        skill.name = QStringLiteral("Add a task");
        PlanStep typed =
            recordedStep(0, ActionType::keystroke, *desktop.find(QStringLiteral("Title")), window);
        typed.text = QStringLiteral("Buy milk");
        skill.plan = {typed, recordedStep(1, ActionType::click,
                                          *desktop.find(QStringLiteral("Add task")), window)};

        LiveElement* renamed = desktop.find(QStringLiteral("Add task"));
        renamed->name = QStringLiteral("Create task");
        renamed->path = QStringLiteral("filler:0/box:1/push button:0");
    }

    bool run(bool withRepairer = true) {
        lines.clear();
        ReplayEngine engine(desktop, desktop, desktop);
        std::unique_ptr<ModelStepRepairer> repairer =
            ModelStepRepairer::withUsersKey(desktop, desktop, &frames);
        if (withRepairer)
            engine.setRepairer(repairer.get());
        const bool ok =
            engine.run(skill, {}, {}, [this](const QString& line) { lines.append(line); });
        repairs = engine.repairs();
        return ok;
    }

    QStringList actions() const { return desktop.log.filter(QStringLiteral("action ")); }
};

const QString kMissing =
    QStringLiteral("✗ Step 2 (Step on Add task): no element like “Add task” in org.example.Tasks "
                   "(push button) is showing");

TEST_F(ModelRepair, TheModelActsOnTheRenamedButtonAndReplayGoesOn) {
    server.routeSequence("POST", "/v1/messages",
                         {toolTurn({messages::textBlock("The button is now called Create task."),
                                    toolUse("toolu_1", "act", {{"index", 2}})}),
                          toolTurn({toolUse("toolu_2", "finish", {{"index", 2}})})});
    // Another application's password field on screen is blacked out in the key frame as well.
    const LiveWindow keys = desktop.addWindow(QStringLiteral("org.example.Keys"),
                                              QStringLiteral("Keys"), Rect(600, 100, 300, 200));
    desktop.addElement(keys, QStringLiteral("password text"), QStringLiteral("PIN"),
                       QStringLiteral("filler:0/password text:0"), Rect(20, 20, 200, 24));
    ASSERT_TRUE(run()) << lines.join('\n').toStdString();
    EXPECT_EQ(actions(), QStringList{QStringLiteral("action click Create task")});
    EXPECT_TRUE(lines.contains(QStringLiteral("· Repairing step 2 with the model…")));
    EXPECT_TRUE(lines.contains(QStringLiteral("→ click “Create task” in org.example.Tasks")));
    EXPECT_TRUE(lines.contains(
        QStringLiteral("· Step 2 repaired: it now acts on “Create task” in org.example.Tasks")));
    EXPECT_EQ(lines.last(), QStringLiteral("✓ Replayed 2 steps of “Add a task”"));

    ASSERT_EQ(repairs.size(), 1);
    EXPECT_EQ(repairs[0].step, 1);
    EXPECT_EQ(repairs[0].before, *skill.plan[1].target);
    EXPECT_EQ(repairs[0].after.axTitle, QStringLiteral("Create task"));
    EXPECT_EQ(repairs[0].after.axPath, QStringLiteral("filler:0/box:1/push button:0"));
    EXPECT_EQ(repairs[0].after.appBundleID, QStringLiteral("org.example.Tasks"));

    // What the model was given: the step's intent, the indexed window, a redacted key frame, tools.
    const QList<RecordedRequest> requests = server.requests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[0].header("x-api-key"), "sk-ant-test");
    const QJsonObject first = requests[0].json().object();
    QStringList toolNames;
    for (const QJsonValue& tool : first.value("tools").toArray())
        toolNames.append(tool.toObject().value("name").toString());
    EXPECT_EQ(toolNames, (QStringList{"act", "set_text", "press_keys", "finish"}));
    const QJsonArray content =
        first.value("messages").toArray()[0].toObject().value("content").toArray();
    const QString brief = content[0].toObject().value("text").toString();
    EXPECT_TRUE(brief.contains(QStringLiteral("Recorded action: click on push button “Add task”")))
        << brief.toStdString();
    EXPECT_TRUE(brief.contains(QStringLiteral("Previous step 1: Step on Title")));
    EXPECT_TRUE(brief.contains(QStringLiteral("[1] password text “Token” (editable, secret)")));
    EXPECT_TRUE(brief.contains(QStringLiteral("[2] push button “Create task”")));
    const QJsonObject image = content[1].toObject();
    EXPECT_EQ(image.value("source").toObject().value("media_type").toString(),
              QStringLiteral("image/png"));
    const QImage frame =
        QImage::fromData(QByteArray::fromBase64(
                             image.value("source").toObject().value("data").toString().toLatin1()),
                         "PNG");
    EXPECT_EQ(frame.size(), QSize(1280, 720));
    // The secret field, scaled to the frame, is black in it.
    ASSERT_EQ(frames.redacted.size(), 2);
    EXPECT_NEAR(frames.redacted[1].origin.x, 620 * 2.0 / 3, 0.01);
    EXPECT_NEAR(frames.redacted[0].origin.x, 120 * 2.0 / 3, 0.01);
    EXPECT_NEAR(frames.redacted[0].size.width, 300 * 2.0 / 3, 0.01);
    EXPECT_EQ(frame.pixel(100, 115), qRgb(0, 0, 0));

    // The second turn carries the action's result and the window as it is after it.
    const QJsonArray history = requests[1].json().object().value("messages").toArray();
    ASSERT_EQ(history.size(), 3);
    EXPECT_EQ(history[1].toObject().value("role").toString(), QStringLiteral("assistant"));
    const QJsonObject result = history[2].toObject().value("content").toArray()[0].toObject();
    EXPECT_EQ(result.value("tool_use_id").toString(), QStringLiteral("toolu_1"));
    EXPECT_TRUE(result.value("content").toString().startsWith(
        QStringLiteral("Done.\nThe window's elements now:\n[0] text")));
}

TEST_F(ModelRepair, AGivenUpRepairEndsLikeAMissingStepAndDestructiveStepsAreNeverOffered) {
    server.route(
        "POST", "/v1/messages",
        toolTurn({toolUse("toolu_1", "finish", {{"give_up", "No button adds a task any more."}})}));
    EXPECT_FALSE(run());
    EXPECT_EQ(lines.last(),
              kMissing + QStringLiteral(
                             "; the model could not repair it: No button adds a task any more."));
    EXPECT_TRUE(actions().isEmpty());
    EXPECT_TRUE(repairs.isEmpty());

    skill.plan[1].isDestructive = true;
    EXPECT_FALSE(run());
    EXPECT_EQ(lines.last(), kMissing);
    EXPECT_FALSE(lines.contains(QStringLiteral("· Repairing step 2 with the model…")));
    EXPECT_EQ(server.requestCount(), 1);
}

TEST_F(ModelRepair, AnIndexOutsideTheListingIsAnErrorTheModelCanRecoverFrom) {
    server.routeSequence("POST", "/v1/messages",
                         {toolTurn({toolUse("toolu_1", "act", {{"index", 42}})}),
                          toolTurn({toolUse("toolu_2", "act", {{"index", 2}}),
                                    toolUse("toolu_3", "finish", {{"index", 2}})})});
    ASSERT_TRUE(run()) << lines.join('\n').toStdString();
    EXPECT_EQ(actions(), QStringList{QStringLiteral("action click Create task")});
    const QJsonArray history = server.requests()[1].json().object().value("messages").toArray();
    const QJsonObject result = history[2].toObject().value("content").toArray()[0].toObject();
    EXPECT_TRUE(result.value("is_error").toBool());
    EXPECT_EQ(result.value("content").toString(),
              QStringLiteral("There is no element 42; the listing goes from 0 to 3."));
    ASSERT_EQ(repairs.size(), 1);

    // Naming an element that does not exist as the result is refused the same way.
    server.clearRequests();
    server.routeSequence("POST", "/v1/messages",
                         {toolTurn({toolUse("toolu_4", "finish", {{"index", -1}})}),
                          toolTurn({toolUse("toolu_5", "finish", {{"give_up", "Lost."}})})});
    EXPECT_FALSE(run());
    EXPECT_EQ(server.requestCount(), 2);
    EXPECT_EQ(lines.last(), kMissing + QStringLiteral("; the model could not repair it: Lost."));
}

TEST_F(ModelRepair, TurnsAreBoundedAndAFailedRequestIsTheReason) {
    server.route("POST", "/v1/messages",
                 toolTurn({toolUse("toolu_1", "press_keys", {{"keys", "shift+Tab"}})}));
    EXPECT_FALSE(run());
    EXPECT_EQ(server.requestCount(), 6);
    EXPECT_EQ(desktop.log.filter(QStringLiteral("key 48 20000")).size(), 6);
    EXPECT_EQ(lines.last(),
              kMissing + QStringLiteral(
                             "; the model could not repair it: it did not finish within 6 turns"));

    server.route("POST", "/v1/messages",
                 CannedResponse::json(529, messages::errorBody(QStringLiteral("overloaded_error"),
                                                               QStringLiteral("Overloaded"))));
    EXPECT_FALSE(run());
    EXPECT_TRUE(
        lines.last().startsWith(kMissing + QStringLiteral("; the model could not repair it: ")))
        << lines.last().toStdString();
    EXPECT_TRUE(repairs.isEmpty());
}

TEST_F(ModelRepair, WithoutAKeyNothingIsSentAndTheRunEndsAsItAlwaysDid) {
    ScopedEnvironment noKey = ScopedEnvironment::unset("ANTHROPIC_API_KEY");
    EXPECT_EQ(ModelStepRepairer::withUsersKey(desktop, desktop, &frames), nullptr);
    EXPECT_FALSE(run());
    const QStringList withNoKey = lines;
    EXPECT_FALSE(run(false));
    EXPECT_EQ(withNoKey, lines);
    EXPECT_EQ(lines.last(), kMissing);
    EXPECT_EQ(server.requestCount(), 0);
}

} // namespace
} // namespace tavrik::test
