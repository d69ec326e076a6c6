#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {
Skill richSkill() {
    Skill skill;
    skill.name = "Search: Web & Maps";
    skill.trigger = "look up {{place}}";
    skill.summary = "Looks a place up.";
    skill.createdAt = QDateTime::fromMSecsSinceEpoch(1767323045678, Qt::UTC);
    skill.appScope = {"com.google.Chrome", "org.gnome.Maps"};
    skill.url = "https://maps.example.org/";
    skill.sourceRecordingID = QUuid::createUuid();
    skill.parameters = {{QUuid::createUuid(),
                         "place",
                         ParameterType::searchTerm,
                         "Which place?",
                         "Lisbon",
                         {0, 1}}};
    PlanStep open;
    open.index = 0;
    open.intent = "Open the map";
    open.action = ActionType::click;
    AXTarget target;
    target.axTitle = "Search";
    open.target = target;
    PlanStep type;
    type.index = 1;
    type.intent = "Type the place";
    type.action = ActionType::keystroke;
    type.text = "{{place}}";
    type.isDestructive = true;
    skill.plan = {open, type};
    skill.runtime =
        RuntimeSpec{"sequence",
                    "com.google.Chrome",
                    {},
                    {},
                    QList<RuntimeSpec>{{"open_url", {}, "https://a/{{place|urlencode}}"}}};
    return skill;
}

