#include "AppState/AppStateFixture.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QDir>
#include <QFile>

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
    ASSERT_FALSE(SkillStore().save(older));
    ASSERT_FALSE(SkillStore().save(newer));
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
    ASSERT_FALSE(SkillStore().save(skill, QStringLiteral("---\nname: Weekly Report & Totals\n---\nÜbersicht ✓\n")));
    QStringList reveal;
    QObject::connect(&app(), &AppState::revealFileRequested, [&](const QString& path) { reveal << path; });

    const std::optional<QString> first = app().exportSkill(skill);
    ASSERT_TRUE(first);
    EXPECT_EQ(QFileInfo(*first).fileName(), "weekly-report-and-totals.md");
    EXPECT_EQ(readText(*first), "---\nname: Weekly Report & Totals\n---\nÜbersicht ✓\n");
    ASSERT_EQ(reveal.size(), 1);
    EXPECT_EQ(reveal[0], *first);

    const std::optional<QString> second = app().exportSkill(skill);
    ASSERT_TRUE(second);
    EXPECT_EQ(QFileInfo(*second).fileName(), "weekly-report-and-totals-2.md");
    ASSERT_TRUE(QFile::remove(*first));
    // With -2 taken but the plain name free again, the plain name is first free.
    EXPECT_EQ(QFileInfo(app().exportSkill(skill).value_or("")).fileName(), "weekly-report-and-totals.md");
    EXPECT_EQ(QFileInfo(app().exportSkill(skill).value_or("")).fileName(), "weekly-report-and-totals-3.md");
}

TEST_F(AppStateTest, ExportWithoutASkillFileWritesNothing) {
    const Skill skill = draftSkill("Never Saved");
    QStringList reveal;
    QObject::connect(&app(), &AppState::revealFileRequested, [&](const QString& path) { reveal << path; });
    EXPECT_FALSE(app().exportSkill(skill));
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
