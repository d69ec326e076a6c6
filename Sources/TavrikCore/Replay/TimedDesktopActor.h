#pragma once

#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/ReplayTimings.h"

namespace tavrik {

// An actor that passes every call on and counts its time as the accessibility bus's.
class TimedDesktopActor final : public DesktopActor {
public:
    TimedDesktopActor(DesktopActor& actor, ReplayTimings& timings)
        : m_actor(actor), m_timings(timings) {}

    bool isAvailable() const override { return m_actor.isAvailable(); }
    QList<LiveWindow> windows() override;
    QList<LiveElement> elements(const LiveWindow& window, const QString& role, int limit) override;
    QStringList outline(const LiveWindow& window, int limit) override;
    std::optional<LiveElement> refresh(const LiveElement& element) override;
    std::optional<LiveElement> parent(const LiveElement& element) override;
    bool reaches(const LiveElement& element, Point at) override;
    bool performAction(const LiveElement& element, const QString& action) override;
    bool focus(const LiveElement& element) override;
    bool select(const LiveElement& element) override;
    bool insertText(const LiveElement& element, const QString& text) override;
    bool replaceText(const LiveElement& element, const QString& text) override;
    std::optional<QString> text(const LiveElement& element) override;
    bool activateWindow(const LiveWindow& window) override;

private:
    template <typename Call> auto timed(Call call);

    DesktopActor& m_actor;
    ReplayTimings& m_timings;
};

} // namespace tavrik
