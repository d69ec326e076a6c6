#include "TavrikCore/Storage/FuzzyMatch.h"
#include "TavrikCore/Support/Alphanumeric.h"

#include <QTextBoundaryFinder>
#include <gtest/gtest.h>
#include <random>

using namespace tavrik;

namespace {

QList<QString> rankTexts(const QList<QString>& texts, const QString& query) {
    return FuzzyMatch::rank(texts, query, [](const QString& text) { return QList<QString>{text}; });
}

Skill skill(const QString& name, const QString& trigger = {}) {
    Skill s;
    s.name = name;
    s.trigger = trigger;
    return s;
}

QList<QString> names(const QList<Skill>& skills) {
    QList<QString> out;
    for (const Skill& s : skills)
        out.append(s.name);
    return out;
}

const QString kComposedE = QString(QChar(0x00E9));               // é
const QString kDecomposedE = QString("e") + QChar(0x0301);       // e + combining acute
const QString kThumbsUp = QString::fromUtf8("\xF0\x9F\x91\x8D"); // 👍, two UTF-16 units
const QString kFamily =
    QString::fromUtf8("\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9"); // 👨‍👩

QStringList clusters(const QString& text) {
    QStringList out;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    for (qsizetype end = finder.toNextBoundary(); end > 0; end = finder.toNextBoundary()) {
        out.append(text.mid(start, end - start));
        start = end;
    }
    return out;
}

// The scoring rule read straight, without any fast path.
std::optional<int> referenceScore(const QString& query, const QString& text) {
    const QStringList q = clusters(query);
    const QStringList t = clusters(text);
    int total = 0;
    int run = 0;
    bool previous = false;
    qsizetype k = 0;
    for (const QString& c : t) {
        if (k < q.size() && c == q[k]) {
            run = previous ? run + 1 : 1;
            total += previous ? run + 1 : 1;
            previous = true;
            ++k;
        } else {
            previous = false;
        }
    }
    if (k < q.size())
        return std::nullopt;
    const bool prefix = t.size() >= q.size() && std::equal(q.begin(), q.end(), t.begin());
    return total + (prefix ? 20 : 0);
}

} // namespace

TEST(FuzzyMatchScore, RunsScatterAndPrefix) {
    EXPECT_EQ(FuzzyMatch::score("ab", "ab"), 24);
    EXPECT_EQ(FuzzyMatch::score("ab", "xab"), 4);
    EXPECT_EQ(FuzzyMatch::score("ab", "axb"), 2);
    EXPECT_EQ(FuzzyMatch::score("ab", "ba"), std::nullopt);
    EXPECT_EQ(FuzzyMatch::score("abcd", "abcd"), 1 + 3 + 4 + 5 + 20);
    EXPECT_EQ(FuzzyMatch::score("abcd", "xabxcd"), 1 + 3 + 1 + 3);
    EXPECT_EQ(FuzzyMatch::score("abc", "ab"), std::nullopt);
    EXPECT_EQ(FuzzyMatch::score("a", ""), std::nullopt);
    // Greedy: the first "a" is taken even though a later one would make a run.
    EXPECT_EQ(FuzzyMatch::score("ab", "a_ab"), 2);
}

TEST(FuzzyMatchScore, CharactersAreGraphemeClusters) {
    // An accented letter is one character, whichever way it is encoded...
    EXPECT_EQ(FuzzyMatch::score("caf" + kComposedE, "caf" + kComposedE), 1 + 3 + 4 + 5 + 20);
    EXPECT_EQ(FuzzyMatch::score("cafe", "caf" + kDecomposedE), std::nullopt);
    EXPECT_EQ(FuzzyMatch::score("e", kDecomposedE + "e"), 1);
    EXPECT_EQ(FuzzyMatch::score("x" + kDecomposedE, "x" + kDecomposedE), 24);
    // ...and so is an emoji, even one joined from several.
    EXPECT_EQ(FuzzyMatch::score(kThumbsUp + "a", kThumbsUp + "a"), 24);
    EXPECT_EQ(FuzzyMatch::score("a" + kThumbsUp, "xa" + kThumbsUp), 4);
    EXPECT_EQ(FuzzyMatch::score(kFamily, "x" + kFamily), 1);
    const QString toned = kThumbsUp + QString::fromUtf8("\xF0\x9F\x8F\xBD"); // medium skin tone
    EXPECT_EQ(FuzzyMatch::score(kThumbsUp, "x" + kThumbsUp + toned), 1);
    EXPECT_EQ(FuzzyMatch::score(kThumbsUp, toned), std::nullopt);
    const QString flag =
        QString::fromUtf8("\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA"); // two regional letters
    EXPECT_EQ(FuzzyMatch::score(flag, "x" + flag + "y"), 1);
    EXPECT_EQ(FuzzyMatch::score(flag.left(2), flag), std::nullopt);
    const QString man = kFamily.left(2);
    EXPECT_EQ(FuzzyMatch::score(man, kFamily), std::nullopt);
    // "\r\n" is one character.
    EXPECT_EQ(FuzzyMatch::score("\r", "a\r\n"), std::nullopt);
    EXPECT_EQ(FuzzyMatch::score("\n", "a\r\n"), std::nullopt);
    EXPECT_EQ(FuzzyMatch::score("a\r\n", "a\r\nb"), 24);
    EXPECT_EQ(FuzzyMatch::score("ab", "a\r\nb"), 2);
}

