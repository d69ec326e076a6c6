#include "InProcessCommand.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/CommandLine.h"
#include "TavrikCore/Storage/AgentSkillFolder.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace tavrik;

// Skills leave for other agent tools as folders they read, and come back whole.
namespace {

using test::CommandResult;
using test::run;

QString contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The format's reference validator, installed with the runtime's development packages.
std::optional<QString> validatorProblem(const QString& folder) {
    const QString validator =
        QStringLiteral(TAVRIK_SOURCE_DIR "/runtime/node_modules/.bin/skills-ref");
    if (!QFile::exists(validator))
        return QStringLiteral("no validator at %1: scripts/build-runtime installs it")
            .arg(validator);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(validator, {QStringLiteral("validate"), folder});
    process.waitForFinished(60000);
    if (process.exitCode() == 0)
        return std::nullopt;
    return QString::fromUtf8(process.readAll());
}

Skill recordedSkill(const QString& name, const QString& summary) {
    Skill skill;
    skill.name = name;
    skill.trigger = "order {{item}}";
    skill.summary = summary;
    skill.createdAt = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    skill.appScope = {"org.example.Shop"};
    Parameter item;
    item.name = "item";
    item.prompt = "What to order?";
    item.exampleValue = "croissant";
    skill.parameters = {item};
    PlanStep click;
    click.intent = "Click on Order";
    click.action = ActionType::click;
    skill.plan = {click};
    return skill;
}

class SkillFolders : public ::testing::Test {
protected:
    test::TempSupportFolder support;
    QTemporaryDir exports;
    SkillStore store;
};

} // namespace

TEST_F(SkillFolders, ExportedFoldersAreValidAgentSkillsAndImportBackWhole) {
    Skill cafe =
        recordedSkill("Café & Croissant Order", "Orders a pastry: \"fresh\", #1 # not a comment");
    Skill twin = recordedSkill("Café & croissant order!", "");
    Skill odd = recordedSkill("---", "Named by dashes --- alone.");
    twin.createdAt = cafe.createdAt.addSecs(60); // newer: the older keeps the plain name
    odd.createdAt = cafe.createdAt.addSecs(120);
    const QString editedText =
        "---\nname: Café & Croissant Order\ndescription: Mine, edited\n---\n\n"
        "# Café & Croissant Order\n\n1. Click on Order\n";
    ASSERT_TRUE(store.save(cafe, editedText).ok());
    ASSERT_TRUE(store.save(twin).ok());
    ASSERT_TRUE(store.save(odd).ok());

    const CommandResult exported = run({"export-skills", exports.path() + "/out"});
    ASSERT_EQ(exported.status, 0) << exported.err.toStdString();
    const QStringList folders =
        QDir(exports.path() + "/out").entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    EXPECT_EQ(folders,
              (QStringList{"cafe-and-croissant-order", "cafe-and-croissant-order-2", "skill"}));
    for (const QString& name : folders) {
        const QString folder = exports.path() + "/out/" + name;
        const QString text = contents(folder + "/SKILL.md");
        EXPECT_EQ(validatorProblem(folder), std::nullopt) << text.toStdString();
        EXPECT_TRUE(text.startsWith("---\nname: " + name + "\ndescription: "))
            << text.toStdString();
        // Only the fields the format allows sit at the top level of the front matter.
        const QString front = text.section("\n---", 0, 0);
        for (const QString& line : front.split(u'\n').mid(1))
            EXPECT_TRUE(line.startsWith("name: ") || line.startsWith("description: ") ||
                        line == "metadata:" || line.startsWith("  "))
                << line.toStdString();
    }
    const QString cafeText = contents(exports.path() + "/out/cafe-and-croissant-order/SKILL.md");
    EXPECT_TRUE(cafeText.endsWith("---\n\n# Café & Croissant Order\n\n1. Click on Order\n"))
        << cafeText.toStdString();
    EXPECT_TRUE(cafeText.contains("  tavrik-name: \"Café & Croissant Order\"\n"));
    EXPECT_TRUE(cafeText.contains("  tavrik-parameters: \"item\"\n"));

    // Nothing already there is overwritten.
    const CommandResult again = run({"export-skills", exports.path() + "/out"});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.err.contains("already exists")) << again.err.toStdString();

    // Back in: a new skill with the same plan, parameters and SKILL.md text.
    for (const Skill& skill : store.loadAll())
        ASSERT_TRUE(store.remove(skill).ok());
    const CommandResult imported =
        run({"import-skill", exports.path() + "/out/cafe-and-croissant-order/"});
    ASSERT_EQ(imported.status, 0) << imported.err.toStdString();
    EXPECT_EQ(imported.out,
              "Added “Café & Croissant Order” (/café-and-croissant-order) to the library.\n");
    const QList<Skill> library = store.loadAll();
    ASSERT_EQ(library.size(), 1);
    EXPECT_EQ(library[0].name, cafe.name);
    EXPECT_EQ(library[0].parameters, cafe.parameters);
    EXPECT_EQ(library[0].plan, cafe.plan);
    EXPECT_EQ(store.markdown(library[0]).valueOr(QString()), editedText);
}

TEST_F(SkillFolders, AnySkillFolderImportsAndBadOnesSayWhy) {
    QDir(exports.path()).mkpath("plain");
    QFile plain(exports.path() + "/plain/SKILL.md");
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    plain.write("---\nname: tidy-downloads\ndescription: Moves old files out of "
                "Downloads.\nlicense: MIT\n---\n\nSteps.\n");
    plain.close();
    const CommandResult added = run({"import-skill", exports.path() + "/plain"});
    ASSERT_EQ(added.status, 0) << added.err.toStdString();
    ASSERT_EQ(store.loadAll().size(), 1);
    EXPECT_EQ(store.loadAll()[0].summary, "Moves old files out of Downloads.");

    QDir(exports.path()).mkpath("bare");
    QFile bare(exports.path() + "/bare/SKILL.md");
    ASSERT_TRUE(bare.open(QIODevice::WriteOnly));
    bare.write("Just some notes.\n");
    bare.close();
    const CommandResult refused = run({"import-skill", exports.path() + "/bare"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err,
              "tavrik: " + exports.path() +
                  "/bare/SKILL.md has no front matter with a name and a description\n");

    EXPECT_EQ(run({"import-skill", exports.path() + "/missing"}).status, 1);
    EXPECT_EQ(run({"import-skill"}).status, 2);
    EXPECT_EQ(run({"export-skills", "a", "b"}).status, 2);
    EXPECT_EQ(store.loadAll().size(), 1);
}
