#include "ApplicationFlow.h"
#include "Tavrik/Style/Theme.h"

#include <QFontMetrics>
#include <QGuiApplication>
#include <QScreen>

using namespace tavrik;
using namespace tavrik::test;

namespace {

using PillTexts = ApplicationFlow;

struct Look {
    const char* name;
    double scale;
    int fontDpi; // the desktop's font resolution (Xft.dpi); larger text sets more than 96
};

// Every button's whole text fits in it, and the part it is on stays on the screen. Sizes are
// in the program's points, as the accessibility tree gives them.
void expectWholeTexts(const AccessibleNode& part, const QStringList& buttons, const Look& look) {
    const double scale = look.scale * look.fontDpi / 96.0;
    const QSize screenPoints = QGuiApplication::primaryScreen()->geometry().size() / scale;
    const QRect onScreen(QPoint(0, 0), screenPoints);
    EXPECT_TRUE(onScreen.contains(part.screenRect()))
        << "off the screen: " << part.screenRect().x() << "," << part.screenRect().y() << " "
        << part.screenRect().width() << "x" << part.screenRect().height();
    // Qt scales the whole program with the font resolution, so a text's width in points is the
    // same at every resolution and scale.
    const QFontMetricsF metrics(Theme::font(9.5, QFont::Medium));
    for (const QString& text : buttons) {
        const std::optional<AccessibleNode> button = findNode(part, [&](const AccessibleNode& n) {
            return n.role() == "push button" && n.name() == text;
        });
        ASSERT_TRUE(button) << text.toStdString();
        // Its text and room at both ends: the pill's buttons pad their texts 9 points a side
        // or more, and a cut one shows less than the text ("ecord a ski").
        const double needed = metrics.horizontalAdvance(text) + 2 * 8;
        EXPECT_GE(button->screenRect().width(), needed) << text.toStdString() << " is cut";
        EXPECT_TRUE(part.screenRect().contains(button->screenRect()))
            << text.toStdString() << " runs off its card";
    }
}

// The hover card and the panel size themselves from their texts and the font: at scale 1, 1.5
// and 2 and with a larger font, no button text is cut and nothing runs off the screen.
TEST_F(PillTexts, TheCardAndThePanelShowWholeButtonTextsAtAnyScaleAndFontSize) {
    for (const Look& look : {Look{"scale-1", 1, 96}, Look{"scale-1.5", 1.5, 96},
                             Look{"scale-2", 2, 96}, Look{"large-font", 1, 144}}) {
        SCOPED_TRACE(look.name);
        QProcessEnvironment env = environment();
        env.insert("QT_SCALE_FACTOR", QString::number(look.scale));
        env.insert("QT_FONT_DPI", QString::number(look.fontDpi));
        RunningApplication app(env);
        ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";

        // The tab sits on the right edge, halfway down; resting on it opens the card.
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        desktop.moveTo(screen.right() - 3, screen.center().y());
        desktop.sync();
        ASSERT_TRUE(app.waitFor("push button", "Open Tavrik")) << "the card did not open";
        expectWholeTexts(*app.pill(), {"Record a skill", "Cast a skill", "Open Tavrik"}, look);
        screenshot(QStringLiteral("e2e-pill-card-%1").arg(look.name).toUtf8().constData());
        desktop.moveTo(screen.left() + 10, screen.bottom() - 10);
        desktop.sync();

        const std::optional<AccessibleNode> panel = openErrorPanel(app);
        ASSERT_TRUE(panel) << "the panel did not open";
        expectWholeTexts(*panel, {"Close"}, look);
        screenshot(QStringLiteral("e2e-pill-panel-%1").arg(look.name).toUtf8().constData());
    }
}

} // namespace
