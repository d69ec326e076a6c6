#pragma once

#include "TavrikCore/Models/Recording.h"
#include "TavrikCore/Recorder/AXResolver.h"
#include "TavrikCore/Recorder/FrameCapturer.h"
#include "TavrikCore/Recorder/InputMonitor.h"
#include "TavrikCore/Storage/RecordingStore.h"

#include <QFuture>
#include <QMap>
#include <QObject>
#include <QPromise>
#include <chrono>
#include <functional>
#include <memory>

class QTimer;

namespace tavrik {

// Turns the raw input of a demonstration into a recording: a press and release become one click,
// double click, right click or drag; a burst of typing into one field one keystroke event with
// its text (never for a secure field); consecutive scroll ticks one scroll event; every other key
// its own keystroke event. Each interaction carries its accessibility target, the application in
// front is noted whenever it changes, and key frames of the display under the pointer are taken
// at most every `minFrameGap` seconds with secure fields blacked out.
//
// Everything here runs on the thread the recorder lives on (the main thread); only the captures
// run elsewhere, on the capturer's worker.
class Recorder : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    static constexpr double defaultMinFrameGap = 0.3;
    static constexpr double defaultDragThreshold = 6.0;
    // How long stop waits for outstanding captures before saving without them.
    static constexpr int defaultCaptureWaitMs = 10000;
    // How long the pointer stays still before what is under it is read ahead of a press.
    static constexpr int restMs = 60;
    // How many times a resting pointer is read when its application does not answer in time.
    static constexpr int maxHoverReads = 3;

    // `clock` reads the wall clock; absent means the system's.
    Recorder(std::unique_ptr<InputMonitor> monitor, std::unique_ptr<FrameCapturer> capturer,
             std::unique_ptr<AXResolver> resolver, RecordingStore store = {}, Clock clock = {},
             QObject* parent = nullptr);
    ~Recorder() override;

    // Begins a recording; nothing happens while one is in progress (or still stopping).
    void start();
    // Ends the recording: waits for outstanding key frames, saves the recording and resolves with
    // it; resolves with nothing when no recording is in progress. The future finishes on this
    // object's thread, so that thread's event loop must run meanwhile.
    QFuture<std::optional<Recording>> stop();

    bool isRecording() const { return m_isRecording; }
    const std::optional<Recording>& lastRecording() const { return m_lastRecording; }

    double minFrameGap() const { return m_minFrameGap; }
    double dragThreshold() const { return m_dragThreshold; }
    void setCaptureWaitMs(int ms) { m_captureWaitMs = ms; }

    InputMonitor& monitor() const { return *m_monitor; }
    AXResolver& resolver() const { return *m_resolver; }
    FrameCapturer& capturer() const { return *m_capturer; }

    // The discrete keys, which never join a typing run: Return, Tab, Esc, Delete, Forward Delete,
    // the arrows, Home, Page Up, End, Page Down and keypad Enter.
    static bool isDiscreteKeyCode(quint16 keyCode);
    // Whether typing into `b` continues a run begun in `a`: same application, role, identifier
    // and title. Value, window title, frame and address may change while typing.
    static bool sameTarget(const std::optional<AXTarget>& a, const std::optional<AXTarget>& b);
    // Only the window is known: the application did not answer in time.
    static bool isUnread(const std::optional<AXTarget>& target);
    // Secure-field rectangles (global points) as pixel regions of `display`'s image.
    static QList<Rect> pixelRegions(const QList<Rect>& secureRects, const DisplayInfo& display);

    // The signal handlers, public so that callers without a monitor (and benchmarks) can feed
    // input directly. They do nothing unless a recording is in progress. An accessibility query
    // may run a nested event loop; a signal that arrives meanwhile waits for the handler in
    // progress, so interactions are always taken in the order they happened.
    void handleMouseDown(Point point, InputMonitor::MouseButton button, int clickCount);
    void handleMouseUp(Point point, InputMonitor::MouseButton button);
    void handleMouseDragged(Point point);
    void handleMouseMoved(Point point);
    void handleScroll(Point point, double deltaX, double deltaY);
    void handleKey(quint16 keyCode, quint64 flags, const std::optional<QString>& characters);

signals:
    void isRecordingChanged(bool recording);

private:
    struct MouseGesture {
        Point point;
        InputMonitor::MouseButton button;
        int clickCount;
        double offset;
        std::optional<AXTarget> target;
        std::optional<qint64> frameReservation;
        bool dragged = false;
    };
    struct KeyRun {
        QString text;
        std::optional<AXTarget> target;
        bool secure;
        double offset;
        std::optional<qint64> frameReservation;
    };
    struct ScrollRun {
        Point point;
        double dx;
        double dy;
        double offset;
        std::optional<AXTarget> target;
        std::optional<qint64> frameReservation;
    };

