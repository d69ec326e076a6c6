#include "AppState/AppStateFixture.h"
#include "Support/AuditLogReader.h"
#include "Support/LocalHttpServer.h"
#include "Support/MessagesApi.h"
#include "Support/ScopedEnvironment.h"
#include "Tavrik/ModelSynthesis.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Synthesis/Hosts.h"

#include <QCoreApplication>
#include <QFile>

using namespace tavrik;
using namespace tavrik::test;

TEST_F(AppStateTest, StartsIdleWithTheFoldersMadeAndHotkeysStartedOncePermissionsAllowThem) {
    permissions->granted = false;
    permissions->hotkeys = false;
    EXPECT_EQ(app().statusTitle(), "Ready");
    EXPECT_TRUE(QFileInfo(Paths::skills()).isDir());
    EXPECT_TRUE(QFileInfo(Paths::logs()).isDir());
    waitUntil([&] { return permissions->refreshes > 0; });
    EXPECT_EQ(hotkeys->starts, 0);
    // Said where the user looks, the pill and the main window, until it is granted.
    ASSERT_EQ(app().desktopProblems().size(), 1);
    EXPECT_TRUE(app().desktopProblems().first().contains("the accessibility bus"));

    // The poll notices the moment everything is granted and brings the hotkeys up then.
    app().pollPermissions();
    EXPECT_EQ(hotkeys->starts, 0);
    permissions->grantedAtNextRefresh = true;
    permissions->hotkeys = true;
    app().pollPermissions();
    EXPECT_EQ(hotkeys->starts, 1);
    EXPECT_TRUE(app().desktopProblems().isEmpty());
    app().pollPermissions();
    EXPECT_EQ(hotkeys->starts, 1);
}

TEST_F(AppStateTest, MissingPermissionsShowOnboardingInsteadOfRecording) {
    permissions->granted = false;
    int onboarding = 0;
    QObject::connect(&app(), &AppState::onboardingRequested, [&] { ++onboarding; });
    app().handleHotkey(AppState::Hotkey::toggleRecording);
    EXPECT_EQ(onboarding, 1);
    EXPECT_EQ(app().state(), TavrikState::idle());
    EXPECT_EQ(recorder->starts, 0);
}

TEST_F(AppStateTest, RecordingStreamsTheDraftIntoThePanelAndEndsEditable) {
    narration->transcript = "the week is a parameter";
    app().handleHotkey(AppState::Hotkey::toggleRecording);
    EXPECT_EQ(app().state(), TavrikState::recording());
    EXPECT_EQ(app().statusTitle(), "Recording…");
    EXPECT_EQ(recorder->starts, 1);
    ASSERT_TRUE(narration->onLevel);
    narration->onLevel(0.4);
    EXPECT_TRUE(waitUntil([&] { return app().micLevel() == 0.4; }));

    // Every fragment lands in the draft as it arrives.
    QStringList seen;
    QObject::connect(&app(), &AppState::pendingSkillMarkdownChanged,
                     [&] { seen << app().pendingSkillMarkdown(); });
    app().handleHotkey(AppState::Hotkey::toggleRecording);
    EXPECT_EQ(app().state(), TavrikState::creatingSkill());
    EXPECT_EQ(app().statusTitle(), "Creating Skill");
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::generating);
    EXPECT_TRUE(app().isGeneratingSkill());
    EXPECT_EQ(app().skillGenerationStatus(), "Writing the skill…");
    ASSERT_TRUE(waitUntil([&] { return app().skillPanelPhase() == SkillPanelPhase::editable; }));

    ASSERT_EQ(synthesis->calls.size(), 1);
    EXPECT_EQ(synthesis->calls[0].narration, "the week is a parameter");
    EXPECT_EQ(synthesis->calls[0].recording.events.size(), 3);
    ASSERT_GE(seen.size(), synthesis->fragments.size());
    EXPECT_EQ(seen[0], synthesis->fragments[0]);
    EXPECT_EQ(seen[1], synthesis->fragments[0] + synthesis->fragments[1]);
    EXPECT_EQ(app().pendingSkillMarkdown(), synthesis->fragments.join(QString()));
    EXPECT_FALSE(app().isGeneratingSkill());
    EXPECT_EQ(app().skillGenerationStatus(), "");
    EXPECT_FALSE(app().hasUnsavedEdits());
    ASSERT_TRUE(app().pendingGeneratedSkill());
    EXPECT_EQ(app().pendingGeneratedSkill()->name, "Weekly Report");
    EXPECT_EQ(app().micLevel(), 0);
    EXPECT_EQ(app().state(), TavrikState::creatingSkill());
    EXPECT_EQ(eventNames(), (QStringList{"recording_started", "recording_stopped"}));
}

