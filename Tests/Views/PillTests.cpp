#include "Tavrik/Pill/PillController.h"
#include "Tavrik/Pill/PillGeometry.h"
#include "Tavrik/Pill/PillWindow.h"
#include "Tavrik/Pill/SkillPanel.h"
#include "ViewsTestSupport.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::testing;

namespace {

const QRect screenArea(0, 0, 1920, 1080);

} // namespace

TEST(PillGeometry, SizesFollowThePhaseAndDockRightCentred) {
    EXPECT_EQ(PillGeometry::sizeFor(SkillPanelPhase::idle), QSize(320, 140));
    for (SkillPanelPhase phase :
         {SkillPanelPhase::generating, SkillPanelPhase::running, SkillPanelPhase::editable,
          SkillPanelPhase::saved, SkillPanelPhase::error})
        EXPECT_EQ(PillGeometry::sizeFor(phase), QSize(580, 240));
    EXPECT_EQ(PillGeometry::frameFor(screenArea, {320, 140}), QRect(1600, 470, 320, 140));
    EXPECT_EQ(PillGeometry::frameFor(QRect(1920, 40, 1280, 984), {580, 240}),
              QRect(2620, 412, 580, 240));
}

TEST(PillGeometry, TabExpandsAndTheMarginKeepsItOpen) {
    const QRect frame(1600, 470, 320, 140); // midY 540
    using PillGeometry::poll;
    const auto idle = SkillPanelPhase::idle;

    EXPECT_FALSE(poll(frame, {1890, 540}, false, false, idle).expanded); // left of the tab zone
    EXPECT_TRUE(poll(frame, {1900, 540}, false, false, idle).expanded);
    EXPECT_TRUE(poll(frame, {1919, 512}, false, false, idle).expanded);
    EXPECT_FALSE(poll(frame, {1910, 505}, false, false, idle).expanded); // above the 60-point zone
    // The card itself does not open the pill; only the tab does.
    EXPECT_FALSE(poll(frame, {1700, 540}, false, false, idle).expanded);

    EXPECT_TRUE(poll(frame, {1700, 540}, true, false, idle).expanded);
    EXPECT_TRUE(poll(frame, {1590, 540}, true, false, idle).expanded);  // 10 points out
    EXPECT_TRUE(poll(frame, {1700, 460}, true, false, idle).expanded);  // 10 points above
    EXPECT_FALSE(poll(frame, {1589, 540}, true, false, idle).expanded); // 11 points out
    EXPECT_FALSE(poll(frame, {1700, 621}, true, false, idle).expanded);
}

TEST(PillGeometry, ClicksPassThroughUnlessExpandedOrOverATipOrPanel) {
    const QRect frame(1600, 470, 320, 140);
    using PillGeometry::poll;
    const QPoint overCard(1650, 540);

    EXPECT_FALSE(poll(frame, overCard, false, false, SkillPanelPhase::idle).acceptsMouse);
    EXPECT_FALSE(poll(frame, {10, 10}, false, true, SkillPanelPhase::idle).acceptsMouse);
    EXPECT_TRUE(poll(frame, overCard, false, true, SkillPanelPhase::idle).acceptsMouse);
    // The tip zone ends 46 points short of the right edge.
    EXPECT_FALSE(poll(frame, {1880, 540}, false, true, SkillPanelPhase::idle).acceptsMouse);
    EXPECT_TRUE(poll(frame, overCard, true, false, SkillPanelPhase::idle).acceptsMouse);

    const QRect active(1340, 420, 580, 240); // midY 540
    EXPECT_TRUE(poll(active, {1400, 455}, false, false, SkillPanelPhase::editable).acceptsMouse);
    EXPECT_FALSE(poll(active, {1400, 440}, false, false, SkillPanelPhase::editable).acceptsMouse);
    EXPECT_FALSE(poll(active, {1400, 455}, false, false, SkillPanelPhase::idle).acceptsMouse);
}

