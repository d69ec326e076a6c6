#include "TavrikCore/Storage/SkillStore.h"

#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {
Skill librarySkill(int i) {
    Skill skill;
    skill.name = QStringLiteral("Export Invoices for Client %1").arg(i);
    skill.trigger = QStringLiteral("export the invoices of {{client}}");
    skill.summary =
        QStringLiteral("Opens the billing site, filters by client and downloads the invoices.");
    skill.createdAt = QDateTime::fromSecsSinceEpoch(1767323045 + i, Qt::UTC);
    skill.appScope = {QStringLiteral("org.chromium.Chromium")};
    skill.url = QStringLiteral("https://billing.example.org/invoices");
    skill.parameters = {{QUuid::createUuid(),
                         QStringLiteral("client"),
                         ParameterType::text,
                         QStringLiteral("Which client?"),
                         QStringLiteral("Acme"),
                         {1, 2}}};
    for (int s = 0; s < 8; ++s) {
        PlanStep step;
        step.index = s;
        step.intent = QStringLiteral("Step %1 of the export").arg(s + 1);
        step.action = ActionType::click;
        step.text = QStringLiteral("{{client}}");
        step.isDestructive = s == 7;
        skill.plan.append(step);
    }
    skill.sourceRecordingID = QUuid::createUuid();
    return skill;
}
} // namespace

// The library is loaded at start-up and after every change, so it must stay quick with many skills.
static void BM_LoadAllThousandSkills(benchmark::State& state) {
    QTemporaryDir support;
    qputenv("XDG_DATA_HOME", support.path().toUtf8());
    SkillStore store;
    for (int i = 0; i < 1000; ++i)
        if (!store.save(librarySkill(i)).ok())
            qFatal("cannot save the benchmark library");
    for (auto _ : state) {
        QList<Skill> skills = store.loadAll();
        if (skills.size() != 1000)
            state.SkipWithError("not every skill loaded");
        benchmark::DoNotOptimize(skills);
    }
}
BENCHMARK(BM_LoadAllThousandSkills)->Unit(benchmark::kMillisecond);
