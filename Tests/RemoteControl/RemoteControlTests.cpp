#include "Support/CoreApplication.h"
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/AppState.h"
#include "Tavrik/Shell/RemoteControl.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>
#include <gtest/gtest.h>

using namespace tavrik;

// The running application driven the way a desktop's custom shortcut drives it: the real tavrik
// command line calls this process's AppState over the session bus.
namespace {

struct Answer {
    int status = -1;
    QString err;
};

// Runs `tavrik ARGS` while this thread's event loop serves the bus calls it makes.
Answer runTavrik(const QStringList& arguments) {
    QProcess process;
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    process.start(QStringLiteral(TAVRIK_BINARY_DIR "/tavrik"), arguments);
    loop.exec();
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        return {-1, QStringLiteral("did not finish")};
    }
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardError())};
}

class RemoteControlTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::ensureCoreApplication();
        if (!QDBusConnection::sessionBus().isConnected())
            GTEST_SKIP() << "needs a session bus (scripts/virtual-desktop gives one)";
        services.analytics = [](const QString&, const QJsonObject&) {};
    }
    void TearDown() override {
        QDBusConnection::sessionBus().unregisterService(RemoteControl::service);
    }

    test::TempSupportFolder support;
    test::TempSettings settings;
    AppServices services;
};

} // namespace

TEST_F(RemoteControlTest, RecordPaletteAndCastReachTheRunningApplication) {
    AppState app(std::move(services));
    RemoteControl remote(&app, {});
    ASSERT_TRUE(remote.registerOnSessionBus());

    Answer answer = runTavrik({"palette"});
    EXPECT_EQ(answer.status, 0) << answer.err.toStdString();
    EXPECT_TRUE(app.paletteOpen());
    app.closePalette();

    answer = runTavrik({"record"});
    EXPECT_EQ(answer.status, 0) << answer.err.toStdString();
    EXPECT_EQ(app.state().kind(), TavrikState::Kind::recording);
    app.stopRecording();
    app.closeSkillPanel();
    ASSERT_EQ(app.state().kind(), TavrikState::Kind::idle);

    Skill skill;
    skill.name = "Find Flights";
    skill.createdAt = QDateTime::currentDateTimeUtc();
    skill.parameters = {
        {QUuid::createUuid(), "destination", ParameterType::searchTerm, "Where to?", "Lisbon", {}}};
    ASSERT_TRUE(SkillStore().save(skill).ok());
    QStringList states;
    QObject::connect(&app, &AppState::stateChanged, [&] {
        if (app.state().kind() == TavrikState::Kind::casting)
            states << app.state().castingSkill();
    });
    answer = runTavrik({"cast", "/find-flights", "destination=Porto", "--in-app"});
    EXPECT_EQ(answer.status, 0) << answer.err.toStdString();
    QCoreApplication::processEvents(); // the cast starts after the answer
    EXPECT_EQ(states, QStringList{"Find Flights"});

    // What the running application refuses comes back as the command's error.
    answer = runTavrik({"cast", "/find-flights", "colour=red", "--in-app"});
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.err, "tavrik: “Find Flights” has no parameter colour (it has: destination)\n");
    answer = runTavrik({"cast", "/no-such-skill", "--in-app"});
    EXPECT_EQ(answer.status, 1);
    EXPECT_TRUE(answer.err.startsWith("tavrik: ")) << answer.err.toStdString();
}

TEST_F(RemoteControlTest, WithoutTheApplicationTheVerbsSaySoAndFail) {
    const Answer answer = runTavrik({"palette"});
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.err, "tavrik: Tavrik is not running in this session: start it first\n");
}
