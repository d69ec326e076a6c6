// Rendering and parsing one SKILL.md of a typical long skill: 40 steps, parameters, a runtime.
#include "TavrikCore/Storage/SkillMarkdown.h"

#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

Skill longSkill() {
    Skill skill;
    skill.name = "File the weekly expense report";
    skill.trigger = "file my expenses for {{week}}";
    skill.summary = "Collects the week's receipts, fills the expense form and submits it.";
    skill.createdAt = QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC);
    skill.appScope = {"org.mozilla.firefox", "org.gnome.Nautilus", "libreoffice-calc"};
    skill.url = "https://expenses.example.com/new";
    RuntimeSpec runtime;
    runtime.type = "sequence";
    runtime.app = "org.mozilla.firefox";
    QList<RuntimeSpec> steps;
    for (int i = 0; i < 3; ++i) {
        RuntimeSpec step;
        step.type = "open_url";
        step.urlTemplate = QString("https://expenses.example.com/step/%1?week={{week}}").arg(i);
        steps.append(step);
    }
    runtime.steps = steps;
    skill.runtime = runtime;
    const char* names[] = {"week", "amount", "receipt_folder", "approver"};
    for (int i = 0; i < 4; ++i) {
        Parameter p;
        p.name = names[i];
        p.type = kAllParameterTypes[size_t(i) % kAllParameterTypes.size()];
        p.prompt = QString("Which %1 should I use?").arg(names[i]);
        p.exampleValue = "example, with a comma";
        skill.parameters.append(p);
    }
    for (int i = 0; i < 40; ++i) {
        PlanStep step;
        step.index = i;
        step.intent =
            QString("Click the \"Next\" button in the expense form to reach page %1").arg(i);
        if (i % 5 == 0)
            step.precondition = "the expense form is open";
        step.isDestructive = i == 39;
        skill.plan.append(step);
    }
    return skill;
}

void BM_Render(benchmark::State& state) {
    const Skill skill = longSkill();
    for (auto _ : state)
        benchmark::DoNotOptimize(SkillMarkdown::render(skill));
}
BENCHMARK(BM_Render)->Unit(benchmark::kMicrosecond);

void BM_Parse(benchmark::State& state) {
    const QString text = SkillMarkdown::render(longSkill());
    for (auto _ : state)
        benchmark::DoNotOptimize(SkillMarkdown::parse(text));
}
BENCHMARK(BM_Parse)->Unit(benchmark::kMicrosecond);

void BM_RenderAndParse(benchmark::State& state) {
    const Skill skill = longSkill();
    for (auto _ : state)
        benchmark::DoNotOptimize(SkillMarkdown::parse(SkillMarkdown::render(skill)));
}
BENCHMARK(BM_RenderAndParse)->Unit(benchmark::kMicrosecond);

} // namespace
