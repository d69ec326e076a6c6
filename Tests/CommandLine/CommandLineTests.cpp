#include "InProcessCommand.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/CommandLine.h"
#include "Tavrik/Shell/DesktopApplication.h"
#include "Tavrik/SkillReference.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tavrik;

namespace {
using test::CommandResult;
using test::run;

Skill makeSkill(const QString& name, qint64 created) {
    Skill skill;
    skill.name = name;
    skill.trigger = "when I say " + name.toLower();
    skill.summary = "Does " + name + ".";
    skill.createdAt = QDateTime::fromSecsSinceEpoch(created, Qt::UTC);
    PlanStep step;
    step.intent = "Open the page";
    skill.plan = {step};
    return skill;
}

class CommandLine : public ::testing::Test {
protected:
    test::TempSupportFolder support;
    SkillStore store;
    Skill older = makeSkill("Search Google", 1000);
    Skill newer = makeSkill("Post a Comment & Like", 2000);

    void SetUp() override {
        ASSERT_TRUE(store.save(older).ok());
        ASSERT_TRUE(store.save(newer).ok());
    }
};
} // namespace

TEST_F(CommandLine, SkillsListsNewestFirstAsTextAndJson) {
    CommandResult text = run({"skills"});
    EXPECT_EQ(text.status, 0);
    const QStringList lines = text.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines[0].startsWith("/post-a-comment-and-like  Post a Comment & Like  "))
        << lines[0].toStdString();
    EXPECT_TRUE(lines[0].endsWith(json::uuidText(newer.id)));
    EXPECT_TRUE(lines[1].startsWith("/search-google            Search Google          "))
        << lines[1].toStdString();

    CommandResult asJson = run({"skills", "--json"});
    EXPECT_EQ(asJson.status, 0);
    const QJsonArray rows = QJsonDocument::fromJson(asJson.out.toUtf8()).array();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[1].toObject(), (QJsonObject{{"slashCommand", "/search-google"},
                                               {"name", "Search Google"},
                                               {"trigger", "when I say search google"},
                                               {"id", json::uuidText(older.id)}}));
}

TEST_F(CommandLine, ShowFindsASkillByIdSlashCommandOrFolder) {
    const QString expectedMarkdown = SkillMarkdown::render(*store.load(Paths::skill(older.id)));
    for (const QString& ref :
         {json::uuidText(older.id), json::uuidText(older.id).toLower(), QString("/search-google"),
          QString("search-google"), Paths::skill(older.id)}) {
        CommandResult shown = run({"show", ref, "--markdown"});
        EXPECT_EQ(shown.status, 0) << ref.toStdString() << shown.err.toStdString();
        EXPECT_EQ(shown.out, expectedMarkdown) << ref.toStdString();
    }
    // Marks stay with their letters: a decomposed accent and a Devanagari word are one word each.
    const Skill marked = makeSkill(QStringLiteral("Cafe\u0301 नमस्ते"), 3000);
    ASSERT_TRUE(store.save(marked).ok());
    const QString markedMarkdown = SkillMarkdown::render(*store.load(Paths::skill(marked.id)));
    for (const QString& ref :
         {QStringLiteral("/cafe\u0301-नमस्ते"), QStringLiteral("cafe\u0301-नमस्ते")}) {
        CommandResult shown = run({"show", ref, "--markdown"});
        EXPECT_EQ(shown.status, 0) << shown.err.toStdString();
        EXPECT_EQ(shown.out, markedMarkdown);
    }

    CommandResult asJson = run({"show", "--json", "/search-google"});
    ASSERT_EQ(asJson.status, 0);
    const Result<Skill> decoded =
        Skill::fromJson(QJsonDocument::fromJson(asJson.out.toUtf8()).object());
    ASSERT_TRUE(decoded.ok());
    EXPECT_EQ(decoded->id, older.id);
    EXPECT_EQ(decoded->plan.size(), 1);
    EXPECT_TRUE(asJson.out.indexOf("\"appScope\"") < asJson.out.indexOf("\"createdAt\""));
}

