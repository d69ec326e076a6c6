#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/TempSettings.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Update/UpdateChecker.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QTimer>
#include <gtest/gtest.h>
#include <memory>

using namespace tavrik;
using test::CannedResponse;

namespace {

QByteArray feed(std::initializer_list<std::pair<const char*, const char*>> releases) {
    QByteArray body = "[";
    for (const auto& [version, file] : releases) {
        if (body.size() > 1)
            body += ",";
        body += QByteArray(R"({"version": ")") + version + R"(", "file": ")" + file + R"("})";
    }
    return body + "]";
}

class UpdateCheckerTest : public ::testing::Test {
protected:
    UpdateCheckerTest() {
        qputenv(Hosts::webVariable, server.baseUrl().toUtf8());
        settings = std::make_unique<QSettings>("Tavrik", "Tavrik");
        makeChecker();
    }
    ~UpdateCheckerTest() override { qunsetenv(Hosts::webVariable); }

    void makeChecker() {
        checker = std::make_unique<UpdateChecker>(&session, settings.get());
        checker->setCurrentVersion("1.3.0");
    }

    void serveFeed(const QByteArray& body, int status = 200) {
        server.route("GET", "/releases.json", CannedResponse::json(status, body));
    }

    // Runs one check to its end; false if it never ended.
    bool runCheck() {
        QEventLoop loop;
        QObject::connect(checker.get(), &UpdateChecker::checkFinished, &loop, &QEventLoop::quit);
        QTimer::singleShot(10000, &loop, [&loop] { loop.exit(1); });
        checker->check();
        return loop.exec() == 0;
    }

    std::optional<AvailableUpdate> offerFor(const QByteArray& body) {
        serveFeed(body);
        EXPECT_TRUE(runCheck());
        return checker->available();
    }

    void setLastChecked(qint64 secondsAgo) {
        settings->setValue(UpdateChecker::lastCheckedKey,
                           QDateTime::currentDateTimeUtc().addSecs(-secondsAgo));
    }

    // First: the server and the network need the application object.
    QCoreApplication* app = test::ensureCoreApplication();
    test::TempSettings isolatedSettings;
    test::LocalHttpServer server;
    QNetworkAccessManager session;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<UpdateChecker> checker;
};

} // namespace

TEST(UpdateVersions, Comparison) {
    EXPECT_TRUE(UpdateChecker::isNewer("1.10.0", "1.9.9"));
    EXPECT_FALSE(UpdateChecker::isNewer("1.9.9", "1.10.0"));
    EXPECT_FALSE(UpdateChecker::isNewer("1.2", "1.2.0"));
    EXPECT_FALSE(UpdateChecker::isNewer("1.2.0", "1.2"));
    EXPECT_FALSE(UpdateChecker::isNewer("1.3.0-beta", "1.3.0"));
    EXPECT_FALSE(UpdateChecker::isNewer("1.3.0", "1.3.0-beta"));
    EXPECT_TRUE(UpdateChecker::isNewer("1.3.1-rc-2", "1.3.0"));
    EXPECT_FALSE(UpdateChecker::isNewer("1.x", "1.0"));
    EXPECT_TRUE(UpdateChecker::isNewer("1.1", "1.x"));
    EXPECT_TRUE(UpdateChecker::isNewer("2", "1.99.99"));
    EXPECT_TRUE(UpdateChecker::isNewer("1.0.0.1", "1"));
    EXPECT_FALSE(UpdateChecker::isNewer("", "0.0.0"));
    EXPECT_FALSE(UpdateChecker::isNewer("garbage", "0"));
    EXPECT_EQ(UpdateChecker::versionComponents("12.0x.3-beta.4"), (QList<qint64>{12, 0, 3}));
}

TEST_F(UpdateCheckerTest, OffersANewerReleaseAtItsDownloadAddress) {
    ASSERT_EQ(checker->feedURL(), server.url("/releases.json"));
    bool announced = false;
    QObject::connect(checker.get(), &UpdateChecker::availableChanged, [&] { announced = true; });

    const auto offer = offerFor(feed({{"1.4.0", "downloads/Tavrik-1.4.0.tar.gz"}, {"1.3.0", "x"}}));
    EXPECT_EQ(offer, (AvailableUpdate{"1.4.0", server.url("/downloads/Tavrik-1.4.0.tar.gz")}));
    EXPECT_TRUE(announced);
    ASSERT_EQ(server.requestCount(), 1);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].path, "/releases.json");

    EXPECT_EQ(offerFor(feed({{"1.5.0", "https://cdn.example/t.tar.gz"}}))->downloadURL,
              QUrl("https://cdn.example/t.tar.gz"))
        << "an absolute address is offered as it is";
    EXPECT_EQ(offerFor(feed({{"1.5.1", "/files/t.tar.gz"}}))->downloadURL,
              server.url("/files/t.tar.gz"));
}

TEST_F(UpdateCheckerTest, WebHostWithAPathPrefixKeepsIt) {
    qputenv(Hosts::webVariable, (server.baseUrl() + "/site").toUtf8());
    makeChecker();
    server.route("GET", "/site/releases.json",
                 CannedResponse::json(200, feed({{"2.0.0", "downloads/app.zip"}})));
    ASSERT_TRUE(runCheck());
    EXPECT_EQ(checker->available()->downloadURL, server.url("/site/downloads/app.zip"));
}

TEST_F(UpdateCheckerTest, OnlyTheNewestEntryCountsAndOnlyWhenNewer) {
    EXPECT_EQ(offerFor(feed({{"1.3.0", "same.zip"}})), std::nullopt);
    EXPECT_EQ(offerFor(feed({{"1.2.9", "old.zip"}, {"9.0.0", "later-entry.zip"}})), std::nullopt);
    EXPECT_EQ(offerFor(feed({{"1.10.0", "ten.zip"}}))->version, "1.10.0");
}