TEST_F(AppStateTest, AnEmptyRecordingOrAFailedSynthesisEndsInTheErrorPhase) {
    recorder->result = recordingWithEvents(0);
    recordDraft();
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::error);
    EXPECT_EQ(app().skillGenerationError(), QString::fromUtf8(AppState::emptyRecordingMessage));
    EXPECT_TRUE(synthesis->calls.isEmpty());
    EXPECT_TRUE(eventNames().contains("skill_creation_failed"));

    // Nothing written at all counts as empty too.
    app().closeSkillPanel();
    recorder->result.reset();
    recordDraft();
    EXPECT_EQ(app().skillGenerationError(), QString::fromUtf8(AppState::emptyRecordingMessage));

    app().closeSkillPanel();
    EXPECT_EQ(app().state(), TavrikState::idle());
    recorder->result = recordingWithEvents(2);
    synthesis->error = "The model is overloaded. Try again in a minute.";
    recordDraft();
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::error);
    EXPECT_EQ(app().skillGenerationError(), "The model is overloaded. Try again in a minute.");
    EXPECT_FALSE(app().isGeneratingSkill());
    EXPECT_EQ(app().state(), TavrikState::creatingSkill());
}

// A shortcut another program holds and a recording without a microphone are said in the
// interface, each with what to do; the microphone's goes once a recording hears it again.
TEST_F(AppStateTest, DesktopFailuresAreShownWithWhatToDo) {
    hotkeys->problemText = "hotkey taken: another program already uses Control-/.";
    narration->problemText = "no microphone (no input device or sound server)";
    app();
    ASSERT_TRUE(waitUntil([&] { return hotkeys->starts > 0; }));
    ASSERT_EQ(app().desktopProblems().size(), 1);
    const QString hotkey = app().desktopProblems().first();
    EXPECT_TRUE(hotkey.contains("Hotkey taken: another program already uses Control-/."))
        << hotkey.toStdString();
    EXPECT_TRUE(hotkey.contains("Free it in the other program's settings")) << hotkey.toStdString();

    recorder->result = recordingWithEvents(0);
    recordDraft();
    const QString problems = app().desktopProblems().join('\n');
    EXPECT_TRUE(problems.contains("No microphone (no input device or sound server). Connect a "
                                  "microphone or start the sound server"))
        << problems.toStdString();
    EXPECT_EQ(app().desktopProblems().size(), 2);

    app().closeSkillPanel();
    narration->problemText.clear();
    recordDraft();
    EXPECT_EQ(app().desktopProblems(), QStringList{hotkey});
}

TEST_F(AppStateTest, ANewRecordingDropsAnOpenDraftWithoutAskingAndSilencesTheOldStream) {
    synthesis->finish = false;
    app().startRecording();
    app().stopRecording();
    waitUntil([&] { return !app().pendingSkillMarkdown().isEmpty(); });
    ASSERT_EQ(*synthesis->liveTasks, 1);
    app().setPendingSkillMarkdown(app().pendingSkillMarkdown() + "my edit");

    app().handleHotkey(AppState::Hotkey::toggleRecording);
    EXPECT_EQ(app().state(), TavrikState::recording());
    EXPECT_TRUE(questions->asked.isEmpty());
    EXPECT_EQ(*synthesis->liveTasks, 0);
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::idle);
    waitUntil([] { return false; }, 100);
    EXPECT_EQ(app().pendingSkillMarkdown(), "");
}

