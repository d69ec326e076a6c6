#include "Tavrik/MainWindow/SkillIcon.h"
#include "ViewsTestSupport.h"

#include <gtest/gtest.h>

using namespace tavrik;

namespace {

QString symbolOf(const QString& name, const QString& trigger = {}, const QString& summary = {},
                 QList<QString> scope = {}) {
    Skill skill;
    skill.name = name;
    skill.trigger = trigger;
    skill.summary = summary;
    skill.appScope = std::move(scope);
    return SkillIcon::symbol(skill);
}

} // namespace

TEST(SkillIcon, FirstMatchingRowOfNameTriggerSummaryAndScopeWins) {
    EXPECT_EQ(symbolOf("Email the calendar"), "envelope");
    EXPECT_EQ(symbolOf("send the report"), "doc.text");
    EXPECT_EQ(symbolOf("Download the invoice"), "creditcard");
    EXPECT_EQ(symbolOf("download"), "arrow.down.circle");
    EXPECT_EQ(symbolOf("post the build"), "paperplane");
    // Plain substrings in any case.
    EXPECT_EQ(symbolOf("open BITMAP"), "map");
    EXPECT_EQ(symbolOf("Summarize the thread"), "sparkles");
    EXPECT_EQ(symbolOf("Do it", "when I say go", "plays a playlist"), "music.note");
    EXPECT_EQ(symbolOf("Do it", "", "", {"Slack", "Google Chrome"}), "message");
    // Words joined across fields do not make a keyword out of their edges.
    EXPECT_EQ(symbolOf("ma", "p"), "bolt.fill");
    EXPECT_EQ(symbolOf(""), "bolt.fill");
}

TEST(SkillIcon, EverySymbolHasABundledDrawing) {
    for (const QString& symbol : SkillIcon::allSymbols()) {
        const QImage image = SkillIcon::bundledPixmap(symbol, 24, Qt::black).toImage();
        ASSERT_EQ(image.size(), QSize(24, 24)) << symbol.toStdString();
        int inked = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                inked += qAlpha(image.pixel(x, y)) > 128;
        EXPECT_GT(inked, 20) << symbol.toStdString() << " draws nothing";
    }
    EXPECT_FALSE(SkillIcon::icon(QStringLiteral("no.such.symbol")).isNull());
}

TEST(SkillIcon, DrawsInTheAskedColour) {
    const QImage image = SkillIcon::bundledPixmap("bolt.fill", 24, QColor(0xff, 0, 0)).toImage();
    const QRgb middle = image.pixel(11, 12);
    EXPECT_GT(qRed(middle), 200);
    EXPECT_LT(qGreen(middle), 40);
}
