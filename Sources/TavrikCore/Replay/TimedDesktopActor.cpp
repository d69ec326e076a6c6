#include "TavrikCore/Replay/TimedDesktopActor.h"

namespace tavrik {

template <typename Call> auto TimedDesktopActor::timed(Call call) {
    const bool outermost = m_timings.enterCall();
    const qint64 start = m_timings.clock().elapsedNs();
    auto result = call();
    m_timings.leaveCall();
    if (outermost)
        m_timings.addBus(m_timings.clock().elapsedNs() - start);
    return result;
}

QList<LiveWindow> TimedDesktopActor::windows() {
    return timed([&] { return m_actor.windows(); });
}

QList<LiveElement> TimedDesktopActor::elements(const LiveWindow& window, const QString& role,
                                               int limit) {
    return timed([&] { return m_actor.elements(window, role, limit); });
}

QStringList TimedDesktopActor::outline(const LiveWindow& window, int limit) {
    return timed([&] { return m_actor.outline(window, limit); });
}

std::optional<LiveElement> TimedDesktopActor::refresh(const LiveElement& element) {
    return timed([&] { return m_actor.refresh(element); });
}

std::optional<LiveElement> TimedDesktopActor::parent(const LiveElement& element) {
    return timed([&] { return m_actor.parent(element); });
}

bool TimedDesktopActor::reaches(const LiveElement& element, Point at) {
    return timed([&] { return m_actor.reaches(element, at); });
}

bool TimedDesktopActor::performAction(const LiveElement& element, const QString& action) {
    return timed([&] { return m_actor.performAction(element, action); });
}

bool TimedDesktopActor::focus(const LiveElement& element) {
    return timed([&] { return m_actor.focus(element); });
}

bool TimedDesktopActor::select(const LiveElement& element) {
    return timed([&] { return m_actor.select(element); });
}

bool TimedDesktopActor::insertText(const LiveElement& element, const QString& text) {
    return timed([&] { return m_actor.insertText(element, text); });
}

bool TimedDesktopActor::replaceText(const LiveElement& element, const QString& text) {
    return timed([&] { return m_actor.replaceText(element, text); });
}

std::optional<QString> TimedDesktopActor::text(const LiveElement& element) {
    return timed([&] { return m_actor.text(element); });
}

bool TimedDesktopActor::activateWindow(const LiveWindow& window) {
    return timed([&] { return m_actor.activateWindow(window); });
}

} // namespace tavrik
