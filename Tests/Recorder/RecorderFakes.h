#pragma once

#include "TavrikCore/Recorder/AXResolver.h"
#include "TavrikCore/Recorder/FrameCapturer.h"
#include "TavrikCore/Recorder/InputMonitor.h"
#include "TavrikCore/Recorder/Recorder.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QPromise>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace tavrik::test {

// Input that the test emits itself: its signals are public.
class FakeMonitor : public InputMonitor {
public:
    bool start() override {
        ++starts;
        running = true;
        return true;
    }
    void stop() override { running = false; }
    bool isRunning() const override { return running; }
    QString errorString() const override { return {}; }
    bool pressWaiting() const override { return waiting; }

    bool running = false;
    int starts = 0;
    bool waiting = false;
};

// Answers with whatever the test set up, and counts the questions.
class FakeResolver : public AXResolver {
public:
    std::optional<AXTarget> target(Point at) override {
        ++targetCalls;
        nestedLoop();
        return targetAt ? targetAt(at) : std::nullopt;
    }
    std::optional<AXTarget> focusedTarget() override {
        ++focusedCalls;
        nestedLoop();
        return focused;
    }
    bool hover(Point at) override {
        hovered.append(at);
        return hovered.size() > unansweredHovers;
    }
    QList<Rect> secureFieldRects() override { return secureRects; }
    std::optional<FrontmostApplication> frontmostApplication() override { return frontmost; }
    bool isAvailable() const override { return true; }

    // What arrives while the next query waits for its answer, as in a nested event loop.
    void nestedLoop() {
        if (auto meanwhile = std::exchange(duringNextQuery, nullptr))
            meanwhile();
    }

    std::function<std::optional<AXTarget>(Point)> targetAt;
    std::function<void()> duringNextQuery;
    std::optional<AXTarget> focused;
    QList<Rect> secureRects;
    std::optional<FrontmostApplication> frontmost;
    int targetCalls = 0;
    int focusedCalls = 0;
    QList<Point> hovered;
    // How many hover reads the application leaves unanswered.
    qsizetype unansweredHovers = 0;
};

// Keeps every capture request. Captures succeed at once with the requested size, unless the
// test holds them (it then settles each one itself) or marks a request number to fail.
class FakeCapturer : public FrameCapturer {
public:
    struct Request {
        quint32 displayID;
        int width;
        int height;
        QList<Rect> redact;
        QString path;
        std::shared_ptr<QPromise<std::optional<Size>>> promise;
    };

    bool isAvailable() const override { return true; }
    QString errorString() const override { return {}; }
    QList<DisplayInfo> displays() const override { return screens; }
    QFuture<std::optional<Size>> captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                                QList<Rect> redact, QString path) override {
        auto promise = std::make_shared<QPromise<std::optional<Size>>>();
        promise->start();
        requests.append({displayID, pixelWidth, pixelHeight, redact, path, promise});
        if (!hold) {
            const bool fails = failing.contains(int(requests.size()));
            settle(int(requests.size()) - 1, !fails);
        }
        return promise->future();
    }

    void settle(int index, bool succeed) {
        Request& r = requests[index];
        r.promise->addResult(succeed ? std::optional<Size>(Size{double(r.width), double(r.height)})
                                     : std::nullopt);
        r.promise->finish();
    }

    QList<DisplayInfo> screens{{7, Rect(0, 0, 1920, 1080), 1.0, true}};
    QList<Request> requests;
    QList<int> failing; // 1-based request numbers whose capture fails
    bool hold = false;
};

// A wall clock that moves only when told.
struct ManualClock {
    std::chrono::system_clock::time_point now =
        std::chrono::system_clock::time_point(std::chrono::seconds(1772356542));
    void advance(double seconds) {
        now += std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::duration<double>(seconds));
    }
    Recorder::Clock reader() {
        return [this] { return now; };
    }
};

// Runs the event loop until the future finishes or the time is up.
template <typename T> bool waitFor(const QFuture<T>& future, int timeoutMs = 3000) {
    QDeadlineTimer deadline(timeoutMs);
    while (!future.isFinished() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return future.isFinished();
}

// Runs the event loop until `done` holds or the time is up.
inline bool waitUntil(const std::function<bool()>& done, int timeoutMs = 3000) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return done();
}

} // namespace tavrik::test
