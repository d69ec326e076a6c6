// The data folder on real files, with what does not belong there: named pipes (opening one to
// read blocks until a writer comes, so a regression hangs here), a link to /dev/zero (endless),
// sparse files of 3 GB (no disk used) and folders where files should be.
#include "Support/AuditLogReader.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/MCP/MCPRegistry.h"
#include "TavrikCore/Storage/AuditLog.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Secrets.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace tavrik;

namespace {

enum class Hazard { pipe, endlessDevice, hugeSparseFile, folder };

const QList<Hazard> kHazards{Hazard::pipe, Hazard::endlessDevice, Hazard::hugeSparseFile,
                             Hazard::folder};

// Puts the hazard at `path`, replacing whatever is there.
void plant(Hazard hazard, const QString& path) {
    QDir().mkpath(QFileInfo(path).path());
    if (QFileInfo(path).isDir() && !QFileInfo(path).isSymLink())
        QDir(path).removeRecursively();
    QFile::remove(path);
    switch (hazard) {
    case Hazard::pipe:
        ASSERT_EQ(::mkfifo(QFile::encodeName(path).constData(), 0600), 0) << path.toStdString();
        break;
    case Hazard::endlessDevice:
        ASSERT_TRUE(QFile::link("/dev/zero", path));
        break;
    case Hazard::hugeSparseFile: {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.resize(3LL * 1024 * 1024 * 1024));
        break;
    }
    case Hazard::folder:
        ASSERT_TRUE(QDir().mkpath(path));
        break;
    }
}

void write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

QByteArray read(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

Skill namedSkill(const QString& name, qint64 created) {
    Skill skill;
    skill.name = name;
    skill.createdAt = QDateTime::fromSecsSinceEpoch(created, Qt::UTC);
    skill.parameters = {
        {QUuid::createUuid(), "city", ParameterType::text, "Which city?", "Lisbon", {0}}};
    PlanStep step;
    step.intent = "Open the page";
    skill.plan = {step};
    skill.sourceRecordingID = QUuid::createUuid();
    return skill;
}

Recording recordingStartedAt(qint64 seconds) {
    Recording recording;
    recording.startedAt = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    recording.endedAt = recording.startedAt.addSecs(2);
    return recording;
}

QStringList names(const QList<Skill>& skills) {
    QStringList result;
    for (const Skill& skill : skills)
        result << skill.name;
    return result;
}

} // namespace