TEST(PillGeometry, PollsWaitOnlyAsLongAsThePointerNeedsToReachAZone) {
    const QRect frame(1600, 470, 320, 140); // tab zone x 1896-1920, y 510-570
    const auto delay = [&](QPoint pointer, bool expanded, bool hasTip, SkillPanelPhase phase) {
        const PillGeometry::Hover hover =
            PillGeometry::poll(frame, pointer, expanded, hasTip, phase);
        return PillGeometry::nextPollDelay(frame, pointer, hover, hasTip, phase, 40, 250);
    };
    const auto idle = SkillPanelPhase::idle;
    // 600 points left of the tab take 100 ms at the fastest; right beside it, the minimum.
    EXPECT_EQ(delay({1296, 540}, false, false, idle), 100);
    EXPECT_EQ(delay({1880, 540}, false, false, idle), 40);
    // Far corners wait at most the maximum, so a warped pointer is noticed soon enough.
    EXPECT_EQ(delay({0, 0}, false, false, idle), 250);
    // The distance counts in both directions.
    EXPECT_EQ(delay({1896 - 360, 570 + 480}, false, false, idle), 100);

    // An open pill, or one taking clicks over its tip, must notice the pointer leaving at once.
    EXPECT_EQ(delay({1700, 540}, true, false, idle), 40);
    EXPECT_EQ(delay({1650, 540}, false, true, idle), 40);
    // A tip or a panel brings the zones closer than the tab.
    EXPECT_EQ(delay({1000, 540}, false, false, idle), 149);
    EXPECT_EQ(delay({1000, 540}, false, true, idle), 100);
    EXPECT_EQ(delay({1000, 540}, false, false, SkillPanelPhase::editable), 100);
}

TEST(PillController, PollsSoonerAsThePointerNearsAndWhenTheZonesChange) {
    PillController controller;
    controller.setDockArea(screenArea);
    controller.show();
    EXPECT_EQ(controller.nextPollMs(), PillController::pollIntervalMs);

    controller.pollAt({960, 540});
    const int far = controller.nextPollMs();
    EXPECT_GT(far, PillController::pollIntervalMs);
    EXPECT_LE(far, PillController::slowestPollIntervalMs);
    controller.pollAt({1700, 540});
    EXPECT_LT(controller.nextPollMs(), far);

    controller.pollAt({960, 540});
    controller.setHasTip(true); // a tip appears over the card: its zone may be under the pointer
    EXPECT_EQ(controller.nextPollMs(), PillController::pollIntervalMs);
    controller.pollAt({960, 540});
    controller.setPhase(SkillPanelPhase::generating);
    EXPECT_EQ(controller.nextPollMs(), PillController::pollIntervalMs);

    controller.hideForPalette();
    controller.restore();
    EXPECT_EQ(controller.nextPollMs(), PillController::pollIntervalMs);
}

TEST(PillController, ResizesWithThePhaseAndStaysOnTheEdge) {
    PillController controller;
    controller.setDockArea(screenArea);
    controller.show();
    PillWindow* window = controller.window();
    ASSERT_NE(window, nullptr);
    // The sizes come from the texts in this font; at least the least each part takes.
    const QSize idle = controller.currentSize();
    EXPECT_EQ(window->geometry(), PillGeometry::frameFor(screenArea, idle));
    EXPECT_GE(idle.width(), 320);
    EXPECT_GE(idle.height(), 140);
    EXPECT_FALSE(window->acceptsMouse());
    EXPECT_FALSE(window->showsPanel());

    controller.setPhase(SkillPanelPhase::generating);
    const QSize active = controller.currentSize();
    EXPECT_EQ(window->geometry(), PillGeometry::frameFor(screenArea, active));
    EXPECT_GE(active.width(), 580);
    EXPECT_GE(active.height(), 240);
    EXPECT_EQ(window->geometry().right(), screenArea.right());
    EXPECT_TRUE(window->showsPanel());
    EXPECT_TRUE(window->skillPanel()->isVisibleTo(window));

    controller.setPhase(SkillPanelPhase::idle);
    EXPECT_EQ(window->geometry(), PillGeometry::frameFor(screenArea, idle));
    controller.show(); // a second show keeps the one window
    EXPECT_EQ(controller.window(), window);
}

