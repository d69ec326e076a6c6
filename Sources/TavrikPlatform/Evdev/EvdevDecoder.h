#pragma once

#include <QByteArray>
#include <QList>

namespace tavrik::evdev {

// One thing a person did, from an input device's event stream.
struct InputEvent {
    enum class Kind { key, button, motion, scroll };
    Kind kind = Kind::key;
    qint64 timeUs = 0;     // the kernel's timestamp of the frame
    quint16 linuxCode = 0; // KEY_* or BTN_* for keys and buttons
    quint16 keyCode = 0;   // canonical (KeyCodes.h) for keys; KeyCodes::unknown when it has none
    bool pressed = false;
    bool repeat = false; // an autorepeat of a held key
    int dx = 0;          // motion or wheel steps; wheel down and right are positive
    int dy = 0;

    bool operator==(const InputEvent&) const = default;
};

// Decodes the bytes read from /dev/input/event* (struct input_event records, 64-bit layout) into
// key, button, motion and wheel events. Records may arrive split anywhere; relative motion of one
// frame (up to SYN_REPORT) becomes one event. After SYN_DROPPED the kernel lost events: the rest
// of that frame is skipped and dropped() says so, as the caller must then re-read key states.
// Pure: no device is opened here.
class EvdevDecoder {
public:
    static constexpr qsizetype recordSize = 24;

    QList<InputEvent> feed(const QByteArray& bytes);
    bool dropped() const { return m_dropped; }
    void clearDropped() { m_dropped = false; }

    // The canonical key code of a Linux key code on a US layout; KeyCodes::unknown for others.
    static quint16 keyCodeForLinux(quint16 code);

private:
    void record(qint64 timeUs, quint16 type, quint16 code, qint32 value, QList<InputEvent>& out);
    void flushMotion(QList<InputEvent>& out);

    QByteArray m_pending;
    qint64 m_frameTime = 0;
    int m_dx = 0;
    int m_dy = 0;
    int m_wheelX = 0;
    int m_wheelY = 0;
    bool m_skipFrame = false;
    bool m_dropped = false;
};

} // namespace tavrik::evdev
