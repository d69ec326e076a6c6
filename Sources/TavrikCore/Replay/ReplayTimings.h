#pragma once

#include "TavrikCore/Replay/ReplayClock.h"

#include <QList>
#include <QString>

namespace tavrik {

// Where a replay's time goes, step by step: calls on the accessibility bus (the application
// answers them), synthetic input, the engine's sleeps while it waits for the application to show
// or change something, and the rest, the engine's own work. Fed by the timed actor, input and
// clock wrapped around the real ones.
class ReplayTimings {
public:
    struct Step {
        qint64 totalNs = 0;
        qint64 busNs = 0;
        qint64 inputNs = 0;
        qint64 waitNs = 0;
        qint64 ownNs() const { return totalNs - busNs - inputNs - waitNs; }
    };

    explicit ReplayTimings(const ReplayClock& clock) : m_clock(clock) {}

    // Ends the step under way, if any, and starts the next.
    void beginStep();
    // Ends the step under way.
    void finish();

    // Time spent in a call that was made during a step. A call made inside another one (a sleep
    // inside a bus call) counts once, for the outer call.
    void addBus(qint64 ns) { add(ns, &Step::busNs); }
    void addInput(qint64 ns) { add(ns, &Step::inputNs); }
    void addWait(qint64 ns) { add(ns, &Step::waitNs); }
    // Nesting of timed calls: only the outermost one counts.
    bool enterCall() { return m_depth++ == 0; }
    void leaveCall() { --m_depth; }

    const ReplayClock& clock() const { return m_clock; }
    const QList<Step>& steps() const { return m_steps; }

    // One line per step for standard error: "timing step=N total_us=… bus_us=… input_us=…
    // wait_us=… own_us=…".
    static QString line(qsizetype index, const Step& step);

private:
    void add(qint64 ns, qint64 Step::*part);

    const ReplayClock& m_clock;
    QList<Step> m_steps;
    qint64 m_stepStartNs = -1;
    int m_depth = 0;
};

} // namespace tavrik