TEST(HostileFiles, ReadersRefuseWhatIsNoRegularFileOfSensibleSizeAndTheRestStillLoads) {
    test::TempSupportFolder support;
    SkillStore skills;
    RecordingStore recordings;
    const Skill good = namedSkill("Good", 2000);
    ASSERT_TRUE(skills.save(good).ok());
    const Recording goodRecording = recordingStartedAt(2000);
    ASSERT_TRUE(recordings.save(goodRecording).ok());

    QList<QString> badMarkdown, badRecordings;
    for (Hazard hazard : kHazards) {
        // The whole skill is lost when SKILL.md is bad.
        const Skill broken = namedSkill("Broken", 3000);
        ASSERT_TRUE(skills.save(broken).ok());
        plant(hazard, skills.markdownPath(broken));
        badMarkdown << skills.markdownPath(broken);
        // A bad plan or recording link only degrades the skill to its SKILL.md.
        const Skill degraded = namedSkill("Degraded", 1000);
        ASSERT_TRUE(skills.save(degraded).ok());
        plant(hazard, Paths::skill(degraded.id) + "/execution_plan.json");
        plant(hazard, Paths::skill(degraded.id) + "/recording.ref");

        const Recording bad = recordingStartedAt(3000);
        ASSERT_TRUE(recordings.save(bad).ok());
        plant(hazard, Paths::recording(bad.id) + "/recording.json");
        badRecordings << json::uuidText(bad.id);
    }

    const QList<Skill> loaded = skills.loadAll();
    EXPECT_EQ(names(loaded), (QStringList{"Good", "Degraded", "Degraded", "Degraded", "Degraded"}));
    for (const Skill& skill : loaded) {
        if (skill.name == "Degraded") {
            EXPECT_TRUE(skill.plan.isEmpty());
            EXPECT_FALSE(skill.sourceRecordingID);
        }
    }
    const QStringList why{"is not a regular file", "is not a regular file", "is larger than 1 MiB",
                          "is a folder"};
    for (qsizetype i = 0; i < badMarkdown.size(); ++i) {
        const Result<Skill> refused = skills.load(QFileInfo(badMarkdown[i]).path());
        EXPECT_FALSE(refused.ok());
        EXPECT_EQ(refused.error(),
                  QStringLiteral("cannot read %1: %2").arg(badMarkdown[i], why[i]));
    }

    const QList<Recording> all = recordings.loadAll();
    ASSERT_EQ(all.size(), 1);
    EXPECT_EQ(all[0].id, goodRecording.id);
    const Result<Recording> huge = recordings.load(*json::parseUuid(badRecordings[2]));
    EXPECT_FALSE(huge.ok());
    EXPECT_TRUE(huge.error().endsWith("/recording.json: is larger than 64 MiB"))
        << huge.error().toStdString();

    // The synthesizer reads frames itself: a real one still comes through.
    Synthesizer synthesizer;
    QImage frame(64, 32, QImage::Format_RGB32);
    frame.fill(Qt::darkCyan);
    const QString frames = *recordings.prepareFramesDirectory(goodRecording.id);
    ASSERT_TRUE(frame.save(frames + "/000001.png"));
    QSize size;
    EXPECT_TRUE(synthesizer.downscaledJpeg(frames + "/000001.png", &size));
    EXPECT_EQ(size, QSize(64, 32));
    for (Hazard hazard : kHazards) {
        plant(hazard, frames + "/000002.png");
        EXPECT_FALSE(synthesizer.downscaledJpeg(frames + "/000002.png"));
    }
}

TEST(HostileFiles, KeyFileAndToolServerFileFallBackQuietly) {
    test::TempSupportFolder support;
    test::ScopedEnvironment noKey = test::ScopedEnvironment::unset("ANTHROPIC_API_KEY");
    for (Hazard hazard : kHazards) {
        plant(hazard, Secrets::anthropicKeyFilePath());
        EXPECT_FALSE(Secrets::anthropicAPIKey());

        plant(hazard, MCPRegistry::filePath());
        MCPRegistry registry;
        EXPECT_EQ(registry.servers(), MCPRegistry::builtIns());
        // What could not be read is not replaced either.
        EXPECT_FALSE(registry.persist(MCPRegistry::builtIns()[0].authenticated("token")));
    }
}

