// clang-format off
#include "TavrikPlatform/AtSpi/AtSpiQuery.h"
// clang-format on

#include "TavrikPlatform/AtSpi/AtSpiInputMonitor.h"

#include "TavrikPlatform/Wayland/SliderGeometry.h"
#include "TavrikPlatform/Wayland/WaylandDesktop.h"
#include "TavrikPlatform/Wayland/WheelSteps.h"

#include <QCoreApplication>
#include <QPointer>
#include <algorithm>

namespace tavrik::atspi {

namespace {

using wayland::ClickInference;

// Each event's element is read within this; a slow application loses its click, never the
// recording's pace.
constexpr int kReadBudgetMs = 400;
// Scroll bars get more time: finding them walks a window's tree and placing one walks up to its
// window, in an application busy scrolling. A bar not known before its scroll loses that scroll.
constexpr int kScrollBarBudgetMs = 1500;
constexpr int kMaxLevels = 32;
// How long after a key, and after a click, a scroll bar that moves is taken to have been moved by
// them: a list keeps the selected row in view, a text view the caret.
constexpr std::chrono::milliseconds kKeyScrollMs{1000};
constexpr std::chrono::milliseconds kClickScrollMs{500};
// Bounds the scroll bars remembered and the elements looked through for them in a window.
constexpr size_t kMaxBars = 64;
constexpr int kMaxBarSearch = 400;
// As much of a focused field's text as a target keeps.
constexpr int kMaxValueLength = 2000;
// Bounds the main-loop passes that hand over what has arrived.
constexpr int kMaxIterations = 100;
const char* const kEventTypes[] = {"object:state-changed:focused", "object:state-changed:checked",
                                   "object:state-changed:selected", "window:activate",
                                   "object:property-change:accessible-value"};

// Containers whose rows take the click: the focus they get first says nothing about where.
bool isContainer(AtspiRole role) {
    switch (role) {
    case ATSPI_ROLE_LIST:
    case ATSPI_ROLE_LIST_BOX:
    case ATSPI_ROLE_TABLE:
    case ATSPI_ROLE_TREE:
    case ATSPI_ROLE_TREE_TABLE:
        return true;
    default:
        return false;
    }
}

QByteArray busName(AtspiAccessible* element) {
    const AtspiApplication* app = element->parent.app;
    return app && app->bus_name ? QByteArray(app->bus_name) : QByteArray();
}

} // namespace

AtSpiInputMonitor::AtSpiInputMonitor(std::unique_ptr<WindowDirectory> windows,
                                     std::unique_ptr<AtSpiResolver> elements,
                                     evdev::EvdevPointer::Locate pointer, QObject* parent)
    : InputMonitor(parent), m_windows(std::move(windows)), m_elements(std::move(elements)),
      m_locate(std::move(pointer)), m_pointer(*this, m_locate) {
    // Handed on queued, like the pointer's gestures, so keys and clicks keep the order they are
    // taken in.
    connect(&m_keys, &InputMonitor::key, this,
            [this](quint16 code, quint64 flags, const std::optional<QString>& characters) {
                // The scroll bars the key moves (a page down, a caret that leaves the view) may
                // be heard before it is handed on.
                m_quietUntil = std::chrono::steady_clock::now() + kKeyScrollMs;
                afterEventsSent([=, this, at = m_keys.eventTime()] {
                    m_clicks.key(code, flags);
                    endDrag();
                    // Every focus its application reported before the key has been heard.
                    std::optional<AXTarget> focus = focusTarget();
                    QMetaObject::invokeMethod(
                        this,
                        [=, this] {
                            setEventTime(at);
                            setEventTarget(focus);
                            emit key(code, flags, characters);
                            setEventTarget(std::nullopt);
                        },
                        Qt::QueuedConnection);
                });
            });
    connect(&m_keys, &InputMonitor::flagsChanged, this, [this](quint16 code, quint64 flags) {
        afterEventsSent([=, this] {
            endDrag();
            QMetaObject::invokeMethod(
                this, [=, this] { emit flagsChanged(code, flags); }, Qt::QueuedConnection);
        });
    });
    connect(&m_devices, &evdev::EvdevDevices::input, this, &AtSpiInputMonitor::pointerInput);
    connect(&m_devices, &evdev::EvdevDevices::lost, this, [this] { m_pointer.reset(); });
}

AtSpiInputMonitor::~AtSpiInputMonitor() {
    stop();
    forgetFocus();
    forgetScrollBars();
    if (m_known)
        g_object_unref(m_known->slider);
    if (m_listener)
        g_object_unref(m_listener);
}

bool AtSpiInputMonitor::start() {
    if (m_running)
        return true;
    if (!m_keys.start()) {
        m_error = m_keys.errorString();
        return false;
    }
    if (!m_listener)
        m_listener = atspi_event_listener_new(&AtSpiInputMonitor::onEvent, this, nullptr);
    for (const char* type : kEventTypes) {
        GError* error = nullptr;
        if (!atspi_event_listener_register(m_listener, type, &error)) {
            m_error = error ? QString::fromUtf8(error->message)
                            : QStringLiteral("The accessibility bus refused to report %1.")
                                  .arg(QLatin1String(type));
            if (error)
                g_error_free(error);
        }
    }
    m_clicks = ClickInference();
    forgetFocus();
    forgetScrollBars();
    m_quietUntil = {};
    m_pointer.reset();
    // Placing a device's gestures needs the compositor's pointer; without either, clicks are
    // inferred from what they do.
    m_readsDevices = m_locate && m_locate() && m_devices.start();
    if (!m_readsDevices && m_locate)
        qInfo("%s", qPrintable(m_devices.errorString()));
    // Said once for each recording, which starts the monitor.
    if (!m_readsDevices)
        qInfo("Tavrik: %s", qPrintable(wayland::WaylandDesktop::unheardInput(bool(m_locate))));
    // Applications report only the events someone listens for, and learn of a new listener from
    // the registry: once each has answered, it knows, and the first click is heard.
    m_senders.clear();
    Accessible desktop(atspi_get_desktop(0));
    Query registry(kReadBudgetMs);
    for (const Accessible& app : registry.children(desktop.get()))
        m_senders.insert(busName(app.get()));
    ping(m_senders);
    if (!m_readsDevices)
        learnActiveScrollBars();
    m_running = true;
    return true;
}

void AtSpiInputMonitor::stop() {
    if (!m_running)
        return;
    endDrag();
    m_keys.stop();
    m_devices.stop();
    for (const char* type : kEventTypes)
        atspi_event_listener_deregister(m_listener, type, nullptr);
    // Keys still waiting come after the end.
    m_waiting.clear();
    m_running = false;
}

void AtSpiInputMonitor::deliverPending() {
    if (!m_running)
        return;
    m_keys.deliverPending();
    ping(m_senders);
    // The replies' wait read what came before them; libatspi hands events over from the main
    // loop, some only once idle.
    if (DBusConnection* bus = atspi_get_a11y_bus()) {
        while (dbus_connection_dispatch(bus) == DBUS_DISPATCH_DATA_REMAINS) {
        }
    }
    for (int i = 0; i < kMaxIterations && g_main_context_pending(nullptr); ++i)
        QCoreApplication::processEvents();
    // Every event sent before them has now been handled.
    deliverUpTo(m_tickets);
    // What is handed over is complete: a drag still open has ended.
    endDrag();
    QCoreApplication::processEvents();
}

void AtSpiInputMonitor::ping(const QSet<QByteArray>& peers) {
    DBusConnection* bus = atspi_get_a11y_bus();
    if (!bus)
        return;
    // A reply comes after everything its sender sent before it, over the same bus.
    for (const QByteArray& peer : peers) {
        if (peer.isEmpty())
            continue;
        DBusMessage* message = dbus_message_new_method_call(peer.constData(), "/",
                                                            "org.freedesktop.DBus.Peer", "Ping");
        if (!message)
            continue;
        DBusMessage* reply =
            dbus_connection_send_with_reply_and_block(bus, message, kReadBudgetMs, nullptr);
        dbus_message_unref(message);
        if (reply)
            dbus_message_unref(reply);
    }
}

// The application sends the events of a click before the key that follows it, but they come
// apart on the way: the key through the registry and over a connection of its own, the events
// straight over libatspi's, which hands them on later still, from an idle callback. A reply from
// the bus comes after whatever it had for us before; an idle callback added after libatspi's
// runs after it.
struct AtSpiInputMonitor::Idle {
    QPointer<AtSpiInputMonitor> monitor;
    quint64 ticket;
};

void AtSpiInputMonitor::afterEventsSent(std::function<void()> deliver) {
    // Nothing is inferred while the devices are read, and their clicks wait for the keys.
    DBusConnection* bus = atspi_get_a11y_bus();
    if (m_readsDevices || !bus) {
        deliver();
        return;
    }
    if (DBusMessage* message = dbus_message_new_method_call(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", "Ping")) {
        if (DBusMessage* reply =
                dbus_connection_send_with_reply_and_block(bus, message, kReadBudgetMs, nullptr))
            dbus_message_unref(reply);
        dbus_message_unref(message);
    }
    while (dbus_connection_dispatch(bus) == DBUS_DISPATCH_DATA_REMAINS) {
    }
    m_waiting.push_back(Waiting{++m_tickets, std::move(deliver)});
    g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, &AtSpiInputMonitor::onIdle, new Idle{this, m_tickets},
                    [](gpointer idle) { delete static_cast<Idle*>(idle); });
}

int AtSpiInputMonitor::onIdle(void* idle) {
    const auto* waited = static_cast<const Idle*>(idle);
    if (waited->monitor)
        waited->monitor->deliverUpTo(waited->ticket);
    return G_SOURCE_REMOVE;
}

void AtSpiInputMonitor::deliverUpTo(quint64 ticket) {
    while (!m_waiting.empty() && m_waiting.front().ticket <= ticket) {
        const std::function<void()> deliver = std::move(m_waiting.front().deliver);
        m_waiting.pop_front();
        deliver();
    }
}

void AtSpiInputMonitor::pointerInput(const evdev::InputEvent& event) {
    if (!m_running || event.kind == evdev::InputEvent::Kind::key)
        return;
    if (event.kind != evdev::InputEvent::Kind::motion) {
        // Keys reach us through the registry, later than the device's click: take in those
        // typed before it, so the recording keeps the order they were made in.
        m_keys.deliverPending();
    }
    // Behind the keys just taken in, which are handed on queued as well.
    QMetaObject::invokeMethod(
        this,
        [this, event] {
            if (m_running)
                m_pointer.take(event);
        },
        Qt::QueuedConnection);
}

void AtSpiInputMonitor::onEvent(AtspiEvent* event, void* self) {
    auto* monitor = static_cast<AtSpiInputMonitor*>(self);
    if (monitor->m_running && event->source)
        monitor->handle(*event);
    g_boxed_free(atspi_event_get_type(), event);
}

void AtSpiInputMonitor::handle(const AtspiEvent& event) {
    // Accessibility events carry no time: the click happened no later than it was heard.
    const auto heard = std::chrono::steady_clock::now();
    const QByteArray type(event.type);
    AtspiAccessible* source = event.source;
    GError* error = nullptr;
    const qint64 pid = atspi_accessible_get_process_id(source, &error);
    if (error) {
        g_error_free(error);
        return;
    }
    if (pid == QCoreApplication::applicationPid())
        return;
    m_senders.insert(busName(source));
    if (m_readsDevices)
        return;
    if (type.startsWith("object:property-change")) {
        valueChanged(source, heard);
        return;
    }
    endDrag();
    if (type.startsWith("window:activate")) {
        m_clicks.windowActivated();
        // Its focus is reported after it, if it has one for the keys.
        forgetFocus();
        learnScrollBars(source);
        return;
    }
    const bool focusEvent = type.endsWith(":focused");
    if (focusEvent && event.detail1 == 0 && source == m_focus.element)
        forgetFocus();
    // Only gains: losing the focus or a selection is the other half of one that is reported.
    if (event.detail1 == 0 && !type.endsWith(":checked"))
        return;
    // Toolkits report one focus in two forms.
    const bool newFocus = focusEvent && source != m_focus.element;
    ClickInference::Change change = ClickInference::Change::checked;
    bool slider = false;
    AtspiRole role = ATSPI_ROLE_INVALID;
    // A description is of the element under its centre (a row's label): the keys' element is
    // the focused one itself, else a read at the key finds it.
    const auto takeFocus = [&](std::optional<AXTarget> described) {
        if (!newFocus)
            return;
        if (described && described->axRole != roleName(role))
            described.reset();
        focusOn(source, std::move(described));
    };
    const auto describeFocus = [&] {
        takeFocus(m_elements ? m_elements->describe(source, std::nullopt) : std::nullopt);
    };
    if (focusEvent) {
        Query query(kReadBudgetMs);
        role = query.role(source).value_or(ATSPI_ROLE_INVALID);
        if (isContainer(role)) {
            // Keys in a list go to a row, which a read at the key finds.
            takeFocus(std::nullopt);
            return;
        }
        change = ClickInference::Change::focused;
        // A slider's click shows as the value it sets, and a press on its handle sets none: a
        // click at its centre would move the handle there on replay.
        slider = role == ATSPI_ROLE_SLIDER;
    } else if (type.endsWith(":selected")) {
        change = ClickInference::Change::selected;
    }
    if (!m_clicks.isClick(source, change)) {
        describeFocus();
        return;
    }
    if (slider) {
        describeFocus();
        // Read as the press lands, before the drag moves the handle.
        if (const std::optional<Point> at = sliderHandle(source))
            know(source, *at);
        return;
    }
    std::optional<Point> at = centre(source);
    // Read from the element now: by the time the recorder would read it at its point, a busy
    // application may not answer there. A second chance at placing it, too: a click lost leaves
    // the keys after it on the field before.
    std::optional<AXTarget> target = m_elements ? m_elements->describe(source, at) : std::nullopt;
    if (target && !target->axRole)
        target.reset();
    // What the click focused takes the keys after it.
    takeFocus(target);
    if (!at && target && target->windowFrame && target->frameInWindow) {
        const Rect& frame = *target->frameInWindow;
        at = Point{target->windowFrame->origin.x + frame.origin.x + frame.size.width / 2,
                   target->windowFrame->origin.y + frame.origin.y + frame.size.height / 2};
    }
    if (!at)
        return;
    const Point point = *at;
    m_quietUntil = std::max(m_quietUntil, heard + kClickScrollMs);
    QMetaObject::invokeMethod(
        this,
        [=, this] {
            setEventTime(heard);
            setEventTarget(target);
            emit mouseDown(point, MouseButton::left, 1);
            setEventTarget(std::nullopt);
            emit mouseUp(point, MouseButton::left);
        },
        Qt::QueuedConnection);
}

void AtSpiInputMonitor::valueChanged(AtspiAccessible* source,
                                     std::chrono::steady_clock::time_point heard) {
    // A bar already known needs no call to be told apart: under load every call counts.
    const bool knownBar = std::any_of(m_bars.begin(), m_bars.end(),
                                      [&](const Bar& b) { return b.element == source; });
    Query query(kReadBudgetMs);
    const std::optional<AtspiRole> role =
        knownBar ? std::optional(ATSPI_ROLE_SCROLL_BAR) : query.role(source);
    if (role == ATSPI_ROLE_SCROLL_BAR) {
        scrollBarChanged(source, heard);
        return;
    }
    // The application's own changes, and those of sliders the user is not at, are not the
    // user's: a dragged slider has the focus.
    if (role != ATSPI_ROLE_SLIDER || !query.hasStates(source, {ATSPI_STATE_FOCUSED}))
        return;
    const bool byPointer = m_clicks.isClick(source, ClickInference::Change::value);
    const std::optional<Point> at = sliderHandle(source);
    if (!byPointer) {
        endDrag();
        // Moved by keys: a drag that follows starts from here.
        if (at)
            know(source, *at);
        return;
    }
    if (!at)
        return;
    const Point point = *at;
    if (m_dragging && m_known->slider == source) {
        m_known->at = point;
        QMetaObject::invokeMethod(
            this, [=, this] { emit mouseDragged(point); }, Qt::QueuedConnection);
        return;
    }
    endDrag();
    const Point start = m_known && m_known->slider == source ? m_known->at : point;
    know(source, point);
    m_dragging = true;
    QMetaObject::invokeMethod(
        this,
        [=, this] {
            setEventTime(heard);
            emit mouseDown(start, MouseButton::left, 1);
            emit mouseDragged(point);
        },
        Qt::QueuedConnection);
}

void AtSpiInputMonitor::know(AtspiAccessible* slider, Point handle) {
    if (!m_known || m_known->slider != slider) {
        if (m_known)
            g_object_unref(m_known->slider);
        m_known = Handle{static_cast<AtspiAccessible*>(g_object_ref(slider)), handle};
    }
    m_known->at = handle;
}

namespace {

struct Range {
    double value;
    double minimum;
    double maximum;
    double increment;
};

std::optional<Range> rangeOf(AtspiAccessible* element, Query& query) {
    Ref<AtspiValue> value(atspi_accessible_get_value_iface(element));
    if (!value)
        return std::nullopt;
    const auto read = [&](gdouble (*getter)(AtspiValue*, GError**)) {
        return query.call([&](GError** e) { return getter(value.get(), e); });
    };
    const std::optional<double> current = read(atspi_value_get_current_value);
    const std::optional<double> minimum = read(atspi_value_get_minimum_value);
    const std::optional<double> maximum = read(atspi_value_get_maximum_value);
    if (!current || !minimum || !maximum)
        return std::nullopt;
    return Range{*current, *minimum, *maximum, read(atspi_value_get_minimum_increment).value_or(0)};
}

} // namespace

void AtSpiInputMonitor::scrollBarChanged(AtspiAccessible* bar,
                                         std::chrono::steady_clock::time_point heard) {
    Query query(kReadBudgetMs);
    const std::optional<Range> range = rangeOf(bar, query);
    if (!range)
        return;
    const auto known =
        std::find_if(m_bars.begin(), m_bars.end(), [&](const Bar& b) { return b.element == bar; });
    if (known == m_bars.end()) {
        if (m_bars.size() >= kMaxBars) {
            g_object_unref(m_bars.front().element);
            m_bars.pop_front();
        }
        m_bars.push_back(Bar{static_cast<AtspiAccessible*>(g_object_ref(bar)), range->value,
                             range->minimum, range->maximum});
        return;
    }
    const Bar before = *known;
    // The new value is kept once the change is accounted for. A bar that cannot be placed in time
    // (a busy application) keeps its old one, so the next event of the same scroll tries again
    // with the whole distance.
    const auto keep = [&] {
        for (Bar& b : m_bars)
            if (b.element == bar)
                b = Bar{b.element, range->value, range->minimum, range->maximum};
    };
    // New content moves the range.
    if (before.minimum != range->minimum || before.maximum != range->maximum ||
        before.value == range->value) {
        keep();
        return;
    }
    // A key or a click just heard moves the view itself; keys typed just before may not have been
    // taken in yet.
    m_keys.deliverPending();
    if (heard < m_quietUntil) {
        keep();
        return;
    }
    const std::optional<Placed> placed = place(bar, kScrollBarBudgetMs);
    if (!placed)
        return;
    keep();
    const Rect& frame = placed->frame;
    // Along its long side: Qt says neither vertical nor horizontal.
    const bool vertical = frame.size.height > frame.size.width;
    const double steps = wayland::WheelSteps::between(
        before.value, range->value,
        {vertical ? frame.size.height : frame.size.width, range->increment,
         placed->toolkit.startsWith(QLatin1String("Qt"))});
    if (steps == 0)
        return;
    // What lies under the view's centre now has scrolled there, and a fresh window would not show
    // it there: the scroll is over the bar, which scrolls its view by the same steps, or over the
    // scroll pane that holds it (GTK), itself.
    Point point{frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2};
    std::optional<AXTarget> target = m_elements ? m_elements->describe(bar, point) : std::nullopt;
    if (target && !target->axRole)
        target.reset();
    if (target)
        overPane(bar, frame, *target, point);
    // Growing values scroll down or right; the wheel counts up and left as positive.
    const double dx = vertical ? 0 : -steps;
    const double dy = vertical ? -steps : 0;
    QMetaObject::invokeMethod(
        this,
        [=, this] {
            setEventTime(heard);
            setEventTarget(target);
            emit scroll(point, dx, dy);
            setEventTarget(std::nullopt);
        },
        Qt::QueuedConnection);
}

void AtSpiInputMonitor::overPane(AtspiAccessible* bar, const Rect& frame, AXTarget& target,
                                 Point& point) {
    // Its value is the scroll's doing, which replay finds not yet done.
    target.axValue.reset();
    Query query(kReadBudgetMs);
    Accessible pane = query.accessible(atspi_accessible_get_parent, bar);
    if (!pane || query.role(pane.get()) != ATSPI_ROLE_SCROLL_PANE)
        return;
    // Both in the same (window-local) coordinates: the pane's place beside the bar's.
    const std::optional<Rect> barBox = query.extents(bar);
    const std::optional<Rect> paneBox = query.extents(pane.get());
    if (!barBox || !paneBox)
        return;
    const double dx = paneBox->origin.x - barBox->origin.x;
    const double dy = paneBox->origin.y - barBox->origin.y;
    point = Point{frame.origin.x + dx + paneBox->size.width / 2,
                  frame.origin.y + dy + paneBox->size.height / 2};
    target.axRole = roleName(ATSPI_ROLE_SCROLL_PANE);
    target.axTitle = nonEmpty(
        takeString(query.call([&](GError** e) { return atspi_accessible_get_name(pane.get(), e); })
                       .value_or(nullptr)));
    target.axSubrole.reset();
    target.axIdentifier.reset();
    target.axDescription.reset();
    // Its place under its window, the top level just below the application.
    Accessible window = retain(pane.get());
    for (int i = 0; i < kMaxLevels && !query.stopped(); ++i) {
        Accessible up = query.accessible(atspi_accessible_get_parent, window.get());
        if (!up || query.role(up.get()) == ATSPI_ROLE_APPLICATION)
            break;
        window = std::move(up);
    }
    target.axPath = query.path(pane.get(), window.get());
    if (target.frameInWindow) {
        const Rect& was = *target.frameInWindow;
        target.frameInWindow =
            Rect(was.origin.x + dx, was.origin.y + dy, paneBox->size.width, paneBox->size.height);
    }
}

void AtSpiInputMonitor::learnScrollBars(AtspiAccessible* window) {
    Query query(kScrollBarBudgetMs);
    // Breadth first: a view's bars sit beside it, above its rows.
    std::deque<Accessible> pending;
    pending.push_back(retain(window));
    for (int seen = 0; !pending.empty() && seen < kMaxBarSearch && !query.stopped(); ++seen) {
        Accessible element = std::move(pending.front());
        pending.pop_front();
        if (query.role(element.get()) == ATSPI_ROLE_SCROLL_BAR) {
            const std::optional<Range> range = rangeOf(element.get(), query);
            const bool known = std::any_of(m_bars.begin(), m_bars.end(), [&](const Bar& b) {
                return b.element == element.get();
            });
            if (range && !known && m_bars.size() < kMaxBars)
                m_bars.push_back(Bar{static_cast<AtspiAccessible*>(g_object_ref(element.get())),
                                     range->value, range->minimum, range->maximum});
            continue;
        }
        for (Accessible& child : query.children(element.get()))
            pending.push_back(std::move(child));
    }
}

void AtSpiInputMonitor::learnActiveScrollBars() {
    Accessible desktop(atspi_get_desktop(0));
    Query query(kScrollBarBudgetMs);
    for (const Accessible& app : query.children(desktop.get())) {
        const std::optional<qint64> pid =
            query.call([&](GError** e) { return atspi_accessible_get_process_id(app.get(), e); });
        if (!pid || *pid == QCoreApplication::applicationPid())
            continue;
        for (const Accessible& window : query.children(app.get()))
            if (query.hasStates(window.get(), {ATSPI_STATE_ACTIVE}))
                learnScrollBars(window.get());
    }
}

void AtSpiInputMonitor::forgetScrollBars() {
    for (const Bar& bar : m_bars)
        g_object_unref(bar.element);
    m_bars.clear();
}

void AtSpiInputMonitor::focusOn(AtspiAccessible* element, std::optional<AXTarget> target) {
    auto* held = static_cast<AtspiAccessible*>(g_object_ref(element));
    forgetFocus();
    m_focus.element = held;
    // Only the window: the keys' own read may do better.
    if (target && target->axRole)
        m_focus.target = std::move(target);
}

void AtSpiInputMonitor::forgetFocus() {
    if (m_focus.element)
        g_object_unref(m_focus.element);
    m_focus = Focus{};
}

std::optional<AXTarget> AtSpiInputMonitor::focusTarget() {
    if (!m_focus.target)
        return std::nullopt;
    AXTarget& target = m_focus.target.value();
    // Typing changes what it holds, and the replay tells a field typed into empty by it. A
    // password field's text is never read.
    if (!target.isSecure) {
        Query query(kReadBudgetMs);
        const std::optional<QString> value =
            query.value(m_focus.element, query.interfaces(m_focus.element), kMaxValueLength);
        if (!query.stopped())
            target.axValue = value;
    }
    return target;
}

void AtSpiInputMonitor::endDrag() {
    if (!m_dragging)
        return;
    m_dragging = false;
    const Point point = m_known->at;
    QMetaObject::invokeMethod(
        this, [=, this] { emit mouseUp(point, MouseButton::left); }, Qt::QueuedConnection);
}

std::optional<Point> AtSpiInputMonitor::sliderHandle(AtspiAccessible* slider) {
    const std::optional<Placed> placed = place(slider, kReadBudgetMs);
    if (!placed)
        return std::nullopt;
    Query query(kReadBudgetMs);
    const std::optional<Range> range = rangeOf(slider, query);
    if (!range)
        return std::nullopt;
    const bool vertical = query.hasStates(slider, {ATSPI_STATE_VERTICAL});
    // GTK counts a vertical slider from the top, Qt from the bottom.
    const bool minimumAtTop = !placed->toolkit.startsWith(QLatin1String("Qt"));
    return wayland::SliderGeometry::pointFor(placed->frame, range->value, range->minimum,
                                             range->maximum,
                                             vertical ? wayland::SliderGeometry::Axis::vertical
                                                      : wayland::SliderGeometry::Axis::horizontal,
                                             minimumAtTop);
}

std::optional<Point> AtSpiInputMonitor::centre(AtspiAccessible* element) {
    const std::optional<Placed> placed = place(element, kReadBudgetMs);
    if (!placed)
        return std::nullopt;
    const Rect& frame = placed->frame;
    return Point{frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2};
}

std::optional<AtSpiInputMonitor::Placed> AtSpiInputMonitor::place(AtspiAccessible* element,
                                                                  int budgetMs) {
    Query query(budgetMs);
    const std::optional<Rect> frame = query.extents(element);
    const std::optional<qint64> pid =
        query.call([&](GError** e) { return atspi_accessible_get_process_id(element, e); });
    if (!frame || !pid)
        return std::nullopt;
    // The top-level window holding it, and its application.
    Accessible window = retain(element);
    Accessible app;
    for (int i = 0; i < kMaxLevels && !query.stopped(); ++i) {
        Accessible up = query.accessible(atspi_accessible_get_parent, window.get());
        if (!up)
            return std::nullopt;
        if (query.role(up.get()) == ATSPI_ROLE_APPLICATION) {
            app = std::move(up);
            break;
        }
        window = std::move(up);
    }
    if (!app)
        return std::nullopt;
    const QString title = takeString(
        query.call([&](GError** e) { return atspi_accessible_get_name(window.get(), e); })
            .value_or(nullptr));
    const QString toolkit = takeString(
        query.call([&](GError** e) { return atspi_accessible_get_toolkit_name(app.get(), e); })
            .value_or(nullptr));
    std::optional<ClientWindow> client;
    for (const ClientWindow& candidate : m_windows->clients()) {
        if (candidate.pid != pid)
            continue;
        if (!client || candidate.title == title)
            client = candidate;
    }
    Rect global = *frame;
    if (client) {
        if (const std::optional<Point> origin = m_windows->accessibleOrigin(*client, toolkit)) {
            global.origin.x += origin->x;
            global.origin.y += origin->y;
        }
    }
    return Placed{global, toolkit};
}

} // namespace tavrik::atspi
