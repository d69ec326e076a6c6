#include "ApplicationFlow.h"

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>

using namespace tavrik;
using namespace tavrik::test;

namespace {

constexpr QRgb kBeneath = 0x2e8b57;

// The screen as it is now, read back from the X server.
QImage screenImage() {
    return QGuiApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(
        QImage::Format_RGB32);
}

// Pixels of `area` outside `except` that do not show the window beneath.
int pixelsNotBeneath(const QImage& screen, const QRect& area, const QRect& except) {
    int wrong = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (!except.contains(x, y) && (screen.pixel(x, y) & 0xffffff) != kBeneath)
                ++wrong;
    return wrong;
}

using FloatingWindow = ApplicationFlow;

// Without a compositor nothing repaints for the pill: whatever its panel covered must show the
// window beneath again once the panel closes, not a black or stale rectangle.
TEST_F(FloatingWindow, WhatThePanelCoveredShowsAgainWhenItCloses) {
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    // The right half, where the pill docks; it is on screen before the pill, so beneath it.
    const QRect beneath(screen.center().x(), screen.top(), screen.width() / 2, screen.height());
    desktop.createWindow(beneath.x(), beneath.y(), beneath.width(), beneath.height(), kBeneath);

    RunningApplication app(environment());
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    // An empty demonstration ends in the error panel, which stays until it is closed.
    ASSERT_TRUE(openErrorPanel(app)) << "the panel did not open";
    const std::optional<AccessibleNode> close = app.waitFor("push button", "Close");
    ASSERT_TRUE(close);
    const QRect panelFrame = app.pill()->screenRect().intersected(beneath);
    ASSERT_TRUE(panelFrame.contains(close->centre()));
    // The picture can tell the panel from the window: while it shows, its pixels are its own.
    EXPECT_GT(pixelsNotBeneath(screenImage(), panelFrame, {}), panelFrame.width() * 20);
    screenshot("e2e-panel-over-window");

    clickAt(close->centre());
    ASSERT_TRUE(waitUntil([&] { return !app.waitFor("push button", "Close", 0); }))
        << "the panel did not close";
    desktop.moveTo(screen.left() + 10, screen.bottom() - 10); // no hover card in the picture
    // The pill's tab is its own; everything else the panel covered is the window beneath again.
    const QRect pillNow = app.pill()->screenRect();
    const QRect tab(pillNow.right() - 15, pillNow.center().y() - 32, 16, 64);
    int wrong = -1;
    waitUntil([&] { return (wrong = pixelsNotBeneath(screenImage(), panelFrame, tab)) == 0; });
    screenshot("e2e-panel-closed");
    EXPECT_EQ(wrong, 0) << "pixels where the panel was that do not show the window beneath, in "
                        << panelFrame.width() << "x" << panelFrame.height() << " outside the tab";
}

} // namespace
