#include "TavrikPlatform/X11/X11InputMonitor.h"

#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/X11/KeyMap.h"
#include "TavrikPlatform/X11/RecordStream.h"
#include "TavrikPlatform/X11/X11Displays.h"

#include <QGuiApplication>
#include <QStyleHints>
#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/extensions/XKB.h>

namespace tavrik::x11 {

X11InputMonitor::X11InputMonitor(QObject* parent) : InputMonitor(parent) {
    qRegisterMetaType<std::optional<QString>>();
    qRegisterMetaType<tavrik::Point>();
    qRegisterMetaType<tavrik::InputMonitor::MouseButton>();
}

X11InputMonitor::~X11InputMonitor() {
    stop();
}

bool X11InputMonitor::isRunning() const {
    return m_record && m_record->isRunning();
}

bool X11InputMonitor::start() {
    if (isRunning())
        return true;
    m_error.clear();
    m_record = std::make_unique<RecordStream>(
        KeyPress, MotionNotify, [this](const RecordStream::Event& e) {
            if (!e.request.isEmpty()) {
                if (m_keyMap)
                    m_keyMap->followRequest(e.request, e.swapped);
            } else {
                onRecorded(e.type, e.detail, e.state, e.rootX, e.rootY, e.time);
            }
        });
    // A remapped key or a new layout reaches every client as MappingNotify; recorded, it arrives
    // in order with the keys, so each key is read with the map it was pressed under. A map
    // changed again before the keys are read is told by the requests that change it.
    m_record->recordDelivered(MappingNotify);
    m_record->recordRequest(X_ChangeKeyboardMapping);
    m_record->recordRequest("XKEYBOARD", X_kbSetMap);
    m_record->recordRequest("XKEYBOARD", X_kbGetKbdByName);
    if (!m_record->start()) {
        m_error = m_record->errorString();
        m_record.reset();
        return false;
    }
    m_keyMap = std::make_unique<KeyMap>(m_record->queryDisplay());
    m_keyMap->watchChanges();
    m_modifiers.clear();
    m_leftDown = false;
    m_pointsPerPixel = 1.0 / X11Displays::pixelsPerPoint();
    // The desktop's own double-click settings, as the toolkit read them.
    double interval = 0.4, distance = 5;
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        interval = QGuiApplication::styleHints()->mouseDoubleClickInterval() / 1000.0;
        distance = QGuiApplication::styleHints()->mouseDoubleClickDistance() * m_pointsPerPixel;
    }
    m_clicks = ClickCounter(interval, distance);
    m_times.reset();
    return true;
}

void X11InputMonitor::deliverPending() {
    if (m_record)
        m_record->deliverPending();
}

bool X11InputMonitor::pressWaiting() const {
    return m_record && m_record->pressWaiting();
}

void X11InputMonitor::stop() {
    m_record.reset();
    m_keyMap.reset();
}

void X11InputMonitor::onRecorded(int type, unsigned detail, unsigned state, int rootX, int rootY,
                                 quint32 time) {
    const Point point{rootX * m_pointsPerPixel, rootY * m_pointsPerPixel};
    if (type != MappingNotify)
        setEventTime(m_times.place(time));
    switch (type) {
    case ButtonPress:
        switch (detail) {
        case Button1:
        case Button3: {
            if (detail == Button1)
                m_leftDown = true;
            const auto button = detail == Button1 ? MouseButton::left : MouseButton::right;
            emit mouseDown(point, button, m_clicks.press(int(detail), point, time / 1000.0));
            break;
        }
        // Wheels arrive as buttons, one line a press: 4 up, 5 down, 6 left, 7 right.
        case 4:
            emit scroll(point, 0, 1);
            break;
        case 5:
            emit scroll(point, 0, -1);
            break;
        case 6:
            emit scroll(point, 1, 0);
            break;
        case 7:
            emit scroll(point, -1, 0);
            break;
        default:
            break;
        }
        break;
    case ButtonRelease:
        if (detail == Button1)
            m_leftDown = false;
        if (detail == Button1 || detail == Button3)
            emit mouseUp(point, detail == Button1 ? MouseButton::left : MouseButton::right);
        break;
    case MotionNotify:
        // The recorded state can lack the button while an application holds a pointer grab
        // (a GTK entry selecting text does): the press seen here decides as well.
        if ((state & Button1Mask) || m_leftDown)
            emit mouseDragged(point);
        else
            emit mouseMoved(point);
        break;
    case MappingNotify:
        m_keyMap->followChanges();
        break;
    case KeyPress:
    case KeyRelease: {
        const quint16 code = m_keyMap->keyCode(detail);
        const quint64 flags = m_keyMap->flags(state);
        if (KeyCodes::isModifierKey(code)) {
            const auto after = type == KeyPress ? m_modifiers.press(detail, code, flags)
                                                : m_modifiers.release(detail, code, flags);
            if (after)
                emit flagsChanged(code, *after);
        } else if (type == KeyPress && !HotkeyEngine::swallows(code, flags, false)) {
            // Tavrik's own palette shortcut never reached an application: it is not input.
            emit key(code, flags, m_keyMap->text(detail, state));
        }
        break;
    }
    default:
        break;
    }
}

} // namespace tavrik::x11
