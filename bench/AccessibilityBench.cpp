// Accessibility queries against a real GTK test window (the form of Tests/AtSpi): the target at
// a point, the focused element and the secure-field scan; and the scan of a Qt window too big to
// walk whole, which its time budget cuts short. Needs an X display with the accessibility bus:
// run under scripts/virtual-desktop. Skips otherwise.
#ifdef TAVRIK_HAVE_ATSPI
#include "TavrikPlatform/AtSpi/AtSpiResolver.h"
#endif

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>
#include <benchmark/benchmark.h>
#include <csignal>

using namespace tavrik;

namespace {

#ifdef TAVRIK_HAVE_ATSPI

// The form's layout: the first JSON line it prints; what it says before (its entry taking the
// focus) is skipped.
QJsonArray layoutRect(QProcess& form, const QString& name) {
    if (!form.waitForStarted(5000)) {
        return {};
    }
    for (;;) {
        while (!form.canReadLine() && form.waitForReadyRead(10000)) {
        }
        if (!form.canReadLine()) {
            return {};
        }
        const QJsonObject layout = QJsonDocument::fromJson(form.readLine()).object();
        if (!layout.isEmpty()) {
            return layout.value(name).toArray();
        }
    }
}

// One form and one resolver for all benchmarks, made on first use.
struct Desk {
    QProcess process;
    Point button;
    std::unique_ptr<atspi::AtSpiResolver> resolver;

    Desk() {
        static int argc = 1;
        static char name[] = "AccessibilityBench";
        static char* argv[] = {name, nullptr};
        if (!QCoreApplication::instance()) {
            new QCoreApplication(argc, argv);
        }
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {
            return;
        }
        process.start("/usr/bin/python3",
                      {QStringLiteral(TAVRIK_FORM_APP), "--title", "Bench Form"});
        const QJsonArray r = layoutRect(process, QStringLiteral("button"));
        if (r.size() != 4) {
            return;
        }
        button = {r[0].toDouble() + r[2].toDouble() / 2, r[1].toDouble() + r[3].toDouble() / 2};
        auto candidate = std::make_unique<atspi::AtSpiResolver>();
        // The form registers on the bus a little after it shows.
        for (int i = 0; i < 100 && candidate->isAvailable(); ++i) {
            auto target = candidate->target(button);
            if (target && target->axRole == "push button") {
                resolver = std::move(candidate);
                break;
            }
            QThread::msleep(50);
        }
    }
    ~Desk() {
        process.kill();
        process.waitForFinished(3000);
    }

    static Desk& get() {
        static Desk desk;
        return desk;
    }
};

atspi::AtSpiResolver* resolver(benchmark::State& state) {
    atspi::AtSpiResolver* r = Desk::get().resolver.get();
    if (!r) {
        state.SkipWithError("needs an X display with the accessibility bus and the test form");
    }
    return r;
}

void TargetAtPoint(benchmark::State& state) {
    auto* r = resolver(state);
    if (!r) {
        return;
    }
    const Point at = Desk::get().button;
    for (auto _ : state) {
        benchmark::DoNotOptimize(r->target(at));
    }
}
BENCHMARK(TargetAtPoint)->Unit(benchmark::kMillisecond);

void FocusedTarget(benchmark::State& state) {
    auto* r = resolver(state);
    if (!r) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(r->focusedTarget());
    }
}
BENCHMARK(FocusedTarget)->Unit(benchmark::kMillisecond);

void SecureFieldRects(benchmark::State& state) {
    auto* r = resolver(state);
    if (!r) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(r->secureFieldRects());
    }
}
BENCHMARK(SecureFieldRects)->Unit(benchmark::kMillisecond);

void FrontmostApplication(benchmark::State& state) {
    auto* r = resolver(state);
    if (!r) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(r->frontmostApplication());
    }
}
BENCHMARK(FrontmostApplication)->Unit(benchmark::kMicrosecond);

// A stopped application costs the first two questions a timeout each and is then left alone:
// the mean over the iterations falls towards nothing as their number grows.
void QuestionsToAStoppedApplication(benchmark::State& state) {
    Desk::get();
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        state.SkipWithError("needs an X display with the accessibility bus");
        return;
    }
    QProcess form;
    // An application id of its own: a second instance of the shared form's would hand over to it.
    form.start("/usr/bin/python3",
               {QStringLiteral(TAVRIK_FORM_APP), "--app-id", "org.tavrik.StoppedBenchForm",
                "--title", "Stopped Bench Form", "--at", "600", "300"});
    const QJsonArray r = layoutRect(form, QStringLiteral("button"));
    atspi::AtSpiResolver stoppedResolver;
    const Point button = r.size() == 4 ? Point{r[0].toDouble() + r[2].toDouble() / 2,
                                               r[1].toDouble() + r[3].toDouble() / 2}
                                       : Point{};
    bool shown = false;
    // A loaded machine registers the form late.
    QElapsedTimer waited;
    waited.start();
    while (r.size() == 4 && !shown && waited.elapsed() < 20000) {
        const auto target = stoppedResolver.target(button);
        shown = target && target->axRole == "push button";
        if (!shown) {
            QThread::msleep(50);
        }
    }
    if (!shown) {
        state.SkipWithError("the form did not show its tree");
    } else {
        ::kill(pid_t(form.processId()), SIGSTOP);
        for (auto _ : state) {
            benchmark::DoNotOptimize(stoppedResolver.target(button));
        }
        ::kill(pid_t(form.processId()), SIGCONT);
    }
    form.kill();
    form.waitForFinished(3000);
}
BENCHMARK(QuestionsToAStoppedApplication)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(QuestionsToAStoppedApplication)->Unit(benchmark::kMillisecond)->Iterations(20);

#ifdef TAVRIK_QT_FORM
// A Qt window offers no search of its own: the scan walks it, and 3000 list rows would take
// seconds. The walk stops at the question's budget (400 ms by default), and the application is
// asked again at once afterwards, so each iteration should stay near that budget.
void SecureFieldRectsOfALongQtList(benchmark::State& state) {
    if (!resolver(state)) {
        return;
    }
    QProcess form;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    env.insert("QT_QPA_PLATFORM", "xcb");
    form.setProcessEnvironment(env);
    form.start(QStringLiteral(TAVRIK_QT_FORM), {"--title", "Long Bench List", "--rows", "3000"});
    while (form.waitForStarted(5000) && !form.canReadLine() && form.waitForReadyRead(10000)) {
    }
    const QJsonArray r =
        QJsonDocument::fromJson(form.readLine()).object().value("button").toArray();
    atspi::AtSpiResolver qtResolver;
    bool shown = false;
    for (int i = 0; i < 100 && r.size() == 4 && !shown; ++i) {
        const auto target = qtResolver.target(
            {r[0].toDouble() + r[2].toDouble() / 2, r[1].toDouble() + r[3].toDouble() / 2});
        shown = target && target->axRole == "push button";
        if (!shown) {
            QThread::msleep(50);
        }
    }
    if (!shown) {
        state.SkipWithError("the Qt form did not show its tree");
    } else {
        for (auto _ : state) {
            benchmark::DoNotOptimize(qtResolver.secureFieldRects());
        }
    }
    form.kill();
    form.waitForFinished(3000);
}
BENCHMARK(SecureFieldRectsOfALongQtList)->Unit(benchmark::kMillisecond)->Iterations(5);
#endif

#endif

} // namespace
