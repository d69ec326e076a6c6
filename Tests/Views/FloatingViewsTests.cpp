#include "Support/ScopedEnvironment.h"
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/AppState.h"
#include "Tavrik/FloatingViews.h"
#include "Tavrik/Palette/PaletteView.h"
#include "Tavrik/Palette/PaletteWindow.h"
#include "Tavrik/Pill/PillController.h"
#include "Tavrik/Pill/PillWindow.h"
#include "Tavrik/Pill/SkillPanel.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "ViewsTestSupport.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::testing;

namespace {

class OneClickRecorder : public DemonstrationRecorder {
public:
    void start() override {}
    void stop(std::function<void(std::optional<Recording>)> done) override {
        Recording recording;
        recording.events.append(ActionEvent{});
        QTimer::singleShot(0, [done, recording] { done(recording); });
    }
};

class Granted : public PermissionGate {
public:
    void refresh() override {}
    bool allGranted() const override { return true; }
    bool hotkeysPossible() const override { return false; }
};

AppServices services() {
    AppServices s;
    s.recorder = std::make_unique<OneClickRecorder>();
    s.permissions = std::make_unique<Granted>();
    s.analytics = [](const QString&, const QJsonObject&) {};
    return s;
}

class FloatingViewsTest : public ::testing::Test {
protected:
    test::TempSettings settings;
    test::TempSupportFolder support;
};

} // namespace

TEST_F(FloatingViewsTest, PaletteOpensFromTheStateAndHandsThePillBack) {
    AppState app(services());
    FloatingViews views(&app);
    views.showPill();
    PillWindow* window = views.pill()->window();

    app.openPalette();
    PaletteView* palette = views.palette();
    ASSERT_NE(palette, nullptr);
    EXPECT_TRUE(palette->isVisible());
    EXPECT_FALSE(window->isVisible());

    // The record row starts a recording through the state.
    pressKey(palette->searchField(), Qt::Key_Return);
    EXPECT_EQ(app.state(), TavrikState::recording());
    ASSERT_TRUE(waitUntil([&] { return !app.paletteOpen(); }));
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(PaletteWindow::current(), nullptr);
}

TEST_F(FloatingViewsTest, TipsFollowTheStateAndCanBeDismissed) {
    AppState app(services());
    FloatingViews views(&app);
    views.showPill();
    PillWindow* window = views.pill()->window();

    app.startRecording(); // an empty library teaches how to finish
    EXPECT_TRUE(window->showsTip());
    EXPECT_EQ(window->tipLabel()->text(), "Double-tap Control to finish training your skill");
    window->dismissTipsButton()->click();
    EXPECT_TRUE(app.tipsDismissed());
    EXPECT_FALSE(window->showsTip());
}

// A cast from anywhere but the panel ends visibly on the pill, stays until dismissed (or its
// time is up), and the next cast starts with a clean card.
TEST_F(FloatingViewsTest, ACastFromOutsideThePanelEndsWithItsOutcomeOnThePill) {
    test::ScopedEnvironment noRuntime{"TAVRIK_RUNTIME_DIR",
                                      support.path().toUtf8() + "/no-runtime"};
    Skill skill;
    skill.name = QStringLiteral("File the report");
    AppState app(services());
    FloatingViews views(&app);
    views.showPill();
    PillWindow* window = views.pill()->window();
    SkillPanel* panel = window->skillPanel();

    app.cast(skill);
    ASSERT_TRUE(
        waitUntil([&] { return app.state() == TavrikState::idle() && app.hasRunOutcome(); }));
    EXPECT_TRUE(window->showsPanel());
    EXPECT_EQ(panel->heading()->text(), "Running “File the report”");
    EXPECT_TRUE(panel->detail()->text().contains("✗ Couldn't find the Tavrik runtime."))
        << panel->detail()->text().toStdString();
    EXPECT_TRUE(panel->closeButton()->isVisibleTo(panel));
    EXPECT_EQ(app.lastOutcome(skill), "✗ Couldn't find the Tavrik runtime.");

    panel->closeButton()->click();
    EXPECT_FALSE(window->showsPanel());
    EXPECT_TRUE(app.lastOutcome(skill).startsWith("✗")); // the main window keeps it
}

TEST_F(FloatingViewsTest, AFailedDraftOffersTryAgainAndTheCardOpensTheMainWindow) {
    AppState app(services()); // no synthesis in this build: writing always fails
    FloatingViews views(&app);
    views.showPill();
    PillWindow* window = views.pill()->window();
    SkillPanel* panel = window->skillPanel();
    app.startRecording();
    app.stopRecording();
    ASSERT_TRUE(waitUntil([&] { return panel->phase() == SkillPanelPhase::error; }));
    EXPECT_TRUE(panel->retryButton()->isVisibleTo(panel));
    int phases = 0;
    QObject::connect(&app, &AppState::skillPanelPhaseChanged, [&] { ++phases; });
    panel->retryButton()->click();
    EXPECT_GE(phases, 2); // through writing again and back to the error
    EXPECT_EQ(panel->phase(), SkillPanelPhase::error);
    EXPECT_EQ(panel->heading()->text(), "Couldn't create the skill");
    EXPECT_FALSE(app.skillGenerationError().isEmpty());
    EXPECT_EQ(panel->detail()->text(), app.skillGenerationError());

    int opened = 0;
    QObject::connect(&views, &FloatingViews::mainWindowRequested, [&] { ++opened; });
    EXPECT_EQ(window->openButton()->text(), "Open Tavrik");
    window->openButton()->click();
    EXPECT_EQ(opened, 1);
    panel->closeButton()->click();
    EXPECT_EQ(app.state(), TavrikState::idle());
}

TEST_F(FloatingViewsTest, AnOpenPaletteFollowsAFolderAddedByHand) {
    AppState app(services());
    FloatingViews views(&app);
    views.showPill();
    app.openPalette();
    PaletteView* palette = views.palette();
    ASSERT_NE(palette, nullptr);
    EXPECT_EQ(palette->model().rowCount(), 1); // the record row alone

    Skill skill;
    skill.name = QStringLiteral("Order the lunch");
    ASSERT_TRUE(SkillStore().save(skill).ok()); // as another program would
    ASSERT_TRUE(waitUntil([&] { return palette->model().rowCount() == 2; }, 5000));
    palette->dismiss();
}