TEST_F(AppStateTest, RenameAndSaveWriteTheEditedSkillAndTheFirstSkillTeachesThePalette) {
    recordDraft();
    app().renameSkill("Send: the weekly report");
    EXPECT_TRUE(app().hasUnsavedEdits());
    EXPECT_EQ(app().pendingGeneratedSkill()->name, "Send: the weekly report");
    EXPECT_TRUE(app().pendingSkillMarkdown().contains("name: \"Send: the weekly report\"\n"));

    app().saveGeneratedSkill();
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::saved);
    EXPECT_FALSE(app().hasUnsavedEdits());
    ASSERT_EQ(app().skills().size(), 1);
    const Skill saved = app().skills().first();
    EXPECT_EQ(saved.name, "Send: the weekly report");
    EXPECT_EQ(saved.plan.size(), 2); // the plan stays the generated one
    QFile markdown(SkillStore().markdownPath(saved));
    ASSERT_TRUE(markdown.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(markdown.readAll()), app().pendingSkillMarkdown());
    EXPECT_TRUE(app().showCallSkillTip());
    EXPECT_FALSE(app().hasPillTip()); // not over the open panel
    app().closeSkillPanel();
    EXPECT_TRUE(app().hasPillTip());
    EXPECT_EQ(app().pillTip(), "Press ctrl + / to call your skill");
    ASSERT_EQ(events.last().first, "skill_created");
    EXPECT_EQ(events.last().second, (QJsonObject{{"mode", "skill"}, {"steps", 2}}));

    // Opening the palette ends the lesson; a second skill does not bring it back.
    app().openPalette();
    EXPECT_TRUE(app().paletteOpen());
    EXPECT_FALSE(app().showCallSkillTip());
    app().closePalette();
    EXPECT_FALSE(app().paletteOpen());
    synthesis->skill = draftSkill("Second");
    synthesis->fragments = fragmentsOf(synthesis->skill);
    recordDraft();
    app().saveGeneratedSkill();
    EXPECT_EQ(app().skills().size(), 2);
    EXPECT_FALSE(app().showCallSkillTip());
}

// The editor's text is the skill: an edited address or example is what a later cast uses, on
// either save path, and a rename writes the name as SKILL.md renders it.
TEST_F(AppStateTest, SavingAnEditedDraftOrSkillKeepsEveryFrontMatterEdit) {
    synthesis->skill.runtime =
        RuntimeSpec{"open_url", "org.chromium.Chromium", "https://old.example.org/", {}, {}};
    synthesis->fragments = fragmentsOf(synthesis->skill);
    recordDraft();
    QString text = app().pendingSkillMarkdown();
    ASSERT_TRUE(text.contains("https://old.example.org/"));
    app().setPendingSkillMarkdown(
        text.replace("https://old.example.org/", "https://new.example.org/")
            .replace("example: 2026-06-06", "example: 2026-06-13"));
    app().renameSkill("Report: \"weekly\"");
    app().saveGeneratedSkill();
    ASSERT_EQ(app().skills().size(), 1);
    Skill named = synthesis->skill;
    named.name = "Report: \"weekly\"";
    EXPECT_TRUE(app().pendingSkillMarkdown().contains(
        SkillMarkdown::render(named).section('\n', 1, 1) + "\n"))
        << app().pendingSkillMarkdown().toStdString();
    Skill saved = app().skills().first();
    ASSERT_TRUE(saved.runtime);
    EXPECT_EQ(saved.runtime->urlTemplate, "https://new.example.org/");
    ASSERT_EQ(saved.parameters.size(), 1);
    EXPECT_EQ(saved.parameters[0].exampleValue, "2026-06-13");
    EXPECT_EQ(saved.parameters[0].id, synthesis->skill.parameters[0].id);

    // The editor window of a saved skill.
    QFile file(SkillStore().markdownPath(saved));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString edited = QString::fromUtf8(file.readAll())
                               .replace("https://new.example.org/", "https://third.example.org/");
    ASSERT_TRUE(app().saveEditedSkill(saved, edited).ok());
    ASSERT_EQ(app().skills().size(), 1);
    EXPECT_EQ(app().skills().first().runtime->urlTemplate, "https://third.example.org/");
    EXPECT_EQ(app().skills().first().id, saved.id);
}

