// Building one synthesis request (trace, narration, 12 of 30 large frames downscaled to JPEG and
// the serialised body), and reading a long Messages event stream.
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Synthesis/AnthropicClient.h"
#include "TavrikCore/Synthesis/EventStreamReader.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

#include <QDir>
#include <QImage>
#include <QJsonDocument>
#include <QLinearGradient>
#include <QPainter>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

// Something like a 4K screenshot: flat panels, a gradient, many small text runs.
QImage screenshot(int seed) {
    QImage image(3840, 2160, QImage::Format_RGB32);
    image.fill(QColor(245, 245, 247));
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, 3840, 0);
    gradient.setColorAt(0, QColor(40, 60, 90));
    gradient.setColorAt(1, QColor(90, 40, 60 + seed));
    painter.fillRect(0, 0, 3840, 120, gradient);
    painter.fillRect(0, 120, 600, 2040, QColor(230, 232, 236));
    // Glyph-sized marks in lines, like rows of text (fonts would need a display connection).
    quint32 state = 2463534242u + quint32(seed);
    for (int row = 0; row < 60; ++row) {
        int x = 640;
        while (x < 3700) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            const int width = 6 + int(state % 14);
            painter.fillRect(x, 170 + row * 32, width, 18 - int(state % 7),
                             QColor(int(state % 60), 30, 40));
            x += width + 3 + (state % 9 == 0 ? 14 : 0);
        }
    }
    return image;
}

struct Fixture {
    QTemporaryDir home;
    Recording recording;

    Fixture() {
        qputenv("XDG_DATA_HOME", home.path().toUtf8());
        recording.startedAt = QDateTime::currentDateTimeUtc();
        recording.endedAt = recording.startedAt.addSecs(95);
        const QString frames = Paths::recording(recording.id) + "/frames";
        QDir().mkpath(frames);
        for (int i = 0; i < 30; ++i) {
            const QString name = QString("%1.png").arg(i + 1, 6, 10, QChar('0'));
            screenshot(i).save(frames + '/' + name, "PNG");
            FrameRef frame;
            frame.timeOffset = i * 3.1;
            frame.relativePath = "frames/" + name;
            frame.pixelSize = Size{3840, 2160};
            recording.frames.append(frame);
        }
        for (int i = 0; i < 200; ++i) {
            ActionEvent event;
            event.timeOffset = i * 0.4;
            event.type = i % 3 == 0 ? ActionType::keystroke : ActionType::click;
            if (event.type == ActionType::keystroke)
                event.typedText = QString("value %1").arg(i);
            AXTarget target;
            target.axTitle = QString("Field %1").arg(i % 17);
            target.appName = "Firefox";
            target.appBundleID = "org.mozilla.firefox";
            target.url = "https://example.com/orders/" + QString::number(i % 9);
            event.target = target;
            recording.events.append(event);
        }
    }
};

void BM_BuildSynthesisRequest(benchmark::State& state) {
    static Fixture fixture;
    const Synthesizer synthesizer;
    for (auto _ : state) {
        const QList<ContentBlock> content =
            synthesizer.markdownContent(fixture.recording, QString("order the usual for {{name}}"));
        const QByteArray body =
            QJsonDocument(AnthropicClient::streamTextBody("claude-opus-4-8",
                                                          Synthesizer::markdownSystemPrompt(),
                                                          content, 4000))
                .toJson(QJsonDocument::Compact);
        benchmark::DoNotOptimize(body.size());
        state.counters["bytes"] = double(body.size());
    }
}
BENCHMARK(BM_BuildSynthesisRequest)->Unit(benchmark::kMillisecond)->MinTime(3)->UseRealTime();

void BM_FrameBlocksOnly(benchmark::State& state) {
    static Fixture fixture;
    const Synthesizer synthesizer;
    for (auto _ : state)
        benchmark::DoNotOptimize(synthesizer.frameBlocks(fixture.recording).size());
}
BENCHMARK(BM_FrameBlocksOnly)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadThousandDeltas(benchmark::State& state) {
    QByteArray stream;
    for (int i = 0; i < 1000; ++i)
        stream += "event: content_block_delta\ndata: "
                  "{\"type\":\"content_block_delta\",\"index\":0,\"delta\":"
                  "{\"type\":\"text_delta\",\"text\":\"word " +
                  QByteArray::number(i) + " \"}}\n\n";
    stream += "event: message_stop\ndata: {\"type\":\"message_stop\"}\n\n";
    for (auto _ : state) {
        qsizetype fragments = 0;
        EventStreamReader reader([&](const QString&) { ++fragments; });
        // Network reads of about 1.4 kB, cutting lines anywhere.
        for (qsizetype at = 0; at < stream.size(); at += 1400)
            reader.feed(
                QByteArrayView(stream).sliced(at, qMin<qsizetype>(1400, stream.size() - at)));
        reader.finish();
        benchmark::DoNotOptimize(fragments);
    }
}
BENCHMARK(BM_ReadThousandDeltas)->Unit(benchmark::kMillisecond);

} // namespace
