// clang-format off
#include "TavrikPlatform/AtSpi/AtSpiQuery.h"
// clang-format on

#include "TavrikPlatform/AtSpi/AtSpiInputMonitor.h"

#include "TavrikPlatform/Wayland/SliderGeometry.h"

#include <QCoreApplication>
#include <QPointer>

namespace tavrik::atspi {

namespace {

using wayland::ClickInference;

// Each event's element is read within this; a slow application loses its click, never the
// recording's pace.
constexpr int kReadBudgetMs = 400;
constexpr int kMaxLevels = 32;
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
                afterEventsSent([=, this, at = m_keys.eventTime()] {
                    m_clicks.key(code, flags);
                    endDrag();
                    QMetaObject::invokeMethod(
                        this,
                        [=, this] {
                            setEventTime(at);
                            emit key(code, flags, characters);
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
    m_pointer.reset();
    // Placing a device's gestures needs the compositor's pointer; without either, clicks are
    // inferred from what they do.
    m_readsDevices = m_locate && m_locate() && m_devices.start();
    if (!m_readsDevices && m_locate)
        qInfo("%s", qPrintable(m_devices.errorString()));
    // Applications report only the events someone listens for, and learn of a new listener from
    // the registry: once each has answered, it knows, and the first click is heard.
    m_senders.clear();
    Accessible desktop(atspi_get_desktop(0));
    Query registry(kReadBudgetMs);
    for (const Accessible& app : registry.children(desktop.get()))
        m_senders.insert(busName(app.get()));
    ping(m_senders);
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
        return;
    }
    // Only gains: losing the focus or a selection is the other half of one that is reported.
    if (event.detail1 == 0 && !type.endsWith(":checked"))
        return;
    ClickInference::Change change = ClickInference::Change::checked;
    bool slider = false;
    if (type.endsWith(":focused")) {
        Query query(kReadBudgetMs);
        const AtspiRole role = query.role(source).value_or(ATSPI_ROLE_INVALID);
        if (isContainer(role))
            return;
        change = ClickInference::Change::focused;
        // A slider's click shows as the value it sets, and a press on its handle sets none: a
        // click at its centre would move the handle there on replay.
        slider = role == ATSPI_ROLE_SLIDER;
    } else if (type.endsWith(":selected")) {
        change = ClickInference::Change::selected;
    }
    if (!m_clicks.isClick(source, change))
        return;
    if (slider) {
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
    if (!at && target && target->windowFrame && target->frameInWindow) {
        const Rect& frame = *target->frameInWindow;
        at = Point{target->windowFrame->origin.x + frame.origin.x + frame.size.width / 2,
                   target->windowFrame->origin.y + frame.origin.y + frame.size.height / 2};
    }
    if (!at)
        return;
    const Point point = *at;
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
    Query query(kReadBudgetMs);
    // The application's own changes, and those of sliders the user is not at, are not the
    // user's: a dragged slider has the focus.
    if (query.role(source) != ATSPI_ROLE_SLIDER || !query.hasStates(source, {ATSPI_STATE_FOCUSED}))
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

void AtSpiInputMonitor::endDrag() {
    if (!m_dragging)
        return;
    m_dragging = false;
    const Point point = m_known->at;
    QMetaObject::invokeMethod(
        this, [=, this] { emit mouseUp(point, MouseButton::left); }, Qt::QueuedConnection);
}

std::optional<Point> AtSpiInputMonitor::sliderHandle(AtspiAccessible* slider) {
    const std::optional<Placed> placed = place(slider);
    if (!placed)
        return std::nullopt;
    Query query(kReadBudgetMs);
    Ref<AtspiValue> value(atspi_accessible_get_value_iface(slider));
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
    const bool vertical = query.hasStates(slider, {ATSPI_STATE_VERTICAL});
    // GTK counts a vertical slider from the top, Qt from the bottom.
    const bool minimumAtTop = !placed->toolkit.startsWith(QLatin1String("Qt"));
    return wayland::SliderGeometry::pointFor(placed->frame, *current, *minimum, *maximum,
                                             vertical ? wayland::SliderGeometry::Axis::vertical
                                                      : wayland::SliderGeometry::Axis::horizontal,
                                             minimumAtTop);
}

std::optional<Point> AtSpiInputMonitor::centre(AtspiAccessible* element) {
    const std::optional<Placed> placed = place(element);
    if (!placed)
        return std::nullopt;
    const Rect& frame = placed->frame;
    return Point{frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2};
}

std::optional<AtSpiInputMonitor::Placed> AtSpiInputMonitor::place(AtspiAccessible* element) {
    Query query(kReadBudgetMs);
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
