#pragma once

#include "TavrikCore/Models/Point.h"

#include <QString>

namespace tavrik {

// Keyboard and pointer input made up by Tavrik, for what no accessibility action can do
// (keys, drags, canvases). Key codes and modifier flags are the canonical ones of KeyCodes.h.
// Each call returns once the input has been handed to the display server.
class SyntheticInput {
public:
    enum class Button { left, middle, right };

    virtual ~SyntheticInput() = default;
    virtual bool isAvailable() const = 0;
    virtual bool pressKey(quint16 keyCode, quint64 modifierFlags) = 0;
    // Types text the keyboard layout can produce; false when some character cannot be typed.
    virtual bool typeText(const QString& text) = 0;
    virtual bool click(Point at, Button button, int count) = 0;
    virtual bool drag(Point from, Point to) = 0;
    // Wheel steps at a point: positive dy scrolls down, positive dx right.
    virtual bool scroll(Point at, int dx, int dy) = 0;
};

} // namespace tavrik
