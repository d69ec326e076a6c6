#include "Support/CoreApplication.h"
#include "Support/ScopedEnvironment.h"
#include "Support/ScriptedRuntime.h"
#include "Support/TempSupportFolder.h"
#include "Support/WaitUntil.h"
#include "Tavrik/Runtime/ChildProcessStarter.h"
#include "Tavrik/Runtime/RuntimeLocator.h"
#include "TavrikCore/Casting/AgentRunner.h"
#include "TavrikCore/Casting/CastRules.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikCore/Storage/Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QTimer>
#include <gtest/gtest.h>

using namespace tavrik;
using tavrik::test::ScopedEnvironment;

namespace {

struct Outcome {
    QStringList phrases;
    bool finished = false;
    bool success = false;
    QString summary;
};

Outcome runToEnd(AgentRunner& runner, const Skill& skill, const QMap<QString, QString>& parameters,
                 const AgentRunOptions& options = {}) {
    test::ensureCoreApplication();
    Outcome outcome;
    QEventLoop loop;
    QObject::connect(&runner, &AgentRunner::progress,
                     [&](const QString& p) { outcome.phrases << p; });
    QObject::connect(&runner, &AgentRunner::finished, [&](bool success, const QString& summary) {
        outcome.finished = true;
        outcome.success = success;
        outcome.summary = summary;
        loop.quit();
    });
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    runner.run(skill, parameters, {}, options);
    if (!outcome.finished)
        loop.exec();
    return outcome;
}

} // namespace

TEST(AgentRunnerPhrases, HumanizeFollowsTheLinePrefixes) {
    const QList<std::pair<QString, std::optional<QString>>> cases{
        {"✓ Sent 3 messages", QString("Sent 3 messages")},
        {"✗  No inbox found ", QString("No inbox found")},
        {"→ sheets_append rows=4", QString("Adding rows to the sheet…")},
        {"→ open https://example.org", QString("Opening the page…")},
        {"→ read price", QString("Reading the page…")},
        {"→ extract rows", QString("Reading the list…")},
        {"→ sheets_set_cell A1", QString("Writing to the sheet…")},
        {"→ notify_sms +1555", QString("Sending a text…")},
        {"→ finish", QString("Finishing up…")},
        {"→ Open https://example.org", QString("Working…")},
        {"→", QString("Working…")},
        {"· checking the inbox", QString("checking the inbox")},
        {"·  two blanks kept", QString(" two blanks kept")},
        {"plain log text", std::nullopt},
        {"·no blank", std::nullopt},
    };
    for (const auto& [line, phrase] : cases)
        EXPECT_EQ(AgentRunner::humanize(line), phrase) << line.toStdString();
}

TEST(AgentRunnerPhrases, CastRulesForOutcomesParametersAndWarnings) {
    Skill skill;
    skill.name = "Send Invoices";
    skill.parameters = {
        {QUuid::createUuid(), "month", ParameterType::date, "Which month?", "May", {}},
        {QUuid::createUuid(), "to", ParameterType::text, "To whom?", "ada@example.org", {}}};
    EXPECT_EQ(
        CastRules::completeParameters(skill, {{"month", "June"}, {"to", ""}, {"extra", "kept"}}),
        (QMap<QString, QString>{{"month", "June"}, {"to", "ada@example.org"}, {"extra", "kept"}}));
    EXPECT_FALSE(CastRules::destructiveWarning(skill));
    PlanStep safe, send, remove;
    safe.intent = "Open the list";
    send.intent = "Send the invoices";
    send.isDestructive = true;
    remove.intent = "Delete the drafts";
    remove.isDestructive = true;
    skill.plan = {safe, send, remove};
    const auto warning = CastRules::destructiveWarning(skill);
    ASSERT_TRUE(warning);
    EXPECT_EQ(warning->message, "Let Tavrik run “Send Invoices”?");
    EXPECT_EQ(warning->details,
              "This skill can submit, send, delete, or overwrite something:\n\n"
              "•  Send the invoices\n•  Delete the drafts\n\n"
              "Tavrik will act on its own once you proceed. Press Esc anytime to stop.");
    EXPECT_EQ(CastRules::outcomeText(true, "  "), "Done.");
    EXPECT_EQ(CastRules::outcomeText(false, ""), "Couldn't finish the skill.");
    EXPECT_EQ(CastRules::outcomeText(false, " Blocked by a login "), "Blocked by a login");
    EXPECT_EQ(CastRules::runRecord({}, skill, {}, true).actions, QList<QString>{"(no tool calls)"});
    EXPECT_TRUE(CastRules::runRecord({}, skill, {"open"}, false).aborted);
}

