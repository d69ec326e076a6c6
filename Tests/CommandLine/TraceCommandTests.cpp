#include "Support/TempSupportFolder.h"
#include "Tavrik/CommandLine.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

#include <QDir>
#include <QImage>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {

struct Output {
    int status;
    QString out;
    QString err;
};

Output trace(const QStringList& arguments) {
    Output result{};
    QTextStream out(&result.out), err(&result.err);
    result.status = runCommand(QStringList{"trace"} + arguments, out, err);
    out.flush();
    err.flush();
    return result;
}

TEST(TraceCommand, PrintsTheTextThatWouldBeSentAndTheFrames) {
    test::TempSupportFolder folder;
    Recording recording;
    recording.startedAt = QDateTime(QDate(2026, 3, 1), QTime(9, 0), Qt::UTC);
    recording.endedAt = recording.startedAt.addSecs(4);
    ActionEvent click;
    AXTarget target;
    target.axTitle = "Compose";
    click.target = target;
    recording.events = {click};
    FrameRef first;
    first.relativePath = "frames/000001.png";
    FrameRef second;
    second.timeOffset = 2;
    second.relativePath = "frames/000002.png";
    recording.frames = {first, second};
    ASSERT_FALSE(RecordingStore().save(recording));
    QDir().mkpath(Paths::recording(recording.id) + "/frames");
    QImage image(5152, 2000, QImage::Format_RGB32);
    image.fill(Qt::white);
    ASSERT_TRUE(image.save(Paths::recording(recording.id) + "/frames/000001.png", "PNG", 95));

    const Output output =
        trace({json::uuidText(recording.id).toLower(), "--narration", "  write to Ana  "});
    ASSERT_EQ(output.status, 0) << output.err.toStdString();
    const QString expectedText = Synthesizer::traceDescription(recording) + "\n\n" +
                                 Synthesizer::narrationBlock(QString("write to Ana"))->text +
                                 "\n\n";
    EXPECT_TRUE(output.out.startsWith(expectedText)) << output.out.toStdString();
    EXPECT_TRUE(output.out.contains("--- 1 of 2 key frames would be attached"));
    EXPECT_TRUE(output.out.contains("     1  frames/000001.png  5152x2000 -> 2576x1000\n"));
    EXPECT_TRUE(
        output.out.contains("     2  frames/000002.png  skipped: missing or not an image\n"));

    const Output plain = trace({json::uuidText(recording.id)});
    EXPECT_FALSE(plain.out.contains("out loud"));
}

TEST(TraceCommand, BadArgumentsAndUnknownRecordingsSaySo) {
    test::TempSupportFolder folder;
    EXPECT_EQ(trace({}).status, 2);
    EXPECT_EQ(trace({"not-a-uuid"}).status, 2);
    EXPECT_EQ(trace({"not-a-uuid"}).err,
              "tavrik: not-a-uuid is not a recording id (expected a UUID)\n");
    const QString id = json::uuidText(QUuid::createUuid());
    EXPECT_EQ(trace({id, "--narration"}).status, 2);
    EXPECT_EQ(trace({id, "--frames"}).status, 2);
    const Output missing = trace({id});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.err.startsWith("tavrik: cannot read recording " + id + ": "));
    EXPECT_TRUE(missing.out.isEmpty());
}

} // namespace
