// The palette's speed as the user feels it: Control-/ to a painted panel, and one keystroke
// over a 10,000-skill library to repainted rows. Runs on the offscreen platform unless
// QT_QPA_PLATFORM says otherwise.
#include "SampleLibrary.h"
#include "Tavrik/Palette/PaletteRows.h"
#include "Tavrik/Palette/PaletteView.h"

#include <QApplication>
#include <QLineEdit>
#include <QPixmap>
#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

// Made once and never destroyed: the benchmark library owns main(), and tearing a GUI
// application down during static destruction is not safe.
QApplication& application() {
    static int argc = 1;
    static char name[] = "PaletteBench";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QApplication(argc, argv);
    }();
    return *app;
}

// From the hotkey to a panel whose first frame has been painted, with 1,000 skills.
void BM_OpenPalette(benchmark::State& state) {
    application();
    const QList<Skill> skills = bench::sampleLibrary(int(state.range(0)));
    for (auto _ : state) {
        auto* view = new PaletteView;
        view->setSkills(skills);
        view->present();
        benchmark::DoNotOptimize(view->grab());
        state.PauseTiming();
        delete view;
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_OpenPalette)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

// One typed character: re-rank the library and repaint the rows.
void BM_KeystrokeRepaint(benchmark::State& state) {
    application();
    auto* view = new PaletteView;
    view->setSkills(bench::sampleLibrary(int(state.range(0))));
    view->present();
    QCoreApplication::processEvents(); // the panel gets ready for typing after its first paint
    const QStringList queries{"s", "se", "sea", "sear", "searc", "search", "search r", "search re"};
    int next = 0;
    for (auto _ : state) {
        view->searchField()->setText(queries[next++ % queries.size()]);
        benchmark::DoNotOptimize(view->rows()->grab());
    }
    delete view;
}
BENCHMARK(BM_KeystrokeRepaint)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
