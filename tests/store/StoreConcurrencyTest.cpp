#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"

namespace {

using namespace nettest;

class ManyThreads : public StoreTest
{};

TEST_F(ManyThreads, UseOneStoreWhileItIsUpdatedAtFullPace)
{
    constexpr int UPDATES = 600;
    CDataMgr store;
    store.StartNewConnect("ppp0", "internet");
    std::atomic<bool> done{false};

    const std::vector<std::function<void()>> uses = {
        [&] {
            ReadAll(store.GetAllConnRecord());
            ReadAll(store.GetLastConnRecord());
        },
        [&] {
            store.StartNewConnect("ppp0", "internet");
            store.BeginRemoveRecord();
            store.RemoveRecord(0);
            store.RemoveRecord(3);
            store.EndRemoveRecord();
        },
        [&] {  // a second batch, which no host should run at the same time
            store.BeginRemoveRecord();
            store.RemoveRecord(1);
            store.EndRemoveRecord();
        },
        [&] {
            for (const int type : {DIALUP, WIFI, ADSL})
                store.ResetTodayData(type);
            store.ResetSinceData(DIALUP);
            store.ResetThisWeekData(WIFI);
            store.ResetThisMonthData(WIFI);
            store.ResetThisYearData(WIFI);
            store.ResetConnectRecord();
        },
        [&] {
            nis::REPORT report;
            store.GetSpecHistroryData(report, static_cast<unsigned long long>(Moment("2026-03-17")));
            store.GetSpecHistroryData(report, 0);
            store.GetTodayData(report);
        },
        [&] {
            nis::REPORT report;
            for (const int type : {DIALUP, WIFI, ADSL}) {
                store.GetTodayData(report, type);
                EXPECT_EQ(report.ullUploaded, report.ullDownloaded);  // never a report half renewed
                store.GetSinceData(report, type);
                EXPECT_EQ(report.ullUploaded, report.ullDownloaded);
                store.GetThisWeekData(report, type);
                EXPECT_EQ(report.ullUploaded, report.ullDownloaded);
                store.GetThisMonthData(report, type);
                EXPECT_EQ(report.ullUploaded, report.ullDownloaded);
                store.GetThisYearData(report, type);
                EXPECT_EQ(report.ullUploaded, report.ullDownloaded);
            }
        },
        [&] {
            store.SaveFile();
            CMarkupSTL saved;
            EXPECT_TRUE(saved.Load(Path().c_str()));  // never a file half written
        },
        [&] {
            FakePlatform::SetSetting("uselimit", "startweekdate", "1");
            store.NetinfoFiletoUTF8();
            FakePlatform::SetSetting("uselimit", "startweekdate", "3");
            TestClock::AdvanceSeconds(1000);
        },
    };
    std::vector<std::thread> threads;
    threads.reserve(uses.size());
    for (const auto& use : uses) {
        threads.emplace_back([&done, &use] {
            while (!done)
                use();
        });
    }
    for (int i = 0; i < UPDATES; ++i)
        store.UpdateData({Increment(DIALUP, 1, 1), Increment(WIFI, 2, 2), Increment(ADSL, 3, 3)}, false);
    done = true;
    for (std::thread& thread : threads)
        thread.join();

    nis::REPORT since;
    store.GetSinceData(since, ADSL);  // which nobody has reset
    EXPECT_EQ(since.ullUploaded, 3ULL * UPDATES);
    EXPECT_EQ(since.ullDownloaded, 3ULL * UPDATES);
    const std::vector<Listed> listed = ReadAll(store.GetAllConnRecord());
    store.SaveFile();
    CDataMgr again;
    EXPECT_EQ(ReadAll(again.GetAllConnRecord()), listed);
}

}  // namespace
