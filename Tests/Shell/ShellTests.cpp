#include "Support/LocalHttpServer.h"
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Support/WaitUntil.h"
#include "Tavrik/AppState.h"
#include "Tavrik/Editor/SkillEditorWindow.h"
#include "Tavrik/MCP/MCPLoginModel.h"
#include "Tavrik/MCP/MCPLoginWindow.h"
#include "Tavrik/MCP/MCPOAuth.h"
#include "Tavrik/MainWindow/MainWindow.h"
#include "Tavrik/MenuBar/TrayMenu.h"
#include "Tavrik/Onboarding/OnboardingWindow.h"
#include "Tavrik/Overlay/OverlayController.h"
#include "Tavrik/Overlay/OverlayFrame.h"
#include "Tavrik/Shell/SingleInstance.h"
#include "TavrikCore/MCP/MCPRegistry.h"
#include "TavrikCore/Permissions/PermissionsManager.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RepairProposal.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QUrlQuery>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {

Skill savedSkill(const QString& name, int daysAgo, bool destructive = false) {
    Skill skill;
    skill.name = name;
    skill.trigger = QStringLiteral("when asked to ") + name.toLower();
    skill.summary = QStringLiteral("Does what its name says, the way it was shown.");
    skill.createdAt = QDateTime::currentDateTimeUtc().addDays(-daysAgo);
    Parameter parameter;
    parameter.name = QStringLiteral("recipient");
    parameter.exampleValue = QStringLiteral("accounting@example.com");
    skill.parameters = {parameter};
    for (int i = 0; i < 4; ++i) {
        PlanStep step;
        step.index = i;
        step.intent = QStringList{"Open the mail client", "Start a new message to {{recipient}}",
                                  "Attach the newest invoice", "Send the message"}[i];
        step.isDestructive = destructive && i == 3;
        skill.plan << step;
    }
    EXPECT_TRUE(SkillStore().save(skill).ok());
    return skill;
}

class FixedPermissions : public PermissionBackend {
public:
    explicit FixedPermissions(QHash<Permission, PermissionStatus>* statuses)
        : m_statuses(statuses) {}
    PermissionStatus check(Permission permission) override { return m_statuses->value(permission); }
    bool enable(Permission permission) override {
        enabled << permission;
        return true;
    }
    QList<Permission> enabled;

private:
    QHash<Permission, PermissionStatus>* m_statuses;
};

class ShellTest : public ::testing::Test {
protected:
    test::TempSupportFolder support;
    test::TempSettings settings;
    // Analytics stay in the test.
    AppServices services() {
        AppServices s;
        s.analytics = [](const QString&, const QJsonObject&) {};
        return s;
    }
};

} // namespace

TEST_F(ShellTest, MainWindowExplainsAnEmptyLibraryThenListsSearchesAndDeletes) {
    AppState app(services());
    MainWindow window(&app);
    window.show();
    EXPECT_TRUE(window.showsEmptyLibrary());

    savedSkill("Email the invoice", 3);
    savedSkill("Submit the timesheet", 1, true);
    savedSkill("Book a meeting room", 2);
    app.reloadSkills();
    EXPECT_FALSE(window.showsEmptyLibrary());
    ASSERT_EQ(window.list()->count(), 3);
    EXPECT_EQ(window.shownSkills()[0].name, "Submit the timesheet"); // newest first
    EXPECT_EQ(window.detail()->nameLabel()->text(), "Submit the timesheet");

    window.searchField()->setText("invo");
    ASSERT_EQ(window.list()->count(), 1);
    EXPECT_EQ(window.shownSkills()[0].name, "Email the invoice");
    EXPECT_EQ(window.detail()->nameLabel()->text(), "Email the invoice");
    window.searchField()->setText("zzzz");
    EXPECT_EQ(window.list()->count(), 0);
    window.searchField()->clear();
    EXPECT_EQ(window.list()->count(), 3);

    // Deleting keeps the window in step with the library.
    app.deleteSkill(window.shownSkills()[1]);
    EXPECT_EQ(window.list()->count(), 2);
    EXPECT_FALSE(window.detail()->nameLabel()->text().isEmpty());
}

