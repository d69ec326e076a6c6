#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/AppState.h"
#include "Tavrik/FloatingViews.h"
#include "Tavrik/Palette/PaletteView.h"
#include "Tavrik/Palette/PaletteWindow.h"
#include "Tavrik/Pill/PillController.h"
#include "Tavrik/Pill/PillWindow.h"
#include "Tavrik/Pill/SkillPanel.h"
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
    explicit OneClickRecorder(bool empty) : m_empty(empty) {}
    void start() override {}
    void stop(std::function<void(std::optional<Recording>)> done) override {
        Recording recording;
        if (!m_empty)
            recording.events.append(ActionEvent{});
        QTimer::singleShot(0, [done, recording] { done(recording); });
    }

private:
    bool m_empty;
};

class Granted : public PermissionGate {
public:
    void refresh() override {}
    bool allGranted() const override { return true; }
    bool hotkeysPossible() const override { return false; }
};

AppServices services(bool emptyRecording = false) {
    AppServices s;
    s.recorder = std::make_unique<OneClickRecorder>(emptyRecording);
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

TEST_F(FloatingViewsTest, AnEmptyRecordingShowsTheErrorHeading) {
    AppState app(services(true));
    FloatingViews views(&app);
    views.showPill();
    SkillPanel* panel = views.pill()->window()->skillPanel();
    app.startRecording();
    app.stopRecording();
    ASSERT_TRUE(processUntil([&] { return panel->phase() == SkillPanelPhase::error; }));
    EXPECT_EQ(panel->heading()->text(), "Couldn't create the skill");
    EXPECT_EQ(panel->detail()->text(), QString::fromUtf8(AppState::emptyRecordingMessage));
    panel->closeButton()->click();
    EXPECT_EQ(app.state(), TavrikState::idle());
}

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
    ASSERT_TRUE(processUntil([&] { return !app.paletteOpen(); }));
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
