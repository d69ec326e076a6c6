#include "InProcessCommand.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/CommandLine.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {
using test::CommandResult;
using test::run;

Recording recordingWithFrames(const RecordingStore& store) {
    Recording recording;
    recording.startedAt = QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC);
    recording.endedAt = recording.startedAt.addSecs(6);
    ActionEvent click;
    click.type = ActionType::click;
    click.location = Point{10, 20};
    AXTarget button;
    button.axTitle = "Search";
    button.appName = "Chromium";
    button.url = "https://flights.example.org/";
    click.target = button;
    recording.events = {click};
    recording.frames = {{QUuid::createUuid(), 0.5, "frames/000001.png", 1, {3840, 2160}, {}},
                        {QUuid::createUuid(), 2.25, "frames/000002.png", 1, {1920, 1080}, {}},
                        {QUuid::createUuid(), 3, "frames/000003.png", 1, {1920, 1080}, {}}};
    EXPECT_TRUE(store.prepareFramesDirectory(recording.id).ok());
    QImage frame(3840, 2160, QImage::Format_RGB32);
    frame.fill(Qt::darkCyan);
    frame.save(store.framePath(recording.id, "frames/000001.png"));
    QFile notAnImage(store.framePath(recording.id, "frames/000003.png"));
    notAnImage.open(QIODevice::WriteOnly);
    notAnImage.write("<html>");
    return recording;
}
} // namespace

TEST(TraceCommand, ShowsTheExactTextAndTheFramesThatWouldLeave) {
    test::TempSupportFolder support;
    RecordingStore store;
    const Recording recording = recordingWithFrames(store);
    ASSERT_TRUE(store.save(recording).ok());

    const CommandResult traced =
        run({"trace", json::uuidText(recording.id), "--narration", "  book the cheapest flight "});
    ASSERT_EQ(traced.status, 0) << traced.err.toStdString();
    const QString expectedText =
        Synthesizer::traceDescription(recording) + "\n" +
        Synthesizer::narrationBlock(QString("book the cheapest flight"))->text + "\n";
    EXPECT_TRUE(traced.out.startsWith(expectedText)) << traced.out.toStdString();
    EXPECT_TRUE(traced.out.contains("[page: https://flights.example.org/]"));
    EXPECT_TRUE(
        traced.out.endsWith("\n--- frames: 3 of 3 would be attached\n"
                            "frames/000001.png  Frame at 0.5s:  2576×1449 JPEG\n"
                            "frames/000002.png  Frame at 2.2s:  not attached (missing)\n"
                            "frames/000003.png  Frame at 3.0s:  not attached (not an image)\n"))
        << traced.out.toStdString();

    // The folder's path as typed or completed by the shell, with its trailing "/".
    for (const QString& folder :
         {Paths::recording(recording.id), Paths::recording(recording.id) + "/"}) {
        const CommandResult plain = run({"trace", folder});
        ASSERT_EQ(plain.status, 0) << folder.toStdString() << plain.err.toStdString();
        EXPECT_TRUE(
            plain.out.startsWith(Synthesizer::traceDescription(recording) + "\n\n--- frames"));
    }
}

TEST(TraceCommand, BadReferencesAreClearErrors) {
    test::TempSupportFolder support;
    const QString unknown = "5A3B9C1D-0000-4000-8000-000000000001";
    for (const QStringList& arguments :
         {QStringList{"trace"}, {"trace", "yesterday"}, {"trace", unknown, "--narration"}})
        EXPECT_EQ(run(arguments).status, 2) << arguments.join(' ').toStdString();
    const CommandResult missing = run({"trace", unknown});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.err.startsWith("tavrik: cannot read ")) << missing.err.toStdString();
    EXPECT_TRUE(missing.out.isEmpty());

    // A copy outside the library is not quietly traced as the library's recording of that id.
    RecordingStore store;
    const Recording recording = recordingWithFrames(store);
    ASSERT_TRUE(store.save(recording).ok());
    const QString copy = support.path() + "/elsewhere/" + json::uuidText(recording.id);
    ASSERT_TRUE(QDir().mkpath(copy));
    const CommandResult outside = run({"trace", copy + "/"});
    EXPECT_EQ(outside.status, 2);
    EXPECT_TRUE(outside.err.contains("is not a recording in " + Paths::recordings()))
        << outside.err.toStdString();
    EXPECT_TRUE(outside.out.isEmpty());
}
