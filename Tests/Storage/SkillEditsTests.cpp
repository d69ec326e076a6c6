#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillEdits.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <gtest/gtest.h>

using namespace tavrik;

namespace {
Skill generated() {
    Skill skill;
    skill.name = "Open the Flight Board";
    skill.trigger = "show flights to {{city}}";
    skill.summary = "Opens the departures board.";
    skill.createdAt = QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC);
    skill.appScope = {"org.chromium.Chromium"};
    skill.sourceRecordingID = QUuid::createUuid();
    skill.parameters = {
        {QUuid::createUuid(), "city", ParameterType::text, "Which city?", "Lisbon", {0}}};
    PlanStep open;
    open.intent = "Open the board";
    skill.plan = {open};
    // The step's app is kept only in the plan document: SKILL.md does not write it.
    RuntimeSpec step{
        "open_url", "org.chromium.Chromium", "https://old.example.org/{{city}}", {}, {}};
    skill.runtime =
        RuntimeSpec{"sequence", "org.chromium.Chromium", {}, {}, QList<RuntimeSpec>{step}};
    return skill;
}

QString replaced(QString text, const QString& from, const QString& to) {
    EXPECT_TRUE(text.contains(from)) << from.toStdString();
    return text.replace(from, to);
}

// The "name" line of a SKILL.md front matter.
QString nameLine(const QString& markdown) {
    for (const QString& line : markdown.split('\n'))
        if (line.startsWith("name:"))
            return line;
    return {};
}
} // namespace

// An edited address must be the one a cast opens: the plan document, which wins at load, is
// written from the merged skill, so it agrees with the text.
TEST(SkillEdits, EveryEditedFrontMatterFieldIsTakenAndSurvivesTheLibrary) {
    test::TempSupportFolder support;
    const Skill before = generated();
    QString text = SkillMarkdown::render(before);
    text = replaced(text, "https://old.example.org/", "https://new.example.org/");
    text = replaced(text, "trigger: show flights", "trigger: list flights");
    text = replaced(
        text, "app_scope: [org.chromium.Chromium]",
        "app_scope: [org.chromium.Chromium, org.gnome.Maps]\nurl: https://new.example.org/");
    text = replaced(text, "example: Lisbon", "example: Porto");
    text = replaced(text, "Opens the departures board.", "Opens the arrivals board.");

    const Skill merged = SkillEdits::merged(before, text);
    ASSERT_TRUE(merged.runtime && merged.runtime->steps && merged.runtime->steps->size() == 1);
    EXPECT_EQ(merged.runtime->steps->first().urlTemplate, "https://new.example.org/{{city}}");
    EXPECT_EQ(merged.trigger, "list flights to {{city}}");
    EXPECT_EQ(merged.appScope, (QList<QString>{"org.chromium.Chromium", "org.gnome.Maps"}));
    EXPECT_EQ(merged.url, "https://new.example.org/");
    EXPECT_EQ(merged.summary, "Opens the arrivals board.");
    ASSERT_EQ(merged.parameters.size(), 1);
    EXPECT_EQ(merged.parameters[0].exampleValue, "Porto");
    // What the text does not hold stays: identity, the plan, and which steps use a parameter.
    EXPECT_EQ(merged.id, before.id);
    EXPECT_EQ(merged.createdAt, before.createdAt);
    EXPECT_EQ(merged.sourceRecordingID, before.sourceRecordingID);
    EXPECT_EQ(merged.plan, before.plan);
    EXPECT_EQ(merged.parameters[0].id, before.parameters[0].id);
    EXPECT_EQ(merged.parameters[0].usedInSteps, before.parameters[0].usedInSteps);

    ASSERT_TRUE(SkillStore().save(merged, text).ok());
    const Result<Skill> loaded = SkillStore().load(Paths::skill(before.id));
    ASSERT_TRUE(loaded.ok());
    EXPECT_EQ(loaded->runtime, merged.runtime);
    EXPECT_EQ(loaded->parameters, merged.parameters);

    // Taking the runtime block out takes the runtime away, on disk too.
    const QString withoutRuntime =
        text.left(text.indexOf("runtime:")) + text.mid(text.indexOf("parameters:"));
    const Skill plain = SkillEdits::merged(merged, withoutRuntime);
    EXPECT_FALSE(plain.runtime);
    ASSERT_TRUE(SkillStore().save(plain, withoutRuntime).ok());
    EXPECT_FALSE(SkillStore().load(Paths::skill(before.id))->runtime);
}

