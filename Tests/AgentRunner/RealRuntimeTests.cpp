#include "Support/AuditLogReader.h"
#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/TempSupportFolder.h"
#include "Support/WaitUntil.h"
#include "Tavrik/Runtime/ProcessGroup.h"
#include "TavrikCore/Models/RunRecord.h"
#include "TavrikCore/Storage/AuditLog.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <csignal>
#include <gtest/gtest.h>

using namespace tavrik;

// The application's cast path against the project's own agent runtime and Debian's Chromium:
// a skill saved by the store, opened by the runtime, its lines turned into phrases, the audit
// record written; and an interrupted run that leaves nothing of itself behind.
namespace {

const QString kRuntime = QStringLiteral(TAVRIK_SOURCE_DIR "/runtime");

QList<qint64> processesMatching(const QByteArray& needle) {
    QList<qint64> found;
    for (const QString& entry : QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile cmdline("/proc/" + entry + "/cmdline");
        if (cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(needle))
            found.append(entry.toLongLong());
    }
    return found;
}

qint64 childOf(qint64 parent) {
    for (const QString& entry : QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile stat("/proc/" + entry + "/stat");
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields[1].toLongLong() == parent)
            return entry.toLongLong();
    }
    return 0;
}

class RealRuntime : public ::testing::Test {
protected:
    void SetUp() override {
        if (!QFileInfo::exists(kRuntime + "/node_modules/.bin/tsx") ||
            !QFileInfo::exists("/usr/bin/chromium"))
            GTEST_SKIP()
                << "needs runtime/node_modules (scripts/build-runtime) and /usr/bin/chromium";
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TAVRIK_RUNTIME_DIR", kRuntime);
        environment.insert("TAVRIK_BROWSER_HEADLESS", "1");
        environment.insert("TAVRIK_DIRECT_BROWSER",
                           "tavrik"); // the page is read by the headless one
        environment.insert("TAVRIK_BROWSER_NO_SANDBOX", "1");
        environment.insert("POSTHOG_OPT_OUT", "1");
        tavrik.setProcessEnvironment(environment);
    }

    void TearDown() override {
        // The runtime leaves the browser running for the next cast, as it would for the user.
        for (qint64 pid : processesMatching(support.path().toUtf8()))
            ::kill(pid_t(pid), SIGKILL);
    }

    Skill saveDirectSkill(const QString& urlTemplate) {
        Skill skill;
        skill.name = "Find Flights";
        skill.createdAt = QDateTime::currentDateTimeUtc();
        skill.parameters = {{QUuid::createUuid(),
                             "destination",
                             ParameterType::searchTerm,
                             "Where to?",
                             "Lisbon & Porto",
                             {}}};
        skill.runtime = RuntimeSpec{"open_url", {}, urlTemplate};
        EXPECT_TRUE(SkillStore().save(skill).ok());
        return skill;
    }

    QCoreApplication* app = test::ensureCoreApplication(); // before the server's thread starts
    test::TempSupportFolder support;
    test::LocalHttpServer server;
    QProcess tavrik;
};

} // namespace

TEST_F(RealRuntime, CastOpensTheFilledAddressAndWritesTheAuditRecord) {
    server.route(
        "GET", "/search",
        test::CannedResponse::text(200, "<html><title>Flights</title><body>3 flights</body></html>",
                                   "text/html"));
    saveDirectSkill(server.baseUrl() + "/search?to={{destination|urlencode}}");
    tavrik.start(TAVRIK_BINARY_DIR "/tavrik", {"cast", "/find-flights"});
    ASSERT_TRUE(tavrik.waitForFinished(120000));
    const QString output = QString::fromUtf8(tavrik.readAllStandardOutput());
    EXPECT_EQ(tavrik.exitCode(), 0)
        << output.toStdString() << tavrik.readAllStandardError().toStdString();
    EXPECT_TRUE(output.startsWith("Running Find Flights…\n")) << output.toStdString();
    EXPECT_TRUE(output.contains("Opening the page…\n")) << output.toStdString();
    EXPECT_TRUE(output.contains("\n✓ ")) << output.toStdString();

    bool sawSearch = false;
    for (const test::RecordedRequest& request : server.requests())
        sawSearch |= request.path == "/search?to=Lisbon%20%26%20Porto";
    EXPECT_TRUE(sawSearch);
    const QList<RunRecord> records = test::readAuditLog();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].skill, "Find Flights");
    EXPECT_FALSE(records[0].aborted);
    EXPECT_TRUE(records[0].actions.contains("open")) << records[0].actions.join(',').toStdString();
}

TEST_F(RealRuntime, InterruptedCastLeavesNoRuntimeProcess) {
    server.route("GET", "/slow", test::CannedResponse::silence());
    saveDirectSkill(server.baseUrl() + "/slow?to={{destination}}");
    tavrik.start(TAVRIK_BINARY_DIR "/tavrik", {"cast", "/find-flights"});
    ASSERT_TRUE(tavrik.waitForStarted(10000));
    ASSERT_TRUE(server.waitForRequests(1, 90000)) << tavrik.readAllStandardOutput().toStdString();
    const qint64 group = childOf(tavrik.processId());
    ASSERT_GT(group, 1);
    ASSERT_GT(ProcessGroup::livingMembers(group), 0);

    ::kill(pid_t(tavrik.processId()), SIGINT);
    ASSERT_TRUE(tavrik.waitForFinished(20000));
    EXPECT_EQ(tavrik.exitCode(), 130);
    EXPECT_TRUE(test::waitUntil([&] { return ProcessGroup::livingMembers(group) == 0; }));
    ASSERT_EQ(test::readAuditLog().size(), 1);
    EXPECT_TRUE(test::readAuditLog()[0].aborted);
}
