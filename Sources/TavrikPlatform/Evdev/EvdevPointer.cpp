#include "TavrikPlatform/Evdev/EvdevPointer.h"

#include <linux/input-event-codes.h>

namespace tavrik::evdev {

namespace {

// Asking the compositor where the pointer is costs a round trip; a mouse reports up to a
// thousand times a second. Motion is placed at most this often, always right after a press.
constexpr qint64 kMotionIntervalUs = 40'000;

std::optional<InputMonitor::MouseButton> buttonOf(quint16 code) {
    switch (code) {
    case BTN_LEFT:
        return InputMonitor::MouseButton::left;
    case BTN_RIGHT:
        return InputMonitor::MouseButton::right;
    default:
        return std::nullopt;
    }
}

} // namespace

EvdevPointer::EvdevPointer(InputMonitor& out, Locate locate)
    : m_out(out), m_locate(std::move(locate)) {}

void EvdevPointer::reset() {
    m_held.reset();
    m_counter.reset();
}

void EvdevPointer::take(const InputEvent& event) {
    m_out.setEventTime(m_times.place(event.timeUs / 1000));
    switch (event.kind) {
    case InputEvent::Kind::button:
        if (const std::optional<InputMonitor::MouseButton> button = buttonOf(event.linuxCode)) {
            if (event.pressed)
                press(event, *button);
            else
                release(*button);
        }
        break;
    case InputEvent::Kind::motion:
        motion(event);
        break;
    case InputEvent::Kind::scroll:
        if (const std::optional<Point> at = m_locate()) {
            m_last = at;
            // Devices count wheel steps down and right; the monitor counts up and left.
            emit m_out.scroll(*at, -event.dx, -event.dy);
        }
        break;
    case InputEvent::Kind::key:
        break;
    }
}

void EvdevPointer::press(const InputEvent& event, InputMonitor::MouseButton button) {
    if (m_held)
        return;
    const std::optional<Point> at = m_locate();
    if (!at)
        return;
    m_held = button;
    m_last = at;
    m_lastMotionUs.reset();
    const int count = m_counter.press(int(button), *at, double(event.timeUs) / 1e6);
    emit m_out.mouseDown(*at, button, count);
}

void EvdevPointer::release(InputMonitor::MouseButton button) {
    if (m_held != button)
        return;
    m_held.reset();
    if (const std::optional<Point> at = m_locate())
        m_last = at;
    emit m_out.mouseUp(*m_last, button);
}

void EvdevPointer::motion(const InputEvent& event) {
    if (m_lastMotionUs && event.timeUs - *m_lastMotionUs < kMotionIntervalUs)
        return;
    const std::optional<Point> at = m_locate();
    if (!at)
        return;
    m_lastMotionUs = event.timeUs;
    m_last = at;
    if (m_held == InputMonitor::MouseButton::left)
        emit m_out.mouseDragged(*at);
    else if (!m_held)
        emit m_out.mouseMoved(*at);
}

} // namespace tavrik::evdev
