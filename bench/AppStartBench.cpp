// The application's start as the user waits for it: the state loading a 1,000-skill library from
// disk, and the main window built over it and painted. Runs on the offscreen platform unless
// QT_QPA_PLATFORM says otherwise; the library lives in a temporary XDG_DATA_HOME.
#include "Tavrik/AppState.h"
#include "Tavrik/MainWindow/MainWindow.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QApplication>
#include <QPixmap>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

struct Library {
    QTemporaryDir dir;
    Library() {
        qputenv("XDG_DATA_HOME", dir.path().toUtf8());
        qputenv("XDG_CONFIG_HOME", (dir.path() + "/config").toUtf8());
        qputenv("TAVRIK_WEB_HOST", "http://127.0.0.1:9");
        qputenv("TAVRIK_ANALYTICS_HOST", "http://127.0.0.1:9");
        const QStringList verbs{"Search",  "Open",   "File",     "Send",
                                "Archive", "Rename", "Download", "Export"};
        const QStringList objects{"expense report", "weekly notes", "invoice",
                                  "flight",         "photos",       "receipt"};
        SkillStore store;
        for (int i = 0; i < 1000; ++i) {
            Skill skill;
            skill.name = QStringLiteral("%1 the %2 %3")
                             .arg(verbs[i % verbs.size()], objects[(i / 8) % objects.size()])
                             .arg(i);
            skill.trigger = QStringLiteral("when the %1 is due").arg(objects[i % objects.size()]);
            skill.createdAt = QDateTime::currentDateTimeUtc().addSecs(-i * 60);
            for (int s = 0; s < 6; ++s) {
                PlanStep step;
                step.index = s;
                step.intent = QStringLiteral("Step %1 of the task").arg(s + 1);
                skill.plan << step;
            }
            if (!store.save(skill).ok())
                qFatal("cannot save the benchmark library");
        }
    }
};

Library& library() {
    static Library instance;
    return instance;
}

AppServices quietServices() {
    AppServices services;
    services.analytics = [](const QString&, const QJsonObject&) {};
    return services;
}

void BM_StateLoadsLibrary(benchmark::State& state) {
    library();
    for (auto _ : state) {
        AppState app(quietServices());
        benchmark::DoNotOptimize(app.skills().size());
    }
}
BENCHMARK(BM_StateLoadsLibrary)->Unit(benchmark::kMillisecond);

void BM_StateAndPaintedMainWindow(benchmark::State& state) {
    library();
    for (auto _ : state) {
        AppState app(quietServices());
        MainWindow window(&app);
        window.resize(960, 620);
        QPixmap painted = window.grab();
        benchmark::DoNotOptimize(painted.cacheKey());
    }
}
BENCHMARK(BM_StateAndPaintedMainWindow)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
