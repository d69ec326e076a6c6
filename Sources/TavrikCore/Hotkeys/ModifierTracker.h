#pragma once

#include <QSet>
#include <QtGlobal>
#include <optional>

namespace tavrik {

// Follows which modifier keys are down, from press and release events that carry the modifier
// state from before the event. Presses of a key already down (auto-repeat) and releases of a key
// not down (some input injectors release twice) change nothing.
class ModifierTracker {
public:
    // `nativeKey` tells the two keys of one modifier apart; `keyCode` is canonical. Returns the
    // modifier flags after the event, or absent when the event changed nothing.
    std::optional<quint64> press(quint32 nativeKey, quint16 keyCode, quint64 flagsBefore);
    std::optional<quint64> release(quint32 nativeKey, quint16 keyCode, quint64 flagsBefore);
    void clear() { m_down.clear(); }

private:
    QHash<quint32, quint64> m_down; // native key -> its modifier bit
};

} // namespace tavrik