void write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray read(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

TEST(SkillStore, SaveThenLoadKeepsEverythingButSubSeconds) {
    test::TempSupportFolder support;
    SkillStore store;
    const Skill skill = richSkill();
    ASSERT_TRUE(store.save(skill).ok());

    const QString folder = Paths::skill(skill.id);
    QStringList files = QDir(folder).entryList(QDir::Files);
    files.sort();
    EXPECT_EQ(files, (QStringList{"SKILL.md", "execution_plan.json", "recording.ref"}));
    EXPECT_EQ(read(folder + "/recording.ref"), json::uuidText(*skill.sourceRecordingID).toUtf8());
    const QByteArray plan = read(folder + "/execution_plan.json");
    EXPECT_TRUE(
        plan.startsWith("{\n    \"created\": \"2026-01-02T03:04:05Z\",\n    \"parameters\": ["))
        << plan.left(80).toStdString();
    EXPECT_LT(plan.indexOf("\"plan\""), plan.indexOf("\"runtime\""));

    Result<Skill> loaded = store.load(folder);
    ASSERT_TRUE(loaded.ok());
    Skill expected = skill;
    expected.createdAt = json::truncatedToSeconds(skill.createdAt);
    EXPECT_EQ(*loaded, expected);
    EXPECT_EQ(store.markdownPath(skill), folder + "/SKILL.md");
}

TEST(SkillStore, OverrideTextIsWrittenAsGivenAndTheOldRecordingRefStays) {
    test::TempSupportFolder support;
    SkillStore store;
    Skill skill = richSkill();
    ASSERT_TRUE(store.save(skill).ok());
    const QUuid original = *skill.sourceRecordingID;
    skill.sourceRecordingID.reset();
    const QString edited = "---\nname: Edited by hand\n---\n\n# Edited by hand\n\nMine now.\n";
    ASSERT_TRUE(store.save(skill, edited).ok());
    EXPECT_EQ(read(store.markdownPath(skill)), edited.toUtf8());
    Result<Skill> loaded = store.load(Paths::skill(skill.id));
    ASSERT_TRUE(loaded.ok());
    EXPECT_EQ(loaded->name, "Edited by hand");
    EXPECT_EQ(loaded->summary, "Mine now.");
    EXPECT_EQ(loaded->sourceRecordingID, original);
    EXPECT_EQ(loaded->plan.size(), 2);
    // The text has no "created:" line: the save time still places it in the library.
    EXPECT_EQ(loaded->createdAt, json::truncatedToSeconds(skill.createdAt));

    Skill newest = richSkill();
    newest.createdAt = skill.createdAt.addDays(1);
    ASSERT_TRUE(store.save(newest, "---\nname: Saved from a draft\n---\n\nText as typed.\n").ok());
    const QList<Skill> library = store.loadAll();
    ASSERT_EQ(library.size(), 2);
    EXPECT_EQ(library[0].name, "Saved from a draft");
    EXPECT_EQ(read(store.markdownPath(newest)),
              "---\nname: Saved from a draft\n---\n\nText as typed.\n");
}

TEST(SkillStore, ASkillWithoutATimeKeepsItsPlan) {
    test::TempSupportFolder support;
    SkillStore store;
    Skill skill = richSkill();
    skill.createdAt = QDateTime();
    ASSERT_TRUE(store.save(skill).ok());
    Result<Skill> loaded = store.load(Paths::skill(skill.id));
    ASSERT_TRUE(loaded.ok());
    EXPECT_EQ(loaded->plan, skill.plan); // destructive marks included
}

TEST(SkillStore, BrokenPlanDocumentDegradesToTheMarkdown) {
    test::TempSupportFolder support;
    SkillStore store;
    const Skill skill = richSkill();
    const QString folder = Paths::skill(skill.id);
    const QList<QByteArray> broken{"{\"parameters\": [", "[]", "{\"parameters\": 3, \"plan\": []}",
                                   "{\"parameters\": [], \"plan\": [{\"id\": \"x\"}]}"};
    for (const QByteArray& document : broken) {
        ASSERT_TRUE(store.save(skill).ok());
        write(folder + "/execution_plan.json", document);
        Result<Skill> loaded = store.load(folder);
        ASSERT_TRUE(loaded.ok()) << document.toStdString();
        EXPECT_TRUE(loaded->plan.isEmpty());
        ASSERT_EQ(loaded->parameters.size(), 1);
        EXPECT_EQ(loaded->parameters[0].exampleValue, "Lisbon");
        ASSERT_TRUE(loaded->runtime);
        EXPECT_EQ(loaded->runtime->type, "sequence");
    }
    // A plan without a runtime keeps the runtime written in the front matter.
    write(folder + "/execution_plan.json", "{\"parameters\": [], \"plan\": []}");
    EXPECT_EQ(store.load(folder)->runtime->allURLTemplates(),
              QList<QString>{"https://a/{{place|urlencode}}"});
}

TEST(SkillStore, LoadAllSurvivesAMessyLibrary) {
    test::TempSupportFolder support;
    SkillStore store;
    Skill newest = richSkill();
    newest.createdAt = QDateTime::fromSecsSinceEpoch(3000, Qt::UTC);
    Skill middle = richSkill();
    middle.createdAt = QDateTime::fromSecsSinceEpoch(2000, Qt::UTC);
    ASSERT_TRUE(store.save(middle).ok());
    ASSERT_TRUE(store.save(newest).ok());
    const QString skills = Paths::skills();
    write(skills + "/stray.txt", "not a skill");
    QDir().mkpath(skills + "/no-markdown-here");
    write(skills + "/hand-made/SKILL.md", "# Hand made\r\n\r\nNo front matter at all.\r\n");
    write(skills + "/unclosed/SKILL.md", "---\nname: Unclosed\ncreated: 2026-01-01T00:00:00Z\n");
    write(skills + "/latin1/SKILL.md", "---\nname: Caf\xe9\n---\n");
    write(skills + "/.hidden/SKILL.md", "---\nname: Hidden\ncreated: 1960-01-01T00:00:00Z\n---\n");
    QFile::link(Paths::skill(middle.id), skills + "/linked");
    QFile::link(skills + "/does-not-exist", skills + "/dangling");
    QByteArray huge = "---\nname: Huge\ncreated: 1999-01-01T00:00:00Z\n---\n\n# Huge\n\n";
    huge += QByteArray(1024 * 1024 - huge.size(), 'x');
    write(skills + "/huge/SKILL.md", huge);
    write(skills + "/too-huge/SKILL.md", huge + 'x');

    const QList<Skill> all = store.loadAll();
    QStringList names;
    for (const Skill& skill : all)
        names << skill.name + "@" + json::dateText(skill.createdAt);
    EXPECT_EQ(names,
              (QStringList{"Unclosed@2026-01-01T00:00:00Z", "Huge@1999-01-01T00:00:00Z",
                           "Search: Web & Maps@1970-01-01T00:50:00Z",
                           "Search: Web & Maps@1970-01-01T00:33:20Z",
                           "Search: Web & Maps@1970-01-01T00:33:20Z",
                           "Untitled skill@1970-01-01T00:00:00Z", "Hidden@1960-01-01T00:00:00Z"}))
        << names.join(", ").toStdString();

    // A folder that is not named by a UUID gets a fresh id each time.
    EXPECT_NE(store.load(skills + "/hand-made")->id, store.load(skills + "/hand-made")->id);
    const Result<Skill> missing = store.load(skills + "/no-markdown-here");
    EXPECT_FALSE(missing.ok());
    EXPECT_TRUE(missing.error().contains("SKILL.md")) << missing.error().toStdString();
}

TEST(SkillStore, RemoveDeletesTheFolderAndFailsWhenItIsGone) {
    test::TempSupportFolder support;
    SkillStore store;
    const Skill skill = richSkill();
    ASSERT_TRUE(store.save(skill).ok());
    EXPECT_TRUE(store.remove(skill).ok());
    EXPECT_FALSE(QFileInfo::exists(Paths::skill(skill.id)));
    EXPECT_FALSE(store.remove(skill).ok());
    EXPECT_TRUE(store.loadAll().isEmpty());
}

TEST(SkillStore, SaveReportsWhyItFailed) {
    test::TempSupportFolder support;
    QDir().mkpath(Paths::support());
    write(Paths::skills(), "a file where the library folder should be");
    const Result<> saved = SkillStore().save(richSkill());
    ASSERT_FALSE(saved.ok());
    EXPECT_TRUE(saved.error().contains(Paths::skills())) << saved.error().toStdString();
}
