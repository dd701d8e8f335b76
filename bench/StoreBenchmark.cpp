#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <pugixml.hpp>

#include "bench/DataFile.h"
#include "platform/common/JMutex.h"
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

/// A pugixml document with as many records, at its record list.
class PugixmlRecords
{
public:
    explicit PugixmlRecords(std::int64_t records)
    {
        m_doc.load_string(DataFileOf(static_cast<std::size_t>(records), NOW).c_str());
        m_list = m_doc.child("xml").child("total");
    }
    pugi::xml_node& List() { return m_list; }

private:
    pugi::xml_document m_doc;
    pugi::xml_node m_list;
};

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10)->Arg(1'000)->Arg(10'000)->Arg(100'000);
}

double ThreadMicroseconds()
{
    std::timespec used = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

/// Runs `work` for each iteration and adds what the usual and the worst ones took of the processor, so that
/// what other programs do in between does not count.
template <typename Work>
void MeasureEach(benchmark::State& state, Work work)
{
    std::vector<double> times;  // microseconds
    times.reserve(1'000'000);
    for (auto _ : state) {
        const double start = ThreadMicroseconds();
        work();
        if (times.size() < times.capacity()) times.push_back(ThreadMicroseconds() - start);
    }
    std::sort(times.begin(), times.end());
    if (times.empty()) return;
    state.counters["median_us"] = times[times.size() / 2];
    state.counters["p99.9_us"] = times[times.size() * 999 / 1'000];
}

void Update_Netinfo(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    std::vector<nis::SNAPSHOT> increments(1);
    increments[0].nDevice = 4;
    increments[0].ullDL = 1'000;
    increments[0].ullUL = 100;
    MeasureEach(state, [&] {
        TestClock::AdvanceSeconds(1);
        store->UpdateData(increments, false);
    });
}
BENCHMARK(Update_Netinfo)->Apply(Sizes)->Unit(benchmark::kMicrosecond);

void Update_Pugixml(benchmark::State& state)  // the record alone, no totals and no calendar
{
    PugixmlRecords records(state.range(0));
    long long now = NOW;
    MeasureEach(state, [&] {
        pugi::xml_node last = records.List().last_child();
        ++now;
        last.attribute("endtime").set_value(now);
        last.attribute("time").set_value(now - last.attribute("starttime").as_llong());
        last.attribute("uploaded").set_value(last.attribute("uploaded").as_ullong() + 100);
        last.attribute("downloaded").set_value(last.attribute("downloaded").as_ullong() + 1'000);
    });
}
BENCHMARK(Update_Pugixml)->Apply(Sizes)->Unit(benchmark::kMicrosecond);

void Append_Netinfo(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    const std::string device = "/eth0/1/";
    const std::string apn = "home";
    MeasureEach(state, [&] { store->StartNewConnect(device, apn); });
}
BENCHMARK(Append_Netinfo)->Apply(Sizes)->Unit(benchmark::kMicrosecond)->Iterations(1'000);

void Append_Pugixml(benchmark::State& state)
{
    PugixmlRecords records(state.range(0));
    MeasureEach(state, [&] {
        pugi::xml_node item = records.List().append_child("item");
        for (const char* name :
             {"device", "apn", "starttime", "endtime", "time", "uploaded", "downloaded", "unitprice", "fee"})
            item.append_attribute(name).set_value("1790000000");
    });
}
BENCHMARK(Append_Pugixml)->Apply(Sizes)->Unit(benchmark::kMicrosecond)->Iterations(1'000);

// --- Removing half of the records. What the store does besides, which is to save, is not counted.

void RemoveEverySecond_Netinfo(benchmark::State& state)
{
    const CMarkupSTL whole(DataFileOf(static_cast<std::size_t>(state.range(0)), NOW).c_str());
    for (auto _ : state) {
        state.PauseTiming();
        CMarkupSTL doc = whole;
        doc.FindElem("xml");
        doc.IntoElem();
        doc.FindElem("total");
        doc.IntoElem();
        state.ResumeTiming();
        for (int index = 0; doc.FindElem("item"); ++index) {
            if (index % 2 == 0) doc.RemoveElem();
        }
    }
}
BENCHMARK(RemoveEverySecond_Netinfo)->Apply(Sizes)->Unit(benchmark::kMillisecond);

void RemoveEverySecond_Pugixml(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto records = std::make_unique<PugixmlRecords>(state.range(0));
        state.ResumeTiming();
        bool remove = true;
        for (pugi::xml_node item = records->List().first_child(); item; remove = !remove) {
            const pugi::xml_node next = item.next_sibling();
            if (remove) records->List().remove_child(item);
            item = next;
        }
        state.PauseTiming();
        records.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(RemoveEverySecond_Pugixml)->Apply(Sizes)->Unit(benchmark::kMillisecond);

void DropOldHalf_Netinfo(benchmark::State& state)
{
    constexpr long THREE_MONTHS = 92L * 86'400;
    LoadedStore store(1);
    // One record an hour: half of them ended more than three months ago.
    TestClock::Set(NOW - state.range(0) / 2 * 3'600 + THREE_MONTHS);
    const CMarkupSTL whole(DataFileOf(static_cast<std::size_t>(state.range(0)), NOW).c_str());
    for (auto _ : state) {
        state.PauseTiming();
        CMarkupSTL doc = whole;
        doc.FindElem("xml");
        doc.IntoElem();
        state.ResumeTiming();
        const JMutexLock lock(store->mutex);
        store->InitCurrentData(&doc);
    }
}
BENCHMARK(DropOldHalf_Netinfo)->Apply(Sizes)->Unit(benchmark::kMillisecond);

// --- Reading

void HistoryFirst_Netinfo(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    nis::REPORT report;
    unsigned long long day = 0;
    for (auto _ : state)
        store->GetSpecHistroryData(report, (++day % 1'000) * 86'400);  // another day each time, all records
}
BENCHMARK(HistoryFirst_Netinfo)->Apply(Sizes)->Unit(benchmark::kMillisecond);

void HistoryRepeated_Netinfo(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    nis::REPORT report;
    for (auto _ : state)
        store->GetSpecHistroryData(report, 86'400);
}
BENCHMARK(HistoryRepeated_Netinfo)->Apply(Sizes)->Unit(benchmark::kMillisecond);

void History_Pugixml(benchmark::State& state)
{
    PugixmlRecords records(state.range(0));
    const std::time_t now = NOW;
    std::tm today;
    localtime_r(&now, &today);
    for (auto _ : state) {
        unsigned long long bytes = 0;
        for (const pugi::xml_node item : records.List().children("item")) {
            const std::time_t end = item.attribute("endtime").as_llong();
            std::tm local;
            localtime_r(&end, &local);
            if (local.tm_year == today.tm_year && local.tm_yday == today.tm_yday) continue;
            bytes += item.attribute("uploaded").as_ullong() + item.attribute("downloaded").as_ullong() +
                     item.attribute("time").as_ullong();
        }
        benchmark::DoNotOptimize(bytes);
    }
}
BENCHMARK(History_Pugixml)->Apply(Sizes)->Unit(benchmark::kMillisecond);

void List_Netinfo(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    for (auto _ : state)
        store->GetAllConnRecord()->Release();
}
BENCHMARK(List_Netinfo)->Apply(Sizes)->Unit(benchmark::kMillisecond);

// --- Saving

void Save_Netinfo(benchmark::State& state)
{
    LoadedStore store(state.range(0));
    for (auto _ : state)
        store->SaveFile();
}
BENCHMARK(Save_Netinfo)->Arg(10)->Arg(130'000)->Unit(benchmark::kMillisecond)->UseRealTime();

void Save_WriteFlushRename(benchmark::State& state)  // no more than it takes
{
    const nettest::TempDir directory;
    const std::string path = directory.File("NetInfo.dat");
    const std::string text = DataFileOf(static_cast<std::size_t>(state.range(0)), NOW);
    for (auto _ : state) {
        const int file = open((path + ".new").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const bool done = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                          fsync(file) == 0 && close(file) == 0 &&
                          std::rename((path + ".new").c_str(), path.c_str()) == 0;
        if (!done) state.SkipWithError("the file cannot be written");
    }
}
BENCHMARK(Save_WriteFlushRename)->Arg(10)->Arg(130'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
