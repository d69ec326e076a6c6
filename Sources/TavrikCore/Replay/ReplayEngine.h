#pragma once

#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/ReplayClock.h"
#include "TavrikCore/Replay/StepRepairer.h"
#include "TavrikCore/Replay/SyntheticInput.h"
#include "TavrikCore/Replay/TargetMatcher.h"

#include <QMap>
#include <QSet>
#include <functional>

namespace tavrik {

// Carries out a skill's recorded plan on the live desktop, step by step, without a model: finds
// each step's element again by its recorded identity, waits (bounded) until it shows and is
// enabled, acts through accessibility where it can and with synthetic input where it must, and
// checks the effect where it can be read. It stops rather than guesses: a step whose element is
// missing or not told apart from another ends the run.
//
// Progress goes out as the runtime's lines: "→ tool target" per step, "· phrase", and a last
// "✓ summary" or "✗ reason". Runs on one thread and blocks while it waits.
class ReplayEngine {
public:
    struct Options {
        int defaultWaitMs = 10000;
        int longestWaitMs = 120000;
        int pollMs = 100;
        // How long an effect (text arriving, a toggle changing) may take to show.
        int effectWaitMs = 1500;
        // How long a dialog may take to go away after the button that leaves it.
        int closeWaitMs = 5000;
        int elementLimit = 6000;
    };

    using LineSink = std::function<void(const QString& line)>;

    ReplayEngine(DesktopActor& actor, SyntheticInput& input, ReplayClock& clock);
    ReplayEngine(DesktopActor& actor, SyntheticInput& input, ReplayClock& clock, Options options);

    // True when every step was carried out. `secrets` holds the text for secure steps by step
    // position; it is typed and never written out.
    bool run(const Skill& skill, const QMap<QString, QString>& values,
             const QMap<qsizetype, QString>& secrets, const LineSink& emitLine);

    // Finds every step's element as the desktop is now, acting on nothing. True when all were
    // found.
    bool check(const Skill& skill, const QMap<QString, QString>& values, const LineSink& emitLine);

    // Stops a run between two actions (the run then fails with "Stopped").
    void setStopRequest(std::function<bool()> stopRequested) {
        m_stopRequested = std::move(stopRequested);
    }

    // With a repairer, a step whose element stays missing after the wait is handed to it, unless
    // the step may do damage or types a secret; the run goes on when it succeeds. Null: none.
    void setRepairer(StepRepairer* repairer) { m_repairer = repairer; }

    // A step the repairer carried out in this run, with the element that now stands for it.
    struct Repair {
        qsizetype step = 0;
        AXTarget before;
        AXTarget after;
    };
    const QList<Repair>& repairs() const { return m_repairs; }

    // How long a step may wait for its element: a precondition may name seconds ("wait up to 30
    // seconds"); any other precondition gets thrice the default.
    int waitFor(const PlanStep& step) const;

    // A click on something that reads like it deletes, sends or overwrites counts as destructive
    // even when the plan does not say so.
    static bool looksDestructive(const PlanStep& step);

private:
    struct Located;
    struct Outcome {
        bool ok = true;
        QString problem;
    };

    Located locate(const PlanStep& step, const AXTarget& expected, int waitMs);
    Outcome act(const PlanStep& step, const AXTarget& expected, const Located& where,
                const QString& text);
    Outcome actPointer(const PlanStep& step, const Located& where);
    bool pressInPlace(const Located& where);
    Outcome openMenu(const PlanStep& step, const Located& where, const QString& action);
    std::optional<LiveElement> rowHolding(const LiveElement& element);
    Outcome actTyping(const PlanStep& step, const Located& where, const QString& text);
    Outcome actKey(const PlanStep& step, const Located& where);
    bool settle(const std::function<bool()>& condition, int waitMs = -1);
    QStringList view(const LiveWindow& window);
    void waitUntilStill(const LiveWindow& window);
    struct Leaving {
        QString nextTitle; // empty after the last step
        qsizetype windowsBefore = 0;
    };
    std::optional<Leaving> windowLeftBy(const Skill& skill, qsizetype index, const Located& where);
    Outcome confirmLeft(const PlanStep& step, const Located& where, const Leaving& leaving);
    bool stopRequested() const { return m_stopRequested && m_stopRequested(); }

    DesktopActor& m_actor;
    SyntheticInput& m_input;
    ReplayClock& m_clock;
    Options m_options;
    std::function<bool()> m_stopRequested;
    StepRepairer* m_repairer = nullptr;
    QList<Repair> m_repairs;
    QSet<quint64> m_settledWindows;
};

} // namespace tavrik
