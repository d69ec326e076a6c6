#pragma once

#include "TavrikCore/Recorder/InputMonitor.h"
#include "TavrikPlatform/AtSpi/AtSpiKeyListener.h"
#include "TavrikPlatform/AtSpi/AtSpiResolver.h"
#include "TavrikPlatform/AtSpi/WindowDirectory.h"
#include "TavrikPlatform/Evdev/EvdevDevices.h"
#include "TavrikPlatform/Evdev/EvdevPointer.h"
#include "TavrikPlatform/Wayland/ClickInference.h"

#include <QSet>
#include <QString>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>

// libatspi's names, declared as it declares them.
typedef struct _AtspiAccessible AtspiAccessible;       // NOLINT(bugprone-reserved-identifier)
typedef struct _AtspiEvent AtspiEvent;                 // NOLINT(bugprone-reserved-identifier)
typedef struct _AtspiEventListener AtspiEventListener; // NOLINT(bugprone-reserved-identifier)

namespace tavrik::atspi {

// Input as accessibility sees it, where the desktop lets no program watch the keyboard and the
// pointer (Wayland): the keys of the focused application (AtSpiKeyListener), and clicks inferred
// from what they do to elements (focus taken, a box checked, a row selected; see ClickInference),
// placed at the element's centre in global points with the window system's help. Pointer
// motion, drags, scrolls and clicks that change nothing are not seen, unless the compositor says
// where the pointer is (`pointer`) and this user may read the pointer devices: then the pointer
// is recorded from them, as on X11, and nothing is inferred. A focused slider whose value no key
// explains was dragged: the drag goes from where its handle stood when it took the focus (or
// after its last drag) to where it stands at the last value, ended by whatever is heard next.
// A view's scroll bar whose value moves with no key or click just before was scrolled: the
// scroll is recorded over that bar or its scroll pane, in the wheel steps that repeat it (see
// WheelSteps). Only bars whose value was known before count (those of each window as it becomes
// active, and at start), and not a change that came with new content (its range changed). Tavrik's
// own windows are left out of what accessibility reports. An inferred click carries the element it
// was inferred from (`eventTarget()`), described by `elements`, and each key the element that had
// the focus at its press, described when it took it (its value read again at the key): a read after
// the fact may come too late under load. Keys come over another connection than the events their
// application sent before them: each is handed on only after those, so a key typed right after a
// click follows the click.
class AtSpiInputMonitor final : public InputMonitor {
    Q_OBJECT
public:
    AtSpiInputMonitor(std::unique_ptr<WindowDirectory> windows,
                      std::unique_ptr<AtSpiResolver> elements,
                      evdev::EvdevPointer::Locate pointer = {}, QObject* parent = nullptr);
    ~AtSpiInputMonitor() override;

    bool start() override;
    void stop() override;
    // Asks each application heard from, and the registry that forwards keys, for a reply: what
    // they sent before it has then arrived, and is handed over.
    void deliverPending() override;
    bool isRunning() const override { return m_running; }
    QString errorString() const override { return m_error; }
    // Whether pointer gestures come from the input devices rather than from accessibility.
    bool readsPointerDevices() const { return m_readsDevices; }

private:
    static void onEvent(AtspiEvent* event, void* self);
    void handle(const AtspiEvent& event);
    // The element's frame in global points, and its application's toolkit.
    struct Placed {
        Rect frame;
        QString toolkit;
    };
    std::optional<Placed> place(AtspiAccessible* element, int budgetMs);
    std::optional<Point> centre(AtspiAccessible* element);
    std::optional<Point> sliderHandle(AtspiAccessible* slider);
    void valueChanged(AtspiAccessible* source, std::chrono::steady_clock::time_point heard);
    // Lets go of a drag in progress.
    void endDrag();
    void scrollBarChanged(AtspiAccessible* bar, std::chrono::steady_clock::time_point heard);
    // Makes `target`, `bar` described at `point` (its frame in global points), the scroll pane
    // holding the bar when there is one, at the pane's centre.
    static void overPane(AtspiAccessible* bar, const Rect& frame, AXTarget& target, Point& point);
    // Learns the values of the scroll bars in `window`, so that their next change has a start.
    void learnScrollBars(AtspiAccessible* window);
    // The same for each application's active window.
    void learnActiveScrollBars();
    void forgetScrollBars();
    static void ping(const QSet<QByteArray>& peers);
    // Runs `deliver` once the accessibility events that reached the bus before this call have
    // been handled.
    void afterEventsSent(std::function<void()> deliver);
    void deliverUpTo(quint64 ticket);
    struct Idle;
    static int onIdle(void* idle);
    void pointerInput(const evdev::InputEvent& event);

    std::unique_ptr<WindowDirectory> m_windows;
    std::unique_ptr<AtSpiResolver> m_elements;
    AtSpiKeyListener m_keys;
    AtspiEventListener* m_listener = nullptr;
    wayland::ClickInference m_clicks;
    evdev::EvdevPointer::Locate m_locate;
    evdev::EvdevDevices m_devices;
    evdev::EvdevPointer m_pointer;
    bool m_readsDevices = false;
    // Remembers where `slider`'s handle stands (a reference held).
    void know(AtspiAccessible* slider, Point handle);
    // Remembers `element` as the focus, described by `target` (a reference held).
    void focusOn(AtspiAccessible* element, std::optional<AXTarget> target);
    void forgetFocus();
    // The focus's description with its value as it is now; absent when none is known.
    std::optional<AXTarget> focusTarget();

    // The element last reported focused, and its description when it could be read.
    struct Focus {
        AtspiAccessible* element = nullptr;
        std::optional<AXTarget> target;
    };
    Focus m_focus;

    // A scroll bar's value and range as last seen (a reference held).
    struct Bar {
        AtspiAccessible* element = nullptr;
        double value = 0;
        double minimum = 0;
        double maximum = 0;
    };
    std::deque<Bar> m_bars;
    // Until then, a scroll bar's change is taken for the doing of a key or a click just heard.
    std::chrono::steady_clock::time_point m_quietUntil;

    // The slider last seen and where its handle stood: the start of its next drag, since the
    // value reported first is already one step away, or, heard late, the last. While dragged,
    // where the handle is now.
    struct Handle {
        AtspiAccessible* slider = nullptr;
        Point at;
    };
    std::optional<Handle> m_known;
    bool m_dragging = false;
    QSet<QByteArray> m_senders;
    // Keys waiting for the events sent before them, by ticket.
    struct Waiting {
        quint64 ticket;
        std::function<void()> deliver;
    };
    std::deque<Waiting> m_waiting;
    quint64 m_tickets = 0;
    bool m_running = false;
    QString m_error;
};

} // namespace tavrik::atspi
