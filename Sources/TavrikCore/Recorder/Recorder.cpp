#include "TavrikCore/Recorder/Recorder.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Recorder/Displays.h"

#include <QFutureWatcher>
#include <QTimer>
#include <algorithm>
#include <cmath>

namespace tavrik {

namespace {

constexpr quint64 discreteModifiers = ModifierFlags::control | ModifierFlags::super;

QDateTime wallDate(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    return QDateTime::fromMSecsSinceEpoch(
        duration_cast<milliseconds>(time.time_since_epoch()).count(), Qt::UTC);
}

} // namespace

Recorder::Recorder(std::unique_ptr<InputMonitor> monitor, std::unique_ptr<FrameCapturer> capturer,
                   std::unique_ptr<AXResolver> resolver, RecordingStore store, Clock clock,
                   QObject* parent)
    : QObject(parent), m_monitor(std::move(monitor)), m_capturer(std::move(capturer)),
      m_resolver(std::move(resolver)), m_store(store), m_clock(std::move(clock)) {
    if (!m_clock)
        m_clock = [] { return std::chrono::system_clock::now(); };
    m_rest = new QTimer(this);
    m_rest->setSingleShot(true);
    m_rest->setInterval(restMs);
    connect(m_rest, &QTimer::timeout, this, [this] {
        dispatch([this] {
            // A loaded application may not answer in time; the pointer is still there.
            if (m_lastMousePoint && !m_gesture && !m_resolver->hover(*m_lastMousePoint) &&
                ++m_hoverReads < maxHoverReads)
                m_rest->start();
        });
    });
}

Recorder::~Recorder() {
    if (m_isRecording)
        m_monitor->stop();
    if (m_stopping) {
        m_stopping->addResult(std::nullopt);
        m_stopping->finish();
    }
}

bool Recorder::isDiscreteKeyCode(quint16 keyCode) {
    using namespace KeyCodes;
    switch (keyCode) {
    case returnKey:
    case tab:
    case escape:
    case deleteKey:
    case forwardDelete:
    case leftArrow:
    case rightArrow:
    case downArrow:
    case upArrow:
    case home:
    case pageUp:
    case end:
    case pageDown:
    case keypadEnter:
        return true;
    default:
        return false;
    }
}

bool Recorder::sameTarget(const std::optional<AXTarget>& a, const std::optional<AXTarget>& b) {
    if (!a || !b)
        return false;
    return a->appBundleID == b->appBundleID && a->axRole == b->axRole &&
           a->axIdentifier == b->axIdentifier && a->axTitle == b->axTitle;
}

bool Recorder::isUnread(const std::optional<AXTarget>& target) {
    return target && !target->axRole && !target->axTitle && !target->axIdentifier &&
           !target->axPath;
}

QList<Rect> Recorder::pixelRegions(const QList<Rect>& secureRects, const DisplayInfo& display) {
    QList<Rect> regions;
    const double s = display.scaleFactor;
    const Rect& frame = display.frame;
    for (const Rect& r : secureRects) {
        double left = s * (r.origin.x - frame.origin.x);
        double top = s * (r.origin.y - frame.origin.y);
        double right = left + s * r.size.width;
        double bottom = top + s * r.size.height;
        left = std::max(left, 0.0);
        top = std::max(top, 0.0);
        right = std::min(right, s * frame.size.width);
        bottom = std::min(bottom, s * frame.size.height);
        if (left < right && top < bottom)
            regions.append(Rect(left, top, right - left, bottom - top));
    }
    return regions;
}

double Recorder::now() const {
    return std::chrono::duration<double>(m_clock() - m_startTime).count();
}

double Recorder::inputOffset() const {
    const double handled = now();
    const std::optional<InputMonitor::TimePoint> happened = m_monitor->eventTime();
    if (!happened)
        return handled;
    const double age =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - *happened).count();
    return handled - std::max(0.0, age);
}

