#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Replay/ParameterFill.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikCore/Storage/SkillMarkdown.h"

#include <gtest/gtest.h>

namespace tavrik {
namespace {

PlanStep clickOn(const QString& role) {
    PlanStep step;
    step.action = ActionType::click;
    step.target = AXTarget{};
    step.target->appBundleID = QStringLiteral("org.example.App");
    if (!role.isEmpty())
        step.target->axRole = role;
    step.location = Point{10, 10};
    return step;
}

TEST(CastRoute, RecordedPlansReplayRuntimesOpenDirectlyTheRestGoesToTheAgent) {
    Skill skill;
    EXPECT_EQ(CastRoute::method(skill), CastMethod::agent); // nothing recorded
    skill.plan = {clickOn(QStringLiteral("push button"))};
    EXPECT_EQ(CastRoute::method(skill), CastMethod::replay);

    // A page step whose element was never described cannot be expressed by replay.
    skill.plan.append(clickOn(QString()));
    EXPECT_EQ(CastRoute::method(skill), CastMethod::agent);
    // Unless its window is known: then it is a point in that window.
    skill.plan.last().target->windowFrame = Rect(0, 0, 100, 100);
    EXPECT_EQ(CastRoute::method(skill), CastMethod::replay);

    skill.runtime = RuntimeSpec{
        QStringLiteral("open_url"), {}, QStringLiteral("https://example.com/{{q}}"), {}, {}};
    EXPECT_EQ(CastRoute::method(skill), CastMethod::runtime);
    skill.castWith = CastMethod::replay;
    EXPECT_EQ(CastRoute::method(skill), CastMethod::replay);
}

TEST(CastRoute, TheAuthorsChoiceTravelsThroughSkillMd) {
    Skill skill;
    skill.name = QStringLiteral("Greet");
    skill.createdAt = QDateTime::fromSecsSinceEpoch(0, Qt::UTC);
    skill.castWith = CastMethod::agent;
    const QString text = SkillMarkdown::render(skill);
    EXPECT_TRUE(text.contains(QStringLiteral("\ncast_with: agent\n")));
    EXPECT_EQ(SkillMarkdown::parse(text)->castWith, CastMethod::agent);
    QString unknown = text;
    unknown.replace(QStringLiteral("cast_with: agent"), QStringLiteral("cast_with: telepathy"));
    EXPECT_EQ(SkillMarkdown::parse(unknown)->castWith, std::nullopt);
    EXPECT_EQ(Skill::fromJson(skill.toJson())->castWith, CastMethod::agent);
}

TEST(CastRoute, SecureTypingIsAskedForAndPassesOnlyAsOneLine) {
    Skill skill;
    PlanStep secret = clickOn(QStringLiteral("password text"));
    secret.action = ActionType::keystroke;
    secret.target->isSecure = true;
    secret.target->axTitle = QStringLiteral("PIN");
    secret.target->appName = QStringLiteral("Bank");
    PlanStep enter = secret;
    enter.keyCode = 36; // Return in the same field is no secret
    skill.plan = {clickOn(QStringLiteral("push button")), secret, enter};
    EXPECT_EQ(CastRoute::secretSteps(skill), QList<qsizetype>{1});
    EXPECT_EQ(CastRoute::secretFieldLabel(secret), QStringLiteral("PIN in Bank"));

    const QMap<qsizetype, QString> secrets{{1, QStringLiteral("p\"a\nss")}};
    const QByteArray line = ReplaySecrets::encode(secrets);
    EXPECT_EQ(line.count('\n'), 1);
    EXPECT_EQ(ReplaySecrets::decode(line), secrets);
    EXPECT_EQ(ReplaySecrets::decode("[1]"), std::nullopt);
    EXPECT_EQ(ReplaySecrets::decode("{\"x\": \"1\"}"), std::nullopt);
}

TEST(ParameterFill, TheRunsValuesReplaceExamplesAndPlaceholders) {
    const QList<Parameter> parameters{
        Parameter{QUuid::createUuid(),
                  QStringLiteral("city"),
                  ParameterType::text,
                  {},
                  QStringLiteral("New York"),
                  {}},
        Parameter{QUuid::createUuid(),
                  QStringLiteral("short"),
                  ParameterType::text,
                  {},
                  QStringLiteral("York"),
                  {}},
        Parameter{
            QUuid::createUuid(), QStringLiteral("empty"), ParameterType::text, {}, QString(), {}}};
    const QMap<QString, QString> values{{QStringLiteral("city"), QStringLiteral("Paris")},
                                        {QStringLiteral("short"), QStringLiteral("Yorkshire")},
                                        {QStringLiteral("empty"), QStringLiteral("E")}};
    EXPECT_EQ(
        ParameterFill::fill(QStringLiteral("Flights to New York from York"), parameters, values),
        QStringLiteral("Flights to Paris from Yorkshire"));
    EXPECT_EQ(
        ParameterFill::fill(QStringLiteral("{{city}}/{{empty}}/{{unknown}}"), parameters, values),
        QStringLiteral("Paris/E/{{unknown}}"));
    // A value that contains an example is not replaced again.
    EXPECT_EQ(ParameterFill::fill(QStringLiteral("York"), parameters,
                                  {{QStringLiteral("short"), QStringLiteral("York York")}}),
              QStringLiteral("York York"));
}

} // namespace
} // namespace tavrik