    double now() const;
    // When the input being delivered happened, as an offset into the recording.
    double inputOffset() const;
    // Runs `handle` now, or after the handler in progress when called from inside one; input
    // handlers pass when their input happened (`at`), read on arrival.
    void dispatch(std::function<void()> handle, std::optional<double> at = std::nullopt);
    // `known` is what the monitor said the press landed on; absent, it is read at the point.
    void mouseDown(Point point, InputMonitor::MouseButton button, int clickCount,
                   const std::optional<AXTarget>& known);
    // `known`: the view scrolled, when the monitor says.
    void scroll(Point point, double deltaX, double deltaY, const std::optional<AXTarget>& known);
    // `known`: the element that had the focus at the press, when the monitor says.
    void key(quint16 keyCode, quint64 flags, const std::optional<QString>& characters,
             const std::optional<AXTarget>& known);
    void beginStop();
    void emitGesture(Point end);
    // A key typing `characters` into `target`, the focus it was read for.
    void typeInto(std::optional<AXTarget> target, const QString& characters);
    static bool keepsText(const KeyRun& run);
    void flushKeyRun();
    void flushScrollRun();
    void noteContext(const std::optional<AXTarget>& target);
    std::optional<qint64> requestFrame(std::optional<Point> at);
    void captureFinished(quint64 generation);
    void finishStop();

    std::unique_ptr<InputMonitor> m_monitor;
    std::unique_ptr<FrameCapturer> m_capturer;
    std::unique_ptr<AXResolver> m_resolver;
    RecordingStore m_store;
    Clock m_clock;

    bool m_isRecording = false;
    std::optional<Recording> m_lastRecording;
    double m_minFrameGap = defaultMinFrameGap;
    double m_dragThreshold = defaultDragThreshold;
    int m_captureWaitMs = defaultCaptureWaitMs;

    QUuid m_id;
    QDateTime m_startDate;
    std::chrono::system_clock::time_point m_startTime;
    QList<DisplayInfo> m_displays;
    QList<ActionEvent> m_events;
    QList<AppContextSnapshot> m_appContexts;
    std::optional<Point> m_lastMousePoint;
    std::optional<MouseGesture> m_gesture;
    std::optional<KeyRun> m_keyRun;
    // The element that had the keyboard as last seen (typed into, pressed a key in, clicked). A
    // key that moves the focus is read after the application has moved it, so it is recorded
    // against this one instead.
    std::optional<AXTarget> m_lastFocus;
    std::optional<ScrollRun> m_scrollRun;
    qint64 m_framesRequested = 0;
    QMap<qint64, FrameRef> m_framesByReservation;
    int m_pendingCaptures = 0;
    double m_lastFrameOffset = -1;
    // When the input being handled happened: every time an interaction, a frame or a context
    // change is given. It never runs backwards, so the events stay in the order they were taken.
    double m_inputOffset = 0;

    // Each recording's captures report under its generation, so a capture that outlives the
    // wait at stop cannot touch a later recording.
    quint64 m_generation = 0;
    bool m_handling = false;
    QList<std::function<void()>> m_deferred;
    // Set when stop is asked for; `m_flushed` once input is closed and the runs are flushed.
    std::shared_ptr<QPromise<std::optional<Recording>>> m_stopping;
    bool m_flushed = false;
    QFuture<std::optional<Recording>> m_stopFuture;
    QTimer* m_captureWait = nullptr;
    QTimer* m_rest = nullptr;
    int m_hoverReads = 0;
    QList<QMetaObject::Connection> m_connections;
};

} // namespace tavrik