TEST_F(AppStateTest, DiscardAsksOnlyAboutUnsavedEdits) {
    recordDraft();
    app().discardGeneratedSkill();
    EXPECT_TRUE(questions->asked.isEmpty());
    EXPECT_EQ(app().state(), TavrikState::idle());
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::idle);

    recordDraft();
    app().setPendingSkillMarkdown(app().pendingSkillMarkdown() + "\nAlso check the totals.");
    questions->answers = {1, -1, 0};
    app().discardGeneratedSkill(); // Keep Editing
    ASSERT_EQ(questions->asked.size(), 1);
    EXPECT_EQ(questions->asked[0].message, "Discard this skill?");
    EXPECT_EQ(questions->asked[0].details, "Your edits haven't been saved.");
    EXPECT_EQ(questions->asked[0].buttons, (QStringList{"Discard", "Keep Editing"}));
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::editable);
    app().discardGeneratedSkill(); // closed without an answer
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::editable);
    app().discardGeneratedSkill(); // Discard
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::idle);
    EXPECT_EQ(app().state(), TavrikState::idle());
    EXPECT_TRUE(app().skills().isEmpty());
}

using AppStateRunTest = AppStateTest;

TEST_F(AppStateRunTest, RunFromThePanelShowsProgressThenTheOutcomeAndAppendsTheRunRecord) {
    recordDraft();
    QStringList lines;
    QObject::connect(&app(), &AppState::runningLineChanged, [&] { lines << app().runningLine(); });
    app().runPendingSkill(); // saves first
    ASSERT_TRUE(app().savedSkill());
    EXPECT_EQ(app().state(), TavrikState::casting("Weekly Report"));
    EXPECT_EQ(app().statusTitle(), "Running: Weekly Report");
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::running);
    EXPECT_TRUE(hotkeys->casting);

    // A second cast while this one runs is ignored.
    app().cast(draftSkill("Other"));
    EXPECT_EQ(app().state(), TavrikState::casting("Weekly Report"));

    ASSERT_TRUE(waitUntil([&] { return app().state() == TavrikState::idle(); }));
    EXPECT_EQ(lines.value(0), "Starting…");
    EXPECT_EQ(app().runningLine(), "");
    EXPECT_EQ(app().runOutcome(), "✓ Done.");
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::saved);
    EXPECT_EQ(app().lastOutcome(*app().savedSkill()), "✓ Done.");
    EXPECT_FALSE(hotkeys->casting);
    EXPECT_EQ(eventNames().count("skill_run_started"), 1);
    EXPECT_EQ(eventNames().count("skill_run_finished"), 1);
    const QList<RunRecord> audit = readAuditLog();
    ASSERT_EQ(audit.size(), 1);
    EXPECT_EQ(audit[0].skill, "Weekly Report");
    EXPECT_EQ(audit[0].mode, "agent");
    EXPECT_FALSE(audit[0].aborted);
}

TEST_F(AppStateRunTest, AConfirmedDestructiveRunThatFailsReportsTheRuntimesLastLine) {
    const Skill skill = draftSkill("Submit Report", true);
    ASSERT_TRUE(SkillStore().save(skill).ok());
    questions->answers = {0};
    app().cast(skill, {{"exit", "1"}, {"lines", "→ click Submit|✗ The form rejected the week"}});
    ASSERT_EQ(questions->asked.size(), 1);
    EXPECT_EQ(questions->asked[0].buttons, (QStringList{"Run It", "Cancel"}));
    EXPECT_TRUE(questions->asked[0].warning);
    EXPECT_EQ(app().state(), TavrikState::casting("Submit Report"));
    ASSERT_TRUE(waitUntil([&] { return app().state() == TavrikState::idle(); }));
    // Cast from outside the panel, the run still ends visibly: the panel stays with the reason.
    EXPECT_EQ(app().runOutcome(), "✗ The form rejected the week");
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::running);
    EXPECT_TRUE(app().showsFinishedRun());
    EXPECT_EQ(app().lastOutcome(skill), "✗ The form rejected the week");
    app().closeSkillPanel(); // dismissed
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::idle);
    EXPECT_FALSE(app().showsFinishedRun());
    const QList<RunRecord> audit = readAuditLog();
    ASSERT_EQ(audit.size(), 1);
    EXPECT_TRUE(audit[0].aborted);
}

