// Re-ranking a large skill library on one keystroke, as the palette does.
#include "SampleLibrary.h"
#include "TavrikCore/Storage/FuzzyMatch.h"

#include <benchmark/benchmark.h>

using namespace tavrik;

namespace {

void BM_RankSkills(benchmark::State& state) {
    const QList<Skill> skills = bench::sampleLibrary(10000);
    const QString query = "sear";
    for (auto _ : state)
        benchmark::DoNotOptimize(FuzzyMatch::rank(skills, query, FuzzyMatch::skillFields));
}
BENCHMARK(BM_RankSkills)->Unit(benchmark::kMillisecond);

} // namespace
