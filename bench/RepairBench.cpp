// The repair path's own latency: a missing step handed to the model, the window listed, a key
// frame painted and encoded, and two turns (act, then finish) with a Messages API server on
// 127.0.0.1 that answers at once. What a real repair costs on top is the model's own time.
#include "MemoryDesktop.h"
#include "Support/LocalModel.h"
#include "Support/PaintedFrames.h"
#include "TavrikCore/Replay/ModelStepRepairer.h"
#include "TavrikCore/Replay/ReplayEngine.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QRegularExpression>
#include <benchmark/benchmark.h>

using namespace tavrik;
using tavrik::bench::MemoryDesktop;

namespace {

// Times only the repair itself: the engine's wait for the missing target before it is not the
// repair path's cost.
class TimedRepairer final : public StepRepairer {
public:
    explicit TimedRepairer(StepRepairer& inner) : m_inner(inner) {}
    Result repair(const Request& request,
                  const std::function<void(const QString&)>& emitLine) override {
        QElapsedTimer timer;
        timer.start();
        Result result = m_inner.repair(request, emitLine);
        seconds = double(timer.nsecsElapsed()) / 1e9;
        return result;
    }
    double seconds = 0;

private:
    StepRepairer& m_inner;
};

// One click whose button was renamed, in a window of `range(0)` elements; `range(1)` says
// whether a key frame goes with the first turn.
void BM_RepairAMissingStep(benchmark::State& state) {
    static int argc = 1;
    static char name[] = "RepairBench";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance())
        new QCoreApplication(argc, argv);

    test::LocalModel model("sk-ant-bench");
    test::LocalHttpServer& server = model.server;
    // The model picks the button by its line in the listing, as the real one reads it.
    server.route("POST", "/v1/messages", [](const test::RecordedRequest& request) {
        const QJsonArray history = request.json().object().value("messages").toArray();
        const QString brief =
            history[0].toObject().value("content").toArray()[0].toObject().value("text").toString();
        const QRegularExpressionMatch found =
            QRegularExpression(QStringLiteral("\\[(\\d+)\\] push button “Button 7”")).match(brief);
        const int index = found.hasMatch() ? found.captured(1).toInt() : 0;
        const QString tool = history.size() == 1 ? QStringLiteral("act") : QStringLiteral("finish");
        return test::toolTurn({test::toolUse("toolu_" + tool, tool, {{"index", index}})});
    });

    MemoryDesktop desktop(int(state.range(0)));
    test::PaintedFrames frames;
    Skill skill;
    skill.name = QStringLiteral("Bench");
    PlanStep step;
    step.intent = QStringLiteral("Click on Show details");
    step.action = ActionType::click;
    AXTarget target;
    target.appBundleID = desktop.window().appID;
    target.windowTitle = desktop.window().title;
    target.axRole = QStringLiteral("push button");
    target.axTitle = QStringLiteral("Show details");
    target.axPath = QStringLiteral("filler:0/panel:9/push button:1");
    target.windowFrame = desktop.window().frame;
    step.target = target;
    skill.plan = {step};

    std::unique_ptr<ModelStepRepairer> repairer =
        ModelStepRepairer::withUsersKey(desktop, desktop, state.range(1) ? &frames : nullptr);
    TimedRepairer timed(*repairer);
    ReplayEngine engine(desktop, desktop, desktop);
    engine.setRepairer(&timed);
    for (auto _ : state) {
        QString last;
        if (!engine.run(skill, {}, {}, [&](const QString& line) { last = line; }) ||
            engine.repairs().size() != 1) {
            state.SkipWithError(("the step was not repaired: " + last).toUtf8().constData());
            break;
        }
        state.SetIterationTime(timed.seconds);
    }
    state.counters["requests"] =
        benchmark::Counter(double(server.requestCount()), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_RepairAMissingStep)
    ->Args({200, 0})
    ->Args({200, 1})
    ->Args({2000, 1})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
