// Re-ranking a large skill library on one keystroke, as the palette does.
#include "TavrikCore/Storage/FuzzyMatch.h"

#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

// A library that looks like a real one: verb + object + place names, triggers in plain words,
// and a sprinkling of accented and emoji names that take the general path.
QList<Skill> library(int count) {
    const QStringList verbs{"Search", "Open",  "File", "Send",  "Archive",   "Rename",   "Download",
                            "Export", "Share", "Book", "Order", "Translate", "Summarise"};
    const QStringList objects{
        "expense report",  "weekly notes", "invoice",           "flight",  "photos",
        "meeting minutes", "pull request", "calendar invite",   "receipt", "playlist",
        "Café order",      "résumé",       "🚀 launch checklist"};
    const QStringList places{"Google", "Firefox", "Files", "Thunderbird", "GitLab",  "Drive",
                             "Calc",   "Writer",  "Slack", "Matrix",      "the wiki"};
    QList<Skill> skills;
    skills.reserve(count);
    for (int i = 0; i < count; ++i) {
        Skill skill;
        const QString verb = verbs[i % verbs.size()];
        const QString object = objects[(i / 7) % objects.size()];
        const QString place = places[(i / 3) % places.size()];
        skill.name = QString("%1 %2 in %3 %4").arg(verb, object, place).arg(i);
        skill.trigger =
            QString("%1 the %2 for {{name}} using %3").arg(verb.toLower(), object, place);
        skills.append(skill);
    }
    return skills;
}

void BM_RankSkills(benchmark::State& state) {
    const QList<Skill> skills = library(10000);
    const QString query = "sear";
    for (auto _ : state)
        benchmark::DoNotOptimize(FuzzyMatch::rank(skills, query, FuzzyMatch::skillFields));
}
BENCHMARK(BM_RankSkills)->Unit(benchmark::kMillisecond);

} // namespace