TEST_F(ShellTest, MainWindowExportWritesIntoTheExportFolder) {
    AppState app(services());
    MainWindow window(&app);
    const Skill skill = savedSkill("Email the invoice", 1);
    app.reloadSkills();
    window.select(0);
    const QString target = QDir(AppState::exportFolder()).filePath("email-the-invoice.md");
    QFile::remove(target);
    window.detail()->exportButton()->click();
    EXPECT_TRUE(QFileInfo::exists(target));
    QFile::remove(target);
}

TEST_F(ShellTest, MainWindowOffersARepairedStepUntilTheUserDecides) {
    AppState app(services());
    MainWindow window(&app);
    Skill skill = savedSkill("Email the invoice", 1);
    AXTarget before;
    before.appBundleID = QStringLiteral("org.example.Mail");
    before.axRole = QStringLiteral("push button");
    before.axTitle = QStringLiteral("Attach");
    skill.plan[2].target = before;
    ASSERT_TRUE(SkillStore().save(skill).ok());
    AXTarget after = before;
    after.axTitle = QStringLiteral("Attach a file");
    const RepairProposal proposal{
        skill.id, skill.name, {{2, skill.plan[2].id, skill.plan[2].intent, before, after}}};
    ASSERT_TRUE(proposal.save().ok());
    app.reloadSkills();
    window.select(0);
    ASSERT_TRUE(window.detail()->repairOffer()->isVisibleTo(window.detail()));
    EXPECT_EQ(window.detail()->repairText()->text(),
              "The model repaired a step in the last run:\n"
              "Step 3 (Attach the newest invoice): “Attach” (push button) → “Attach a file” (push "
              "button)");

    window.detail()->keepSkillButton()->click();
    EXPECT_FALSE(window.detail()->repairOffer()->isVisibleTo(window.detail()));
    EXPECT_EQ(SkillStore().load(Paths::skill(skill.id))->plan[2].target, before);

    ASSERT_TRUE(proposal.save().ok());
    window.showSelected();
    window.detail()->updateSkillButton()->click();
    EXPECT_FALSE(window.detail()->repairOffer()->isVisibleTo(window.detail()));
    EXPECT_EQ(SkillStore().load(Paths::skill(skill.id))->plan[2].target, after);
    EXPECT_EQ(app.skills().value(0).plan[2].target, after);
}

TEST_F(ShellTest, TrayMenuFollowsTheState) {
    AppState app(services());
    TrayMenu tray(&app);
    auto texts = [&] {
        QStringList all;
        for (QAction* action : tray.menu()->actions())
            if (!action->isSeparator())
                all << action->text();
        return all;
    };
    EXPECT_EQ(texts(), (QStringList{"Ready", "Record a Skill", "Open Palette", "Skills",
                                    "Show Tavrik", "Preferences…", "Quit Tavrik"}));
    app.startRecording();
    EXPECT_EQ(texts().mid(0, 2), (QStringList{"Recording…", "Stop Recording"}));
    tray.menu()->actions()[2]->trigger(); // Stop Recording
    EXPECT_EQ(app.state(), TavrikState::creatingSkill());
    app.closeSkillPanel();

    savedSkill("Email the invoice", 1);
    app.reloadSkills();
    QMenu* skills = tray.menu()->actions()[4]->menu();
    ASSERT_TRUE(skills);
    ASSERT_EQ(skills->actions().size(), 1);
    EXPECT_EQ(skills->actions()[0]->text(), "Email the invoice");
}