// References as people type them: a folder completed by the shell ends in "/", and a folder
// made by hand (uuidgen writes lower case) must be found by the id `skills` prints for it.
TEST_F(CommandLine, ShowResolvesFolderPathsWithASlashAndIdsInEitherCase) {
    const auto shownId = [](const QString& ref) -> std::optional<QUuid> {
        CommandResult shown = run({"show", ref, "--json"});
        if (shown.status != 0)
            return std::nullopt;
        const Result<Skill> decoded =
            Skill::fromJson(QJsonDocument::fromJson(shown.out.toUtf8()).object());
        return decoded.ok() ? std::optional(decoded->id) : std::nullopt;
    };
    EXPECT_EQ(shownId(Paths::skill(older.id) + "/"), older.id);
    EXPECT_EQ(shownId(Paths::skill(older.id) + "//"), older.id);

    const QString handMade = Paths::skills() + "/" + json::uuidText(newer.id).toLower();
    ASSERT_TRUE(QDir().rename(Paths::skill(newer.id), handMade));
    const QJsonArray rows = QJsonDocument::fromJson(run({"skills", "--json"}).out.toUtf8()).array();
    ASSERT_EQ(rows.size(), 2);
    const QString printed = rows[0].toObject().value("id").toString();
    EXPECT_EQ(printed, json::uuidText(newer.id));
    for (const QString& ref :
         {printed, printed.toLower(), QString("/post-a-comment-and-like"), handMade + "/"}) {
        EXPECT_EQ(shownId(ref), newer.id) << ref.toStdString();
        Result<ResolvedSkill> resolved = resolveSkillReference(ref);
        ASSERT_TRUE(resolved.ok()) << ref.toStdString() << resolved.error().toStdString();
        EXPECT_EQ(QDir(resolved->folder), QDir(handMade)) << resolved->folder.toStdString();
    }
}

// Qt's own options belong to QApplication: alone they start the application, as no arguments do.
TEST(CommandLineBasics, QtsOwnOptionsStartTheApplication) {
    const QList<QStringList> desktop{
        {},
        {"-style", "fusion"},
        {"-style=fusion"},
        {"--style", "fusion"},
        {"-platform", "xcb", "-display", ":1"},
        {"-geometry", "640x480+10+10", "-reverse"},
        {"-stylesheet", "/tmp/look.qss"},
        {"-stylesheet=/tmp/look.qss"},
        {"-qwindowgeometry", "800x600", "-qwindowtitle", "Tavrik", "-session", "abc_123"},
        {"-platformtheme", "gtk3", "-plugin", "evdevkeyboard", "-widgetcount"},
        {"-platform=xcb"},
        {"--platform=offscreen", "-display=:1"},
        {"-style"},          // a value left out: Qt ignores the option
        {"-title", "-name"}, // a value is taken whatever it looks like
    };
    for (const QStringList& arguments : desktop)
        EXPECT_TRUE(startsDesktopApplication(arguments)) << arguments.join(' ').toStdString();
    const QList<QStringList> commands{
        {"skills"},
        {"--help"},
        {"-h"},
        {"--selftest"},
        {"-platform", "offscreen", "--selftest"},
        {"-style", "--selftest"}, // the self-test is asked for anywhere
        {"-style", "fusion", "skills"},
        {"-frobnicate"},
        {"fusion"},
        {"-frobnicate=xcb"},
    };
    for (const QStringList& arguments : commands)
        EXPECT_FALSE(startsDesktopApplication(arguments)) << arguments.join(' ').toStdString();

    EXPECT_EQ(toolkitOptionValue({"-style", "a", "--style=b", "-stylesheet=c"}, u"-style"), "b");
    EXPECT_EQ(toolkitOptionValue({"-title", "-platform", "-platform", "offscreen"}, u"-platform"),
              "offscreen");
    EXPECT_FALSE(toolkitOptionValue({"-platform"}, u"-platform"));
    EXPECT_FALSE(toolkitOptionValue({"-stylesheet", "x"}, u"-style"));
    EXPECT_EQ(toolkitOptionValue({"-platform=offscreen"}, u"-platform"), "offscreen");
    // Qt reads an option and its value only as two arguments (but for a few): so it is handed them.
    EXPECT_EQ(toolkitArguments({"-platform=xcb", "--display=:1", "-title", "-a=b", "-reverse"}),
              (QStringList{"-platform", "xcb", "-display", ":1", "-title", "-a=b", "-reverse"}));
}

