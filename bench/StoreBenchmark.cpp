#include <benchmark/benchmark.h>

#include <memory>

#include "bench/DataFile.h"
#include "store/DataMgr.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

// The store with N records, on a clock that moves when told and settings that cost next to nothing.

namespace {

using nettest::FakePlatform;
using nettest::TestClock;

constexpr long NOW = 1'790'000'000;

/// A store over a data file of `records` records that are all recent enough to be kept.
class LoadedStore
{
public:
    explicit LoadedStore(std::int64_t records)
    {
        TestClock::Reset(NOW);
        FakePlatform::Reset();
        FakePlatform::SetUserDataDirectory(m_directory.Path() + "/");
        std::string text = DataFileOf(static_cast<std::size_t>(records), NOW);
        nettest::WriteFile(m_directory.File("NetInfo.dat"), text);
        // Far back in time nothing is old.
        TestClock::Set(0);
        m_store = std::make_unique<CDataMgr>();
        TestClock::Set(NOW);
    }

    CDataMgr* operator->() { return m_store.get(); }

private:
    nettest::TempDir m_directory;
    std::unique_ptr<CDataMgr> m_store;
};

void HeartbeatUpdate(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    std::vector<nis::SNAPSHOT> increments(1);
    increments[0].nDevice = 4;
    increments[0].ullDL = 1'000;
    increments[0].ullUL = 100;
    for (auto _ : state) {
        TestClock::AdvanceSeconds(1);
        store->UpdateData(increments, false);
    }
}
BENCHMARK(HeartbeatUpdate)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMicrosecond);

void AppendRecord(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    const std::string device = "/eth0/1/";
    const std::string apn = "home";
    for (auto _ : state)
        store->StartNewConnect(device, apn);
}
BENCHMARK(AppendRecord)
    ->RangeMultiplier(10)
    ->Range(10, 100'000)
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(1'000);

void HistoryFirstQuery(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    nis::REPORT report;
    unsigned long long day = 0;
    for (auto _ : state)
        store->GetSpecHistroryData(report, ++day * 86400);  // another day each time
}
BENCHMARK(HistoryFirstQuery)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMillisecond);

void HistoryRepeated(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    nis::REPORT report;
    for (auto _ : state)
        store->GetSpecHistroryData(report, 86400);
}
BENCHMARK(HistoryRepeated)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMillisecond);

void ListRecords(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    for (auto _ : state)
        store->GetAllConnRecord()->Release();
}
BENCHMARK(ListRecords)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMillisecond);

void RemoveEverySecondRecord(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto store = std::make_unique<LoadedStore>(state.range(0));
        (*store)->BeginRemoveRecord();
        for (int index = 0; index < state.range(0); index += 2)
            (*store)->RemoveRecord(index);
        state.ResumeTiming();
        (*store)->EndRemoveRecord();
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(RemoveEverySecondRecord)
    ->RangeMultiplier(10)
    ->Range(10, 1'000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

void Save(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    for (auto _ : state)
        store->SaveFile();
}
BENCHMARK(Save)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMillisecond);

}  // namespace