// What the runner asks the starter for, and what it makes of the lines that come back.
TEST(AgentRunnerLaunch, ReplaysTakeSecretsOnStandardInputAndTheRunKeepsItsAuditTrail) {
    test::ScriptedRuntime runtime;
    Skill skill;
    skill.castWith = CastMethod::replay;
    AgentRunOptions options;
    options.secrets = {{1, "hunter2"}};
    AgentRunner runner(runtime);
    Outcome outcome =
        runToEnd(runner, skill, {{"lines", "→ click Save|· saved|✓ Saved it"}}, options);
    ASSERT_EQ(runtime.launches.size(), 1);
    const ProcessStarter::Launch& launch = runtime.launches[0];
    EXPECT_TRUE(launch.replays);
    EXPECT_EQ(launch.skillFolder, Paths::skill(skill.id));
    // The secret never reaches the command line.
    EXPECT_EQ(launch.arguments,
              (QStringList{"--secrets-on-stdin", "lines=→ click Save|· saved|✓ Saved it"}));
    EXPECT_EQ(ReplaySecrets::decode(launch.input), options.secrets);
    EXPECT_TRUE(outcome.success);
    EXPECT_EQ(outcome.summary, "Saved it");
    EXPECT_EQ(outcome.phrases, (QStringList{"Working…", "saved", "Saved it"}));
    EXPECT_EQ(runner.steps(), QList<QString>{"click"});
    const QList<AuditEntry> trail = runner.context()->auditLog();
    ASSERT_EQ(trail.size(), 1);
    EXPECT_EQ(trail[0].action, ActionType::click);
    EXPECT_EQ(trail[0].detail, "Save");
    EXPECT_FALSE(trail[0].agentic);
    EXPECT_EQ(runner.context()->parameters().value("lines"), "→ click Save|· saved|✓ Saved it");
    EXPECT_FALSE(runner.context()->aborted());

    // A check of an agent skill still replays, acting on nothing.
    AgentRunner check(runtime);
    options = {};
    options.checkOnly = true;
    runToEnd(check, Skill{}, {}, options);
    EXPECT_TRUE(runtime.launches.last().replays);
    EXPECT_EQ(runtime.launches.last().arguments, QStringList{"--check"});
    EXPECT_TRUE(runtime.launches.last().input.isEmpty());
}

TEST(AgentRunnerLaunch, AgentRunsFailToStartOrAreStoppedWithoutAFinish) {
    test::ScriptedRuntime runtime;
    runtime.failure = "Couldn't find the Tavrik runtime.";
    AgentRunner failed(runtime);
    Outcome outcome = runToEnd(failed, Skill{}, {{"exit", "0"}});
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(outcome.summary, "Couldn't find the Tavrik runtime.");
    EXPECT_FALSE(failed.isRunning());

    AgentRunner runner(runtime);
    bool finished = false;
    QStringList phrases;
    QObject::connect(&runner, &AgentRunner::finished, [&] { finished = true; });
    QObject::connect(&runner, &AgentRunner::progress, [&](const QString& p) { phrases << p; });
    runner.run(Skill{}, {{"hang", "1"}, {"lines", "→ open https://example.org"}});
    EXPECT_FALSE(runtime.launches.last().replays);
    ASSERT_TRUE(test::waitUntil([&] { return phrases.contains("waiting"); }));
    EXPECT_TRUE(runner.context()->auditLog().value(0).agentic);
    runner.cancel();
    EXPECT_FALSE(runner.isRunning());
    EXPECT_TRUE(runner.context()->aborted());
    EXPECT_EQ(*runtime.stops, 1);
    QCoreApplication::processEvents(); // the stopped process's last line goes nowhere
    EXPECT_FALSE(finished);
    EXPECT_EQ(runner.lastSummary(), "");
}

TEST(AgentRunnerPhrases, DiscoveryOrder) {
    QTemporaryDir prefix;
    QDir(prefix.path()).mkpath("bin");
    QDir(prefix.path()).mkpath("runtime");
    QDir(prefix.path()).mkpath("share/tavrik/runtime/dist");
    const QString executable = prefix.path() + "/bin/tavrik";
    EXPECT_FALSE(RuntimeLocator::installedRuntime(executable));
    QFile node(prefix.path() + "/share/tavrik/runtime/node");
    ASSERT_TRUE(node.open(QIODevice::WriteOnly));
    node.close();
    QFile(prefix.path() + "/share/tavrik/runtime/dist/cli.js").open(QIODevice::WriteOnly);
    EXPECT_FALSE(RuntimeLocator::installedRuntime(executable)); // node is not executable yet
    node.setPermissions(node.permissions() | QFile::ExeOwner);
    EXPECT_EQ(RuntimeLocator::installedRuntime(executable),
              prefix.path() + "/share/tavrik/runtime");

    ScopedEnvironment home("HOME", prefix.path().toUtf8());
    ScopedEnvironment named("TAVRIK_RUNTIME_DIR", (prefix.path() + "/nowhere").toUtf8());
    EXPECT_FALSE(RuntimeLocator::developmentRuntime(executable));
    QFile(prefix.path() + "/runtime/package.json").open(QIODevice::WriteOnly);
    EXPECT_EQ(RuntimeLocator::developmentRuntime(executable), prefix.path() + "/runtime");
    QDir(prefix.path()).mkpath("named");
    QFile(prefix.path() + "/named/package.json").open(QIODevice::WriteOnly);
    ScopedEnvironment namedAgain("TAVRIK_RUNTIME_DIR", (prefix.path() + "/named").toUtf8());
    EXPECT_EQ(RuntimeLocator::developmentRuntime(executable), prefix.path() + "/named");
}

TEST(AgentRunnerPhrases, NoRuntimeFinishesAtOnce) {
    test::TempSupportFolder support;
    QTemporaryDir home;
    ScopedEnvironment homeVariable("HOME", home.path().toUtf8());
    ScopedEnvironment named("TAVRIK_RUNTIME_DIR", home.path().toUtf8());
    ChildProcessStarter processes;
    AgentRunner runner(processes);
    Outcome outcome = runToEnd(runner, Skill{}, {});
    EXPECT_TRUE(outcome.finished);
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(outcome.summary, "Couldn't find the Tavrik runtime.");
}