void Recorder::start() {
    if (m_isRecording)
        return;
    ++m_generation;
    m_id = QUuid::createUuid();
    m_startTime = m_clock();
    m_startDate = wallDate(m_startTime);
    m_displays = m_capturer->displays();
    m_events.clear();
    m_appContexts.clear();
    m_lastMousePoint.reset();
    m_gesture.reset();
    m_keyRun.reset();
    m_lastFocus.reset();
    m_scrollRun.reset();
    m_framesRequested = 0;
    m_framesByReservation.clear();
    m_pendingCaptures = 0;
    m_lastFrameOffset = -1;
    m_inputOffset = 0;

    // Without a frames folder each capture fails on its own; the events still count.
    (void)m_store.prepareFramesDirectory(m_id);

    // The application in front when recording begins is the first context. When its focused
    // element cannot be read, what the window system knows about it stands in.
    if (std::optional<AXTarget> focused = m_resolver->focusedTarget())
        noteContext(focused);
    else if (std::optional<FrontmostApplication> front = m_resolver->frontmostApplication();
             front && front->bundleID)
        m_appContexts.append(front->snapshot(now()));

    InputMonitor* monitor = m_monitor.get();
    m_connections = {
        connect(monitor, &InputMonitor::mouseDown, this, &Recorder::handleMouseDown),
        connect(monitor, &InputMonitor::mouseUp, this, &Recorder::handleMouseUp),
        connect(monitor, &InputMonitor::mouseDragged, this, &Recorder::handleMouseDragged),
        connect(monitor, &InputMonitor::mouseMoved, this, &Recorder::handleMouseMoved),
        connect(monitor, &InputMonitor::scroll, this, &Recorder::handleScroll),
        connect(monitor, &InputMonitor::key, this, &Recorder::handleKey),
    };
    // Without global input the recording simply stays empty; permissions tell the user why.
    m_monitor->start();
    m_isRecording = true;
    emit isRecordingChanged(true);
}

QFuture<std::optional<Recording>> Recorder::stop() {
    if (m_stopping)
        return m_stopFuture;
    if (!m_isRecording)
        return QtFuture::makeReadyFuture(std::optional<Recording>());
    // What the user did just before asking to stop still belongs to the demonstration.
    m_monitor->deliverPending();
    m_stopping = std::make_shared<QPromise<std::optional<Recording>>>();
    m_stopFuture = m_stopping->future();
    m_stopping->start();
    // Asked from inside a handler (through a nested event loop): the handler finishes first.
    if (m_handling)
        m_deferred.append([this] { beginStop(); });
    else
        beginStop();
    return m_stopFuture;
}

void Recorder::beginStop() {
    m_rest->stop();
    m_monitor->stop();
    for (const QMetaObject::Connection& c : m_connections)
        disconnect(c);
    m_connections.clear();

    flushKeyRun();
    flushScrollRun();
    // A press that was never released is no interaction.
    m_gesture.reset();
    m_flushed = true;

    if (m_pendingCaptures == 0) {
        finishStop();
    } else {
        m_captureWait = new QTimer(this);
        m_captureWait->setSingleShot(true);
        connect(m_captureWait, &QTimer::timeout, this, &Recorder::finishStop);
        m_captureWait->start(m_captureWaitMs);
    }
}

void Recorder::finishStop() {
    if (!m_stopping || !m_flushed)
        return;
    if (m_captureWait) {
        m_captureWait->deleteLater();
        m_captureWait = nullptr;
    }
    // Captures still running from here on belong to no recording.
    ++m_generation;

    // Reservations become positions in `frames`; a reservation whose capture failed leaves its
    // events without a frame.
    QList<FrameRef> frames;
    QHash<qint64, qint64> position;
    for (auto it = m_framesByReservation.cbegin(); it != m_framesByReservation.cend(); ++it) {
        position.insert(it.key(), frames.size());
        frames.append(it.value());
    }
    for (ActionEvent& event : m_events) {
        if (!event.frameIndex)
            continue;
        const auto found = position.constFind(*event.frameIndex);
        if (found == position.cend())
            event.frameIndex.reset();
        else
            event.frameIndex = found.value();
    }

    Recording recording;
    recording.id = m_id;
    recording.startedAt = m_startDate;
    recording.endedAt = wallDate(m_clock());
    recording.displays = m_displays;
    recording.events = std::move(m_events);
    recording.frames = std::move(frames);
    recording.appContexts = std::move(m_appContexts);
    m_events.clear();
    m_appContexts.clear();
    m_framesByReservation.clear();

    // A failed save loses only the file: the caller still gets the recording.
    if (Result<> saved = m_store.save(recording); !saved.ok())
        qWarning("Tavrik: could not save the recording: %s", qPrintable(saved.error()));

    m_lastRecording = recording;
    m_isRecording = false;
    m_flushed = false;
    auto promise = std::move(m_stopping);
    m_stopping.reset();
    emit isRecordingChanged(false);
    promise->addResult(std::optional<Recording>(std::move(recording)));
    promise->finish();
}

