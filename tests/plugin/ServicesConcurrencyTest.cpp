#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "tests/plugin/PluginFixture.h"
#include "tests/support/Soak.h"

/// Takes the place of the C library's: tests do not wait for the disk.
extern "C" int fsync(int) { return 0; }

namespace {

using nettest::FakePlatform;
using nettest::TestClock;

#ifdef NETINFO_THREAD_SANITIZER
constexpr std::chrono::seconds SHORT_RUN{10};
#else
constexpr std::chrono::seconds SHORT_RUN{2};
#endif

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
        calls.notify_all();
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

    using Actions = std::vector<std::function<void(unsigned int)>>;

    /// Runs every action, each on a thread of its own, beside a heartbeat that runs free. An action goes on
    /// with the next round as long as `goesOn` says so.
    static void RunWhile(const Actions& actions, const std::function<bool(unsigned int)>& goesOn)
    {
        std::vector<std::thread> threads;
        threads.reserve(actions.size());
        for (const auto& action : actions) {
            threads.emplace_back([&action, &goesOn] {
                for (unsigned int round = 0; goesOn(round); ++round)
                    action(round);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        TestClock::RunFree(false);
    }
    static void RunAll(const Actions& actions, unsigned int rounds)
    {
        TestClock::RunFree(true);
        RunWhile(actions, [rounds](unsigned int round) { return round < rounds; });
    }

    /// Every operation of both services and every event of the host, for eight threads.
    Actions EveryOperation()
    {
        return {
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
        };
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

    RunAll(EveryOperation(), 60);

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

TEST_F(ServicesConcurrency, EveryOperationMayMeetEveryOtherForAsLongAsYouLike)
{
    AskingListener asking(*service);
    RestlessListener restless(*service);
    service->RegisterCallbackEvent(&asking);
    service->RegisterCallbackEvent(&restless);
    service->RegisterCallbackFunc(&Function);
    Actions actions = EveryOperation();
    actions[0] = [tidy = std::move(actions[0])](unsigned int round) {
        tidy(round);
        if (round % 64 == 0) FakePlatform::ClearTraces();
    };
    std::atomic<unsigned long long> rounds{0};

    const auto start = std::chrono::steady_clock::now();
    const auto end = start + nettest::SoakTime(SHORT_RUN);
    const int readsBefore = FakePlatform::IfTableReads();
    TestClock::RunFast();
    RunWhile(actions, [&](unsigned int round) {
        ++rounds;
        // Threads that asked without a pause would hold the locks for most of the time: the heartbeat leads,
        // by more than a beat for each round.
        constexpr int CALLS_FOR_A_ROUND = 24;
        for (int calls = asking.calls; calls < CALLS_FOR_A_ROUND * static_cast<int>(round);
             calls = asking.calls)
            asking.calls.wait(calls);
        return std::chrono::steady_clock::now() < end;
    });

    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%.0f s: %.0f rounds of eight threads and %.0f heartbeats a second\n", seconds,
                static_cast<double>(rounds) / seconds,
                (FakePlatform::IfTableReads() - readsBefore) / seconds);
    EXPECT_GT(asking.calls, 0);
    EXPECT_TRUE(service->DeregisterCallbackEvent(&restless));
    EXPECT_TRUE(service->DeregisterCallbackEvent(&asking));
}

TEST_F(ServicesConcurrency, AListenerMayGoAsSoonAsItIsDeregistered)
{
    const auto comeAndGo = [&](unsigned int) {
        auto passing = std::make_unique<AskingListener>(*service);
        ASSERT_TRUE(service->RegisterCallbackEvent(passing.get()));
        std::this_thread::yield();
        ASSERT_TRUE(service->DeregisterCallbackEvent(passing.get()));
    };

    RunAll({comeAndGo, comeAndGo, comeAndGo,
            [&](unsigned int round) {
                FakePlatform::SetRowCounters("wlan0", 10 + round, 10);
                connections.Report({{.device = "adsl0", .profile = "p", .state = round % 2 == 0 ? 0 : 1}});
            }},
           300);
}

TEST_F(ServicesConcurrency, ServicesMayBeReleasedInAnyOrderWhileTheHeartBeats)
{
    for (const bool trafficFirst : {true, false, true}) {
        AskingListener asking(*service);
        service->RegisterCallbackEvent(&asking);
        TestClock::RunFree(true);
        while (asking.calls == 0)
            std::this_thread::yield();
        service->DeregisterCallbackEvent(&asking);
        if (trafficFirst) service->Release();
        records->Release();
        if (!trafficFirst) service->Release();
        TestClock::RunFree(false);

        service = Service();
        records = RecordService();
    }
    IConnRecord* const set = records->GetAllConnRecord();
    TearDownPlugin();
    ASSERT_TRUE(set);  // the host's own: it outlives the engine
    EXPECT_TRUE(set->MoveFirst());
    set->Release();
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
