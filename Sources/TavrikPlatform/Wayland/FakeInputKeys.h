#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace tavrik::wayland {

// The Linux key presses and releases that type canonical keys and text through a compositor's
// fake keyboard, which takes key codes only: text is typed on a US layout, the one such a
// keyboard starts with.
class FakeInputKeys {
public:
    struct Event {
        quint16 linuxCode = 0;
        bool pressed = false;
        bool operator==(const Event&) const = default;
    };

    // Modifiers down, the key down and up, modifiers up; absent for a key Linux has no code for.
    static std::optional<QList<Event>> forKey(quint16 keyCode, quint64 modifierFlags);
    // Absent when a character has no key on a US layout (the caller then types nothing).
    static std::optional<QList<Event>> forText(const QString& text);
    static std::optional<quint16> linuxCode(quint16 keyCode);
};

} // namespace tavrik::wayland
