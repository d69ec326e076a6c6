#include "TavrikCore/Models/ExecutionPlanDocument.h"
#include "TavrikCore/Support/Json.h"

#include <QJsonDocument>
#include <QSet>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {
Skill named(const QString& name) {
    Skill skill;
    skill.name = name;
    return skill;
}

RuntimeSpec openURL(const QString& url) {
    RuntimeSpec spec;
    spec.type = "open_url";
    spec.urlTemplate = url;
    return spec;
}
} // namespace

TEST(SkillModel, AllURLTemplatesInOpeningOrder) {
    RuntimeSpec spec = openURL("a");
    spec.urlTemplates = QList<QString>{"b", "c"};
    spec.steps = QList<RuntimeSpec>{openURL("d")};
    EXPECT_EQ(spec.allURLTemplates(), (QList<QString>{"a", "b", "c", "d"}));

    RuntimeSpec sequence{
        "sequence", {}, {}, {}, QList<RuntimeSpec>{openURL("x"), openURL(""), openURL("x")}};
    EXPECT_EQ(sequence.allURLTemplates(), (QList<QString>{"x", "", "x"}));
    EXPECT_TRUE(RuntimeSpec{"open_url"}.allURLTemplates().isEmpty());
}

TEST(SkillModel, RuntimeEqualityAndHashAreRecursive) {
    RuntimeSpec a{"sequence", "com.google.Chrome", {}, {}, QList<RuntimeSpec>{openURL("x")}};
    RuntimeSpec b = a;
    EXPECT_EQ(a, b);
    EXPECT_EQ(qHash(a), qHash(b));
    (*b.steps)[0].urlTemplate = "y";
    EXPECT_NE(a, b);
    RuntimeSpec absentApp = a, emptyApp = a;
    absentApp.app.reset();
    emptyApp.app = "";
    EXPECT_NE(absentApp, emptyApp);
    EXPECT_EQ((QSet<RuntimeSpec>{a, b, a}.size()), 2);
}

TEST(SkillModel, DecodingRequiresEveryNonOptionalKey) {
    Skill skill = named("Check Price");
    skill.createdAt = QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC);
    QJsonObject json = skill.toJson();
    EXPECT_FALSE(json.contains("url"));
    EXPECT_FALSE(json.contains("runtime"));
    EXPECT_FALSE(json.contains("sourceRecordingID"));
    ASSERT_TRUE(Skill::fromJson(json).ok());
    EXPECT_FALSE(Skill::fromJson(json)->url);

    for (const char* key : {"createdAt", "id", "name", "trigger", "summary", "mode", "parameters",
                            "plan", "appScope"}) {
        QJsonObject missing = json;
        missing.remove(key);
        const Result<Skill> decoded = Skill::fromJson(missing);
        EXPECT_FALSE(decoded.ok()) << key;
        EXPECT_TRUE(decoded.error().startsWith(key)) << decoded.error().toStdString();
    }
    QJsonObject direct = json;
    direct.insert("mode", "direct");
    EXPECT_FALSE(Skill::fromJson(direct).ok());
}

TEST(SkillModel, UnknownParameterTypeFails) {
    Parameter parameter{QUuid::createUuid(), "color", ParameterType::text, "Which?", "red", {0, 2}};
    QJsonObject json = parameter.toJson();
    ASSERT_TRUE(Parameter::fromJson(json).ok());
    EXPECT_EQ(*Parameter::fromJson(json), parameter);
    json.insert("type", "color");
    EXPECT_FALSE(Parameter::fromJson(json).ok());
}