TEST(PillController, HoverOpensTheCardAndLeavingClosesIt) {
    PillController controller;
    controller.setDockArea(screenArea);
    controller.show();
    PillWindow* window = controller.window();

    controller.pollAt({1910, 540});
    EXPECT_TRUE(controller.model()->expanded());
    EXPECT_TRUE(window->showsCard());
    EXPECT_TRUE(window->acceptsMouse());

    controller.pollAt({1595, 540});
    EXPECT_TRUE(controller.model()->expanded());
    controller.pollAt({1500, 540});
    EXPECT_FALSE(controller.model()->expanded());
    EXPECT_FALSE(window->showsCard());
    EXPECT_FALSE(window->acceptsMouse());

    controller.setHasTip(true);
    window->setTip(QStringLiteral("Press ctrl + / to call your skill"));
    EXPECT_TRUE(window->showsTip());
    controller.pollAt({1650, 540});
    EXPECT_TRUE(window->acceptsMouse());
    EXPECT_FALSE(controller.model()->expanded());
}

TEST(SkillPanel, ShowsEachPhaseWithItsButtons) {
    SkillPanel panel;
    panel.resize(546, 180);
    panel.setPhase(SkillPanelPhase::generating);
    panel.setStatus(QStringLiteral("Writing the skill…"));
    EXPECT_EQ(panel.heading()->text(), "Writing the skill…");
    EXPECT_TRUE(panel.editor()->isReadOnly());
    EXPECT_TRUE(panel.discardButton()->isVisibleTo(&panel));
    EXPECT_FALSE(panel.saveButton()->isVisibleTo(&panel));

    panel.setPhase(SkillPanelPhase::editable);
    EXPECT_FALSE(panel.editor()->isReadOnly());
    EXPECT_TRUE(panel.saveButton()->isVisibleTo(&panel));
    EXPECT_TRUE(panel.runButton()->isVisibleTo(&panel));

    panel.setPhase(SkillPanelPhase::error);
    panel.setError(QStringLiteral("The model is busy."));
    EXPECT_EQ(panel.heading()->text(), "Couldn't create the skill");
    EXPECT_EQ(panel.detail()->text(), "The model is busy.");
    EXPECT_FALSE(panel.editor()->isVisibleTo(&panel));
    EXPECT_TRUE(panel.closeButton()->isVisibleTo(&panel));
}

TEST(SkillPanel, StreamsTheDraftAndReportsOnlyUserEdits) {
    SkillPanel panel;
    QStringList edits;
    QObject::connect(&panel, &SkillPanel::markdownEdited,
                     [&](const QString& text) { edits << text; });
    panel.setPhase(SkillPanelPhase::generating);
    panel.setMarkdown(QStringLiteral("---\nname: Ti"));
    panel.setMarkdown(QStringLiteral("---\nname: Timesheet\n"));
    EXPECT_EQ(panel.markdown(), "---\nname: Timesheet\n");
    EXPECT_TRUE(edits.isEmpty());

    panel.setPhase(SkillPanelPhase::editable);
    panel.setMarkdown(QStringLiteral("---\nname: Timesheet\n---\n"));
    EXPECT_TRUE(edits.isEmpty());
    panel.editor()->moveCursor(QTextCursor::End);
    panel.editor()->insertPlainText(QStringLiteral("1. Open"));
    ASSERT_FALSE(edits.isEmpty());
    EXPECT_EQ(edits.last(), "---\nname: Timesheet\n---\n1. Open");
}

TEST(SkillPanel, KeepsTheLatestProgressLinesOfARun) {
    SkillPanel panel;
    panel.setPhase(SkillPanelPhase::running);
    for (const char* line : {"Starting…", "Opening the page", "Opening the page", "Typing the date",
                             "Saving", "Checking"})
        panel.setRunningLine(QString::fromUtf8(line));
    EXPECT_EQ(panel.progressLines(),
              (QStringList{"Opening the page", "Typing the date", "Saving", "Checking"}));
    panel.setOutcome(QStringLiteral("  Done.\n"));
    EXPECT_TRUE(panel.detail()->text().contains("Done."));

    // A new run starts with an empty list.
    panel.setPhase(SkillPanelPhase::saved);
    panel.setPhase(SkillPanelPhase::running);
    EXPECT_TRUE(panel.progressLines().isEmpty());
}

