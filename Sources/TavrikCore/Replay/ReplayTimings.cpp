#include "TavrikCore/Replay/ReplayTimings.h"

namespace tavrik {

void ReplayTimings::beginStep() {
    finish();
    m_steps.append(Step{});
    m_stepStartNs = m_clock.elapsedNs();
}

void ReplayTimings::finish() {
    if (m_stepStartNs < 0)
        return;
    m_steps.last().totalNs = m_clock.elapsedNs() - m_stepStartNs;
    m_stepStartNs = -1;
}

void ReplayTimings::add(qint64 ns, qint64 Step::*part) {
    // Calls before the first step (the engine looking around) belong to no step.
    if (m_stepStartNs >= 0)
        m_steps.last().*part += ns;
}

QString ReplayTimings::line(qsizetype index, const Step& step) {
    const auto us = [](qint64 ns) { return QString::number(ns / 1000); };
    return QStringLiteral("timing step=%1 total_us=%2 bus_us=%3 input_us=%4 wait_us=%5 own_us=%6")
        .arg(index + 1)
        .arg(us(step.totalNs), us(step.busNs), us(step.inputNs), us(step.waitNs), us(step.ownNs()));
}

} // namespace tavrik