// The platform and display chosen by Qt's options are the ones checked before starting.
TEST(CommandLineBasics, QtsPlatformAndDisplayOptionsDecideWhetherThereIsADisplay) {
    test::ScopedEnvironment noPlatform = test::ScopedEnvironment::unset("QT_QPA_PLATFORM");
    test::ScopedEnvironment noDisplay = test::ScopedEnvironment::unset("DISPLAY");
    EXPECT_TRUE(missingDisplayReason({}));
    EXPECT_FALSE(missingDisplayReason({"-platform", "offscreen"}));
    EXPECT_FALSE(missingDisplayReason({"-platform=offscreen"}));
    EXPECT_FALSE(missingDisplayReason({"--platform", "vnc:size=800x600"}));
    EXPECT_TRUE(missingDisplayReason({"-platform", "xcb"}));
    const std::optional<QString> unanswered = missingDisplayReason({"-display", ":4242"});
    ASSERT_TRUE(unanswered);
    EXPECT_TRUE(unanswered->contains(":4242")) << unanswered->toStdString();
}

TEST_F(CommandLine, BadInputGetsOneClearLineAndANonZeroStatus) {
    struct Case {
        QStringList arguments;
        int status;
        const char* mentions;
    };
    const QString unreadable = support.path() + "/unreadable";
    QDir().mkpath(unreadable);
    QFile latin1(unreadable + "/SKILL.md");
    ASSERT_TRUE(latin1.open(QIODevice::WriteOnly));
    latin1.write("---\nname: Caf\xe9\n---\n");
    latin1.close();
    const QList<Case> cases{
        {{"--frobnicate"}, 2, "unknown command --frobnicate"},
        {{"skills", "--yaml"}, 2, "--yaml"},
        {{"show"}, 2, "show needs a skill"},
        {{"show", "a", "b"}, 2, "one skill"},
        {{"show", "/nothing-like-this"}, 1, "no skill matches /nothing-like-this"},
        {{"show", "5A3B9C1D-0000-4000-8000-000000000001"}, 1, "no skill with id"},
        {{"show", support.path()}, 1, "SKILL.md"},
        {{"show", unreadable}, 1, "not UTF-8"},
    };
    for (const Case& c : cases) {
        CommandResult result = run(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.arguments.join(' ').toStdString();
        EXPECT_TRUE(result.out.isEmpty());
        EXPECT_TRUE(result.err.startsWith("tavrik: ")) << result.err.toStdString();
        EXPECT_EQ(result.err.count('\n'), 1) << result.err.toStdString();
        EXPECT_TRUE(result.err.contains(c.mentions)) << result.err.toStdString();
    }
}

TEST_F(CommandLine, SkillsTableCutsAbsurdCellsAndSkipsWhatCannotBeRead) {
    Skill absurd = makeSkill(QString("Export ").repeated(2000), 3000);
    absurd.trigger = "say " + QString("x").repeated(100000);
    ASSERT_TRUE(store.save(absurd).ok());
    // A pipe where SKILL.md should be: opening it to read would wait for a writer forever.
    const QString pipe = Paths::support() + "/skills/piped/SKILL.md";
    QDir().mkpath(QFileInfo(pipe).path());
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);

    CommandResult text = run({"skills"});
    EXPECT_EQ(text.status, 0);
    const QStringList lines = text.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3);
    const QString cutName = QString("Export ").repeated(6).left(39) + QChar(0x2026);
    const QString cutCommand = ("/" + QString("export-").repeated(6)).left(39) + QChar(0x2026);
    EXPECT_EQ(lines[0], cutCommand + "  " + cutName + "  " + ("say " + QString("x").repeated(35)) +
                            QChar(0x2026) + "  " + json::uuidText(absurd.id));
    for (const QString& line : lines)
        EXPECT_EQ(line.size(), 3 * 40 + 3 * 2 + 36) << line.toStdString();
    // The whole text is still there for machines.
    EXPECT_TRUE(run({"skills", "--json"}).out.contains(absurd.name.trimmed()));
}

TEST(CommandLineBasics, HelpVersionAndEmptyLibrary) {
    test::TempSupportFolder support;
    EXPECT_TRUE(run({"--help"}).out.contains("show REF [--json | --markdown]"));
    EXPECT_TRUE(run({"--version"}).out.startsWith("tavrik "));
    CommandResult empty = run({"skills"});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "No skills yet. Double-tap Control to record one.\n");
    EXPECT_EQ(run({"skills", "--json"}).out.trimmed(), "[\n]");
}