// The fast path takes every unit of this set as a whole character and lower-cases it on its
// own; check that promise against Qt's own segmentation and folding for every such unit.
TEST(FuzzyMatchScore, FastPathUnitsAreWholeCharacters) {
    int checked = 0;
    for (char32_t u = 0x80; u < 0x30000; ++u) {
        if (!FuzzyMatch::detail::standsAlone(u))
            continue;
        ++checked;
        const QString c = QString::fromUcs4(&u, 1);
        const QString folded = c.toLower().normalized(QString::NormalizationForm_C);
        const char32_t lower = u < 0x10000 ? QChar::toLower(u) : u;
        ASSERT_EQ(folded, QString::fromUcs4(&lower, 1)) << std::hex << unsigned(u);
        for (const QString& x : {c, folded}) {
            const QString text = "a" + x + x + "\r" + x + "a";
            QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
            const qsizetype n = x.size();
            for (qsizetype boundary :
                 {qsizetype(1), 1 + n, 1 + 2 * n, 2 + 2 * n, 2 + 3 * n, 3 + 3 * n})
                ASSERT_EQ(finder.toNextBoundary(), boundary) << std::hex << unsigned(u);
        }
    }
    EXPECT_GT(checked, 75000);
    // Scoring through the fast path.
    EXPECT_EQ(rankTexts({"ÉTÉ été", "ete"}, kComposedE + "t"), QList<QString>{"ÉTÉ été"});
    EXPECT_EQ(FuzzyMatch::score(kComposedE + "t", QString::fromUtf8("été été")), 24);
    EXPECT_EQ(FuzzyMatch::score(QString::fromUtf8("дом"), QString::fromUtf8("мой дом")), 1 + 3 + 4);
}

TEST(FuzzyMatchScore, AgreesWithTheRuleOnMixedTexts) {
    QStringList pieces = QStringLiteral("a|b|s|e|r|A|S|E|R| |-|\r|\n|\r\n|\t|x|y|z|q").split(u'|');
    pieces << kComposedE << QString(QChar(0xC9)) << kDecomposedE << kThumbsUp
           << kThumbsUp + QString::fromUtf8("\xF0\x9F\x8F\xBD");
    pieces << QStringLiteral("\u00df|\u0130|\u044f|\u042f|\u4e2d").split(u'|') << kFamily;
    const QStringList queries =
        QStringLiteral("s|se|sear|rsa|ae|xyz|\u00e9|e\u00e9|\U0001F44D|\u044f|r\n|\r\n|i")
            .split(u'|');
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        QString text;
        const int count = int(random() % 40);
        for (int i = 0; i < count; ++i)
            text += pieces[qsizetype(random() % pieces.size())];
        const QString folded = text.toLower().normalized(QString::NormalizationForm_C);
        for (const QString& query : queries) {
            ASSERT_EQ(FuzzyMatch::score(query, folded), referenceScore(query, folded))
                << text.toStdString() << " / " << query.toStdString();
            // Ranking folds the raw text itself, mostly on the fast path.
            ASSERT_EQ(FuzzyMatch::detail::Needle::fromQuery(query).score(text, true),
                      referenceScore(query, folded))
                << text.toStdString() << " / " << query.toStdString();
        }
    }
}

TEST(FuzzyMatchRank, BlankQueryKeepsEverythingInOrder) {
    const QList<QString> texts{"zeta", "alpha", "mid"};
    EXPECT_EQ(rankTexts(texts, ""), texts);
    EXPECT_EQ(rankTexts(texts, " \t "), texts);
    EXPECT_TRUE(rankTexts(texts, "qqq").isEmpty());
    // Only blanks and tabs are trimmed: a line break is a character to find.
    EXPECT_TRUE(rankTexts(texts, "\n").isEmpty());
    EXPECT_EQ(rankTexts({"a\nb", "ab"}, "\n"), QList<QString>{"a\nb"});
}

TEST(FuzzyMatchRank, BestFirstAndStableTies) {
    EXPECT_EQ(rankTexts({"axb", "xab", "ab", "ba", "a_b"}, "  AB\t"),
              (QList<QString>{"ab", "xab", "axb", "a_b"}));
    EXPECT_EQ(rankTexts({"second", "first", "one more"}, "o"),
              (QList<QString>{"one more", "second"}));
    EXPECT_EQ(rankTexts({"b-x", "a-x", "c-x"}, "x"), (QList<QString>{"b-x", "a-x", "c-x"}));
}

