#include "TavrikPlatform/X11/RecordStream.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/extensions/record.h>

namespace tavrik::x11 {

namespace {

void intercept(XPointer closure, XRecordInterceptData* data) {
    auto* stream = reinterpret_cast<RecordStream*>(closure);
    if (data->category == XRecordStartOfData) {
        stream->recordingStarted();
    } else if (data->category == XRecordFromServer && data->data_len * 4 >= sizeof(xEvent)) {
        const auto* raw = reinterpret_cast<const xEvent*>(data->data);
        RecordStream::Event event;
        event.type = raw->u.u.type & 0x7f;
        event.detail = raw->u.u.detail;
        event.state = raw->u.keyButtonPointer.state;
        event.rootX = raw->u.keyButtonPointer.rootX;
        event.rootY = raw->u.keyButtonPointer.rootY;
        event.time = raw->u.keyButtonPointer.time;
        stream->received(event);
    } else if (data->category == XRecordFromClient && data->data_len > 0) {
        RecordStream::Event event;
        event.request =
            QByteArray(reinterpret_cast<const char*>(data->data), int(data->data_len) * 4);
        event.swapped = data->client_swapped;
        stream->received(event);
    }
    XRecordFreeData(data);
}

} // namespace

RecordStream::RecordStream(int firstType, int lastType, Handler handler, int maxDelayMs,
                           QObject* parent)
    : QObject(parent), m_firstType(firstType), m_lastType(lastType), m_handler(std::move(handler)) {
    m_flushTimer.setInterval(maxDelayMs);
    connect(&m_flushTimer, &QTimer::timeout, this, [this] {
        if (m_control && m_control->isOpen())
            XSync(m_control->display(), False);
    });
}

RecordStream::~RecordStream() {
    stop();
}

bool RecordStream::start() {
    if (isRunning())
        return true;
    m_error.clear();
    // An enabled context's replies block every other request on their connection, so the
    // context is controlled on one connection and read on another.
    m_control = std::make_unique<XConnection>();
    m_data = std::make_unique<XConnection>();
    if (!m_control->isOpen() || !m_data->isOpen()) {
        m_error = tr("Cannot connect to the X server (DISPLAY is \"%1\").")
                      .arg(qEnvironmentVariable("DISPLAY"));
        stop();
        return false;
    }
    Display* control = m_control->display();
    int major = 0, minor = 0;
    if (!XRecordQueryVersion(control, &major, &minor)) {
        m_error = tr("The X server has no RECORD extension, so global input cannot be read.");
        stop();
        return false;
    }
    // One range for the events, one for each request.
    QList<XRecordRange*> ranges;
    for (qsizetype i = 0; i <= m_requests.size(); ++i) {
        XRecordRange* range = XRecordAllocRange();
        if (!range)
            break;
        ranges.append(range);
    }
    if (ranges.size() != m_requests.size() + 1) {
        for (XRecordRange* range : ranges)
            XFree(range);
        m_error = tr("Out of memory.");
        stop();
        return false;
    }
    ranges[0]->device_events.first = m_firstType;
    ranges[0]->device_events.last = m_lastType;
    ranges[0]->delivered_events.first = ranges[0]->delivered_events.last = m_deliveredType;
    for (qsizetype i = 0; i < m_requests.size(); ++i) {
        const auto& [extension, opcode] = m_requests[i];
        XRecordRange* range = ranges[i + 1];
        int major = 0, event = 0, error = 0;
        if (extension.isEmpty()) {
            range->core_requests.first = range->core_requests.last = opcode;
        } else if (XQueryExtension(control, extension.constData(), &major, &event, &error)) {
            range->ext_requests.ext_major.first = range->ext_requests.ext_major.last = major;
            range->ext_requests.ext_minor.first = range->ext_requests.ext_minor.last = opcode;
        }
    }
    XRecordClientSpec clients = XRecordAllClients;
    {
        ErrorTrap trap(control);
        m_context =
            XRecordCreateContext(control, 0, &clients, 1, ranges.data(), int(ranges.size()));
        if (trap.sync() != 0)
            m_context = 0;
    }
    for (XRecordRange* range : ranges)
        XFree(range);
    if (!m_context) {
        m_error = tr("The X server refused to record input.");
        stop();
        return false;
    }
    m_readerState = 0;
    m_reader.reset(QThread::create([this, data = m_data->display(), context = m_context] {
        // Blocks until the context is disabled.
        XRecordEnableContext(data, context, intercept, reinterpret_cast<XPointer>(this));
        m_readerState = 2;
    }));
    m_reader->start();
    // Wait for the first reply, so that everything after start() is seen.
    QDeadlineTimer deadline(3000);
    while (m_readerState == 0 && !deadline.hasExpired())
        QThread::msleep(1);
    if (m_readerState != 1) {
        m_error = tr("The X server refused to record input.");
        stop();
        return false;
    }
    // The server sends recorded events only when it flushes output to some client, which an
    // idle desktop may not do for a while; a round trip now and then bounds the delay.
    m_flushTimer.start();
    return true;
}

void RecordStream::stop() {
    m_flushTimer.stop();
    if (m_context && m_control && m_control->isOpen()) {
        XRecordDisableContext(m_control->display(), m_context);
        XSync(m_control->display(), False);
    }
    if (m_reader) {
        m_reader->wait();
        m_reader.reset();
    }
    if (m_context && m_control && m_control->isOpen()) {
        XRecordFreeContext(m_control->display(), m_context);
        XSync(m_control->display(), False);
    }
    m_context = 0;
    m_data.reset();
    m_control.reset();
}

void RecordStream::recordingStarted() {
    m_readerState = 1;
}

void RecordStream::deliverPending(int maxWaitMs) {
    if (!isRunning())
        return;
    // A round trip makes the server flush its output, recorded events included; the reader is
    // done with them once it has been quiet for a moment.
    XSync(m_control->display(), False);
    constexpr int quietMs = 15;
    QDeadlineTimer deadline(maxWaitMs);
    quint64 seen = m_receivedCount;
    QDeadlineTimer quiet(quietMs);
    while (!quiet.hasExpired() && !deadline.hasExpired()) {
        QThread::msleep(2);
        if (m_receivedCount != seen) {
            seen = m_receivedCount;
            quiet.setRemainingTime(quietMs);
        }
    }
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void RecordStream::received(const Event& event) {
    ++m_receivedCount;
    const bool delivered = m_deliveredType != 0 && event.type == m_deliveredType;
    if (event.request.isEmpty() && !delivered &&
        (event.type < m_firstType || event.type > m_lastType))
        return;
    // Buttons 4 to 7 are the wheel's.
    const bool press = event.type == ButtonPress && (event.detail < 4 || event.detail > 7);
    if (press)
        ++m_pressesReceived;
    // Queued to this object: nothing is delivered once it is gone.
    QMetaObject::invokeMethod(
        this,
        [this, event, press] {
            if (press)
                ++m_pressesDelivered;
            if (m_context)
                m_handler(event);
        },
        Qt::QueuedConnection);
}

} // namespace tavrik::x11
