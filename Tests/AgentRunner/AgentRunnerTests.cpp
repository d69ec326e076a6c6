#include "AgentRunner/StandInRuntime.h"
#include "Support/CoreApplication.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/Runtime/AgentRunner.h"
#include "Tavrik/Runtime/CastRules.h"
#include "Tavrik/Runtime/ProcessGroup.h"
#include "Tavrik/Runtime/RuntimeLocator.h"
#include "TavrikCore/Storage/Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
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

Outcome runToEnd(AgentRunner& runner, const Skill& skill,
                 const QMap<QString, QString>& parameters) {
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
    runner.run(skill, parameters);
    if (!outcome.finished)
        loop.exec();
    return outcome;
}

class AgentRunnerTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::ensureCoreApplication();
        // Not a skip: a run without it would pass while testing nothing.
        ASSERT_TRUE(runtime.isUsable())
            << "runtime/node_modules is missing: run scripts/build-runtime (make test does)";
    }
    test::TempSupportFolder support;
    test::StandInRuntime runtime;
    ScopedEnvironment runtimeDir{"TAVRIK_RUNTIME_DIR", runtime.path().toUtf8()};
    Skill skill;
};

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
    AgentRunner runner;
    Outcome outcome = runToEnd(runner, Skill{}, {});
    EXPECT_TRUE(outcome.finished);
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(outcome.summary, "Couldn't find the Tavrik runtime.");
}

TEST_F(AgentRunnerTest, CancelEndsTheWholeProcessGroupWithoutAFinish) {
    const QString pgrpFile = support.path() + "/pgrp";
    AgentRunner runner;
    bool finished = false;
    QEventLoop loop;
    QObject::connect(&runner, &AgentRunner::finished, [&] { finished = true; });
    QObject::connect(&runner, &AgentRunner::progress, [&](const QString& p) {
        if (p == "waiting")
            loop.quit();
    });
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    runner.run(skill, {{"hang", "1"}, {"pgrp_file", pgrpFile}});
    loop.exec();
    QFile file(pgrpFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const qint64 group = file.readAll().toLongLong();
    ASSERT_GT(group, 1);
    EXPECT_GE(ProcessGroup::livingMembers(group), 2); // npx's node and the grandchild at least

    runner.cancel(500);
    EXPECT_FALSE(runner.isRunning());
    QElapsedTimer clock;
    clock.start();
    while (ProcessGroup::livingMembers(group) > 0 && clock.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    EXPECT_EQ(ProcessGroup::livingMembers(group), 0);
    EXPECT_FALSE(finished);
}
