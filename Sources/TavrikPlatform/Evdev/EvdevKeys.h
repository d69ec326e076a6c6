#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"
#include "TavrikCore/Hotkeys/ModifierTracker.h"
#include "TavrikPlatform/Evdev/EvdevDecoder.h"

namespace tavrik::evdev {

// Turns a keyboard's key events into the hotkey engine's terms: modifier changes (a double tap
// of Control records) and the other keys pressed between them. The palette shortcut and Esc are
// left to the grabber that takes them from the desktop, so they are not reported twice.
class EvdevKeys {
public:
    explicit EvdevKeys(HotkeyGrabber& out) : m_out(out) {}

    void take(const InputEvent& event);
    // Forgets the modifiers held: after lost events their releases may never come.
    void reset();

private:
    HotkeyGrabber& m_out;
    ModifierTracker m_modifiers;
    quint64 m_flags = 0;
};

} // namespace tavrik::evdev
