#include "TavrikCore/MCP/MCPRegistry.h"
#include "TavrikCore/Storage/Paths.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace tavrik;

// The registry is read whenever the main window shows a skill: a long user file (up to the 1 MiB
// the registry accepts) must cost time in proportion to its entries, not to their square.
static void BM_LoadRegistry(benchmark::State& state) {
    QTemporaryDir support;
    qputenv("XDG_DATA_HOME", support.path().toUtf8());
    QJsonArray entries;
    for (qint64 i = 0; i < state.range(0); ++i)
        entries.append(
            QJsonObject{{"name", QStringLiteral("server-%1").arg(i)},
                        {"url", QStringLiteral("https://s%1.example/mcp").arg(i)},
                        {"bundle_ids", QJsonArray{QStringLiteral("com.example.s%1").arg(i)}}});
    QDir().mkpath(Paths::support());
    QFile file(MCPRegistry::filePath());
    file.open(QIODevice::WriteOnly);
    file.write(QJsonDocument(entries).toJson(QJsonDocument::Compact));
    file.close();
    for (auto _ : state) {
        MCPRegistry registry;
        if (registry.servers().size() != state.range(0) + 2)
            state.SkipWithError("not every entry loaded");
        benchmark::DoNotOptimize(registry);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_LoadRegistry)
    ->RangeMultiplier(2)
    ->Range(1000, 8000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();
