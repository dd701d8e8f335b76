#include "plugin/NetInfoImpl.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

#include "tests/plugin/PluginFixture.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Text.h"

namespace {

using nettest::FailingAllocation;
using nettest::FakePlatform;
using nettest::Narrow;
using nettest::TestClock;
using nettest::U16;

using Heard = std::vector<std::pair<bool, int>>;

Heard g_first, g_second;
unsigned int g_message = 0;

unsigned char First(unsigned int message, void* data)
{
    g_message = message;
    auto* const change = static_cast<NETINFO_CHANGE*>(data);
    g_first.emplace_back(change->bConnected, change->nValue);
    *change = {!change->bConnected, 99};  // its own to scribble on
    return 1;
}

unsigned char Second(unsigned int, void* data)
{
    const auto* const change = static_cast<const NETINFO_CHANGE*>(data);
    g_second.emplace_back(change->bConnected, change->nValue);
    return 0;
}

unsigned char Thrower(unsigned int, void*) { throw std::runtime_error("scripted"); }

struct Listener final : INetInfoEvent
{
    void OnDataChanged(bool bConnected, int nValue) override { heard.emplace_back(bConnected, nValue); }
    Heard heard;
};

void ForgetWhatFunctionsHeard()
{
    g_first.clear();
    g_second.clear();
    g_message = 0;
}

/// The service with a running engine behind it.
struct NetInfo : PluginFixture
{
    NetInfo()
    {
        ForgetWhatFunctionsHeard();
        CreateAndInit();
        service = Service();
        EXPECT_TRUE(TestClock::Poll());
    }

    INetInfoService* service;
};

/// The service without an engine.
struct NetInfoAlone : testing::Test
{
    NetInfoAlone() { ForgetWhatFunctionsHeard(); }

    CNetInfoImpl service{nullptr, nullptr};
};

TEST_F(NetInfoAlone, LeavesReportsAndSnapshotsUntouched)
{
    nis::REPORT report;
    report.nDevice = 7;
    report.ullDownloaded = 1;
    report.ullUploaded = 2;
    report.ullTime = 3;
    report.tmStart = 4;
    report.tmEnd = 5;
    service.GetTodayReport(report, WIFI);
    service.GetSinceReport(report, WIFI);
    service.GetThisWeekReport(report, WIFI);
    service.GetThisMonthReport(report, WIFI);
    service.GetThisYearReport(report, WIFI);
    service.GetSpecHistroryData(report, 0);
    EXPECT_EQ(report.nDevice, 7);
    EXPECT_EQ(report.ullDownloaded, 1U);
    EXPECT_EQ(report.ullUploaded, 2U);
    EXPECT_EQ(report.ullTime, 3U);
    EXPECT_EQ(report.tmStart, 4);
    EXPECT_EQ(report.tmEnd, 5);

    nis::SNAPSHOT snapshot;
    snapshot.nDevice = 7;
    snapshot.strName = U16("mine");
    snapshot.ullDL = 1;
    service.GetSnapShot(snapshot, WIFI);
    EXPECT_EQ(snapshot.nDevice, 7);
    EXPECT_EQ(Narrow(snapshot.strName), "mine");
    EXPECT_EQ(snapshot.ullDL, 1U);
}

TEST_F(NetInfoAlone, GivesNeutralAnswers)
{
    Listener listener;
    EXPECT_EQ(service.Reset(WIFI), 0);
    EXPECT_FALSE(service.RegisterCallbackEvent(&listener));
    EXPECT_FALSE(service.DeregisterCallbackEvent(&listener));
    EXPECT_EQ(service.GetLastError(), 0);
}

TEST_F(NetInfoAlone, GivesFixedAnswersWhereOtherKindsOfPluginHaveMore)
{
    for (const int device : {-1, DIALUP, WIFI, ADSL}) {
        EXPECT_EQ(service.CreateDailyReport(device), nullptr);
        EXPECT_EQ(service.CreateWeeklyReport(device), nullptr);
        EXPECT_EQ(service.CreateMonthlyReport(device), nullptr);
        EXPECT_EQ(service.CreateYearlyReport(device), nullptr);
        EXPECT_EQ(service.GetRSSI(device), 0);
    }
    EXPECT_EQ(service.CreateDeviceList(), nullptr);
    EXPECT_EQ(service.CreateDeviceInterface(), nullptr);
    EXPECT_EQ(service.UpdateDeviceList(nullptr), 0);
}

TEST_F(NetInfoAlone, CallsEachRegisteredFunctionWithTheMessageAndTheChange)
{
    EXPECT_TRUE(service.RegisterCallbackFunc(&First));
    EXPECT_TRUE(service.RegisterCallbackFunc(&Second));

    service.OnDataChanged(true, WIFI);
    service.OnDataChanged(false, ADSL);

    EXPECT_EQ(g_message, 8000U);
    EXPECT_EQ(g_first, (Heard{{true, WIFI}, {false, ADSL}}));
    EXPECT_EQ(g_second, g_first);
}

TEST_F(NetInfoAlone, RegistersAFunctionOnceAndUnregistersItOnce)
{
    EXPECT_TRUE(service.RegisterCallbackFunc(&First));
    EXPECT_TRUE(service.RegisterCallbackFunc(&First));
    service.OnDataChanged(true, WIFI);
    EXPECT_EQ(g_first.size(), 1U);

    EXPECT_TRUE(service.UnregisterCallbackFunc(&First));
    service.OnDataChanged(true, WIFI);
    EXPECT_EQ(g_first.size(), 1U);
}

TEST_F(NetInfoAlone, UnregistersAFunctionThatIsNotThere)
{
    service.RegisterCallbackFunc(&First);
    EXPECT_TRUE(service.UnregisterCallbackFunc(&Second));
    EXPECT_TRUE(service.UnregisterCallbackFunc(nullptr));
    service.OnDataChanged(true, WIFI);
    EXPECT_EQ(g_first.size(), 1U);
}

TEST_F(NetInfoAlone, KeepsANullFunctionButCallsNothing)
{
    EXPECT_TRUE(service.RegisterCallbackFunc(nullptr));
    service.RegisterCallbackFunc(&First);
    service.OnDataChanged(true, WIFI);
    EXPECT_EQ(g_first.size(), 1U);
    EXPECT_TRUE(service.UnregisterCallbackFunc(nullptr));
}

TEST_F(NetInfoAlone, CallsTheOtherFunctionsWhenOneThrows)
{
    FakePlatform::Reset();
    for (const auto function : {&First, &Second, &Thrower})
        service.RegisterCallbackFunc(function);

    service.OnDataChanged(true, WIFI);

    EXPECT_EQ(g_first.size(), 1U);
    EXPECT_EQ(g_second.size(), 1U);
    EXPECT_EQ(FakePlatform::TraceCount("CNetInfoImpl::OnDataChanged exception!"), 1);
    EXPECT_TRUE(service.UnregisterCallbackFunc(&Thrower));  // no lock is left behind
}

TEST_F(NetInfoAlone, SaysSoWhenAFunctionCannotBeKept)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    FakePlatform::Reset();
    {
        const FailingAllocation failing(0);
        EXPECT_FALSE(service.RegisterCallbackFunc(&First));
    }
    service.OnDataChanged(true, WIFI);
    EXPECT_EQ(g_first, Heard{});
    EXPECT_TRUE(service.RegisterCallbackFunc(&First));
}

