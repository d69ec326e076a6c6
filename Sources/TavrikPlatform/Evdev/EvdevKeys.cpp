#include "TavrikPlatform/Evdev/EvdevKeys.h"

#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"

namespace tavrik::evdev {

void EvdevKeys::reset() {
    m_modifiers.clear();
    m_flags = 0;
}

void EvdevKeys::take(const InputEvent& event) {
    if (event.kind != InputEvent::Kind::key || event.repeat)
        return;
    const double time = double(event.timeUs) / 1e6;
    if (KeyCodes::isModifierKey(event.keyCode)) {
        const std::optional<quint64> after =
            event.pressed ? m_modifiers.press(event.linuxCode, event.keyCode, m_flags)
                          : m_modifiers.release(event.linuxCode, event.keyCode, m_flags);
        if (!after)
            return;
        m_flags = *after;
        emit m_out.flagsChanged(event.keyCode, m_flags, time);
        return;
    }
    if (!event.pressed || HotkeyEngine::swallows(event.keyCode, m_flags, true))
        return;
    emit m_out.keyPressed(event.keyCode, m_flags);
}

} // namespace tavrik::evdev