TEST(SkillModel, FullSkillRoundTripsThroughJson) {
    Skill skill = named("Save a Token's Price to a Sheet");
    skill.trigger = "save the price of {{token}}";
    skill.summary = "Reads a price and appends it.";
    skill.createdAt = QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC);
    skill.appScope = {"com.google.Chrome"};
    skill.url = "https://example.org/prices";
    skill.sourceRecordingID = QUuid::createUuid();
    skill.parameters = {
        {QUuid::createUuid(), "token", ParameterType::searchTerm, "Which token?", "BTC", {1}}};
    PlanStep step;
    step.index = 1;
    step.intent = "Type the token";
    step.action = ActionType::keystroke;
    step.text = "{{token}}";
    step.keyCode = 36;
    step.modifierFlags = 0x40000;
    step.precondition = "The page is open";
    step.isDestructive = true;
    step.target = AXTarget{};
    step.location = Point{1, 2};
    skill.plan = {step};
    RuntimeSpec runtime = openURL("https://example.org/?q={{token|urlencode}}");
    runtime.app = "";
    runtime.urlTemplates = QList<QString>{};
    skill.runtime = runtime;

    const QJsonObject json = skill.toJson();
    EXPECT_EQ(json.value("sourceRecordingID").toString(), json::uuidText(*skill.sourceRecordingID));
    const Result<Skill> decoded =
        Skill::fromJson(QJsonDocument::fromJson(json::compact(json)).object());
    ASSERT_TRUE(decoded.ok());
    EXPECT_EQ(*decoded, skill);

    ExecutionPlanDocument document{skill.parameters, skill.plan, skill.runtime};
    EXPECT_EQ(ExecutionPlanDocument::fromJson(document.toJson()).valueOr({}), document);
}

TEST(SkillModel, DatesAreUtcWholeSecondsAndStrict) {
    EXPECT_EQ(json::dateText(QDateTime::fromMSecsSinceEpoch(1767323045999, Qt::UTC)),
              "2026-01-02T03:04:05Z");
    EXPECT_EQ(json::parseDate(u"2026-01-02T04:04:05+01:00"),
              QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC));
    EXPECT_FALSE(json::parseDate(u"2026-01-02"));
    EXPECT_FALSE(json::parseDate(u"yesterday"));
    EXPECT_FALSE(json::parseDate(u"2026-13-02T03:04:05Z"));
    // Only dates that dateText writes back in the same form.
    EXPECT_FALSE(json::parseDate(u"9999-12-31T23:59:59-01:00"));
    EXPECT_FALSE(json::parseDate(u"0001-01-01T00:00:00+01:00"));
    EXPECT_TRUE(json::parseDate(u"9999-12-31T23:59:59+01:00"));
    EXPECT_TRUE(json::parseUuid(u"0b8d3e2c-7f6a-4b1c-9d2e-3f4a5b6c7d8e"));
    EXPECT_FALSE(json::parseUuid(u"{0b8d3e2c-7f6a-4b1c-9d2e-3f4a5b6c7d8e}"));
    EXPECT_FALSE(json::parseUuid(u"0b8d3e2c-7f6a-4b1c-9d2e-3f4a5b6c7d8g"));
}

// Marks belong to their letters: a decomposed accent, a Devanagari vowel sign or virama, and
// the dot that "İ" lowers to keep each word whole.
TEST(SkillModel, SlashCommandKeepsMarksWithTheirLetters) {
    EXPECT_EQ(named(QStringLiteral("Cafe\u0301 Menu")).slashCommand(),
              QStringLiteral("/cafe\u0301-menu"));
    EXPECT_EQ(named(QStringLiteral("नमस्ते दुनिया")).slashCommand(), QStringLiteral("/नमस्ते-दुनिया"));
    EXPECT_EQ(named(QStringLiteral("İstanbul Trip")).slashCommand(),
              QStringLiteral("/i\u0307stanbul-trip"));
    EXPECT_EQ(named(QStringLiteral("Caf\u00E9 & Bar")).slashCommand(),
              QStringLiteral("/caf\u00E9-and-bar"));
    // A mark with no letter before it still makes a word, as the other alphanumerics do.
    EXPECT_EQ(named(QStringLiteral("\u0301 x")).slashCommand(), QStringLiteral("/\u0301-x"));
    EXPECT_EQ(named(QStringLiteral("  Hello   World! ")).slashCommand(),
              QStringLiteral("/hello-world"));
    EXPECT_EQ(named(QStringLiteral("!!!")).slashCommand(), QStringLiteral("/skill"));
}
