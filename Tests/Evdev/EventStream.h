#pragma once

#include <QByteArray>
#include <linux/input.h>

namespace tavrik::evdev {

// Streams as a keyboard and a mouse write them to /dev/input/event*: the kernel's own struct,
// so the decoder's field offsets are checked against the real layout.
class Stream {
public:
    Stream& add(qint64 us, quint16 type, quint16 code, qint32 value) {
        input_event e{};
        e.input_event_sec = us / 1000000;
        e.input_event_usec = us % 1000000;
        e.type = type;
        e.code = code;
        e.value = value;
        m_bytes.append(reinterpret_cast<const char*>(&e), sizeof e);
        return *this;
    }
    Stream& sync(qint64 us) { return add(us, EV_SYN, SYN_REPORT, 0); }
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

} // namespace tavrik::evdev
