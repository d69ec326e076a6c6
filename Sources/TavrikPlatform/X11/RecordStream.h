#pragma once

#include "TavrikPlatform/X11/XConnection.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <functional>
#include <memory>

namespace tavrik::x11 {

// The server's stream of input events (X RECORD extension) for one range of event types. Every
// event carries its root position and the modifier and button state from before it, so nothing
// has to be queried afterwards. A reader thread blocks on the stream; events reach the handler
// in order on the thread that owns the stream.
class RecordStream : public QObject {
    Q_OBJECT
public:
    struct Event {
        int type = 0;        // KeyPress .. MotionNotify
        unsigned detail = 0; // key code or button
        unsigned state = 0;  // modifier and button state before the event
        int rootX = 0;
        int rootY = 0;
        quint32 time = 0; // server milliseconds
        // A recorded client request instead: its bytes, in the order of the client that sent
        // it (`swapped` when that is not ours). `type` is 0.
        QByteArray request;
        bool swapped = false;
    };
    using Handler = std::function<void(const Event&)>;

    // `maxDelayMs` bounds how long the server may hold recorded events back.
    RecordStream(int firstType, int lastType, Handler handler, int maxDelayMs = 40,
                 QObject* parent = nullptr);
    ~RecordStream() override;

    // Also records events of this type as the server sends them to any client (before start).
    void recordDelivered(int type) { m_deliveredType = type; }
    // Also records the requests any client sends with this core opcode, or this minor opcode
    // of the named extension, in order with the events (before start).
    void recordRequest(int opcode) { m_requests.append({QByteArray(), opcode}); }
    void recordRequest(const QByteArray& extension, int minor) {
        m_requests.append({extension, minor});
    }
    // Returns once the server records (or failed to).
    bool start();
    void stop();
    // Makes the server send what it recorded, waits until the reader has passed it on (at most
    // `maxWaitMs`) and delivers it to the handler before returning. Owning thread only.
    void deliverPending(int maxWaitMs = 150);
    // Whether a button press (not a wheel tick) has been received and not yet handed to the
    // handler.
    bool pressWaiting() const { return m_pressesReceived > m_pressesDelivered; }
    bool isRunning() const { return m_context != 0; }
    QString errorString() const { return m_error; }
    // A connection for queries (key maps...) from the owning thread.
    Display* queryDisplay() const { return m_control ? m_control->display() : nullptr; }

    // Called on the reader thread.
    void received(const Event& event);
    void recordingStarted();

private:
    int m_firstType;
    int m_lastType;
    int m_deliveredType = 0;
    QList<QPair<QByteArray, int>> m_requests;
    Handler m_handler;
    std::unique_ptr<XConnection> m_control;
    std::unique_ptr<XConnection> m_data; // used only by the reader thread while it runs
    unsigned long m_context = 0;
    std::unique_ptr<QThread> m_reader;
    QTimer m_flushTimer;
    std::atomic<int> m_readerState{0}; // 0 starting, 1 recording, 2 ended
    std::atomic<quint64> m_receivedCount{0};
    std::atomic<quint64> m_pressesReceived{0};
    quint64 m_pressesDelivered = 0;
    QString m_error;
};

} // namespace tavrik::x11