TEST(HostileFiles, DeletingRemovesLinksNeverWhatTheyPointTo) {
    test::TempSupportFolder support;
    QTemporaryDir outside;
    write(outside.filePath("folder/SKILL.md"), "kept");
    write(outside.filePath("file.txt"), "kept");
    SkillStore skills;
    RecordingStore recordings;

    // The skill's folder is itself a link.
    const Skill linked = namedSkill("Linked", 1000);
    QDir().mkpath(Paths::skills());
    ASSERT_TRUE(QFile::link(outside.filePath("folder"), Paths::skill(linked.id)));
    EXPECT_TRUE(skills.remove(linked).ok());
    EXPECT_FALSE(QFileInfo(Paths::skill(linked.id)).isSymLink());
    EXPECT_EQ(read(outside.filePath("folder/SKILL.md")), "kept");

    // Links inside the folder, to a folder, to a file and to nothing at all.
    const Skill holding = namedSkill("Holding links", 1000);
    ASSERT_TRUE(skills.save(holding).ok());
    const QString folder = Paths::skill(holding.id);
    ASSERT_TRUE(QFile::link(outside.filePath("folder"), folder + "/assets"));
    ASSERT_TRUE(QFile::link(outside.filePath("file.txt"), folder + "/notes.txt"));
    ASSERT_TRUE(QFile::link(outside.filePath("gone"), folder + "/dangling"));
    plant(Hazard::pipe, folder + "/pipe");
    EXPECT_TRUE(skills.remove(holding).ok());
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_EQ(read(outside.filePath("folder/SKILL.md")), "kept");
    EXPECT_EQ(read(outside.filePath("file.txt")), "kept");

    const Recording recording = recordingStartedAt(1000);
    QDir().mkpath(Paths::recordings());
    ASSERT_TRUE(QFile::link(outside.path(), Paths::recording(recording.id)));
    EXPECT_TRUE(recordings.remove(recording.id).ok());
    EXPECT_EQ(QDir(outside.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              (QStringList{"file.txt", "folder"}));
}

TEST(HostileFiles, SavingReplacesLinksAndPipesInsteadOfWritingThroughThem) {
    test::TempSupportFolder support;
    QTemporaryDir outside;
    write(outside.filePath("target.md"), "kept");
    SkillStore skills;
    Skill skill = namedSkill("Saved", 1000);
    ASSERT_TRUE(skills.save(skill).ok());
    const QString folder = Paths::skill(skill.id);
    QFile::remove(skills.markdownPath(skill));
    ASSERT_TRUE(QFile::link(outside.filePath("target.md"), skills.markdownPath(skill)));
    plant(Hazard::pipe, folder + "/execution_plan.json");
    plant(Hazard::endlessDevice, folder + "/recording.ref");

    ASSERT_TRUE(skills.save(skill, QStringLiteral("---\nname: Saved again\n---\n")).ok());
    EXPECT_EQ(read(outside.filePath("target.md")), "kept");
    for (const QString& name : QStringList{"SKILL.md", "execution_plan.json", "recording.ref"})
        EXPECT_TRUE(QFileInfo(folder + u'/' + name).isFile() &&
                    !QFileInfo(folder + u'/' + name).isSymLink())
            << name.toStdString();
    Result<Skill> loaded = skills.load(folder);
    ASSERT_TRUE(loaded.ok());
    EXPECT_EQ(loaded->name, "Saved again");
    EXPECT_EQ(loaded->plan.size(), 1);
    EXPECT_EQ(loaded->sourceRecordingID, skill.sourceRecordingID);

    // A skill folder that is a link is refused rather than written through.
    const Skill elsewhere = namedSkill("Elsewhere", 1000);
    ASSERT_TRUE(QFile::link(outside.path(), Paths::skill(elsewhere.id)));
    const Result<> refused = skills.save(elsewhere);
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error(), QStringLiteral("cannot use folder %1: it is a symbolic link")
                                   .arg(Paths::skill(elsewhere.id)));
    EXPECT_EQ(QDir(outside.path()).entryList(QDir::Files), QStringList{"target.md"});

    // The tool-server file holds tokens: a link there must not carry them elsewhere.
    ASSERT_TRUE(QFile::link(outside.filePath("target.md"), MCPRegistry::filePath()));
    write(outside.filePath("target.md"), "[]");
    EXPECT_TRUE(MCPRegistry().persist(MCPRegistry::builtIns()[0].authenticated("secret")));
    EXPECT_EQ(read(outside.filePath("target.md")), "[]");
    EXPECT_FALSE(QFileInfo(MCPRegistry::filePath()).isSymLink());
    EXPECT_TRUE(read(MCPRegistry::filePath()).contains("secret"));
    struct stat status {};
    ASSERT_EQ(::stat(QFile::encodeName(MCPRegistry::filePath()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);

    // The audit log is appended to only when it is a plain file of its own.
    for (Hazard hazard : {Hazard::pipe, Hazard::endlessDevice}) {
        plant(hazard, AuditLog::filePath());
        AuditLog::append(
            {QDateTime::fromSecsSinceEpoch(1000, Qt::UTC), "Saved", "agent", {}, true});
        EXPECT_EQ(test::readAuditLog().size(), 1);
    }
    QFile::remove(AuditLog::filePath());
    ASSERT_TRUE(QFile::link(outside.filePath("target.md"), AuditLog::filePath()));
    AuditLog::append({QDateTime::fromSecsSinceEpoch(1000, Qt::UTC), "Saved", "agent", {}, true});
    EXPECT_EQ(read(outside.filePath("target.md")), "[]");
    EXPECT_EQ(test::readAuditLog().size(), 1);
}
