#pragma once

#include "TavrikCore/Recorder/EventClock.h"

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QWaitCondition>
#include <atomic>
#include <functional>
#include <thread>

typedef struct DBusConnection DBusConnection;
typedef struct DBusMessage DBusMessage;

namespace tavrik::atspi {

// The accessibility registry's keystroke calls, answered on a connection and thread of their own
// the moment they arrive. The registry waits for each answer, and a toolkit that waits too long
// for the registry delivers the key itself and the key is lost to us; meanwhile this process's
// main thread may be reading accessibility trees for the keys before. So a key is answered first
// and handed on after: queued to `receiver`'s thread, in the order the registry sent them.
class AtSpiKeyChannel {
public:
    struct Key {
        quint32 type = 0; // ATSPI_KEY_PRESSED_EVENT or ATSPI_KEY_RELEASED_EVENT
        quint32 keysym = 0;
        quint32 hardwareCode = 0;
        quint32 modifiers = 0;
        quint32 timestamp = 0; // the toolkit's milliseconds; 0 when it gives none
        QByteArray text;
        bool isText = false;
        EventClock::TimePoint arrival;
    };
    using Sink = std::function<void(const Key&)>;

    // `sink` runs on `receiver`'s thread.
    AtSpiKeyChannel(QObject* receiver, Sink sink);
    ~AtSpiKeyChannel();

    // Connects to the accessibility bus and asks for every key, with each combination of
    // `modifierMasks`; false when the bus or the registry refuses (errorString() says why).
    bool start(const QList<quint32>& modifierMasks);
    // Hands every key the registry sent before this call to the sink before returning, waiting
    // at most `timeoutMs` for the registry. Receiver's thread only.
    void deliverPending(int timeoutMs);
    QString errorString() const { return m_error; }

private:
    void run();
    void handle(DBusMessage* message);

    QObject* m_receiver;
    Sink m_sink;
    DBusConnection* m_bus = nullptr;
    std::thread m_thread;
    std::atomic<bool> m_stop = false;
    QString m_error;
    // Pings to the registry carry serials from this range, so their replies are told apart.
    quint32 m_lastPing = 0;
    quint32 m_lastPong = 0;
    QMutex m_mutex;
    QWaitCondition m_ponged;
};

} // namespace tavrik::atspi
