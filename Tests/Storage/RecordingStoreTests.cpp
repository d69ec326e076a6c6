#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {
Recording sampleRecording(qint64 startSeconds) {
    Recording recording;
    recording.startedAt = QDateTime::fromSecsSinceEpoch(startSeconds, Qt::UTC);
    recording.endedAt = recording.startedAt.addSecs(4);
    recording.displays = {{1, Rect(0, 0, 1920, 1080), 1.0, true}};
    ActionEvent click;
    click.type = ActionType::click;
    click.location = Point{100, 200};
    click.frameIndex = 0;
    recording.events = {click};
    recording.frames = {
        {QUuid::createUuid(), 0.1, "frames/000001.png", 1, {1920, 1080}, {Rect(10, 20, 300, 40)}}};
    return recording;
}

void writeText(const QString& path, const QByteArray& text) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
}
} // namespace

TEST(RecordingStore, SavesPrettySortedJsonAndLoadsItBack) {
    test::TempSupportFolder support;
    RecordingStore store;
    const Recording recording = sampleRecording(1772356542);
    ASSERT_TRUE(store.save(recording).ok());

    QFile file(Paths::recording(recording.id) + "/recording.json");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_TRUE(text.startsWith("{\n    \"appContexts\": [\n    ],\n    \"displays\": ["))
        << text.left(80).toStdString();
    EXPECT_LT(text.indexOf("\"endedAt\""), text.indexOf("\"events\""));
    EXPECT_LT(text.indexOf("\"origin\""), text.indexOf("\"size\""));
    EXPECT_EQ(store.load(recording.id).valueOr(Recording{}), recording);

    // A second save replaces the file.
    Recording changed = recording;
    changed.events.clear();
    ASSERT_TRUE(store.save(changed).ok());
    EXPECT_EQ(store.load(recording.id)->events.size(), 0);
    EXPECT_EQ(QDir(Paths::recording(recording.id)).entryList(QDir::Files),
              QStringList{"recording.json"});
}

TEST(RecordingStore, LoadAllSkipsWhatIsNotARecordingAndSortsNewestFirst) {
    test::TempSupportFolder support;
    RecordingStore store;
    EXPECT_TRUE(store.loadAll().isEmpty()); // no recordings folder yet
    const Recording older = sampleRecording(1000), newer = sampleRecording(2000);
    ASSERT_TRUE(store.save(older).ok());
    ASSERT_TRUE(store.save(newer).ok());
    writeText(Paths::recordings() + "/not-a-uuid/recording.json",
              QJsonDocument(newer.toJson()).toJson());
    QDir().mkpath(Paths::recordings() + "/5A3B9C1D-0000-4000-8000-000000000001");
    writeText(Paths::recordings() + "/5A3B9C1D-0000-4000-8000-000000000002/recording.json",
              "{\"id\": \"trunc");
    QJsonObject unknownAction = sampleRecording(3000).toJson();
    unknownAction["events"] = QJsonArray{QJsonObject{
        {"id", "5A3B9C1D-0000-4000-8000-000000000009"}, {"timeOffset", 0}, {"type", "hover"}}};
    writeText(Paths::recordings() + "/5A3B9C1D-0000-4000-8000-000000000003/recording.json",
              QJsonDocument(unknownAction).toJson());
    writeText(Paths::recordings() + "/stray.txt", "hello");

    const QList<Recording> all = store.loadAll();
    ASSERT_EQ(all.size(), 2);
    EXPECT_EQ(all[0].id, newer.id);
    EXPECT_EQ(all[1].id, older.id);

    const Result<Recording> bad =
        store.load(QUuid::fromString(QStringLiteral("5A3B9C1D-0000-4000-8000-000000000003")));
    EXPECT_FALSE(bad.ok());
    EXPECT_TRUE(bad.error().contains("hover")) << bad.error().toStdString();
}

TEST(RecordingStore, FramesFolderAndRemoval) {
    test::TempSupportFolder support;
    RecordingStore store;
    const QUuid id = QUuid::createUuid();
    Result<QString> frames = store.prepareFramesDirectory(id);
    ASSERT_TRUE(frames.ok());
    EXPECT_TRUE(QFileInfo(*frames).isDir());
    EXPECT_EQ(*frames, store.framesDirectory(id));
    EXPECT_EQ(store.framePath(id, "frames/000003.png"),
              Paths::recording(id) + "/frames/000003.png");
    EXPECT_TRUE(store.remove(id).ok());
    EXPECT_FALSE(QFileInfo::exists(Paths::recording(id)));
    const Result<> again = store.remove(id);
    ASSERT_FALSE(again.ok());
    EXPECT_TRUE(again.error().contains(json::uuidText(id))) << again.error().toStdString();
}