void Recorder::dispatch(std::function<void()> handle, std::optional<double> at) {
    if (!m_isRecording || m_stopping)
        return;
    if (at) {
        handle = [this, at = std::max(0.0, *at), inner = std::move(handle)] {
            m_inputOffset = std::max(m_inputOffset, at);
            inner();
        };
    }
    if (m_handling) {
        m_deferred.append(std::move(handle));
        return;
    }
    m_handling = true;
    handle();
    while (!m_deferred.isEmpty())
        m_deferred.takeFirst()();
    m_handling = false;
}

void Recorder::handleMouseDown(Point point, InputMonitor::MouseButton button, int clickCount) {
    // The monitor's element goes with this press only while its signal is delivered.
    dispatch([=, this,
              known = m_monitor->eventTarget()] { mouseDown(point, button, clickCount, known); },
             inputOffset());
}

void Recorder::handleMouseUp(Point point, InputMonitor::MouseButton) {
    dispatch(
        [=, this] {
            m_lastMousePoint = point;
            emitGesture(point);
        },
        inputOffset());
}

void Recorder::handleMouseDragged(Point point) {
    dispatch([=, this] {
        m_lastMousePoint = point;
        if (m_gesture)
            m_gesture->dragged = true;
    });
}

// A press is read once it reaches this thread, after the application may have acted on it and
// on its release; where the pointer rests, the resolver reads ahead.
void Recorder::handleMouseMoved(Point point) {
    dispatch([=, this] {
        m_lastMousePoint = point;
        m_hoverReads = 0;
        m_rest->start();
    });
}

void Recorder::handleScroll(Point point, double deltaX, double deltaY) {
    dispatch([=, this, known = m_monitor->eventTarget()] { scroll(point, deltaX, deltaY, known); },
             inputOffset());
}

void Recorder::handleKey(quint16 keyCode, quint64 flags, const std::optional<QString>& characters) {
    // As for a press: the monitor's focus goes with this key only while its signal is delivered.
    dispatch(
        [=, this, known = m_monitor->eventTarget()] { key(keyCode, flags, characters, known); },
        inputOffset());
}

void Recorder::mouseDown(Point point, InputMonitor::MouseButton button, int clickCount,
                         const std::optional<AXTarget>& known) {
    m_lastMousePoint = point;
    flushKeyRun();
    flushScrollRun();
    std::optional<AXTarget> target = known ? known : m_resolver->target(point);
    noteContext(target);
    // A click gives the keyboard to what it lands on, as far as anything can tell here.
    m_lastFocus = target && target->axRole ? target : std::nullopt;
    std::optional<qint64> reservation = requestFrame(point);
    // An earlier press that was never released is dropped.
    m_gesture =
        MouseGesture{point, button, clickCount, m_inputOffset, std::move(target), reservation};
}

void Recorder::scroll(Point point, double deltaX, double deltaY,
                      const std::optional<AXTarget>& known) {
    m_lastMousePoint = point;
    flushKeyRun();
    if (m_scrollRun) {
        m_scrollRun->dx += deltaX;
        m_scrollRun->dy += deltaY;
        return;
    }
    // A run ends only at a press, a key or stop, never by time or pointer movement.
    std::optional<AXTarget> target = known ? known : m_resolver->target(point);
    std::optional<qint64> reservation = requestFrame(point);
    m_scrollRun = ScrollRun{point, deltaX, deltaY, m_inputOffset, std::move(target), reservation};
}

