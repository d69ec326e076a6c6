// The replay engine's own cost per step, apart from the desktop: a window of many elements held
// in memory, answering at once. What a real step costs on top is the accessibility bus and the
// application (ReplayDesktop tests).
#include "MemoryDesktop.h"
#include "TavrikCore/Replay/ReplayEngine.h"

#include <benchmark/benchmark.h>

using namespace tavrik;
using tavrik::bench::MemoryDesktop;

namespace {

// Ten steps (clicks on buttons, typing into fields) spread over a window of `range(0)` elements.
void BM_ReplayTenStepsInABigWindow(benchmark::State& state) {
    MemoryDesktop desktop(int(state.range(0)));
    Skill skill;
    skill.name = QStringLiteral("Bench");
    for (int i = 0; i < 10; ++i) {
        const LiveElement& e = desktop.all()[(i * 97 + 5) % desktop.all().size()];
        PlanStep step;
        step.index = i;
        step.intent = QStringLiteral("Step");
        step.action = e.editable ? ActionType::keystroke : ActionType::click;
        if (e.editable)
            step.text = QStringLiteral("hello");
        AXTarget t;
        t.appBundleID = desktop.window().appID;
        t.windowTitle = desktop.window().title;
        t.axRole = e.role;
        if (!e.name.isEmpty())
            t.axTitle = e.name;
        t.axPath = e.path;
        t.windowFrame = desktop.window().frame;
        t.frameInWindow = Rect(e.frame.origin.x - 100, e.frame.origin.y - 100, e.frame.size.width,
                               e.frame.size.height);
        step.target = t;
        skill.plan.append(step);
    }
    ReplayEngine engine(desktop, desktop, desktop);
    for (auto _ : state) {
        const bool ok = engine.run(skill, {}, {}, [](const QString&) {});
        if (!ok)
            state.SkipWithError("a step failed");
    }
    // Seconds per step: the inverse of steps per second.
    state.counters["step_time"] = benchmark::Counter(
        10, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_ReplayTenStepsInABigWindow)->Arg(200)->Arg(2000)->Unit(benchmark::kMillisecond);

} // namespace