// What the user did not touch keeps what the text cannot say: a step's app, parameter ids.
TEST(SkillEdits, UntouchedRuntimeAndParametersStayWhole) {
    const Skill before = generated();
    const QString text =
        replaced(SkillMarkdown::render(before), "name: Open the Flight Board", "name: Flights");
    const Skill merged = SkillEdits::merged(before, text);
    EXPECT_EQ(merged.name, "Flights");
    EXPECT_EQ(merged.runtime, before.runtime);
    EXPECT_EQ(merged.parameters, before.parameters);
    // A new parameter gets an identity of its own; the old one keeps its own.
    const Skill more = SkillEdits::merged(
        before, replaced(text, "parameters:\n", "parameters:\n  - name: date\n    type: date\n"));
    ASSERT_EQ(more.parameters.size(), 2);
    EXPECT_EQ(more.parameters[0].name, "date");
    EXPECT_NE(more.parameters[0].id, before.parameters[0].id);
    EXPECT_EQ(more.parameters[1].id, before.parameters[0].id);
}

TEST(SkillEdits, RenamingQuotesAsRenderingDoesAndChangesWhatTheParserReads) {
    const Skill before = generated();
    const QString text = SkillMarkdown::render(before);
    for (const QString& name :
         {QString("Flights"), QString("Flights: to Lisbon"), QString("Say \"hi\" # now"),
          QString("A, B [and] C"), QString("Caf\u00E9 \"Menu\"")}) {
        Skill named = before;
        named.name = name;
        const QString renamed = SkillEdits::renamed(text, name);
        EXPECT_EQ(nameLine(renamed), nameLine(SkillMarkdown::render(named))) << name.toStdString();
        EXPECT_EQ(SkillMarkdown::parse(renamed)->name,
                  SkillMarkdown::parse(SkillMarkdown::render(named))->name);
        EXPECT_EQ(renamed.size() - nameLine(renamed).size(), text.size() - nameLine(text).size());
    }
    // The parser reads the last of several name lines, a tab-indented one among them; an
    // indented "name:" belongs to a parameter and stays.
    const QString doubled =
        "---\r\nname: One\r\n\tname: Two\r\nparameters:\r\n  - name: city\r\n---\r\n# One\r\n";
    const QString renamed = SkillEdits::renamed(doubled, "Three");
    EXPECT_EQ(
        renamed,
        "---\r\nname: Three\r\nname: Three\r\nparameters:\r\n  - name: city\r\n---\r\n# One\r\n");
    EXPECT_EQ(SkillMarkdown::parse(renamed)->name, "Three");
    // A front matter without a name line, or no front matter at all, gets one.
    EXPECT_EQ(SkillEdits::renamed("---\ntrigger: go\n---\nBody", "New: one"),
              "---\nname: \"New: one\"\ntrigger: go\n---\nBody");
    // Built from the character: a UTF-8 literal's mark may be dropped on its way into a QString.
    const QString mark(QChar(0xFEFF));
    EXPECT_EQ(SkillEdits::renamed(mark + "Just a body", "Named"),
              mark + "---\nname: Named\n---\nJust a body");
    EXPECT_EQ(SkillMarkdown::parse(SkillEdits::renamed(mark + "Just a body", "Named"))->summary,
              "Just a body");
}
