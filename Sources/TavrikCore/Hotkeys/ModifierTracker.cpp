#include "TavrikCore/Hotkeys/ModifierTracker.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"

namespace tavrik {

std::optional<quint64> ModifierTracker::press(quint32 nativeKey, quint16 keyCode,
                                              quint64 flagsBefore) {
    const quint64 bit = ModifierFlags::forModifierKey(keyCode);
    if (!bit || m_down.contains(nativeKey))
        return std::nullopt;
    m_down.insert(nativeKey, bit);
    if (bit == ModifierFlags::capsLock)
        return flagsBefore ^ bit; // a lock toggles on press
    return flagsBefore | bit;
}

std::optional<quint64> ModifierTracker::release(quint32 nativeKey, quint16 keyCode,
                                                quint64 flagsBefore) {
    const auto it = m_down.find(nativeKey);
    if (it == m_down.end())
        return std::nullopt;
    const quint64 bit = it.value();
    m_down.erase(it);
    if (bit == ModifierFlags::capsLock)
        return flagsBefore;
    for (quint64 other : std::as_const(m_down))
        if (other == bit)
            return flagsBefore | bit; // the modifier's other key is still down
    return flagsBefore & ~bit;
}

} // namespace tavrik
