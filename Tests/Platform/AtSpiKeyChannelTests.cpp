#include "Support/CoreApplication.h"
#include "TavrikPlatform/AtSpi/AtSpiKeyChannel.h"

#include <QProcess>
#include <QSemaphore>
#include <dbus/dbus.h>
#include <gtest/gtest.h>
#include <thread>

using namespace tavrik;
using namespace tavrik::atspi;

namespace {

// A message bus of the test's own.
class Bus {
public:
    Bus() {
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--session"), QStringLiteral("--nofork"),
                        QStringLiteral("--print-address=1")});
        if (m_daemon.waitForStarted() && m_daemon.waitForReadyRead(10000))
            address = m_daemon.readLine().trimmed();
    }
    ~Bus() {
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    QByteArray address;

private:
    QProcess m_daemon;
};

// Stands in for the accessibility registry on a thread of its own: takes the registrations, then
// calls the listener with `keys` as the real one does, waiting at most a second for each answer.
class StandInRegistry {
public:
    StandInRegistry(const QByteArray& address, int registrations, QList<quint32> keys)
        : m_registrations(registrations), m_keys(std::move(keys)) {
        DBusError error;
        dbus_error_init(&error);
        m_bus = dbus_connection_open_private(address.constData(), &error);
        if (m_bus && dbus_bus_register(m_bus, &error))
            dbus_bus_request_name(m_bus, "org.a11y.atspi.Registry", 0, &error);
        dbus_error_free(&error);
        dbus_connection_add_filter(m_bus, &StandInRegistry::filter, this, nullptr);
        m_thread = std::thread([this] { run(); });
    }
    ~StandInRegistry() {
        m_stop = true;
        m_thread.join();
        dbus_connection_close(m_bus);
        dbus_connection_unref(m_bus);
    }

    QSemaphore keysSent;
    std::atomic<int> answered = 0;
    QList<quint32> registeredMasks;

private:
    static DBusHandlerResult filter(DBusConnection* bus, DBusMessage* message, void* self) {
        auto* registry = static_cast<StandInRegistry*>(self);
        if (!dbus_message_is_method_call(message, "org.a11y.atspi.DeviceEventController",
                                         "RegisterKeystrokeListener"))
            return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
        DBusMessageIter args;
        dbus_message_iter_init(message, &args);
        const char* path = nullptr;
        dbus_message_iter_get_basic(&args, &path);
        dbus_message_iter_next(&args); // the keys
        dbus_message_iter_next(&args);
        dbus_uint32_t mask = 0;
        dbus_message_iter_get_basic(&args, &mask);
        registry->registeredMasks.append(mask);
        registry->m_listener = dbus_message_get_sender(message);
        registry->m_path = path;
        DBusMessage* reply = dbus_message_new_method_return(message);
        const dbus_bool_t kept = FALSE;
        dbus_message_append_args(reply, DBUS_TYPE_BOOLEAN, &kept, DBUS_TYPE_INVALID);
        dbus_connection_send(bus, reply, nullptr);
        dbus_message_unref(reply);
        return DBUS_HANDLER_RESULT_HANDLED;
    }

    void run() {
        while (!m_stop && registeredMasks.size() < m_registrations)
            dbus_connection_read_write_dispatch(m_bus, 10);
        quint32 stamp = 1000;
        for (const quint32 keysym : m_keys) {
            if (m_stop)
                break;
            DBusMessage* call =
                dbus_message_new_method_call(m_listener.constData(), m_path.constData(),
                                             "org.a11y.atspi.DeviceEventListener", "NotifyEvent");
            DBusMessageIter args;
            DBusMessageIter event;
            dbus_message_iter_init_append(call, &args);
            dbus_message_iter_open_container(&args, DBUS_TYPE_STRUCT, nullptr, &event);
            const dbus_uint32_t type = 0; // pressed
            const dbus_int32_t id = dbus_int32_t(keysym);
            const dbus_uint32_t hardware = 38;
            const dbus_uint32_t modifiers = 4;
            const dbus_int32_t timestamp = dbus_int32_t(stamp += 120);
            const QByteArray text(1, char(keysym));
            const char* string = text.constData();
            const dbus_bool_t isText = TRUE;
            dbus_message_iter_append_basic(&event, DBUS_TYPE_UINT32, &type);
            dbus_message_iter_append_basic(&event, DBUS_TYPE_INT32, &id);
            dbus_message_iter_append_basic(&event, DBUS_TYPE_UINT32, &hardware);
            dbus_message_iter_append_basic(&event, DBUS_TYPE_UINT32, &modifiers);
            dbus_message_iter_append_basic(&event, DBUS_TYPE_INT32, &timestamp);
            dbus_message_iter_append_basic(&event, DBUS_TYPE_STRING, &string);
            dbus_message_iter_append_basic(&event, DBUS_TYPE_BOOLEAN, &isText);
            dbus_message_iter_close_container(&args, &event);
            DBusMessage* reply =
                dbus_connection_send_with_reply_and_block(m_bus, call, 1000, nullptr);
            dbus_message_unref(call);
            if (reply) {
                ++answered;
                dbus_message_unref(reply);
            }
        }
        keysSent.release();
        // Answers the listener's pings (libdbus does, while dispatching).
        while (!m_stop)
            dbus_connection_read_write_dispatch(m_bus, 10);
    }

    DBusConnection* m_bus = nullptr;
    std::thread m_thread;
    std::atomic<bool> m_stop = false;
    int m_registrations;
    QList<quint32> m_keys;
    QByteArray m_listener;
    QByteArray m_path;
};

} // namespace

// The registry waits for each key's answer and gives up on a slow listener; the thread that
// takes the keys is busy (here: blocked outright) while they arrive. Every key is answered all
// the same, and handed over afterwards in order, with its fields and time.
TEST(AtSpiKeyChannel, AnswersEveryKeyWhileItsThreadIsBusyAndHandsThemOverInOrder) {
    test::ensureCoreApplication();
    Bus bus;
    ASSERT_FALSE(bus.address.isEmpty());
    qputenv("AT_SPI_BUS_ADDRESS", bus.address);
    const QList<quint32> typed{'a', 'b', 'c', 'd', 'e'};
    StandInRegistry registry(bus.address, 2, typed);

    QObject receiver;
    QList<AtSpiKeyChannel::Key> keys;
    AtSpiKeyChannel channel(&receiver, [&](const AtSpiKeyChannel::Key& key) { keys.append(key); });
    ASSERT_TRUE(channel.start({0, 4})) << channel.errorString().toStdString();
    qunsetenv("AT_SPI_BUS_ADDRESS");
    EXPECT_EQ(registry.registeredMasks, (QList<quint32>{0, 4}));

    // No event loop runs here until the registry has sent every key.
    ASSERT_TRUE(registry.keysSent.tryAcquire(1, 30000));
    EXPECT_EQ(registry.answered, typed.size());
    EXPECT_TRUE(keys.isEmpty());

    channel.deliverPending(5000);
    ASSERT_EQ(keys.size(), typed.size());
    for (int i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(keys[i].keysym, typed[i]);
        EXPECT_EQ(keys[i].text, QByteArray(1, char(typed[i])));
        EXPECT_TRUE(keys[i].isText);
        EXPECT_EQ(keys[i].type, 0u);
        EXPECT_EQ(keys[i].hardwareCode, 38u);
        EXPECT_EQ(keys[i].modifiers, 4u);
        EXPECT_EQ(keys[i].timestamp, quint32(1000 + 120 * (i + 1)));
    }
}