TEST(PillWindow, OffersAnUpdateInTheOpenCard) {
    PillWindow window;
    int downloads = 0, later = 0;
    QObject::connect(&window, &PillWindow::updateDownloadClicked, [&] { ++downloads; });
    QObject::connect(&window, &PillWindow::updateLaterClicked, [&] { ++later; });
    window.setUpdateOffer(QStringLiteral("1.4.0"));
    EXPECT_TRUE(window.cardHint()->text().contains("1.4.0"));
    emit window.cardHint()->linkActivated(QStringLiteral("download"));
    emit window.cardHint()->linkActivated(QStringLiteral("later"));
    EXPECT_EQ(downloads, 1);
    EXPECT_EQ(later, 1);

    // Recording says how to finish rather than offering the update.
    window.setRecording(true);
    EXPECT_FALSE(window.cardHint()->text().contains("1.4.0"));
    window.setRecording(false);
    window.setUpdateOffer({});
    EXPECT_FALSE(window.cardHint()->text().contains("Download"));
}

TEST(PillGeometry, PartsThatNeedMoreRoomMakeTheFrameAndTheirZonesLarger) {
    const PillGeometry::Parts wide{QSize(420, 160), QSize(300, 120), QSize(700, 260)};
    EXPECT_EQ(PillGeometry::sizeFor(SkillPanelPhase::idle, wide), QSize(420, 176));
    EXPECT_EQ(PillGeometry::sizeFor(SkillPanelPhase::error, wide), QSize(734, 320));
    const QRect frame(1186, 380, 734, 320); // midY 540
    EXPECT_EQ(PillGeometry::panelZoneRect(frame, wide), QRect(1186, 410, 700, 260));
    EXPECT_EQ(PillGeometry::tipZoneRect(frame, wide), QRect(1186, 480, 688, 120));
    // A point in the larger panel but outside the smallest one takes clicks.
    EXPECT_TRUE(PillGeometry::poll(frame, {1200, 420}, false, false, SkillPanelPhase::error, wide)
                    .acceptsMouse);
    EXPECT_FALSE(
        PillGeometry::poll(frame, {1200, 420}, false, false, SkillPanelPhase::error).acceptsMouse);
}

// Each part is as large as its texts need, whatever they say: no button narrower than its text,
// no wrapped text shorter than its lines. The window follows when the texts change.
TEST(PillController, EveryPartTakesTheRoomItsTextsNeed) {
    PillController controller;
    controller.setDockArea(screenArea);
    controller.show();
    PillWindow* window = controller.window();
    const auto buttonsFit = [](QWidget* part) {
        for (QPushButton* button : part->findChildren<QPushButton*>())
            if (button->isVisibleTo(part) && button->width() < button->sizeHint().width())
                return false;
        return true;
    };
    const auto wrappedFits = [](QLabel* label) {
        return label->height() >= label->heightForWidth(label->width());
    };
    const QString longText = QStringLiteral(
        "A keyboard shortcut does not work: another program already uses Control-/. Free it in "
        "the other program's settings, then quit and start Tavrik again.");

    controller.setExpanded(true);
    ASSERT_TRUE(window->showsCard());
    QWidget* card = window->recordButton()->parentWidget();
    EXPECT_TRUE(waitUntil([&] { return buttonsFit(card); })) << "a button of the card is cut";
    window->setProblems({longText});
    EXPECT_TRUE(waitUntil([&] { return wrappedFits(window->cardHint()); }))
        << "the problem is cut: " << window->cardHint()->height() << " for "
        << window->cardHint()->heightForWidth(window->cardHint()->width());
    EXPECT_EQ(window->size(), controller.currentSize());
    EXPECT_TRUE(card->geometry().contains(window->cardHint()->geometry().translated(card->pos())));

    controller.setExpanded(false);
    window->setProblems({});
    window->setTip(longText + longText);
    controller.setHasTip(true);
    EXPECT_TRUE(waitUntil([&] { return wrappedFits(window->tipLabel()); })) << "the tip is cut";

    controller.setPhase(SkillPanelPhase::error);
    SkillPanel* panel = window->skillPanel();
    panel->setError(longText + QStringLiteral(" ") + longText);
    panel->setRetryAvailable(true);
    EXPECT_TRUE(waitUntil([&] { return wrappedFits(panel->detail()) && buttonsFit(panel); }))
        << "the error is cut";
    EXPECT_EQ(window->size(), controller.currentSize());
    EXPECT_TRUE(window->rect().contains(window->panelRect()));
}
