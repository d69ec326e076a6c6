#include "TavrikCore/Replay/TimedSyntheticInput.h"

namespace tavrik {

template <typename Call> bool TimedSyntheticInput::timed(Call call) {
    const bool outermost = m_timings.enterCall();
    const qint64 start = m_timings.clock().elapsedNs();
    const bool sent = call();
    m_timings.leaveCall();
    if (outermost)
        m_timings.addInput(m_timings.clock().elapsedNs() - start);
    return sent;
}

bool TimedSyntheticInput::pressKey(quint16 keyCode, quint64 modifierFlags) {
    return timed([&] { return m_input.pressKey(keyCode, modifierFlags); });
}

bool TimedSyntheticInput::typeText(const QString& text) {
    return timed([&] { return m_input.typeText(text); });
}

bool TimedSyntheticInput::click(Point at, Button button, int count) {
    return timed([&] { return m_input.click(at, button, count); });
}

bool TimedSyntheticInput::drag(Point from, Point to) {
    return timed([&] { return m_input.drag(from, to); });
}

bool TimedSyntheticInput::scroll(Point at, int dx, int dy) {
    return timed([&] { return m_input.scroll(at, dx, dy); });
}

} // namespace tavrik