void Recorder::key(quint16 keyCode, quint64 flags, const std::optional<QString>& characters,
                   const std::optional<AXTarget>& known) {
    // The focus the monitor heard taken is the one at the press; a read now comes later, and a
    // loaded application may not answer it in time.
    const auto focused = [&] { return known ? known : m_resolver->focusedTarget(); };
    // Shift and Alt alone still type text; Control and Super make shortcuts.
    const bool discrete = (flags & discreteModifiers) || isDiscreteKeyCode(keyCode) ||
                          !characters || characters->isEmpty() ||
                          characters->front().unicode() < 0x20;
    if (discrete) {
        flushKeyRun();
        flushScrollRun();
        const bool movesFocus = keyCode == KeyCodes::tab || keyCode == KeyCodes::returnKey ||
                                keyCode == KeyCodes::keypadEnter;
        // A press waiting behind this key has already moved the focus the desktop would report.
        std::optional<AXTarget> target =
            (movesFocus || m_monitor->pressWaiting()) && m_lastFocus ? m_lastFocus : focused();
        // Where the focus went is not known until it is asked for.
        m_lastFocus = movesFocus ? std::nullopt : target;
        noteContext(target);
        std::optional<qint64> reservation = requestFrame(std::nullopt);
        ActionEvent event;
        event.timeOffset = m_inputOffset;
        event.type = ActionType::keystroke;
        event.target = std::move(target);
        event.keyCode = keyCode;
        event.modifierFlags = flags;
        event.frameIndex = reservation;
        m_events.append(std::move(event));
        return;
    }

    // Behind on the input, with a press already waiting after this key: the focus as the desktop
    // reports it now is where that press put it. Until the press the keys go where the run's (or
    // the last known) focus is.
    if (m_monitor->pressWaiting() && (m_keyRun || m_lastFocus)) {
        typeInto(m_keyRun ? m_keyRun->target : m_lastFocus, *characters);
        return;
    }
    typeInto(focused(), *characters);
}

void Recorder::typeInto(std::optional<AXTarget> target, const QString& characters) {
    // A busy application may not say in time what has the focus. In the run's application nothing
    // has moved it since the run began (a press or a discrete key, both seen here, would have ended
    // the run): an unread answer is the run's element, and a run begun on unread answers is the
    // element the first answer names. Whichever key the busy application kept waiting, the first
    // (it is still acting on the press before) or one in the middle, the field's keys stay one run.
    const bool runApplication = m_keyRun && m_keyRun->target && target &&
                                target->appBundleID == m_keyRun->target->appBundleID;
    if (runApplication && isUnread(target)) {
        target = m_keyRun->target;
    } else if (runApplication && isUnread(m_keyRun->target)) {
        m_keyRun->target = target;
        m_keyRun->secure = target->isSecure;
        if (m_keyRun->secure)
            m_keyRun->text.clear();
    }
    m_lastFocus = target;
    if (m_keyRun && sameTarget(m_keyRun->target, target)) {
        if (keepsText(*m_keyRun))
            m_keyRun->text += characters;
        return;
    }
    flushKeyRun();
    const bool secure = target && target->isSecure;
    std::optional<qint64> reservation = requestFrame(std::nullopt);
    m_keyRun = KeyRun{QString(), target, secure, m_inputOffset, reservation};
    if (keepsText(*m_keyRun))
        m_keyRun->text = characters;
    noteContext(target);
}

bool Recorder::keepsText(const KeyRun& run) {
    // A secure field's run only remembers that something was typed. A field only presumed secure
    // because it was not read keeps its text until it is read or the run ends; only a run on a
    // field known to be ordinary stores it.
    return !run.secure || isUnread(run.target);
}

void Recorder::emitGesture(Point end) {
    if (!m_gesture)
        return;
    MouseGesture gesture = std::move(*m_gesture);
    m_gesture.reset();
    // The application may have been too busy with the press to say what it landed on; at the
    // release it has acted on the press and is asked again, unless a later press is already
    // waiting. An answer from another window (the press closed its own) is none for this press.
    if (isUnread(gesture.target) && !gesture.dragged && !m_monitor->pressWaiting()) {
        std::optional<AXTarget> again = m_resolver->target(gesture.point);
        if (again && again->axRole && again->appBundleID == gesture.target->appBundleID &&
            again->windowTitle == gesture.target->windowTitle)
            gesture.target = std::move(again);
    }

    ActionEvent event;
    event.timeOffset = gesture.offset;
    const double distance = std::hypot(end.x - gesture.point.x, end.y - gesture.point.y);
    if (gesture.dragged && distance > m_dragThreshold) {
        event.type = ActionType::drag;
        event.endLocation = end;
    } else if (gesture.button == InputMonitor::MouseButton::right) {
        event.type = ActionType::rightClick;
    } else if (gesture.clickCount >= 2) {
        event.type = ActionType::doubleClick;
    } else {
        event.type = ActionType::click;
    }
    event.location = gesture.point;
    event.target = std::move(gesture.target);
    event.frameIndex = gesture.frameReservation;
    m_events.append(std::move(event));
}

