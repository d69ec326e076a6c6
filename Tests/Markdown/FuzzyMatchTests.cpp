#include "TavrikCore/Storage/FuzzyMatch.h"

#include <gtest/gtest.h>

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
    const QString man = kFamily.left(2);
    EXPECT_EQ(FuzzyMatch::score(man, kFamily), std::nullopt);
    // "\r\n" is one character.
    EXPECT_EQ(FuzzyMatch::score("\r", "a\r\n"), std::nullopt);
    EXPECT_EQ(FuzzyMatch::score("\n", "a\r\n"), std::nullopt);
    EXPECT_EQ(FuzzyMatch::score("a\r\n", "a\r\nb"), 24);
    EXPECT_EQ(FuzzyMatch::score("ab", "a\r\nb"), 2);
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
              (QList<QString>{"/search-google", "Search Google", "look up"}));
}
