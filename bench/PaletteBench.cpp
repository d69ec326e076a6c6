// The palette's speed as the user feels it: Control-/ to a painted panel, and one keystroke
// over a 10,000-skill library to repainted rows. Runs on the offscreen platform unless
// QT_QPA_PLATFORM says otherwise.
#include "Tavrik/Palette/PaletteRows.h"
#include "Tavrik/Palette/PaletteView.h"

#include <QApplication>
#include <QLineEdit>
#include <QPixmap>
#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

QList<Skill> library(int count) {
    const QStringList verbs{"Search", "Open",     "File",   "Send", "Archive",
                            "Rename", "Download", "Export", "Book"};
    const QStringList objects{
        "expense report", "weekly notes",    "invoice", "flight",   "photos", "meeting minutes",
        "pull request",   "calendar invite", "receipt", "playlist", "résumé"};
    const QStringList places{"Firefox", "Files",  "Thunderbird", "GitLab",
                             "Calc",    "Writer", "Slack",       "the wiki"};
    QList<Skill> skills;
    skills.reserve(count);
    for (int i = 0; i < count; ++i) {
        Skill skill;
        const QString verb = verbs[i % verbs.size()];
        const QString object = objects[(i / 7) % objects.size()];
        const QString place = places[(i / 3) % places.size()];
        skill.name = QStringLiteral("%1 %2 in %3 %4").arg(verb, object, place).arg(i);
        skill.trigger = QStringLiteral("%1 the %2 using %3").arg(verb.toLower(), object, place);
        skill.summary = QStringLiteral("Opens %1 and works through the %2.").arg(place, object);
        skills.append(skill);
    }
    return skills;
}

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
    const QList<Skill> skills = library(int(state.range(0)));
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
    view->setSkills(library(int(state.range(0))));
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