TEST_F(UpdateCheckerTest, DismissedVersionIsNotOfferedAgainButTheNextOneIs) {
    ASSERT_EQ(offerFor(feed({{"1.4.0", "a.zip"}}))->version, "1.4.0");
    checker->dismiss();
    EXPECT_EQ(checker->available(), std::nullopt);
    EXPECT_EQ(settings->value(UpdateChecker::dismissedVersionKey).toString(), "1.4.0");

    makeChecker(); // a later launch
    EXPECT_EQ(offerFor(feed({{"1.4.0", "a.zip"}})), std::nullopt);
    EXPECT_EQ(offerFor(feed({{"1.4.1", "b.zip"}}))->version, "1.4.1");

    checker->dismiss();
    checker->dismiss(); // nothing offered: nothing changes
    EXPECT_EQ(settings->value(UpdateChecker::dismissedVersionKey).toString(), "1.4.1");
}

TEST_F(UpdateCheckerTest, BadFeedsEndSilentlyAndKeepTheOffer) {
    const AvailableUpdate offered = *offerFor(feed({{"1.4.0", "a.zip"}}));

    const QList<CannedResponse> bad{
        CannedResponse::text(200, "<!doctype html><html><body>Releases</body></html>", "text/html"),
        CannedResponse::json(200, "[]"),
        CannedResponse::json(200, R"({"version": "9.0.0", "file": "x"})"),
        CannedResponse::json(200, R"([{"version": "9.0.0"}])"),
        CannedResponse::json(200, R"([{"version": 9, "file": "x"}])"),
        CannedResponse::json(200, R"j([{"version": "9.0.0", "file": "javascript:alert(1)"}])j"),
        CannedResponse::json(200, R"([{"version": "9.0.0", "file": "x")"),
        CannedResponse::text(502, "Bad Gateway"),
    };
    for (const CannedResponse& response : bad) {
        server.route("GET", "/releases.json", response);
        ASSERT_TRUE(runCheck()) << response.body.toStdString();
        EXPECT_EQ(checker->available(), offered) << response.body.toStdString();
    }

    // An answer is read whatever its status.
    EXPECT_EQ(offerFor(feed({{"1.6.0", "c.zip"}})), offerFor(feed({{"1.6.0", "c.zip"}})));
    serveFeed(feed({{"1.7.0", "d.zip"}}), 500);
    ASSERT_TRUE(runCheck());
    EXPECT_EQ(checker->available()->version, "1.7.0");
}

TEST_F(UpdateCheckerTest, OnlyAWholeFeedFromItsOwnHostCounts) {
    test::LocalHttpServer elsewhere;
    elsewhere.route("GET", "/releases.json", CannedResponse::json(200, feed({{"9.0.0", "x.zip"}})));
    CannedResponse cut = CannedResponse::json(200, feed({{"9.0.0", "x.zip"}}));
    cut.declaredLength = cut.body.size() + 10;
    const QList<CannedResponse> refused{
        CannedResponse::redirect(elsewhere.url("/releases.json").toEncoded(), 302),
        CannedResponse::huge(QByteArray(64 * 1024, ' '), 2'000'000'000, false),
        cut,
    };
    for (const CannedResponse& response : refused) {
        server.route("GET", "/releases.json", response);
        ASSERT_TRUE(runCheck());
        EXPECT_EQ(checker->available(), std::nullopt);
    }
    EXPECT_EQ(elsewhere.requestCount(), 0);

    server.route("GET", "/releases.json", CannedResponse::redirect("/feed/releases.json", 301));
    server.route("GET", "/feed/releases.json",
                 CannedResponse::json(200, feed({{"1.4.0", "a.zip"}})));
    ASSERT_TRUE(runCheck());
    EXPECT_EQ(checker->available()->version, "1.4.0");
}

TEST_F(UpdateCheckerTest, UnreachableHostEndsTheCheckButStillCountsAsChecked) {
    quint16 closedPort = 0;
    {
        test::LocalHttpServer gone;
        closedPort = gone.port();
    }
    qputenv(Hosts::webVariable, QStringLiteral("http://127.0.0.1:%1").arg(closedPort).toUtf8());
    makeChecker();
    ASSERT_TRUE(runCheck());
    EXPECT_EQ(checker->available(), std::nullopt);
    EXPECT_FALSE(checker->checkIfDue()) << "a failing feed is not asked again for 12 hours";
}

TEST_F(UpdateCheckerTest, AtMostOneCheckEveryTwelveHours) {
    serveFeed(feed({{"1.4.0", "a.zip"}}));
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    EXPECT_TRUE(checker->checkIfDue()) << "never checked";
    EXPECT_FALSE(checker->checkIfDue());
    makeChecker();
    EXPECT_FALSE(checker->checkIfDue()) << "the time is kept in the settings store";
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_EQ(server.requestCount(), 1);
    EXPECT_GE(settings->value(UpdateChecker::lastCheckedKey).toDateTime(), before);

    setLastChecked(UpdateChecker::checkIntervalSeconds - 60);
    EXPECT_FALSE(checker->checkIfDue());
    setLastChecked(UpdateChecker::checkIntervalSeconds);
    EXPECT_TRUE(checker->checkIfDue());
    setLastChecked(-3600); // a clock set back must not hold checks off
    EXPECT_TRUE(checker->checkIfDue());
    settings->setValue(UpdateChecker::lastCheckedKey, "not a date");
    EXPECT_TRUE(checker->checkIfDue());
    ASSERT_TRUE(server.waitForRequests(4));
}