TEST_F(AppStateRunTest, PanicEndsTheRunAndItsProcess) {
    const Skill skill = draftSkill("Long One");
    ASSERT_TRUE(SkillStore().save(skill).ok());
    app().cast(skill, {{"hang", "1"}, {"lines", "→ open https://example.org"}});
    ASSERT_TRUE(waitUntil([&] { return app().runningLine() == "waiting"; }));

    app().handleHotkey(AppState::Hotkey::panic);
    EXPECT_EQ(app().state(), TavrikState::idle());
    EXPECT_EQ(app().runningLine(), "");
    EXPECT_EQ(*runtime->stops, 1);
    EXPECT_EQ(app().runOutcome(), "Stopped");
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::running);
    EXPECT_EQ(app().lastOutcome(skill), "Stopped");
    const QList<RunRecord> audit = readAuditLog();
    ASSERT_EQ(audit.size(), 1); // but it is audited, as stopped
    EXPECT_TRUE(audit[0].aborted);
    EXPECT_EQ(audit[0].skill, "Long One");
    EXPECT_EQ(audit[0].actions, QList<QString>{"open"});
    EXPECT_EQ(eventNames().count("skill_run_finished"), 1);
    // The stopped runtime's own last words never replace what the user was shown.
    QCoreApplication::processEvents();
    EXPECT_EQ(app().runOutcome(), "Stopped");
}

TEST_F(AppStateRunTest, ANewCastNeverShowsThePreviousRunsOutcomeAsItsOwn) {
    const Skill first = draftSkill("First");
    const Skill second = draftSkill("Second");
    ASSERT_TRUE(SkillStore().save(first).ok());
    ASSERT_TRUE(SkillStore().save(second).ok());
    app().cast(first, {{"lines", "✓ Filed the first"}});
    ASSERT_TRUE(waitUntil([&] { return app().state() == TavrikState::idle(); }));
    EXPECT_EQ(app().runOutcome(), "✓ Filed the first");

    QList<SkillPanelPhase> phases;
    QObject::connect(&app(), &AppState::skillPanelPhaseChanged,
                     [&](SkillPanelPhase p) { phases << p; });
    app().cast(second, {{"hang", "1"}});
    EXPECT_FALSE(app().hasRunOutcome());
    EXPECT_FALSE(app().showsFinishedRun()); // the first outcome's timer cannot close the new run
    // The panel leaves and comes back, so the views start a new progress list.
    EXPECT_EQ(phases, (QList<SkillPanelPhase>{SkillPanelPhase::idle, SkillPanelPhase::running}));
    EXPECT_EQ(app().lastOutcome(first), "✓ Filed the first");
    EXPECT_EQ(app().lastOutcome(second), "");
    app().panic();
    EXPECT_EQ(app().lastOutcome(second), "Stopped");
    EXPECT_EQ(app().lastOutcome(first), "✓ Filed the first");
}

