#include "TavrikPlatform/AtSpi/AtSpiKeyChannel.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <dbus/dbus.h>

namespace tavrik::atspi {

namespace {

const char* const kRegistry = "org.a11y.atspi.Registry";
const char* const kListenerPath = "/org/a11y/atspi/listeners/0";
// Above any serial the connection numbers its own calls with.
constexpr quint32 kPingSerials = 0x4000'0000;
// How long the thread waits for traffic before looking whether it should end.
constexpr int kPollMs = 50;
constexpr int kRegisterTimeoutMs = 3000;

QByteArray busAddress() {
    QByteArray address = qgetenv("AT_SPI_BUS_ADDRESS");
    if (address.isEmpty()) {
        const QDBusReply<QString> reply =
            QDBusConnection::sessionBus().call(QDBusMessage::createMethodCall(
                QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress")));
        if (reply.isValid())
            address = reply.value().toUtf8();
    }
    return address;
}

// The fields of a device event in order, whatever integer types the registry marshals them as.
AtSpiKeyChannel::Key readKey(DBusMessage* message) {
    AtSpiKeyChannel::Key key;
    DBusMessageIter args;
    DBusMessageIter fields;
    if (!dbus_message_iter_init(message, &args) ||
        dbus_message_iter_get_arg_type(&args) != DBUS_TYPE_STRUCT)
        return key;
    dbus_message_iter_recurse(&args, &fields);
    quint32* const numbers[] = {&key.type, &key.keysym, &key.hardwareCode, &key.modifiers,
                                &key.timestamp};
    int next = 0;
    for (int type; (type = dbus_message_iter_get_arg_type(&fields)) != DBUS_TYPE_INVALID;
         dbus_message_iter_next(&fields)) {
        if ((type == DBUS_TYPE_UINT32 || type == DBUS_TYPE_INT32) && next < 5) {
            dbus_uint32_t value = 0;
            dbus_message_iter_get_basic(&fields, &value);
            *numbers[next++] = value;
        } else if (type == DBUS_TYPE_STRING) {
            const char* text = nullptr;
            dbus_message_iter_get_basic(&fields, &text);
            key.text = QByteArray(text);
        } else if (type == DBUS_TYPE_BOOLEAN) {
            dbus_bool_t value = FALSE;
            dbus_message_iter_get_basic(&fields, &value);
            key.isText = value;
        }
    }
    return key;
}

} // namespace

AtSpiKeyChannel::AtSpiKeyChannel(QObject* receiver, Sink sink)
    : m_receiver(receiver), m_sink(std::move(sink)) {}

AtSpiKeyChannel::~AtSpiKeyChannel() {
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    if (m_bus) {
        dbus_connection_close(m_bus);
        dbus_connection_unref(m_bus);
    }
}

bool AtSpiKeyChannel::start(const QList<quint32>& modifierMasks) {
    if (m_bus)
        return true;
    dbus_threads_init_default();
    const QByteArray address = busAddress();
    DBusError error;
    dbus_error_init(&error);
    DBusConnection* bus =
        address.isEmpty() ? nullptr : dbus_connection_open_private(address.constData(), &error);
    if (bus && !dbus_bus_register(bus, &error)) {
        dbus_connection_close(bus);
        dbus_connection_unref(bus);
        bus = nullptr;
    }
    if (!bus) {
        m_error = QStringLiteral("The accessibility bus cannot be reached.");
        dbus_error_free(&error);
        return false;
    }
    dbus_connection_set_exit_on_disconnect(bus, FALSE);

    // A registration hears only keys pressed with exactly its modifier mask. The registry's
    // answer is false for registrations it keeps all the same, so only an error counts.
    int registered = 0;
    for (const quint32 mask : modifierMasks) {
        DBusMessage* call = dbus_message_new_method_call(
            kRegistry, "/org/a11y/atspi/registry/deviceeventcontroller",
            "org.a11y.atspi.DeviceEventController", "RegisterKeystrokeListener");
        DBusMessageIter args;
        DBusMessageIter inner;
        dbus_message_iter_init_append(call, &args);
        dbus_message_iter_append_basic(&args, DBUS_TYPE_OBJECT_PATH, &kListenerPath);
        // No key set: every key.
        dbus_message_iter_open_container(&args, DBUS_TYPE_ARRAY, "(iisi)", &inner);
        dbus_message_iter_close_container(&args, &inner);
        const dbus_uint32_t modifiers = mask;
        const dbus_uint32_t types = (1u << 0) | (1u << 1); // pressed and released
        dbus_message_iter_append_basic(&args, DBUS_TYPE_UINT32, &modifiers);
        dbus_message_iter_append_basic(&args, DBUS_TYPE_UINT32, &types);
        // Not synchronous, never consuming, this session's applications only.
        dbus_message_iter_open_container(&args, DBUS_TYPE_STRUCT, nullptr, &inner);
        for (int i = 0; i < 3; ++i) {
            const dbus_bool_t no = FALSE;
            dbus_message_iter_append_basic(&inner, DBUS_TYPE_BOOLEAN, &no);
        }
        dbus_message_iter_close_container(&args, &inner);
        DBusMessage* reply =
            dbus_connection_send_with_reply_and_block(bus, call, kRegisterTimeoutMs, &error);
        dbus_message_unref(call);
        if (reply) {
            ++registered;
            dbus_message_unref(reply);
        } else {
            m_error = QString::fromUtf8(error.message);
            dbus_error_free(&error);
        }
    }
    if (registered == 0) {
        dbus_connection_close(bus);
        dbus_connection_unref(bus);
        return false;
    }
    m_bus = bus;
    m_error.clear();
    m_thread = std::thread([this] { run(); });
    return true;
}

void AtSpiKeyChannel::run() {
    dbus_connection_add_filter(
        m_bus,
        [](DBusConnection*, DBusMessage* message, void* self) {
            static_cast<AtSpiKeyChannel*>(self)->handle(message);
            return DBUS_HANDLER_RESULT_HANDLED;
        },
        this, nullptr);
    while (!m_stop && dbus_connection_read_write_dispatch(m_bus, kPollMs)) {
    }
}

void AtSpiKeyChannel::handle(DBusMessage* message) {
    const int type = dbus_message_get_type(message);
    if (type == DBUS_MESSAGE_TYPE_METHOD_RETURN || type == DBUS_MESSAGE_TYPE_ERROR) {
        // Dispatched in order, so the keys sent before a ping's reply have been handed on.
        const quint32 serial = dbus_message_get_reply_serial(message);
        if (serial > kPingSerials) {
            const QMutexLocker lock(&m_mutex);
            m_lastPong = std::max(m_lastPong, serial - kPingSerials);
            m_ponged.wakeAll();
        }
        return;
    }
    if (type != DBUS_MESSAGE_TYPE_METHOD_CALL)
        return;
    const bool isKey =
        dbus_message_is_method_call(message, "org.a11y.atspi.DeviceEventListener", "NotifyEvent");
    Key key;
    if (isKey) {
        key = readKey(message);
        key.arrival = std::chrono::steady_clock::now();
    }
    // The answer first: never consumed, the application keeps its key.
    if (DBusMessage* reply = isKey ? dbus_message_new_method_return(message)
                                   : dbus_message_new_error(message, DBUS_ERROR_UNKNOWN_METHOD,
                                                            "Only keys are listened for here.")) {
        if (isKey) {
            const dbus_bool_t consumed = FALSE;
            dbus_message_append_args(reply, DBUS_TYPE_BOOLEAN, &consumed, DBUS_TYPE_INVALID);
        }
        if (!dbus_message_get_no_reply(message))
            dbus_connection_send(m_bus, reply, nullptr);
        dbus_message_unref(reply);
    }
    if (isKey)
        QMetaObject::invokeMethod(
            m_receiver, [sink = m_sink, key] { sink(key); }, Qt::QueuedConnection);
}

void AtSpiKeyChannel::deliverPending(int timeoutMs) {
    if (!m_bus)
        return;
    DBusMessage* ping =
        dbus_message_new_method_call(kRegistry, "/", "org.freedesktop.DBus.Peer", "Ping");
    if (!ping)
        return;
    quint32 ticket = 0;
    {
        const QMutexLocker lock(&m_mutex);
        ticket = ++m_lastPing;
    }
    dbus_message_set_serial(ping, kPingSerials + ticket);
    dbus_connection_send(m_bus, ping, nullptr);
    dbus_message_unref(ping);
    dbus_connection_flush(m_bus);
    {
        const QDeadlineTimer deadline(timeoutMs);
        QMutexLocker lock(&m_mutex);
        while (m_lastPong < ticket && !deadline.hasExpired())
            m_ponged.wait(&m_mutex, deadline);
    }
    QCoreApplication::sendPostedEvents(m_receiver, QEvent::MetaCall);
}

} // namespace tavrik::atspi