void Recorder::flushKeyRun() {
    if (!m_keyRun)
        return;
    KeyRun run = std::move(*m_keyRun);
    m_keyRun.reset();
    ActionEvent event;
    event.timeOffset = run.offset;
    event.type = ActionType::keystroke;
    event.target = std::move(run.target);
    if (!run.secure && !run.text.isEmpty())
        event.typedText = std::move(run.text);
    event.frameIndex = run.frameReservation;
    m_events.append(std::move(event));
}

void Recorder::flushScrollRun() {
    if (!m_scrollRun)
        return;
    ScrollRun run = std::move(*m_scrollRun);
    m_scrollRun.reset();
    ActionEvent event;
    event.timeOffset = run.offset;
    event.type = ActionType::scroll;
    event.location = run.point;
    event.scrollDelta = Size{run.dx, run.dy};
    event.target = std::move(run.target);
    event.frameIndex = run.frameReservation;
    m_events.append(std::move(event));
}

void Recorder::noteContext(const std::optional<AXTarget>& target) {
    if (!target || !target->appBundleID)
        return;
    // Window changes inside one application are not noted.
    if (!m_appContexts.isEmpty() && m_appContexts.last().bundleID == target->appBundleID)
        return;
    m_appContexts.append(AppContextSnapshot{m_inputOffset, target->appBundleID, target->appName,
                                            target->windowTitle});
}

std::optional<qint64> Recorder::requestFrame(std::optional<Point> at) {
    const double t = m_inputOffset;
    // Interactions closer than the gap to the previous frame share none.
    if (m_lastFrameOffset >= 0 && t - m_lastFrameOffset < m_minFrameGap)
        return std::nullopt;

    Point point;
    if (at) {
        point = *at;
    } else if (m_lastMousePoint) {
        point = *m_lastMousePoint;
    } else {
        const auto main = std::find_if(m_displays.cbegin(), m_displays.cend(),
                                       [](const DisplayInfo& d) { return d.isMain; });
        if (main != m_displays.cend())
            point = {main->frame.origin.x + main->frame.size.width / 2,
                     main->frame.origin.y + main->frame.size.height / 2};
        else if (!m_displays.isEmpty())
            point = {m_displays.first().frame.origin.x + m_displays.first().frame.size.width / 2,
                     m_displays.first().frame.origin.y + m_displays.first().frame.size.height / 2};
    }
    const std::optional<DisplayInfo> display = Displays::displayContaining(point, m_displays);
    if (!display)
        return std::nullopt;

    m_lastFrameOffset = t;
    const qint64 reservation = ++m_framesRequested;
    const QString relativePath =
        QString::asprintf("frames/%06lld", qlonglong(reservation)) + QStringLiteral(".png");
    const QString path = m_store.framePath(m_id, relativePath);
    const int pixelWidth = int(display->frame.size.width * display->scaleFactor);
    const int pixelHeight = int(display->frame.size.height * display->scaleFactor);
    // Redaction reflects the screen at the moment of the interaction, not when the capture runs.
    const QList<Rect> redact = pixelRegions(m_resolver->secureFieldRects(), *display);

    QFuture<std::optional<Size>> capture =
        m_capturer->captureAndSave(display->id, pixelWidth, pixelHeight, redact, path);
    ++m_pendingCaptures;
    auto* watcher = new QFutureWatcher<std::optional<Size>>(this);
    const quint64 generation = m_generation;
    const quint32 displayID = display->id;
    connect(watcher, &QFutureWatcherBase::finished, this,
            [this, watcher, generation, reservation, t, relativePath, displayID, redact] {
                watcher->deleteLater();
                if (generation != m_generation)
                    return;
                const QFuture<std::optional<Size>> done = watcher->future();
                std::optional<Size> size;
                if (!done.isCanceled() && done.resultCount() > 0) {
                    try {
                        size = done.result();
                    } catch (...) {
                        // A capture that failed loudly is a capture that failed.
                    }
                }
                if (size)
                    m_framesByReservation.insert(
                        reservation,
                        FrameRef{QUuid::createUuid(), t, relativePath, displayID, *size, redact});
                captureFinished(generation);
            });
    watcher->setFuture(capture);
    return reservation;
}

void Recorder::captureFinished(quint64 generation) {
    if (generation != m_generation)
        return;
    --m_pendingCaptures;
    if (m_flushed && m_pendingCaptures == 0)
        finishStop();
}

} // namespace tavrik
