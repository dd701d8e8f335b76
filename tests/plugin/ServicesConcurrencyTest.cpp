#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "tests/plugin/PluginFixture.h"

namespace {

using nettest::FakePlatform;
using nettest::TestClock;

std::atomic<int> g_functionCalls{0};

unsigned char Function(unsigned int message, void* data)
{
    if (message == NETINFO_MESSAGE_CHANGE && data) ++g_functionCalls;
    return 0;
}

unsigned char OtherFunction(unsigned int, void*) { return 0; }

/// Asks back whenever it hears something, as a display would.
struct AskingListener final : INetInfoEvent
{
    explicit AskingListener(INetInfoService& netInfo) : service(netInfo) {}
    void OnDataChanged(bool, int nValue) override
    {
        nis::SNAPSHOT snapshot;
        service.GetSnapShot(snapshot, nValue);
        nis::REPORT report;
        service.GetTodayReport(report, nValue);
        ++calls;
    }
    INetInfoService& service;
    std::atomic<int> calls{0};
};

/// Leaves and comes back from inside its own call, where that is allowed.
struct RestlessListener final : INetInfoEvent
{
    explicit RestlessListener(INetInfoService& netInfo) : service(netInfo) {}
    void OnDataChanged(bool bConnected, int) override
    {
        if (!bConnected) return;
        service.DeregisterCallbackEvent(this);
        service.RegisterCallbackEvent(this);
    }
    INetInfoService& service;
};

struct ServicesConcurrency : PluginFixture
{
    ServicesConcurrency()
    {
        CreateAndInit();
        service = Service();
        records = RecordService();
        Connect("wlan0", WIFI, 1, 1);
        Connect("modem0", DIALUP, 1, 1);
        Connect("adsl0", ADSL, 1, 1);
    }

    /// Runs every action `rounds` times, each on a thread of its own, while the heartbeat runs free.
    static void RunAll(const std::vector<std::function<void(unsigned int)>>& actions, unsigned int rounds)
    {
        TestClock::RunFree(true);
        std::vector<std::thread> threads;
        threads.reserve(actions.size());
        for (const auto& action : actions) {
            threads.emplace_back([&action, rounds] {
                for (unsigned int round = 0; round < rounds; ++round)
                    action(round);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        TestClock::RunFree(false);
    }

    INetInfoService* service;
    INetInfoRecord* records;
};

TEST_F(ServicesConcurrency, EveryOperationMayMeetEveryOtherAndTheHeartBeat)
{
    AskingListener asking(*service);
    RestlessListener restless(*service);
    service->RegisterCallbackEvent(&asking);
    service->RegisterCallbackEvent(&restless);
    service->RegisterCallbackFunc(&Function);

    RunAll(
        {
            [&](unsigned int) {
                for (const int type : {DIALUP, WIFI, ADSL, 7}) {
                    nis::REPORT report;
                    service->GetTodayReport(report, type);
                    service->GetSinceReport(report, type);
                    service->GetThisWeekReport(report, type);
                    service->GetThisMonthReport(report, type);
                    service->GetThisYearReport(report, type);
                }
            },
            [&](unsigned int round) {
                nis::REPORT report;
                service->GetSpecHistroryData(report,
                                             static_cast<unsigned long long>(START) - round * 3600ULL);
            },
            [&](unsigned int) {
                for (const int type : {DIALUP, WIFI, ADSL, 7}) {
                    nis::SNAPSHOT snapshot;
                    service->GetSnapShot(snapshot, type);
                    EXPECT_EQ(snapshot.nDevice, type);
                }
            },
            [&](unsigned int) {
                AskingListener passing(*service);
                EXPECT_TRUE(service->RegisterCallbackEvent(&passing));
                std::this_thread::yield();
                EXPECT_TRUE(service->DeregisterCallbackEvent(&passing));
            },
            [&](unsigned int) {
                EXPECT_TRUE(service->RegisterCallbackFunc(&OtherFunction));
                EXPECT_TRUE(service->UnregisterCallbackFunc(&OtherFunction));
            },
            [&](unsigned int) {
                for (IConnRecord* const set : {records->GetAllConnRecord(), records->GetLastConnRecord()}) {
                    if (!set) continue;
                    for (bool more = set->MoveFirst(); more; more = set->MoveNext())
                        EXPECT_STREQ(set->GetFee(), "0");
                    set->Release();
                }
            },
            [&](unsigned int round) {
                if (round % 8 == 0) service->Reset(WIFI);
                EXPECT_TRUE(records->BeginRemoveRecord());
                EXPECT_TRUE(records->RemoveRecord(0));
                EXPECT_TRUE(records->EndRemoveRecord());
                service->CreateDailyReport(0);
                service->CreateWeeklyReport(0);
                service->CreateMonthlyReport(0);
                service->CreateYearlyReport(0);
                service->CreateDeviceList();
                service->CreateDeviceInterface();
                service->UpdateDeviceList(nullptr);
                service->GetRSSI(0);
                service->GetLastError();
                records->GetLastError();
            },
            [&](unsigned int round) {
                FakePlatform::SetRowCounters("wlan0", 10 + round, 10 + round);
                FakePlatform::SetRowCounters("modem0", 10 + 2 * round, 10 + 2 * round);
                connections.Report({{.device = "adsl0", .profile = "p", .state = round % 2 == 0 ? 0 : 1}});
                if (round % 16 == 0) deviceManager.FirePower(0);
                connections.Report({{.device = "wlan0", .profile = "p", .state = 1},
                                    {.device = "modem0", .profile = "p", .state = 1}});
            },
        },
        60);

    // Nothing hangs, and the heartbeat goes on.
    TestClock::RunFree(true);
    const int before = asking.calls;
    while (asking.calls < before + 3)
        std::this_thread::yield();
    TestClock::RunFree(false);
    EXPECT_GT(g_functionCalls, 0);
    EXPECT_TRUE(service->DeregisterCallbackEvent(&restless));
    EXPECT_TRUE(service->DeregisterCallbackEvent(&asking));
}

TEST_F(ServicesConcurrency, NoByteIsLostOrCountedTwiceWhileEverybodyAsks)
{
    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Beat());
    constexpr unsigned int ROUNDS = 200;

    RunAll({
               [&](unsigned int round) { FakePlatform::SetRowCounters("wlan0", 1 + 3 * (round + 1), 1); },
               [&](unsigned int) {
                   nis::SNAPSHOT snapshot;
                   service->GetSnapShot(snapshot, WIFI);
               },
               [&](unsigned int) {
                   nis::REPORT report;
                   service->GetSinceReport(report, WIFI);
               },
               [&](unsigned int) {
                   if (IConnRecord* const set = records->GetAllConnRecord()) set->Release();
               },
           },
           ROUNDS);
    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Beat());

    nis::SNAPSHOT snapshot;
    service->GetSnapShot(snapshot, WIFI);
    EXPECT_EQ(snapshot.ullDL, 3U * ROUNDS);
    nis::REPORT report;
    service->GetSinceReport(report, WIFI);
    EXPECT_EQ(report.ullDownloaded, 3U * ROUNDS);
}

}  // namespace
