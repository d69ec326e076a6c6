#pragma once

#include "TavrikCore/Replay/ReplayTimings.h"
#include "TavrikCore/Replay/SyntheticInput.h"

namespace tavrik {

// Synthetic input that passes every call on and counts its time as input's.
class TimedSyntheticInput final : public SyntheticInput {
public:
    TimedSyntheticInput(SyntheticInput& input, ReplayTimings& timings)
        : m_input(input), m_timings(timings) {}

    bool isAvailable() const override { return m_input.isAvailable(); }
    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point at, Button button, int count) override;
    bool drag(Point from, Point to) override;
    bool scroll(Point at, int dx, int dy) override;

private:
    template <typename Call> bool timed(Call call);

    SyntheticInput& m_input;
    ReplayTimings& m_timings;
};

} // namespace tavrik