TEST_F(ShellTest, OverlayFramesEveryScreenWithoutTakingInput) {
    OverlayController overlay;
    EXPECT_TRUE(overlay.windows().isEmpty());
    overlay.setVisible(true);
    ASSERT_EQ(overlay.windows().size(), QGuiApplication::screens().size());
    OverlayFrame* frame = overlay.windows().first();
    EXPECT_TRUE(frame->isVisible());
    EXPECT_TRUE(frame->windowFlags().testFlag(Qt::WindowTransparentForInput));
    EXPECT_TRUE(frame->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(frame->geometry(), QGuiApplication::screens().first()->geometry());
    // Only the edges belong to the window; the middle of the screen is not covered.
    EXPECT_FALSE(frame->mask().contains(frame->rect().center()));
    EXPECT_TRUE(frame->mask().contains(QPoint(1, 1)));
    overlay.setVisible(false);
    EXPECT_TRUE(overlay.windows().isEmpty());
}

TEST_F(ShellTest, OnboardingShowsEachPermissionAndFollowsThePoll) {
    QHash<Permission, PermissionStatus> statuses{
        {Permission::screenRecording, PermissionStatus::granted},
        {Permission::accessibility, PermissionStatus::denied},
        {Permission::inputMonitoring, PermissionStatus::granted}};
    auto backend = std::make_unique<FixedPermissions>(&statuses);
    FixedPermissions* probe = backend.get();
    QList<Permission> opened;
    PermissionsManager permissions(std::move(backend), [&](Permission p) {
        opened << p;
        return true;
    });
    OnboardingWindow window(&permissions);
    window.show();
    EXPECT_TRUE(window.statusLabel(Permission::screenRecording)->isVisible());
    EXPECT_FALSE(window.grantButton(Permission::screenRecording)->isVisible());
    ASSERT_TRUE(window.grantButton(Permission::accessibility)->isVisible());
    EXPECT_EQ(window.doneButton()->text(), "Later");

    window.grantButton(Permission::accessibility)->click();
    EXPECT_EQ(probe->enabled, QList<Permission>{Permission::accessibility});
    statuses[Permission::accessibility] = PermissionStatus::granted;
    permissions.refresh();
    EXPECT_FALSE(window.grantButton(Permission::accessibility)->isVisible());
    EXPECT_EQ(window.doneButton()->text(), "Get Started");
}

TEST_F(ShellTest, EditorRenamesAndSavesASavedSkill) {
    AppState app(services());
    const Skill skill = savedSkill("Email the invoice", 1);
    app.reloadSkills();
    SkillEditorWindow editor(&app, skill);
    EXPECT_FALSE(editor.editsDraft());
    EXPECT_TRUE(editor.editor()->toPlainText().contains("name: Email the invoice"));
    editor.nameField()->setText("Send the invoice");
    editor.saveButton()->click();
    ASSERT_EQ(app.skills().size(), 1);
    EXPECT_EQ(app.skills()[0].name, "Send the invoice");
    EXPECT_EQ(app.skills()[0].plan.size(), 4);
    EXPECT_EQ(app.skills()[0].id, skill.id);
    EXPECT_EQ(editor.messageLabel()->text(), "Saved.");
}

TEST(ProgramStart, WithoutADisplayItSaysSoInOneLine) {
    QProcess tavrik;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    environment.remove("WAYLAND_DISPLAY");
    environment.remove("QT_QPA_PLATFORM");
    tavrik.setProcessEnvironment(environment);
    tavrik.start(QStringLiteral(TAVRIK_BINARY_DIR "/tavrik"), {});
    ASSERT_TRUE(tavrik.waitForFinished(20000));
    EXPECT_NE(tavrik.exitCode(), 0);
    const QString err = QString::fromUtf8(tavrik.readAllStandardError());
    EXPECT_TRUE(err.startsWith("tavrik: no display")) << err.toStdString();
    EXPECT_EQ(err.count('\n'), 1);
    EXPECT_TRUE(tavrik.readAllStandardOutput().isEmpty());
}

TEST(SingleInstanceTest, ASecondStartHandsOverToTheRunningOne) {
    QTemporaryDir runtime;
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    SingleInstance nobodyYet;
    EXPECT_FALSE(nobodyYet.handOverToRunning());

    SingleInstance running;
    ASSERT_TRUE(running.listen());
    int reopened = 0;
    QObject::connect(&running, &SingleInstance::reopenRequested, [&] { ++reopened; });
    SingleInstance second;
    EXPECT_TRUE(second.handOverToRunning());
    test::waitUntil([&] { return reopened > 0; });
    EXPECT_EQ(reopened, 1);
}

// A skill of an application with a tool server offers to connect it; logging in through the
// browser keeps the token in the registry and the offer goes away.
TEST_F(ShellTest, ConnectingAToolServerKeepsItsTokenAndEndsTheOffer) {
    test::LocalHttpServer service;
    service.route("POST", "/register", test::CannedResponse::json(201, R"({"client_id":"c1"})"));
    service.route("POST", "/token", test::CannedResponse::json(200, R"({"access_token":"tok-9"})"));
    // The user's file points the built-in service at this machine.
    MCPRegistry().persist(
        MCPServer{"linear", service.url("/mcp").toString(), {"com.linear"}, std::nullopt});

    AppState app(services());
    MainWindow window(&app);
    Skill skill = savedSkill("File the bug", 1);
    skill.appScope = {"com.linear"};
    ASSERT_TRUE(SkillStore().save(skill).ok());
    app.reloadSkills();
    window.select(0);
    ASSERT_TRUE(window.detail()->connectButton()->isVisibleTo(&window));
    EXPECT_EQ(window.detail()->connectButton()->text(), "Connect Linear");

    std::optional<MCPServer> asked;
    QObject::connect(&window, &MainWindow::connectRequested,
                     [&](const Skill&, const MCPServer& server) { asked = server; });
    window.detail()->connectButton()->click();
    ASSERT_TRUE(asked);

    QNetworkAccessManager browser;
    auto* login = new MCPOAuth(*asked, skill.name, &window, [&](const QUrl& url) {
        const QUrlQuery query(url);
        QUrl back(query.queryItemValue("redirect_uri"));
        back.setQuery("code=c&state=" + query.queryItemValue("state"));
        browser.get(QNetworkRequest(back));
        return true;
    });
    QPointer<MCPLoginWindow> prompt = login->window();
    QObject::connect(login, &MCPOAuth::connected, &window, &MainWindow::showSelected);
    login->show();
    EXPECT_EQ(prompt->heading()->text(), "Connect Linear to Tavrik?");
    EXPECT_TRUE(prompt->detail()->text().contains("“File the bug”"));

    prompt->loginButton()->click();
    EXPECT_EQ(login->model()->phase(), MCPLoginModel::Phase::authenticating());
    EXPECT_TRUE(test::waitUntil([&] { return !prompt; })) << "the prompt stayed open";
    const std::optional<MCPServer> stored = MCPRegistry().server({"com.linear"});
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->authToken, "tok-9");
    EXPECT_FALSE(window.detail()->connectButton()->isVisibleTo(&window));
}