TEST(FuzzyMatchRank, FoldsCaseAndComposition) {
    EXPECT_EQ(rankTexts({"SEARCH", "Other"}, "sEa"), QList<QString>{"SEARCH"});
    EXPECT_EQ(rankTexts({"CAF" + QString(QChar(0x00C9))}, "caf" + kDecomposedE).size(), 1);
    EXPECT_EQ(rankTexts({"Caf" + kDecomposedE}, "caf" + kComposedE).size(), 1);
    EXPECT_TRUE(rankTexts({"Caf" + kDecomposedE}, "cafe").isEmpty());
    EXPECT_EQ(rankTexts({QString::fromUtf8("STRASSE"), QString::fromUtf8("Ärger")},
                        QString::fromUtf8("ä")),
              QList<QString>{QString::fromUtf8("Ärger")});
}

// The slash command is built in one pass for speed; it must agree with the plain reading:
// lower-case, "&" as "and", alphanumeric pieces (marks included) joined by "-".
TEST(FuzzyMatchRank, SlashCommandAgreesWithThePlainAlgorithmForEveryCodePoint) {
    auto plain = [](const QString& name) {
        const QString lowered = name.toLower().replace(u'&', QStringLiteral("and"));
        QStringList pieces;
        QString piece;
        for (char32_t c : lowered.toUcs4()) {
            if (isAlphanumeric(c)) {
                piece += QString::fromUcs4(&c, 1);
            } else if (!piece.isEmpty()) {
                pieces.append(piece);
                piece.clear();
            }
        }
        if (!piece.isEmpty())
            pieces.append(piece);
        return pieces.isEmpty() ? QStringLiteral("/skill") : u'/' + pieces.join(u'-');
    };
    QString name;
    for (char32_t c = 0; c < 0x110000; ++c) {
        if (c >= 0xD800 && c < 0xE000)
            continue;
        name += QString::fromUcs4(&c, 1);
        if (c % 7 == 0)
            name += c % 2 ? " & " : "&";
        if (name.size() > 40) {
            ASSERT_EQ(skill(name).slashCommand(), plain(name)) << std::hex << unsigned(c);
            name.clear();
        }
    }
    for (const QString& odd : {QString(QChar(0xD800)) + "a", "a" + QString(QChar(0xDC00)) + "b",
                               QString("&&"), QString(" - "), QString()})
        EXPECT_EQ(skill(odd).slashCommand(), plain(odd));
}

TEST(FuzzyMatchRank, SkillsMatchOnSlashCommandNameAndTrigger) {
    const QList<Skill> skills{skill("Research notes"), skill("Search Google"),
                              skill("Files", "when I say sea"), skill("Unrelated")};
    // "/sea" only fits the slash commands; "/search-google" takes the prefix bonus.
    EXPECT_EQ(names(FuzzyMatch::rank(skills, "/sea", FuzzyMatch::skillFields)),
              (QList<QString>{"Search Google", "Research notes"}));
    // A name starting with the query beats one where it occurs mid-word.
    EXPECT_EQ(names(FuzzyMatch::rank(skills, "sea", FuzzyMatch::skillFields)),
              (QList<QString>{"Search Google", "Research notes", "Files"}));
    // The best of the three texts counts: "Files" matches its trigger as a run.
    EXPECT_EQ(names(FuzzyMatch::rank(skills, "say", FuzzyMatch::skillFields)),
              (QList<QString>{"Files"}));
    EXPECT_EQ(FuzzyMatch::skillFields(skill("Search Google", "look up")),
              (std::array<QString, 3>{"/search-google", "Search Google", "look up"}));
    EXPECT_EQ(FuzzyMatch::skillFields(skill(kThumbsUp + " Launch & \U0001D400x"))[0],
              "/launch-and-\U0001D400x");

    // A word with marks is one word of the slash command, so typing its command finds it.
    const QList<Skill> marked{skill("Caf" + kDecomposedE + " Menu"),
                              skill(QString::fromUtf8("नमस्ते दुनिया")), skill("Cafe Mentions")};
    EXPECT_EQ(
        names(FuzzyMatch::rank(marked, "/caf" + kComposedE + "-menu", FuzzyMatch::skillFields)),
        QList<QString>{"Caf" + kDecomposedE + " Menu"});
    EXPECT_EQ(
        names(FuzzyMatch::rank(marked, QString::fromUtf8("/नमस्ते-दुनिया"), FuzzyMatch::skillFields)),
        QList<QString>{QString::fromUtf8("नमस्ते दुनिया")});
}
