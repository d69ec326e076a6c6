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

int run(const QStringList& arguments, QString* out, QString* err) {
    QTextStream outStream(out), errStream(err);
    const int status = runCommand(arguments, outStream, errStream);
    outStream.flush();
    errStream.flush();
    return status;
}
} // namespace

TEST(TraceCommand, ShowsTheExactTextAndTheFramesThatWouldLeave) {
    test::TempSupportFolder support;
    RecordingStore store;
    const Recording recording = recordingWithFrames(store);
    ASSERT_TRUE(store.save(recording).ok());

    QString out, err;
    ASSERT_EQ(
        run({"trace", json::uuidText(recording.id), "--narration", "  book the cheapest flight "},
            &out, &err),
        0)
        << err.toStdString();
    const QString expectedText =
        Synthesizer::traceDescription(recording) + "\n" +
        Synthesizer::narrationBlock(QString("book the cheapest flight"))->text + "\n";
    EXPECT_TRUE(out.startsWith(expectedText)) << out.toStdString();
    EXPECT_TRUE(out.contains("[page: https://flights.example.org/]"));
    EXPECT_TRUE(out.endsWith("\n--- frames: 3 of 3 would be attached\n"
                             "frames/000001.png  Frame at 0.5s:  2576×1449 JPEG\n"
                             "frames/000002.png  Frame at 2.2s:  not attached (missing)\n"
                             "frames/000003.png  Frame at 3.0s:  not attached (not an image)\n"))
        << out.toStdString();

    // The folder's path as typed or completed by the shell, with its trailing "/".
    for (const QString& folder :
         {Paths::recording(recording.id), Paths::recording(recording.id) + "/"}) {
        QString plain;
        ASSERT_EQ(run({"trace", folder}, &plain, &err), 0)
            << folder.toStdString() << err.toStdString();
        EXPECT_TRUE(plain.startsWith(Synthesizer::traceDescription(recording) + "\n\n--- frames"));
    }
}

TEST(TraceCommand, BadReferencesAreClearErrors) {
    test::TempSupportFolder support;
    QString out, err;
    EXPECT_EQ(run({"trace"}, &out, &err), 2);
    EXPECT_EQ(run({"trace", "yesterday"}, &out, &err), 2);
    EXPECT_EQ(run({"trace", "5A3B9C1D-0000-4000-8000-000000000001", "--narration"}, &out, &err), 2);
    err.clear();
    EXPECT_EQ(run({"trace", "5A3B9C1D-0000-4000-8000-000000000001"}, &out, &err), 1);
    EXPECT_TRUE(err.startsWith("tavrik: cannot read ")) << err.toStdString();
    EXPECT_TRUE(out.isEmpty());

    // A copy outside the library is not quietly traced as the library's recording of that id.
    RecordingStore store;
    const Recording recording = recordingWithFrames(store);
    ASSERT_TRUE(store.save(recording).ok());
    const QString copy = support.path() + "/elsewhere/" + json::uuidText(recording.id);
    ASSERT_TRUE(QDir().mkpath(copy));
    err.clear();
    EXPECT_EQ(run({"trace", copy + "/"}, &out, &err), 2);
    EXPECT_TRUE(err.contains("is not a recording in " + Paths::recordings())) << err.toStdString();
    EXPECT_TRUE(out.isEmpty());
}