// A refused login shows why and can be tried again; closing the prompt ends the login.
TEST_F(ShellTest, AFailedToolServerLoginSaysWhy) {
    test::LocalHttpServer service;
    service.route(
        "POST", "/register",
        test::CannedResponse::json(400, R"({"error_description":"redirect not allowed"})"));
    const MCPServer server{"notion", service.url("/mcp").toString(), {"notion.id"}, std::nullopt};
    auto* login =
        new MCPOAuth(server, "Write the notes", nullptr, [](const QUrl&) { return true; });
    QPointer<MCPOAuth> alive = login;
    QPointer<MCPLoginWindow> prompt = login->window();
    login->show();
    prompt->loginButton()->click();
    test::waitUntil(
        [&] { return login->model()->phase().kind == MCPLoginModel::Phase::Kind::failed; });
    EXPECT_EQ(prompt->heading()->text(), "Couldn't connect Notion");
    EXPECT_EQ(prompt->detail()->text(),
              "Registering Tavrik with the service failed (HTTP 400): redirect not allowed");
    EXPECT_EQ(prompt->loginButton()->text(), "Try Again");
    EXPECT_TRUE(prompt->loginButton()->isEnabled());

    prompt->cancelButton()->click();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(prompt);
    EXPECT_FALSE(alive);
    EXPECT_FALSE(MCPRegistry().server({"notion.id"}));
}