// A refusal from the model, served on this machine, ends in the error phase with its status.
// (A streamed answer becoming the draft is what the end-to-end test watches.)
TEST_F(AppStateTest, TheModelsRefusalEndsInTheErrorPhase) {
    LocalHttpServer server;
    ScopedEnvironment modelHost{Hosts::modelApiVariable, server.baseUrl().toUtf8()};
    ScopedEnvironment key{"ANTHROPIC_API_KEY", "sk-ant-local"};
    server.route(
        "POST", "/v1/messages",
        CannedResponse::json(400, messages::errorBody("invalid_request_error", "too long")));
    useSynthesis(std::make_unique<ModelSynthesis>());
    recordDraft();
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::error);
    EXPECT_TRUE(app().skillGenerationError().contains("400"))
        << app().skillGenerationError().toStdString();
    EXPECT_EQ(server.requests().at(0).header("x-api-key"), "sk-ant-local");
}

// The first demonstration of a new user: no key, and the product's service out of reach. The
// error names the fix, and Try Again sends the same demonstration once the service answers,
// without recording anything again.
TEST_F(AppStateTest, WithoutAKeyTheErrorNamesPreferencesAndTryAgainSendsTheSameDemonstration) {
    ScopedEnvironment noKey = ScopedEnvironment::unset("ANTHROPIC_API_KEY");
    LocalHttpServer service;
    quint16 closedPort = 0;
    {
        LocalHttpServer gone; // a port that was just free: nothing listens there any more
        closedPort = gone.port();
    }
    auto web = std::make_unique<ScopedEnvironment>(
        Hosts::webVariable, QByteArray("http://127.0.0.1:") + QByteArray::number(closedPort));
    const Skill skill = draftSkill("Weekly Report");
    service.route("POST", "/api/anthropic",
                  CannedResponse::eventStream(
                      CannedResponse::split(messages::textStream(fragmentsOf(skill)), 64)));
    useSynthesis(std::make_unique<ModelSynthesis>());
    recorder->result = recordingWithEvents(4);
    narration->transcript = "fill in the weekly report";

    recordDraft();
    ASSERT_EQ(app().skillPanelPhase(), SkillPanelPhase::error);
    const QString error = app().skillGenerationError();
    EXPECT_TRUE(error.contains("API key")) << error.toStdString();
    EXPECT_TRUE(error.contains("Preferences")) << error.toStdString();
    EXPECT_TRUE(app().canRetrySynthesis());

    web.reset(); // restores the variable before it is set again
    web = std::make_unique<ScopedEnvironment>(Hosts::webVariable, service.baseUrl().toUtf8());
    app().retrySynthesis();
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::generating);
    EXPECT_EQ(app().skillGenerationError(), "");
    EXPECT_FALSE(app().canRetrySynthesis());
    ASSERT_TRUE(waitUntil([&] { return app().skillPanelPhase() != SkillPanelPhase::generating; }));
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::editable)
        << app().skillGenerationError().toStdString();
    EXPECT_EQ(app().pendingGeneratedSkill()->name, "Weekly Report");
    EXPECT_EQ(recorder->starts, 1); // nothing recorded again
    ASSERT_EQ(service.requestCount(), 1);
    EXPECT_TRUE(
        service.requests()[0].body.contains("fill in the weekly report")); // the same narration
}

TEST_F(AppStateTest, TryAgainIsOfferedOnlyForAFailedWritingOfARealDemonstration) {
    recorder->result = recordingWithEvents(0);
    recordDraft();
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::error);
    EXPECT_FALSE(app().canRetrySynthesis()); // an empty recording: nothing to send again
    app().retrySynthesis();
    EXPECT_EQ(app().skillPanelPhase(), SkillPanelPhase::error);
    EXPECT_TRUE(synthesis->calls.isEmpty());

    recorder->result = recordingWithEvents(2);
    synthesis->error = "The network request failed: Connection refused";
    recordDraft();
    ASSERT_TRUE(app().canRetrySynthesis());
    synthesis->error.reset();
    recorder->result = recordingWithEvents(7); // what a new recording would give
    app().retrySynthesis();
    ASSERT_TRUE(waitUntil([&] { return app().skillPanelPhase() == SkillPanelPhase::editable; }));
    ASSERT_EQ(synthesis->calls.size(), 2);
    EXPECT_EQ(synthesis->calls[1].recording.events.size(), 2);
    EXPECT_FALSE(app().canRetrySynthesis());
}
