#include "TavrikPlatform/Evdev/EvdevDecoder.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"

#include <cstring>
#include <linux/input-event-codes.h>

namespace tavrik::evdev {

namespace {

// The kernel's struct input_event on 64-bit machines: timeval (two 64-bit fields), type, code,
// value. Read field by field so that nothing depends on this build's own struct layout.
struct Record {
    qint64 seconds;
    qint64 microseconds;
    quint16 type;
    quint16 code;
    qint32 value;
};

Record parse(const char* data) {
    Record r;
    std::memcpy(&r.seconds, data, 8);
    std::memcpy(&r.microseconds, data + 8, 8);
    std::memcpy(&r.type, data + 16, 2);
    std::memcpy(&r.code, data + 18, 2);
    std::memcpy(&r.value, data + 20, 4);
    return r;
}

} // namespace

quint16 EvdevDecoder::keyCodeForLinux(quint16 code) {
    using namespace KeyCodes;
    switch (code) {
    // clang-format off
    case KEY_A: return a; case KEY_B: return b; case KEY_C: return c; case KEY_D: return d;
    case KEY_E: return e; case KEY_F: return f; case KEY_G: return g; case KEY_H: return h;
    case KEY_I: return i; case KEY_J: return j; case KEY_K: return k; case KEY_L: return l;
    case KEY_M: return m; case KEY_N: return n; case KEY_O: return o; case KEY_P: return p;
    case KEY_Q: return q; case KEY_R: return r; case KEY_S: return s; case KEY_T: return t;
    case KEY_U: return u; case KEY_V: return v; case KEY_W: return w; case KEY_X: return x;
    case KEY_Y: return y; case KEY_Z: return z;
    case KEY_1: return digit1; case KEY_2: return digit2; case KEY_3: return digit3;
    case KEY_4: return digit4; case KEY_5: return digit5; case KEY_6: return digit6;
    case KEY_7: return digit7; case KEY_8: return digit8; case KEY_9: return digit9;
    case KEY_0: return digit0;
    case KEY_MINUS: return minus; case KEY_EQUAL: return equal;
    case KEY_LEFTBRACE: return leftBracket; case KEY_RIGHTBRACE: return rightBracket;
    case KEY_SEMICOLON: return semicolon; case KEY_APOSTROPHE: return quote;
    case KEY_GRAVE: return grave; case KEY_BACKSLASH: return backslash;
    case KEY_COMMA: return comma; case KEY_DOT: return period; case KEY_SLASH: return slash;
    case KEY_ENTER: return returnKey; case KEY_KPENTER: return keypadEnter;
    case KEY_TAB: return tab; case KEY_SPACE: return space;
    case KEY_BACKSPACE: return deleteKey; case KEY_DELETE: return forwardDelete;
    case KEY_ESC: return escape; case KEY_CAPSLOCK: return capsLock;
    case KEY_LEFTSHIFT: return shift; case KEY_RIGHTSHIFT: return rightShift;
    case KEY_LEFTCTRL: return control; case KEY_RIGHTCTRL: return rightControl;
    case KEY_LEFTALT: return option; case KEY_RIGHTALT: return rightOption;
    case KEY_LEFTMETA: return command; case KEY_RIGHTMETA: return rightCommand;
    case KEY_HOME: return home; case KEY_END: return end;
    case KEY_PAGEUP: return pageUp; case KEY_PAGEDOWN: return pageDown;
    case KEY_LEFT: return leftArrow; case KEY_RIGHT: return rightArrow;
    case KEY_UP: return upArrow; case KEY_DOWN: return downArrow;
    case KEY_F1: return f1; case KEY_F2: return f2; case KEY_F3: return f3; case KEY_F4: return f4;
    case KEY_F5: return f5; case KEY_F6: return f6; case KEY_F7: return f7; case KEY_F8: return f8;
    case KEY_F9: return f9; case KEY_F10: return f10; case KEY_F11: return f11;
    case KEY_F12: return f12;
        // clang-format on
    }
    return unknown;
}

QList<InputEvent> EvdevDecoder::feed(const QByteArray& bytes) {
    m_pending += bytes;
    QList<InputEvent> out;
    qsizetype offset = 0;
    for (; offset + recordSize <= m_pending.size(); offset += recordSize) {
        const Record r = parse(m_pending.constData() + offset);
        record(r.seconds * 1000000 + r.microseconds, r.type, r.code, r.value, out);
    }
    m_pending.remove(0, offset);
    return out;
}

void EvdevDecoder::flushMotion(QList<InputEvent>& out) {
    if (m_dx || m_dy) {
        InputEvent motion;
        motion.kind = InputEvent::Kind::motion;
        motion.timeUs = m_frameTime;
        motion.dx = m_dx;
        motion.dy = m_dy;
        out.append(motion);
    }
    if (m_wheelX || m_wheelY) {
        InputEvent wheel;
        wheel.kind = InputEvent::Kind::scroll;
        wheel.timeUs = m_frameTime;
        wheel.dx = m_wheelX;
        wheel.dy = m_wheelY;
        out.append(wheel);
    }
    m_dx = m_dy = m_wheelX = m_wheelY = 0;
}

void EvdevDecoder::record(qint64 timeUs, quint16 type, quint16 code, qint32 value,
                          QList<InputEvent>& out) {
    m_frameTime = timeUs;
    if (type == EV_SYN) {
        if (code == SYN_DROPPED) {
            // Everything up to the next report is unreliable.
            m_dropped = true;
            m_skipFrame = true;
            m_dx = m_dy = m_wheelX = m_wheelY = 0;
        } else if (code == SYN_REPORT) {
            if (!m_skipFrame)
                flushMotion(out);
            m_skipFrame = false;
        }
        return;
    }
    if (m_skipFrame)
        return;
    if (type == EV_REL) {
        switch (code) {
        case REL_X:
            m_dx += value;
            break;
        case REL_Y:
            m_dy += value;
            break;
        // The wheel counts up and left as positive.
        case REL_WHEEL:
            m_wheelY -= value;
            break;
        case REL_HWHEEL:
            m_wheelX += value;
            break;
        }
        return;
    }
    if (type != EV_KEY)
        return;
    InputEvent event;
    event.timeUs = timeUs;
    event.linuxCode = code;
    event.pressed = value != 0;
    event.repeat = value == 2;
    if (code >= BTN_MISC && code < KEY_OK) {
        // Touch and tool bits of touchpads are not buttons a person pressed.
        if (code != BTN_LEFT && code != BTN_RIGHT && code != BTN_MIDDLE && code != BTN_SIDE &&
            code != BTN_EXTRA)
            return;
        event.kind = InputEvent::Kind::button;
    } else {
        event.kind = InputEvent::Kind::key;
        event.keyCode = keyCodeForLinux(code);
    }
    // Motion reported before a button in the same frame happened first.
    flushMotion(out);
    out.append(event);
}

} // namespace tavrik::evdev
