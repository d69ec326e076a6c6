// How the pill behaves on a real X server: its click-through switch really lets clicks reach the
// window beneath. Runs when the views tests are started on the xcb platform
// (TAVRIK_VIEWS_ON_X11=1 with a display); skips otherwise. That the palette takes the keyboard is
// the end-to-end test's to see.
#include "Tavrik/Pill/PillWindow.h"
#include "ViewsTestSupport.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QProcess>
#include <QStandardPaths>
#include <QWindow>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::testing;

namespace {

bool onX11() {
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

// Counts presses; a second quick click at the same spot arrives as a double click.
class PressCounter : public QObject {
public:
    int presses = 0;
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::MouseButtonPress ||
            event->type() == QEvent::MouseButtonDblClick)
            ++presses;
        return false;
    }
};

bool xdotool(const QStringList& arguments) {
    return QProcess::execute(QStringLiteral("xdotool"), arguments) == 0;
}

} // namespace

TEST(OnX11, PillLetsClicksThroughOnlyWhenAsked) {
    if (!onX11())
        GTEST_SKIP() << "needs the xcb platform";
    if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty())
        GTEST_SKIP() << "needs xdotool";
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();

    // An ordinary window under the pill's tab.
    QWidget beneath(nullptr, Qt::FramelessWindowHint);
    beneath.setGeometry(area.right() - 200, area.center().y() - 100, 200, 200);
    PressCounter beneathPresses;
    beneath.installEventFilter(&beneathPresses);
    beneath.show();

    PillWindow pill;
    pill.resize(320, 140);
    pill.move(area.right() + 1 - 320, area.center().y() - 70);
    PressCounter pillPresses;
    pill.installEventFilter(&pillPresses);
    pill.show();
    ASSERT_TRUE(
        waitUntil([&] { return pill.windowHandle() && pill.windowHandle()->isExposed(); }, 3000));
    waitUntil([] { return false; }, 200);

    const QPoint tab = pill.mapToGlobal(pill.tabRect().center());
    auto clickTab = [&] {
        return xdotool(
            {"mousemove", QString::number(tab.x()), QString::number(tab.y()), "click", "1"});
    };

    pill.setAcceptsMouse(false);
    waitUntil([] { return false; }, 100);
    ASSERT_TRUE(clickTab());
    EXPECT_TRUE(waitUntil([&] { return beneathPresses.presses == 1; }, 3000));
    EXPECT_EQ(pillPresses.presses, 0);
    EXPECT_TRUE(pill.isVisible());

    pill.setAcceptsMouse(true);
    waitUntil([] { return false; }, 100);
    ASSERT_TRUE(clickTab());
    EXPECT_TRUE(waitUntil([&] { return pillPresses.presses == 1; }, 3000));
    EXPECT_EQ(beneathPresses.presses, 1);

    // A new shape for the window (a tip appearing) keeps clicks passing through.
    pill.setAcceptsMouse(false);
    pill.setTip(QStringLiteral("Press ctrl + / to call your skill"));
    waitUntil([] { return false; }, 100);
    ASSERT_TRUE(clickTab());
    EXPECT_TRUE(waitUntil([&] { return beneathPresses.presses == 2; }, 3000));
    EXPECT_EQ(pillPresses.presses, 1);
}
