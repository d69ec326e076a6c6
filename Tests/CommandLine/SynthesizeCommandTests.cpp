#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/MessagesApi.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/CommandLine.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Hosts.h"

#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::test;

namespace {

const QString kSkill = QStringLiteral("---\n"
                                      "name: Search Flights\n"
                                      "description: Searches for flights.\n"
                                      "trigger: find a flight\n"
                                      "---\n\n"
                                      "# Search Flights\n\n## Instructions\n\n1. Click Search.\n");

Recording storedRecording() {
    Recording recording;
    recording.startedAt = QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC);
    recording.endedAt = recording.startedAt.addSecs(3);
    ActionEvent click;
    click.type = ActionType::click;
    click.location = Point{10, 20};
    AXTarget button;
    button.axTitle = "Search";
    button.appName = "Chromium";
    click.target = button;
    recording.events = {click};
    EXPECT_TRUE(RecordingStore().save(recording).ok());
    return recording;
}

int run(const QStringList& arguments, QString* out, QString* err) {
    QTextStream outStream(out), errStream(err);
    const int status = runCommand(arguments, outStream, errStream);
    outStream.flush();
    errStream.flush();
    return status;
}

} // namespace

TEST(SynthesizeCommand, StreamsTheSkillFromAStoredRecordingAndSavesItWhenAsked) {
    ensureCoreApplication();
    TempSupportFolder support;
    LocalHttpServer model;
    ScopedEnvironment host{Hosts::modelApiVariable, model.baseUrl().toUtf8()};
    ScopedEnvironment key{"ANTHROPIC_API_KEY", "sk-ant-local"};
    QStringList pieces;
    for (qsizetype at = 0; at < kSkill.size(); at += 20)
        pieces << kSkill.mid(at, 20);
    model.route(
        "POST", "/v1/messages",
        CannedResponse::eventStream(CannedResponse::split(messages::textStream(pieces), 30)));
    const Recording recording = storedRecording();

    QString out, err;
    ASSERT_EQ(run({"synthesize", json::uuidText(recording.id), "--narration", "find the cheapest"},
                  &out, &err),
              0)
        << err.toStdString();
    EXPECT_EQ(out, kSkill);
    EXPECT_TRUE(SkillStore().loadAll().isEmpty()); // not saved without --save
    ASSERT_EQ(model.requestCount(), 1);
    EXPECT_TRUE(model.requests()[0].body.contains("find the cheapest"));
    EXPECT_TRUE(model.requests()[0].body.contains("Search"));

    out.clear();
    err.clear();
    ASSERT_EQ(run({"synthesize", json::uuidText(recording.id), "--save"}, &out, &err), 0)
        << err.toStdString();
    EXPECT_EQ(out, kSkill);
    const QList<Skill> saved = SkillStore().loadAll();
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(saved[0].name, "Search Flights");
    EXPECT_TRUE(err.contains("/search-flights")) << err.toStdString();
}

TEST(SynthesizeCommand, FailuresSayWhatToDo) {
    ensureCoreApplication();
    TempSupportFolder support;
    ScopedEnvironment noKey = ScopedEnvironment::unset("ANTHROPIC_API_KEY");
    quint16 closedPort = 0;
    {
        LocalHttpServer gone;
        closedPort = gone.port();
    }
    ScopedEnvironment web{Hosts::webVariable,
                          QByteArray("http://127.0.0.1:") + QByteArray::number(closedPort)};
    const Recording recording = storedRecording();

    QString out, err;
    EXPECT_EQ(run({"synthesize", json::uuidText(recording.id)}, &out, &err), 1);
    EXPECT_TRUE(err.contains("API key")) << err.toStdString();
    EXPECT_TRUE(err.contains("Preferences")) << err.toStdString();
    EXPECT_TRUE(out.isEmpty());

    err.clear();
    EXPECT_EQ(run({"synthesize"}, &out, &err), 2);
    EXPECT_TRUE(err.contains("recording id")) << err.toStdString();
    err.clear();
    EXPECT_EQ(run({"synthesize", QUuid::createUuid().toString(QUuid::WithoutBraces)}, &out, &err),
              1);
    EXPECT_FALSE(err.isEmpty());
    err.clear();
    EXPECT_EQ(run({"synthesize", json::uuidText(recording.id), "--fast"}, &out, &err), 2);
}
