#include "InProcessCommand.h"
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

    const CommandResult shown =
        run({"synthesize", json::uuidText(recording.id), "--narration", "find the cheapest"});
    ASSERT_EQ(shown.status, 0) << shown.err.toStdString();
    EXPECT_EQ(shown.out, kSkill);
    EXPECT_TRUE(SkillStore().loadAll().isEmpty()); // not saved without --save
    ASSERT_EQ(model.requestCount(), 1);
    EXPECT_TRUE(model.requests()[0].body.contains("find the cheapest"));
    EXPECT_TRUE(model.requests()[0].body.contains("Search"));

    const CommandResult saving = run({"synthesize", json::uuidText(recording.id), "--save"});
    ASSERT_EQ(saving.status, 0) << saving.err.toStdString();
    EXPECT_EQ(saving.out, kSkill);
    const QList<Skill> saved = SkillStore().loadAll();
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(saved[0].name, "Search Flights");
    EXPECT_TRUE(saving.err.contains("/search-flights")) << saving.err.toStdString();
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

    const CommandResult keyless = run({"synthesize", json::uuidText(recording.id)});
    EXPECT_EQ(keyless.status, 1);
    EXPECT_TRUE(keyless.err.contains("API key")) << keyless.err.toStdString();
    EXPECT_TRUE(keyless.err.contains("Preferences")) << keyless.err.toStdString();
    EXPECT_TRUE(keyless.out.isEmpty());

    const CommandResult noId = run({"synthesize"});
    EXPECT_EQ(noId.status, 2);
    EXPECT_TRUE(noId.err.contains("recording id")) << noId.err.toStdString();
    const CommandResult unknown =
        run({"synthesize", QUuid::createUuid().toString(QUuid::WithoutBraces)});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_FALSE(unknown.err.isEmpty());
    EXPECT_EQ(run({"synthesize", json::uuidText(recording.id), "--fast"}).status, 2);
}
