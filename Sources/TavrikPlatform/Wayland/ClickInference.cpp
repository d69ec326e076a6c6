#include "TavrikPlatform/Wayland/ClickInference.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"

namespace tavrik::wayland {

void ClickInference::key(quint16 keyCode, quint64 flags) {
    using namespace KeyCodes;
    m_element = nullptr;
    switch (keyCode) {
    case leftArrow:
    case rightArrow:
    case upArrow:
    case downArrow:
    case home:
    case end:
    case pageUp:
    case pageDown:
        m_last = Cause::selectKey;
        return;
    case tab:
    case returnKey:
    case keypadEnter:
    case escape:
        m_last = Cause::focusKey;
        return;
    case space:
        m_last = Cause::stateKey;
        return;
    default:
        // Shortcuts and mnemonics may move the focus anywhere.
        const bool shortcut =
            flags & (ModifierFlags::control | ModifierFlags::alt | ModifierFlags::super);
        m_last = shortcut ? Cause::focusKey : Cause::none;
    }
}

void ClickInference::windowActivated() {
    m_last = Cause::window;
    m_element = nullptr;
}

bool ClickInference::isClick(const void* element, Change change) {
    const Cause last = m_last;
    const bool sameElement = element == m_element;
    m_element = element;
    if (change == Change::focused) {
        // Toolkits report one focus in two forms (the old focus event and the state change).
        if (element == m_focused)
            return false;
        m_focused = element;
        if (last == Cause::focusKey || last == Cause::window) {
            m_last = Cause::none;
            return false;
        }
        // Arrows move focus and selection together: the selection that follows is the key's.
        if (last == Cause::selectKey)
            return false;
        m_last = Cause::focusClick;
        return true;
    }
    if (change == Change::value) {
        // A held key repeats, and a drag changes the value at every step: neither ends it.
        if (last == Cause::selectKey)
            return false;
        m_last = Cause::click;
        return true;
    }
    if (last == Cause::selectKey || last == Cause::stateKey ||
        (last == Cause::focusClick && sameElement)) {
        // One key or one click changes one element once.
        m_last = Cause::none;
        return false;
    }
    m_last = Cause::click;
    return true;
}

} // namespace tavrik::wayland
