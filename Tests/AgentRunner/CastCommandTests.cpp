#include "AgentRunner/StandInRuntime.h"
#include "Support/AuditLogReader.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/Runtime/ProcessGroup.h"
#include "TavrikCore/Models/RunRecord.h"
#include "TavrikCore/Storage/AuditLog.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <csignal>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {

class CastCommand : public ::testing::Test {
protected:
    void SetUp() override {
        // Not a skip: a run without it would pass while testing nothing.
        ASSERT_TRUE(runtime.isUsable())
            << "runtime/node_modules is missing: run scripts/build-runtime (make test does)";
        skill.name = "Send the Report";
        skill.createdAt = QDateTime::currentDateTimeUtc();
        for (const char* name : {"lines", "exit", "hang", "pgrp_file"})
            skill.parameters.append({QUuid::createUuid(), name, ParameterType::text, "?", "", {}});
        skill.parameters[0].exampleValue = "→ open https://example.org|✓ Report sent";
        PlanStep send;
        send.intent = "Send the report";
        send.isDestructive = true;
        skill.plan = {send};
        ASSERT_TRUE(SkillStore().save(skill).ok());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TAVRIK_RUNTIME_DIR", runtime.path());
        environment.remove("DISPLAY");
        tavrik.setProcessEnvironment(environment);
    }

    void start(const QStringList& arguments) {
        tavrik.start(TAVRIK_BINARY_DIR "/tavrik", QStringList{"cast"} + arguments);
    }

    test::TempSupportFolder support;
    test::StandInRuntime runtime;
    Skill skill;
    QProcess tavrik;
};

} // namespace

TEST_F(CastCommand, RunsWithExampleValuesAndWritesTheAuditLog) {
    start({"/send-the-report", "--yes"});
    ASSERT_TRUE(tavrik.waitForFinished(60000));
    EXPECT_EQ(tavrik.exitCode(), 0) << tavrik.readAllStandardError().toStdString();
    EXPECT_EQ(QString::fromUtf8(tavrik.readAllStandardOutput()),
              "Running Send the Report…\nOpening the page…\nReport sent\n✓ Report sent\n");
    const QList<RunRecord> records = test::readAuditLog();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].skill, "Send the Report");
    EXPECT_EQ(records[0].mode, "agent");
    EXPECT_EQ(records[0].actions, QList<QString>{"open"});
    EXPECT_FALSE(records[0].aborted);
}

TEST_F(CastCommand, FailureAndDeclineAndBadParameters) {
    start({"send-the-report", "-y", "exit=4", "lines=✗ Mail server refused"});
    ASSERT_TRUE(tavrik.waitForFinished(60000));
    EXPECT_EQ(tavrik.exitCode(), 1);
    EXPECT_TRUE(tavrik.readAllStandardError().contains("✗ Mail server refused"));
    EXPECT_TRUE(test::readAuditLog().last().aborted);

    start({"/send-the-report"});
    tavrik.write("n\n");
    tavrik.closeWriteChannel();
    ASSERT_TRUE(tavrik.waitForFinished(30000));
    EXPECT_EQ(tavrik.exitCode(), 1);
    const QString question = QString::fromUtf8(tavrik.readAllStandardOutput());
    EXPECT_TRUE(question.startsWith("Let Tavrik run “Send the Report”?\n\nThis skill can submit"))
        << question.toStdString();
    EXPECT_TRUE(question.contains("•  Send the report\n")) << question.toStdString();
    EXPECT_EQ(tavrik.readAllStandardError(), "tavrik: not run\n");
    EXPECT_EQ(test::readAuditLog().size(), 1);

    start({"/send-the-report", "--yes", "colour=red"});
    ASSERT_TRUE(tavrik.waitForFinished(30000));
    EXPECT_EQ(tavrik.exitCode(), 2);
    EXPECT_TRUE(tavrik.readAllStandardError().startsWith(
        "tavrik: “Send the Report” has no parameter colour (it has: lines, exit"));
}

TEST_F(CastCommand, InterruptStopsTheWholeRun) {
    const QString pgrpFile = support.path() + "/pgrp";
    start({"/send-the-report", "--yes", "hang=1", "pgrp_file=" + pgrpFile});
    ASSERT_TRUE(tavrik.waitForStarted(10000));
    QByteArray output;
    QElapsedTimer clock;
    clock.start();
    while (!output.contains("waiting") && clock.elapsed() < 60000 &&
           tavrik.state() == QProcess::Running) {
        tavrik.waitForReadyRead(500);
        output += tavrik.readAllStandardOutput();
    }
    ASSERT_TRUE(output.contains("waiting")) << output.toStdString();
    QFile file(pgrpFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const qint64 group = file.readAll().toLongLong();
    ASSERT_GT(ProcessGroup::livingMembers(group), 0);

    ::kill(pid_t(tavrik.processId()), SIGINT);
    ASSERT_TRUE(tavrik.waitForFinished(15000));
    EXPECT_EQ(tavrik.exitCode(), 130);
    EXPECT_EQ(tavrik.readAllStandardError(), "Stopped.\n");
    EXPECT_EQ(ProcessGroup::livingMembers(group), 0);
    ASSERT_EQ(test::readAuditLog().size(), 1);
    EXPECT_TRUE(test::readAuditLog()[0].aborted);
}
