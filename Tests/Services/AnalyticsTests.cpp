#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/TempSettings.h"
#include "Tavrik/Analytics.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Version.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonObject>
#include <QSet>
#include <QSettings>
#include <gtest/gtest.h>
#include <thread>

using namespace tavrik;
using test::CannedResponse;

namespace {

class AnalyticsTest : public ::testing::Test {
protected:
    AnalyticsTest() {
        qputenv(Hosts::analyticsVariable, server.baseUrl().toUtf8());
        server.route("POST", "/capture/", CannedResponse::json(200, R"({"status": 1})"));
        Analytics::setOptedOut(false); // the user said yes
    }
    ~AnalyticsTest() override { qunsetenv(Hosts::analyticsVariable); }

    bool storedID() const {
        return QSettings("Tavrik", "Tavrik").contains(Analytics::distinctIDKey);
    }

    // First: the server and the network need the application object.
    QCoreApplication* app = test::ensureCoreApplication();
    test::TempSettings isolatedSettings;
    test::LocalHttpServer server;
};

} // namespace

TEST_F(AnalyticsTest, CaptureSendsTheEventWithBaseProperties) {
    const QDateTime before = json::truncatedToSeconds(QDateTime::currentDateTimeUtc());
    ASSERT_TRUE(Analytics::capture("skill_created", {{"mode", "skill"}, {"steps", 3}}));
    ASSERT_TRUE(server.waitForRequests(1));
    const QDateTime after = QDateTime::currentDateTimeUtc();

    const test::RecordedRequest request = server.requests().first();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/capture/");
    EXPECT_EQ(request.header("Content-Type"), "application/json");

    const QJsonObject body = request.json().object();
    EXPECT_EQ(body.keys(),
              (QStringList{"api_key", "distinct_id", "event", "properties", "timestamp"}));
    EXPECT_EQ(body["api_key"], "phc_C3J27XDCG2LmlZGEONYlgCtjfIZ4SOcMz9CPVNPkNa1H");
    EXPECT_EQ(body["event"], "skill_created");
    EXPECT_EQ(body["distinct_id"], Analytics::distinctID());
    EXPECT_EQ(body["properties"].toObject(), (QJsonObject{{"app_version", kVersion},
                                                          {"source", "linux-app"},
                                                          {"$os", "Linux"},
                                                          {"mode", "skill"},
                                                          {"steps", 3}}));

    const QString timestamp = body["timestamp"].toString();
    EXPECT_TRUE(
        QRegularExpression(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$)").match(timestamp).hasMatch())
        << timestamp.toStdString();
    const std::optional<QDateTime> sent = json::parseDate(timestamp);
    ASSERT_TRUE(sent);
    EXPECT_GE(*sent, before);
    EXPECT_LE(*sent, after);
}

TEST_F(AnalyticsTest, EventPropertiesReplaceBaseProperties) {
    const QJsonObject body =
        Analytics::captureBody("app_launched", {{"source", "cli"}, {"$os", QJsonValue::Null}});
    EXPECT_EQ(
        body["properties"].toObject(),
        (QJsonObject{{"app_version", kVersion}, {"source", "cli"}, {"$os", QJsonValue::Null}}));
    EXPECT_EQ(Analytics::baseProperties()["source"], "linux-app") << "the base is not changed";
    EXPECT_EQ(Analytics::captureBody("app_launched")["properties"], Analytics::baseProperties());
}

TEST_F(AnalyticsTest, OptOutSendsNothingAndCreatesNoIdentifier) {
    Analytics::setOptedOut(true);
    EXPECT_TRUE(Analytics::isOptedOut());
    EXPECT_FALSE(Analytics::capture("recording_started"));
    EXPECT_FALSE(storedID());

    Analytics::setOptedOut(false);
    ASSERT_TRUE(Analytics::capture("recording_stopped"));
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_FALSE(server.waitForRequests(2, 300));
    EXPECT_EQ(server.requests().first().json()["event"], "recording_stopped");
    EXPECT_TRUE(storedID());
}

TEST_F(AnalyticsTest, NothingLeavesBeforeTheUserHasAnswered) {
    test::TempSettings fresh;
    EXPECT_FALSE(Analytics::isAnswered());
    EXPECT_FALSE(Analytics::isOptedOut());
    EXPECT_FALSE(Analytics::capture("app_launched"));
    EXPECT_FALSE(server.waitForRequests(1, 300));
    EXPECT_FALSE(storedID());
    Analytics::setOptedOut(false);
    EXPECT_TRUE(Analytics::isAnswered());
    ASSERT_TRUE(Analytics::capture("app_launched"));
    EXPECT_TRUE(server.waitForRequests(1));
}

TEST_F(AnalyticsTest, DistinctIDIsCreatedOnceAndKept) {
    EXPECT_FALSE(Analytics::isOptedOut()) << "absent means opted in";
    const QString first = Analytics::distinctID();
    EXPECT_EQ(Analytics::distinctID(), first);
    EXPECT_EQ(json::parseUuid(first).has_value(), true) << first.toStdString();
    EXPECT_EQ(first, first.toUpper());
    EXPECT_EQ(QSettings("Tavrik", "Tavrik").value(Analytics::distinctIDKey).toString(), first);

    QSettings("Tavrik", "Tavrik").setValue(Analytics::distinctIDKey, "given-elsewhere");
    EXPECT_EQ(Analytics::distinctID(), "given-elsewhere");
}

TEST_F(AnalyticsTest, CaptureFromOtherThreads) {
    std::thread a([] { Analytics::capture("skill_run_started"); });
    std::thread b([] { Analytics::capture("skill_run_finished"); });
    a.join();
    b.join();
    ASSERT_TRUE(server.waitForRequests(2));
    QSet<QString> events, ids;
    for (const test::RecordedRequest& request : server.requests()) {
        events.insert(request.json()["event"].toString());
        ids.insert(request.json()["distinct_id"].toString());
    }
    EXPECT_EQ(events, (QSet<QString>{"skill_run_started", "skill_run_finished"}));
    EXPECT_EQ(ids.size(), 1) << "both threads agree on one identifier";
}
