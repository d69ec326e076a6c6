// The recorder's work for one input signal on the main thread, with the accessibility answers
// already at hand (a resolver that answers from memory) and captures that finish at once, so
// what is measured is the recorder's own bookkeeping: coalescing, context notes, frame
// reservations with their redaction regions, and handing captures off.
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Recorder/Recorder.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

class QuietMonitor : public InputMonitor {
public:
    bool start() override { return true; }
    void stop() override {}
    bool isRunning() const override { return true; }
    QString errorString() const override { return {}; }
};

class MemoryResolver : public AXResolver {
public:
    MemoryResolver() {
        m_target.appBundleID = "org.example.Mail";
        m_target.appName = "Mail";
        m_target.windowTitle = "Compose: quarterly report";
        m_target.axRole = "text";
        m_target.axTitle = "Subject";
        m_target.axValue = "Quarterly report for the board";
        m_target.frameInWindow = Rect(24, 80, 480, 28);
    }
    std::optional<AXTarget> target(Point) override { return m_target; }
    std::optional<AXTarget> focusedTarget() override { return m_target; }
    QList<Rect> secureFieldRects() override { return {Rect(120, 300, 240, 28)}; }
    std::optional<FrontmostApplication> frontmostApplication() override { return std::nullopt; }
    bool isAvailable() const override { return true; }

private:
    AXTarget m_target;
};

class InstantCapturer : public FrameCapturer {
public:
    bool isAvailable() const override { return true; }
    QString errorString() const override { return {}; }
    QList<DisplayInfo> displays() const override {
        return {{1, Rect(0, 0, 1920, 1080), 1.0, true}, {2, Rect(1920, 0, 2560, 1440), 2.0, false}};
    }
    QFuture<std::optional<Size>> captureAndSave(quint32, int w, int h, QList<Rect>,
                                                QString) override {
        return QtFuture::makeReadyFuture(std::optional<Size>(Size{double(w), double(h)}));
    }
};

// A recorder on a clock that moves `step` seconds per signal, restarted now and then (outside
// the timing) so its event list stays the size of a real demonstration.
struct Bench {
    QTemporaryDir support;
    std::chrono::system_clock::time_point now = std::chrono::system_clock::now();
    std::unique_ptr<Recorder> recorder;
    double step;
    int sinceRestart = 0;

    explicit Bench(double stepSeconds) : step(stepSeconds) {
        static int argc = 1;
        static char name[] = "RecorderBench";
        static char* argv[] = {name, nullptr};
        if (!QCoreApplication::instance())
            new QCoreApplication(argc, argv);
        qputenv("XDG_DATA_HOME", support.path().toUtf8());
        recorder = std::make_unique<Recorder>(
            std::make_unique<QuietMonitor>(), std::make_unique<InstantCapturer>(),
            std::make_unique<MemoryResolver>(), RecordingStore{}, [this] { return now; });
        recorder->start();
    }

    void tick() {
        now += std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::duration<double>(step));
    }

    // Keeps the recording to a few hundred events; captures report back meanwhile.
    void maybeRestart(benchmark::State& state) {
        if (++sinceRestart < 500)
            return;
        sinceRestart = 0;
        state.PauseTiming();
        QFuture<std::optional<Recording>> done = recorder->stop();
        while (!done.isFinished())
            QCoreApplication::processEvents();
        recorder->start();
        state.ResumeTiming();
    }
};

// Typing into one field: the common case, a character added to the open run.
void BM_TypedCharacter(benchmark::State& state) {
    Bench b(0.08);
    const std::optional<QString> text = QStringLiteral("a");
    for (auto _ : state) {
        b.tick();
        b.recorder->handleKey(KeyCodes::a, 0, text);
        b.maybeRestart(state);
    }
}
BENCHMARK(BM_TypedCharacter);

// A press and a release 0.4 s apart: every press asks for a key frame, so each one computes the
// redaction and hands a capture off. Counted per signal.
void BM_ClickWithKeyFrame(benchmark::State& state) {
    Bench b(0.2);
    for (auto _ : state) {
        b.tick();
        b.recorder->handleMouseDown({2400, 500}, InputMonitor::MouseButton::left, 1);
        b.tick();
        b.recorder->handleMouseUp({2400, 500}, InputMonitor::MouseButton::left);
        b.maybeRestart(state);
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(BM_ClickWithKeyFrame);

// A shortcut every 0.1 s: most share the previous frame.
void BM_Shortcut(benchmark::State& state) {
    Bench b(0.1);
    for (auto _ : state) {
        b.tick();
        b.recorder->handleKey(KeyCodes::c, ModifierFlags::control, std::nullopt);
        b.maybeRestart(state);
    }
}
BENCHMARK(BM_Shortcut);

// Wheel ticks and drag motion, which only update the open run or gesture.
void BM_ScrollTick(benchmark::State& state) {
    Bench b(0.02);
    for (auto _ : state) {
        b.tick();
        b.recorder->handleScroll({400, 400}, 0, -1);
        b.maybeRestart(state);
    }
}
BENCHMARK(BM_ScrollTick);

void BM_DragMotion(benchmark::State& state) {
    Bench b(0.01);
    b.recorder->handleMouseDown({10, 10}, InputMonitor::MouseButton::left, 1);
    double x = 10;
    for (auto _ : state) {
        b.tick();
        b.recorder->handleMouseDragged({x += 1, 10});
    }
}
BENCHMARK(BM_DragMotion);

} // namespace
