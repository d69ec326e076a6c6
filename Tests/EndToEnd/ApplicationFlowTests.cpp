#include "ApplicationFlow.h"
#include "DesktopApp.h"
#include "Support/AuditLogReader.h"
#include "Support/LocalHttpServer.h"
#include "Support/MessagesApi.h"
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/Analytics.h"
#include "Tavrik/Runtime/ProcessGroup.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Synthesis/Secrets.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QSet>
#include <QSettings>
#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;
using namespace tavrik::test;

namespace {

// What the model writes for the demonstration. It asks for the agent rather than a replay of
// the form, and the stand-in runtime prints the `lines` parameter, so casting it with its
// example value gives known progress and outcome.
const QString kDraft =
    QStringLiteral("---\n"
                   "name: Greet in the form\n"
                   "description: Types a greeting into the test form.\n"
                   "trigger: greet someone in the form\n"
                   "cast_with: agent\n"
                   "parameters:\n"
                   "  - name: lines\n"
                   "    type: text\n"
                   "    prompt: What to print\n"
                   "    example: → open https://example.org/form|→ read|✓ Greeted Ada in the form\n"
                   "  - name: delay\n"
                   "    type: number\n"
                   "    prompt: Milliseconds between lines\n"
                   "    example: 300\n"
                   "---\n"
                   "\n"
                   "# Greet in the form\n"
                   "\n"
                   "Types a greeting into the test form.\n"
                   "\n"
                   "## Steps\n"
                   "1. Click the name field\n"
                   "2. Type the greeting\n");

// Record a demonstration in a GTK form, watch the draft stream in, rename and save it, then
// cast it from the palette and follow its run to the audit log.
TEST_F(ApplicationFlow, RecordDraftSaveAndCast) {
    QStringList pieces;
    for (qsizetype at = 0; at < kDraft.size(); at += 24)
        pieces << kDraft.mid(at, 24);
    QList<Piece> stream = CannedResponse::split(messages::textStream(pieces), 200, 60);
    // The second half waits until the first has been seen in the panel.
    stream[stream.size() / 2].held = true;
    model.route("POST", "/v1/messages", CannedResponse::eventStream(stream));

    RunningApplication app(environment());
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    screenshot("e2e-launch");

    DesktopApp form({"--at", "120", "160"});
    ASSERT_TRUE(form.started());
    pause(300);

    doubleTapControl();
    ASSERT_TRUE(app.waitForPillStatus("Recording…")) << app.pillStatus().toStdString();
    screenshot("e2e-recording");
    const Point entry = form.centre("entry");
    clickAt(QPoint(int(entry.x), int(entry.y)));
    // The demonstration is what the form really received.
    auto formEntry = [&] {
        const std::optional<AccessibleNode> formApp = applicationOf(form.pid());
        return formApp ? focusedTextField(*formApp) : std::nullopt;
    };
    ASSERT_TRUE(waitUntil([&] { return formEntry().has_value(); }))
        << "the click did not focus the entry";
    desktop.chord({XK_Control_L}, XK_a);
    type("Ada");
    ASSERT_TRUE(waitUntil([&] { return formEntry() && formEntry()->text() == "Ada"; }));
    doubleTapControl();

    // The draft grows in the panel as the answer streams in, then stays for review.
    std::optional<AccessibleNode> editor = app.waitFor("text", "Skill text", 15000);
    ASSERT_TRUE(editor) << "no draft showed";
    QString partial;
    ASSERT_TRUE(waitUntil([&] { return !(partial = editor->text()).isEmpty(); }, 15000))
        << "the draft stayed empty while its first half was sent";
    EXPECT_NE(partial, kDraft);
    EXPECT_TRUE(kDraft.startsWith(partial)) << partial.toStdString();
    model.release();
    ASSERT_TRUE(waitUntil(
        [&] {
            editor = app.waitFor("text", "Skill text", 100);
            return editor && editor->text() == kDraft;
        },
        15000))
        << "last draft text: " << (editor ? editor->text() : "").toStdString();
    ASSERT_EQ(model.requests().size(), 1);
    const QByteArray request = model.requests().first().body;
    EXPECT_TRUE(request.contains("Ada")) << "the typed text is not in what was sent";
    EXPECT_TRUE(request.contains("\"image/jpeg\"")) << "no key frame was sent";
    std::optional<AccessibleNode> save = app.waitFor("push button", "Save");
    ASSERT_TRUE(save);
    screenshot("e2e-draft");

    // Rename it in the text: the name is the value on the front matter's first line.
    clickAt(editor->centre());
    ASSERT_TRUE(waitUntil([&] { return editor->isFocused(); }))
        << "the draft's text did not take the keyboard";
    desktop.chord({XK_Control_L}, XK_Home);
    desktop.tap(XK_Down);
    desktop.tap(XK_Home);
    for (int i = 0; i < 6; ++i)
        desktop.tap(XK_Right); // past "name: "
    desktop.chord({XK_Shift_L}, XK_End);
    type("Greet Ada");
    ASSERT_TRUE(waitUntil([&] { return editor->text().contains("\nname: Greet Ada\n"); }))
        << editor->text().toStdString();

    clickAt(save->centre());
    QList<Skill> saved;
    waitUntil([&] { return !(saved = SkillStore().loadAll()).isEmpty(); });
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(saved.first().name, "Greet Ada");
    QFile markdown(SkillStore().markdownPath(saved.first()));
    ASSERT_TRUE(markdown.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(markdown.readAll()),
              QString(kDraft).replace("name: Greet in the form", "name: Greet Ada"));
    EXPECT_TRUE(app.waitFor(
        [](const AccessibleNode& n) { return n.name().startsWith("Saved “Greet Ada”"); }));
    screenshot("e2e-saved");
    // Casting waits for the card to be put away: a skill runs only from an idle desktop.
    std::optional<AccessibleNode> close = app.waitFor("push button", "Close");
    ASSERT_TRUE(close);
    clickAt(close->centre());
    ASSERT_TRUE(app.waitForPillStatus("Ready"));

    // Cast it from the palette: the runtime's lines become phrases as they come, the run ends
    // in its audit record and the panel goes away.
    openPaletteAndCast(app, "greet");
    bool pictured = false;
    const QSet<QString> texts = panelTextsUntil(
        app,
        [&] {
            if (!pictured && app.pillStatus() == "Running: Greet Ada")
                screenshot("e2e-running-greet"), pictured = true;
            return !readAuditLog().isEmpty();
        },
        60000);
    const QList<RunRecord> runs = readAuditLog();
    ASSERT_EQ(runs.size(), 1);
    EXPECT_EQ(runs.first().skill, "Greet Ada");
    EXPECT_FALSE(runs.first().aborted);
    const std::string shown = QStringList(texts.values()).join(" | ").toStdString();
    EXPECT_TRUE(anyContains(texts, "Running “Greet Ada”")) << shown;
    for (const char* phrase : {"Opening the page…", "Reading the page…"})
        EXPECT_TRUE(anyContains(texts, phrase)) << phrase << " never showed in: " << shown;
    EXPECT_EQ(runs.first().actions, (QList<QString>{"open", "read"}));
    EXPECT_TRUE(app.waitForPillStatus("Ready"));
    // The run ends visibly: its summary stays on the pill after the run is over.
    // On the pill, that is: the main window's "Last run: …" line says the same.
    const auto showsOutcome = [](const AccessibleNode& n) {
        return n.name().contains("✓ Greeted Ada in the form") && !n.name().startsWith("Last run:");
    };
    ASSERT_TRUE(app.waitFor(showsOutcome)) << "the outcome of a palette cast never showed";
    screenshot("e2e-outcome");
    pause(2000);
    EXPECT_TRUE(app.waitFor(showsOutcome, 100)) << "the outcome left before it could be read";
    // The main window keeps it for the skill.
    EXPECT_TRUE(app.waitFor("label", "Last run: ✓ Greeted Ada in the form"));
}

// A skill with a destructive step asks first; declining runs nothing. A long run stops on Esc
// with every process it started.
TEST_F(ApplicationFlow, DeclinedDestructiveCastAndEscapeStopEverything) {
    const QString groupFile = support.path() + "/group";
    ASSERT_TRUE(SkillStore().save(librarySkill("Empty the trash", {{"exit", "0"}}, true)).ok());
    ASSERT_TRUE(SkillStore()
                    .save(librarySkill("Wait for the build",
                                       {{"hang", "1"}, {"pgrp_file", groupFile}}, false))
                    .ok());

    RunningApplication app(environment());
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    screenshot("e2e-main-window");

    openPaletteAndCast(app, "empty");
    std::optional<AccessibleNode> cancel = app.waitFor("push button", "Cancel");
    ASSERT_TRUE(cancel) << "no confirmation was asked";
    screenshot("e2e-confirm");
    clickAt(cancel->centre());
    EXPECT_TRUE(app.waitForPillStatus("Ready"));
    pause(500);
    EXPECT_TRUE(readAuditLog().isEmpty()) << "a declined skill ran";

    openPaletteAndCast(app, "wait");
    ASSERT_TRUE(
        waitUntil([&] { return QFile::exists(groupFile) && QFile(groupFile).size() > 0; }, 60000))
        << "the long run never started";
    QFile file(groupFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const qint64 group = file.readAll().toLongLong();
    ASSERT_GT(group, 1);
    EXPECT_EQ(app.pillStatus(), "Running: Wait for the build");
    screenshot("e2e-running");

    desktop.tap(XK_Escape);
    desktop.sync();
    EXPECT_TRUE(app.waitForPillStatus("Ready"));
    EXPECT_TRUE(waitUntil([&] { return ProcessGroup::livingMembers(group) == 0; }, 5000))
        << "a process of the run survived Esc";
    // The stop is shown and recorded like any other end of a run.
    EXPECT_TRUE(app.waitFor([](const AccessibleNode& n) {
        return n.role() == "label" && n.name().contains("Stopped");
    })) << "the pill did not say the run was stopped";
    screenshot("e2e-stopped");
    const QList<RunRecord> runs = readAuditLog();
    ASSERT_EQ(runs.size(), 1);
    EXPECT_EQ(runs.first().skill, "Wait for the build");
    EXPECT_TRUE(runs.first().aborted);
    EXPECT_TRUE(app.isRunning());
}

// A desktop's own keyboard shortcut runs `tavrik palette` or `tavrik cast … --in-app`: the
// running application answers, and the cast runs there as one from the palette does.
TEST_F(ApplicationFlow, TheCommandLineDrivesTheRunningApplication) {
    ASSERT_TRUE(SkillStore().save(librarySkill("Say hello", {{"exit", "0"}}, false)).ok());
    RunningApplication app(environment());
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    const auto tavrik = [this](const QStringList& arguments) {
        QProcess process;
        process.setProcessEnvironment(environment());
        process.start(QStringLiteral(TAVRIK_BINARY_DIR "/tavrik"), arguments);
        process.waitForFinished(60000);
        return std::pair(process.exitCode(), QString::fromUtf8(process.readAllStandardError()));
    };

    auto [status, err] = tavrik({"palette"});
    EXPECT_EQ(status, 0) << err.toStdString();
    EXPECT_TRUE(paletteHasTheKeyboard(app)) << "the palette did not open with the keyboard";
    screenshot("e2e-remote-palette");
    desktop.tap(XK_Escape);
    desktop.sync();
    EXPECT_TRUE(waitUntil([&] { return !app.window("Tavrik Palette").has_value(); }));

    std::tie(status, err) = tavrik({"cast", "/say-hello", "exit=0", "--in-app"});
    EXPECT_EQ(status, 0) << err.toStdString();
    ASSERT_TRUE(waitUntil([&] { return !readAuditLog().isEmpty(); }, 60000))
        << "the cast never ran";
    EXPECT_EQ(readAuditLog().first().skill, "Say hello");
    std::tie(status, err) = tavrik({"cast", "/no-such-skill", "--in-app"});
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(err.startsWith("tavrik: ")) << err.toStdString();
}

// Tab on a skill with parameters opens its form in the palette; Return casts with the value typed
// there, and that value is what the runtime receives.
TEST_F(ApplicationFlow, ThePaletteFormCastsWithTheTypedValue) {
    ASSERT_TRUE(SkillStore()
                    .save(librarySkill("Greet someone", {{"echo", "1"}, {"who", "nobody"}}, false))
                    .ok());
    RunningApplication app(environment());
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    openPalette(app, "greet");
    desktop.tap(XK_Tab);
    desktop.sync();
    // One field per parameter, labelled with its prompt and filled with its example.
    const std::optional<AccessibleNode> who = app.waitFor("text", "who");
    ASSERT_TRUE(who) << "no field for the parameter";
    EXPECT_EQ(who->text(), "nobody");
    desktop.tap(XK_Tab);
    desktop.sync();
    ASSERT_TRUE(waitUntil([&] { return who->isFocused(); })) << "Tab does not reach the field";
    type("Ada Lovelace");
    ASSERT_TRUE(waitUntil([&] { return who->text() == "Ada Lovelace"; }))
        << who->text().toStdString();
    screenshot("e2e-palette-form");
    desktop.tap(XK_Return);
    desktop.sync();

    // The stand-in runtime prints each argument it was started with; the panel shows its lines
    // and keeps them with the outcome.
    ASSERT_TRUE(waitUntil([] { return !readAuditLog().isEmpty(); }, 60000)) << "the cast never ran";
    EXPECT_EQ(readAuditLog().first().skill, "Greet someone");
    const std::optional<AccessibleNode> echoed = app.waitFor(
        [](const AccessibleNode& n) { return n.role() == "label" && n.name().contains("who="); });
    ASSERT_TRUE(echoed) << "the runtime's lines never showed";
    EXPECT_TRUE(echoed->name().contains("who=Ada Lovelace")) << echoed->name().toStdString();
    EXPECT_FALSE(echoed->name().contains("who=nobody"))
        << "the example was cast, not the typed value";
}

// Another program holds the palette's shortcut and the microphone gives nothing: the main window
// says both in plain words, with what to do, and the pill's card says the shortcut.
TEST_F(ApplicationFlow, AHeldShortcutAndAMissingMicrophoneAreShownInTheMainWindow) {
    Display* display = desktop.display();
    const KeyCode slash = XKeysymToKeycode(display, XK_slash);
    XGrabKey(display, slash, ControlMask, DefaultRootWindow(display), True, GrabModeAsync,
             GrabModeAsync);
    XSync(display, False);
    QProcessEnvironment env = environment();
    env.insert("TAVRIK_NARRATION_WAV", support.path() + "/no-microphone.wav");
    RunningApplication app(env);
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    EXPECT_TRUE(app.waitFor([](const AccessibleNode& n) {
        return n.role() == "label" && n.name().contains("another program already uses Control-/") &&
               n.name().contains("Free it in the other program's settings");
    })) << "the held shortcut is not shown";
    // The pill says it too, in its card, for a desktop where the main window is closed.
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    desktop.moveTo(screen.right() - 3, screen.center().y());
    desktop.sync();
    EXPECT_TRUE(waitUntil([&] {
        const std::optional<AccessibleNode> pill = app.pill();
        return pill && findNode(*pill, [](const AccessibleNode& n) {
                   return n.role() == "label" &&
                          n.name().contains("another program already uses Control-/");
               });
    })) << "the pill's card does not say it";
    screenshot("e2e-pill-problem");
    desktop.moveTo(screen.left() + 10, screen.bottom() - 10);
    desktop.sync();

    ASSERT_EQ(runTavrik({"record"}), 0);
    ASSERT_TRUE(app.waitForPillStatus("Recording…"));
    ASSERT_EQ(runTavrik({"record"}), 0);
    EXPECT_TRUE(app.waitFor(
        [](const AccessibleNode& n) {
            return n.role() == "label" && n.name().contains("Nothing you said was recorded") &&
                   n.name().contains("Connect a microphone");
        },
        10000))
        << "the missing microphone is not shown";
    screenshot("e2e-desktop-problems");
    XUngrabKey(display, slash, ControlMask, DefaultRootWindow(display));
    XSync(display, False);
}

// The first launch asks for the key and whether to send usage statistics; nothing is sent before
// the answer.
TEST_F(ApplicationFlow, TheFirstLaunchAsksForTheKeyAndSendsNothingBeforeTheAnswer) {
    QSettings("Tavrik", "Tavrik").remove(Analytics::optOutKey);
    LocalHttpServer statistics;
    statistics.route("POST", "/capture/", CannedResponse::json(200, R"({"status": 1})"));
    QProcessEnvironment env = environment();
    env.remove("ANTHROPIC_API_KEY");
    env.insert("TAVRIK_ANALYTICS_HOST", statistics.baseUrl());
    RunningApplication app(env);
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    ASSERT_TRUE(waitUntil([&] { return app.window("Welcome to Tavrik").has_value(); }))
        << "no welcome window";
    const std::optional<AccessibleNode> send = app.waitFor("push button", "Send");
    ASSERT_TRUE(send) << "the statistics question is not asked";
    screenshot("e2e-first-launch");
    EXPECT_EQ(statistics.requestCount(), 0) << "a usage event left before the answer";

    const std::optional<AccessibleNode> key = app.waitFor("password text", "Anthropic API key");
    ASSERT_TRUE(key) << "the key is not asked for";
    clickAt(key->centre());
    type("typedkey");
    desktop.tap(XK_Tab);
    desktop.sync();
    ASSERT_TRUE(waitUntil([] { return QFile::exists(Secrets::anthropicKeyFilePath()); }))
        << "the key was not saved";
    QFile saved(Secrets::anthropicKeyFilePath());
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
    EXPECT_EQ(saved.readAll().trimmed(), "typedkey");
    EXPECT_FALSE(saved.permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther))
        << "others can read the key";

    clickAt(send->centre());
    EXPECT_TRUE(app.waitFor("label", "✓ Sending"));
    EXPECT_TRUE(waitUntil([] { return Analytics::isAnswered() && !Analytics::isOptedOut(); }));
}

// A first demonstration without a key, the service refusing: the panel names the fix, and Try
// Again sends the same demonstration once the service answers, with nothing recorded again.
TEST_F(ApplicationFlow, WithoutAKeyTheErrorSaysWhatToDoAndTryAgainWritesTheSkill) {
    QStringList pieces;
    for (qsizetype at = 0; at < kDraft.size(); at += 24)
        pieces << kDraft.mid(at, 24);
    model.routeSequence(
        "POST", "/api/anthropic",
        {CannedResponse::json(503, messages::errorBody("overloaded_error", "unavailable")),
         CannedResponse::eventStream(
             CannedResponse::split(messages::textStream(pieces), 200, 30))});
    QProcessEnvironment env = environment();
    env.remove("ANTHROPIC_API_KEY");
    env.insert("TAVRIK_WEB_HOST", model.baseUrl());
    RunningApplication app(env);
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";

    DesktopApp form({"--at", "120", "160"});
    ASSERT_TRUE(form.started());
    pause(300);
    doubleTapControl();
    ASSERT_TRUE(app.waitForPillStatus("Recording…")) << app.pillStatus().toStdString();
    const Point entry = form.centre("entry");
    clickAt(QPoint(int(entry.x), int(entry.y)));
    type("Ada");
    doubleTapControl();

    const std::optional<AccessibleNode> error = app.waitFor(
        [](const AccessibleNode& n) {
            return n.name().contains("API key") && n.name().contains("Preferences");
        },
        15000);
    ASSERT_TRUE(error) << "the error does not name the fix";
    screenshot("e2e-no-key");
    std::optional<AccessibleNode> retry = app.waitFor("push button", "Try Again");
    ASSERT_TRUE(retry);
    clickAt(retry->centre());
    EXPECT_TRUE(app.waitFor(
        [](const AccessibleNode& n) { return n.role() == "text" && n.text() == kDraft; }, 15000))
        << "Try Again did not write the skill";
    screenshot("e2e-try-again");
    const QList<RecordedRequest> sent = model.requests();
    QList<QByteArray> bodies;
    for (const RecordedRequest& request : sent)
        if (request.path == "/api/anthropic")
            bodies << request.body;
    ASSERT_EQ(bodies.size(), 2);
    EXPECT_EQ(bodies[0], bodies[1]); // the same demonstration, sent again
    EXPECT_TRUE(bodies[1].contains("Ada"));
}

} // namespace