TEST_F(NetInfo, AnswersReportsAndSnapshotsFromTheEngine)
{
    Connect("modem0", DIALUP, 1000, 500);
    ASSERT_TRUE(TestClock::Beat());
    FakePlatform::SetRowCounters("modem0", 1100, 510);
    ASSERT_TRUE(TestClock::Beat());

    using Period = void (INetInfoService::*)(nis::REPORT&, int);
    for (const Period query : {&INetInfoService::GetTodayReport, &INetInfoService::GetSinceReport,
                               &INetInfoService::GetThisWeekReport, &INetInfoService::GetThisMonthReport,
                               &INetInfoService::GetThisYearReport}) {
        nis::REPORT report;
        (service->*query)(report, DIALUP);
        EXPECT_EQ(report.ullDownloaded, 100U);
        EXPECT_EQ(report.ullUploaded, 10U);
    }
    nis::REPORT history;
    service->GetSpecHistroryData(history, START);
    EXPECT_EQ(history.ullDownloaded, 100U);
    nis::SNAPSHOT snapshot;
    service->GetSnapShot(snapshot, DIALUP);
    EXPECT_EQ(snapshot.ullDL, 100U);

    EXPECT_EQ(service->Reset(DIALUP), 0);
    nis::REPORT report;
    report.ullDownloaded = 1;
    service->GetSinceReport(report, DIALUP);
    EXPECT_EQ(report.ullDownloaded, 0U);
}

TEST_F(NetInfo, PassesTheEnginesNotificationsOnToFunctions)
{
    service->RegisterCallbackFunc(&Second);
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 1000, 500);
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(g_second, (Heard{{true, WIFI}, {true, ADSL}}));

    g_second.clear();
    Disconnect("adsl0");
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(g_second, (Heard{{true, WIFI}, {false, ADSL}}));

    g_second.clear();
    Disconnect("wlan0");
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(g_second, (Heard{{false, DIALUP}, {false, WIFI}, {false, ADSL}}));
}

TEST_F(NetInfo, RegistersListenersWithTheEngine)
{
    Listener listener;
    EXPECT_TRUE(service->RegisterCallbackEvent(&listener));
    EXPECT_FALSE(service->RegisterCallbackEvent(&listener));
    Connect("wlan0", WIFI, 1000, 500);
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(listener.heard, (Heard{{true, WIFI}}));

    EXPECT_TRUE(service->DeregisterCallbackEvent(&listener));
    EXPECT_FALSE(service->DeregisterCallbackEvent(&listener));
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(listener.heard.size(), 1U);
}

TEST_F(NetInfo, HearsNothingMoreOnceReleased)
{
    service->RegisterCallbackFunc(&Second);
    Connect("wlan0", WIFI, 1000, 500);
    ASSERT_TRUE(TestClock::Beat());

    service->Release();
    ASSERT_TRUE(TestClock::Beat());

    EXPECT_EQ(g_second.size(), 1U);
}

TEST_F(NetInfo, IsNotItselfTheListenerThatAHostRegisters)
{
    EXPECT_EQ(dynamic_cast<INetInfoEvent*>(service)
                  ? service->RegisterCallbackEvent(dynamic_cast<INetInfoEvent*>(service))
                  : true,
              false);  // the engine has it already
}

}  // namespace
