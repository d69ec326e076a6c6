#include "AppState/AppStateFixture.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace tavrik;
using namespace tavrik::test;

namespace {

QString readText(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

TEST_F(AppStateTest, LoadsTheLibraryNewestFirstAndDeletesFromIt) {
    Skill older = draftSkill("Older");
    older.createdAt = QDateTime::currentDateTimeUtc().addDays(-2);
    Skill newer = draftSkill("Newer");
    newer.createdAt = QDateTime::currentDateTimeUtc().addDays(-1);
    ASSERT_TRUE(SkillStore().save(older).ok());
    ASSERT_TRUE(SkillStore().save(newer).ok());
    ASSERT_EQ(app().skills().size(), 2);
    EXPECT_EQ(app().skills()[0].name, "Newer");

    int changed = 0;
    QObject::connect(&app(), &AppState::skillsChanged, [&] { ++changed; });
    app().deleteSkill(app().skills()[0]);
    EXPECT_EQ(changed, 1);
    ASSERT_EQ(app().skills().size(), 1);
    EXPECT_EQ(app().skills()[0].name, "Older");
    EXPECT_FALSE(QFileInfo::exists(Paths::skill(newer.id)));

    // A skill that is already gone changes nothing.
    app().deleteSkill(newer);
    EXPECT_EQ(app().skills().size(), 1);
}

TEST_F(AppStateTest, ExportPicksTheFirstFreeNameInDownloads) {
    // The Downloads folder as the desktop names it in user-dirs.dirs.
    const QString downloads = settings.path() + "/Fetched";
    ASSERT_TRUE(QDir().mkpath(downloads));
    QFile dirs(settings.path() + "/user-dirs.dirs");
    ASSERT_TRUE(dirs.open(QIODevice::WriteOnly));
    dirs.write(("XDG_DOWNLOAD_DIR=\"" + downloads + "\"\n").toUtf8());
    dirs.close();
    ASSERT_EQ(QDir(AppState::exportFolder()).canonicalPath(), QDir(downloads).canonicalPath());

    Skill skill = draftSkill("Weekly Report & Totals");
    ASSERT_TRUE(
        SkillStore()
            .save(skill, QStringLiteral("---\nname: Weekly Report & Totals\n---\nÜbersicht ✓\n"))
            .ok());
    QStringList reveal;
    QObject::connect(&app(), &AppState::revealFileRequested,
                     [&](const QString& path) { reveal << path; });

    const Result<QString> first = app().exportSkill(skill);
    ASSERT_TRUE(first.ok());
    EXPECT_EQ(QFileInfo(*first).fileName(), "weekly-report-and-totals.md");
    EXPECT_EQ(readText(*first), "---\nname: Weekly Report & Totals\n---\nÜbersicht ✓\n");
    ASSERT_EQ(reveal.size(), 1);
    EXPECT_EQ(reveal[0], *first);

    const Result<QString> second = app().exportSkill(skill);
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(QFileInfo(*second).fileName(), "weekly-report-and-totals-2.md");
    ASSERT_TRUE(QFile::remove(*first));
    // With -2 taken but the plain name free again, the plain name is first free.
    EXPECT_EQ(QFileInfo(app().exportSkill(skill).valueOr("")).fileName(),
              "weekly-report-and-totals.md");
    EXPECT_EQ(QFileInfo(app().exportSkill(skill).valueOr("")).fileName(),
              "weekly-report-and-totals-3.md");
}

TEST_F(AppStateTest, ExportWithoutASkillFileWritesNothing) {
    const Skill skill = draftSkill("Never Saved");
    QStringList reveal;
    QObject::connect(&app(), &AppState::revealFileRequested,
                     [&](const QString& path) { reveal << path; });
    EXPECT_FALSE(app().exportSkill(skill).ok());
    EXPECT_EQ(reveal.size(), 0);
    EXPECT_FALSE(QFileInfo::exists(QDir(AppState::exportFolder()).filePath("never-saved.md")));
}

TEST_F(AppStateTest, TipsFollowTheLibraryAndStayDismissedAcrossLaunches) {
    // While the very first skill is being recorded, the pill says how to finish.
    app().startRecording();
    EXPECT_TRUE(app().hasPillTip());
    EXPECT_EQ(app().pillTip(), "Double-tap Control to finish training your skill");
    app().dismissTips();
    EXPECT_FALSE(app().hasPillTip());
    EXPECT_EQ(app().pillTip(), "");

    // The next launch reads the dismissal back.
    AppServices quiet;
    quiet.analytics = [](const QString&, const QJsonObject&) {};
    AppState next(std::move(quiet));
    EXPECT_TRUE(next.tipsDismissed());
    next.startRecording();
    EXPECT_FALSE(next.hasPillTip());
}

// Folders changed behind the application's back, as a user or a sync tool does, reach the
// library without a reload being asked for.
TEST_F(AppStateTest, TheLibraryFollowsFoldersAddedEditedAndRemovedByHand) {
    const Skill kept = draftSkill("Kept");
    ASSERT_TRUE(SkillStore().save(kept).ok());
    app();
    auto names = [&] {
        QStringList list;
        for (const Skill& skill : app().skills())
            list << skill.name;
        list.sort();
        return list;
    };
    ASSERT_EQ(names(), QStringList{"Kept"});

    // Added: written by another process, the application not told.
    const Skill added = draftSkill("Added By Hand");
    ASSERT_TRUE(SkillStore().save(added).ok());
    ASSERT_TRUE(waitUntil([&] { return names() == QStringList({"Added By Hand", "Kept"}); }));

    // Edited in place: the same file rewritten without touching its folder.
    const QString path = SkillStore().markdownPath(added);
    QString text = readText(path);
    ASSERT_TRUE(text.contains("name: Added By Hand"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.write(text.replace("name: Added By Hand", "name: Renamed By Hand").toUtf8());
    file.close();
    ASSERT_TRUE(waitUntil([&] { return names() == QStringList({"Kept", "Renamed By Hand"}); }));

    // Removed: the folder deleted.
    ASSERT_TRUE(QFileInfo(path).dir().removeRecursively());
    ASSERT_TRUE(waitUntil([&] { return names() == QStringList{"Kept"}; }));

    // A folder added after the others is watched as well.
    const Skill later = draftSkill("Later");
    ASSERT_TRUE(SkillStore().save(later).ok());
    ASSERT_TRUE(waitUntil([&] { return names() == QStringList({"Kept", "Later"}); }));
    const QString laterPath = SkillStore().markdownPath(later);
    QFile laterFile(laterPath);
    const QString laterText = readText(laterPath);
    ASSERT_TRUE(laterFile.open(QIODevice::ReadWrite));
    laterFile.write(QString(laterText).replace("name: Later", "name: Later Still").toUtf8());
    laterFile.close();
    EXPECT_TRUE(waitUntil([&] { return names() == QStringList({"Kept", "Later Still"}); }));
}
