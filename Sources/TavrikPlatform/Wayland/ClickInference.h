#pragma once

#include <QtGlobal>

namespace tavrik::wayland {

// Tells clicks from what the keyboard or the application did, where a Wayland compositor shows
// no program the pointer: from the order of keys and of the accessibility events that clicks
// cause (an element takes the focus, a box gets checked, a row selected). A click on an element
// that had not the focus shows as focus and then its state change: one click. A focus that a
// focus-moving key or a newly shown window explains is not a click, nor is a state change that
// a key (Space, an arrow) explains. Elements are compared by identity only.
class ClickInference {
public:
    enum class Change { focused, checked, selected, value };

    // A key went down, with the modifiers held.
    void key(quint16 keyCode, quint64 flags);
    // Another window became active: its first focus is the application's own doing.
    void windowActivated();
    // Whether `change` on `element` was a click on it.
    bool isClick(const void* element, Change change);

private:
    // focusKey moves the focus only (Tab), selectKey the focus and the selection (arrows),
    // stateKey toggles (Space); focusClick is a click that gave an element the focus, whose state
    // change may follow.
    enum class Cause { none, focusKey, selectKey, stateKey, window, focusClick, click };
    Cause m_last = Cause::none;
    const void* m_element = nullptr;
    // The element last reported focused.
    const void* m_focused = nullptr;
};

} // namespace tavrik::wayland
