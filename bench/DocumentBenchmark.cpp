#include <benchmark/benchmark.h>

#include "bench/DataFile.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"
#include "xml/MarkupSTL.h"

namespace {

constexpr long END = 1'790'000'000;

void Parse(benchmark::State& state)
{
    const std::string text = DataFileOf(static_cast<std::size_t>(state.range(0)), END);
    CMarkupSTL doc;
    for (auto _ : state)
        benchmark::DoNotOptimize(doc.SetDoc(text.c_str()));
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}
BENCHMARK(Parse)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMicrosecond);

void LoadFromPageCache(benchmark::State& state)
{
    const nettest::TempDir directory;
    const std::string path = directory.File("NetInfo.dat");
    nettest::WriteFile(path, DataFileOf(static_cast<std::size_t>(state.range(0)), END));
    for (auto _ : state) {
        CMarkupSTL doc;
        benchmark::DoNotOptimize(doc.Load(path.c_str()));
    }
}
BENCHMARK(LoadFromPageCache)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMicrosecond);

}  // namespace
