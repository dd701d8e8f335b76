#include "sampling/Statistic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/sampling/EngineFixture.h"
#include "tests/support/FailingAllocation.h"

namespace {

using nettest::FailingAllocation;
using nettest::FakePlatform;
using nettest::Narrow;
using nettest::ReadFile;
using nettest::TestClock;
using nettest::U16;

constexpr auto AGES = std::chrono::seconds(10);  // of real time: longer than anything here takes

struct Statistic : EngineFixture
{};

// ---- Heartbeats and connection phases

TEST_F(Statistic, IsSampledByItsOwnHeartBeatOncePerSecond)
{
    Connect("wlan0", WIFI, 1000, 500);
    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(Total(WIFI).clkTime, START + 1);

    Count("wlan0", 1100, 510);
    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(Total(WIFI).ullDL, 0U);
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(Total(WIFI).ullDL, 100U);
}

TEST_F(Statistic, DoesNothingWhileNothingIsConnected)
{
    Listener listener;
    engine->RegisterCallbackEvent(&listener);
    FakePlatform::ClearTraces();

    for (int i = 0; i < 3; ++i)
        Beat();

    EXPECT_EQ(listener.heard, Heard{});
    EXPECT_EQ(FakePlatform::IfTableReads(), 0);
    EXPECT_TRUE(FakePlatform::Traces().empty());
    EXPECT_EQ(Records(), 0);
}

TEST_F(Statistic, TracesAHeartBeatWithoutATracker)
{
    Stop();
    CStatistic alone(nullptr);
    FakePlatform::ClearTraces();

    alone.OnHeartBeat();

    ASSERT_EQ(FakePlatform::Traces().size(), 1U);
    EXPECT_EQ(FakePlatform::Traces()[0].level, 2);
    EXPECT_EQ(FakePlatform::Traces()[0].module, "NetInfoPlugin");
    EXPECT_EQ(FakePlatform::Traces()[0].text, "CStatistic::OnHeartBeat() m_pDevice!");
}

TEST_F(Statistic, CountsFromTheStartOfTheConnectionPhase)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Count("wlan0", 1100, 510);
    Beat();
    Count("wlan0", 1300, 530);
    Beat();

    EXPECT_EQ(Total(WIFI).ullDL, 300U);
    EXPECT_EQ(Total(WIFI).ullUL, 30U);
    EXPECT_EQ(Since(WIFI).ullDownloaded, 300U);
    EXPECT_EQ(Since(WIFI).ullUploaded, 30U);
}

TEST_F(Statistic, HandsEveryIncrementToTheStoreOfItsType)
{
    Connect("wlan0", WIFI, 1000, 500);
    Connect("modem0", DIALUP, 1, 1);
    Connect("adsl0", ADSL, 7000, 7000);
    Beat();
    Count("wlan0", 1100, 510);
    Count("modem0", 21, 4);
    Count("adsl0", 7000, 7001);
    Beat();

    EXPECT_EQ(Since(WIFI).ullDownloaded, 100U);
    EXPECT_EQ(Since(DIALUP).ullDownloaded, 20U);
    EXPECT_EQ(Since(DIALUP).ullUploaded, 3U);
    EXPECT_EQ(Since(ADSL).ullDownloaded, 0U);
    EXPECT_EQ(Since(ADSL).ullUploaded, 1U);
}

TEST_F(Statistic, TellsHowLongTheConnectionPhaseHasLasted)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    EXPECT_EQ(Total(WIFI).ulConnectTime, 0U);
    Beat();
    EXPECT_EQ(Total(WIFI).ulConnectTime, 1U);
    Beat(59);
    EXPECT_EQ(Total(WIFI).ulConnectTime, 60U);

    TestClock::Set(START - 100);
    Beat();
    EXPECT_EQ(Total(WIFI).ulConnectTime, 0U);
}

TEST_F(Statistic, OpensOneRecordForEachNewConnection)
{
    Connect("wlan0", WIFI, 1000, 500, "caf\xE9");  // one Latin-1 unit
    Beat();
    Beat();
    EXPECT_EQ(Records(), 1);

    Connect("adsl0", ADSL, 1, 1, "another");
    Beat();
    Beat();
    ASSERT_EQ(Records(), 2);

    IConnRecord* const records = engine->GetAllConnRecord();
    EXPECT_STREQ(records->GetAPN(), "caf\xC3\xA9");
    EXPECT_EQ(std::string(records->GetStartTime()), std::to_string(START + 1));
    records->MoveNext();
    EXPECT_STREQ(records->GetAPN(), "caf\xC3\xA9");  // the profile of the first selected device
    records->Release();
    engine->Reset(WIFI);  // saves
    EXPECT_NE(ReadFile(DataFile()).find("device=\"adsl0\""), std::string::npos);
}

TEST_F(Statistic, EmptiesItsTotalsAndSavesWhenTheLastConnectionEnds)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Count("wlan0", 1077, 500);
    Beat();
    const std::string before = ReadFile(DataFile());
    Disconnect("wlan0");

    Beat();

    EXPECT_EQ(Total(WIFI).ullDL, 0U);
    EXPECT_EQ(Total(WIFI).clkTime, 0);
    EXPECT_EQ(before.find("downloaded=\"77\""), std::string::npos);
    EXPECT_NE(ReadFile(DataFile()).find("downloaded=\"77\""), std::string::npos);
    EXPECT_EQ(Since(WIFI).ullDownloaded, 77U);
}

TEST_F(Statistic, TakesNewBasesInEveryConnectionPhase)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Count("wlan0", 1100, 510);
    Beat();
    Disconnect("wlan0");
    Beat();
    Count("wlan0", 50'000, 40'000);  // moved while nothing was connected
    Report("wlan0", "profile", 1);
    Beat();
    EXPECT_EQ(Total(WIFI).ullDL, 0U);
    EXPECT_EQ(Records(), 2);

    Count("wlan0", 50'005, 40'001);
    Beat();

    EXPECT_EQ(Total(WIFI).ullDL, 5U);
    EXPECT_EQ(Since(WIFI).ullDownloaded, 105U);
    EXPECT_EQ(Since(WIFI).ullUploaded, 11U);
}

TEST_F(Statistic, TakesNewBasesWhenItIsMadeAnewInTheSameProcess)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Count("wlan0", 1100, 510);
    Beat();
    Stop();  // while connected
    Start();
    Report("wlan0", "profile", 1);
    Count("wlan0", 5000, 5000);

    Beat();
    EXPECT_EQ(Since(WIFI).ullDownloaded, 100U);

    Count("wlan0", 5001, 5000);
    Beat();
    EXPECT_EQ(Since(WIFI).ullDownloaded, 101U);
}

TEST_F(Statistic, SavesWhenItIsDestroyed)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Count("wlan0", 1077, 500);
    Beat();

    Stop();

    EXPECT_NE(ReadFile(DataFile()).find("downloaded=\"77\""), std::string::npos);
    EXPECT_EQ(connections.Listeners(), 0U);
}

TEST_F(Statistic, WritesNoFileWhileItCounts)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    const std::string before = ReadFile(DataFile());
    for (unsigned int second = 1; second <= 60; ++second) {
        Count("wlan0", 1000 + second, 500);
        Beat();
    }
    EXPECT_EQ(ReadFile(DataFile()), before);
}

TEST_F(Statistic, TakesEveryConnectionForGoneWhenTheTrackerCannotBeRead)
{
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 2000, 600);
    Beat();
    Beat();
    Listener listener;
    engine->RegisterCallbackEvent(&listener);

    FakePlatform::FailIfTable(true);
    Beat();
    EXPECT_EQ(listener.heard, (Heard{{false, WIFI}, {false, ADSL}}));
    EXPECT_EQ(TestClock::Slept(), 2 * 1'500'000);
    EXPECT_EQ(Total(WIFI).clkTime, 0);

    FakePlatform::FailIfTable(false);
    Beat();
    EXPECT_EQ(Records(), 4);
    EXPECT_EQ(Total(WIFI).clkTime, getclock());
}

// ---- Snapshots

TEST_F(Statistic, SnapshotOfATypeWithoutConnectionIsThatTypeAndZeros)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Beat();
    nis::SNAPSHOT snapshot;
    snapshot.nDevice = 7;
    snapshot.strName = U16("mine");
    snapshot.ullDL = snapshot.ullUL = 1;
    snapshot.ulDLSpeed = snapshot.ulULSpeed = snapshot.ulMaxDLSpeed = snapshot.ulMaxULSpeed = 2;
    snapshot.ulConnectTime = snapshot.ulReserved = 3;
    snapshot.clkTime = 4;

    engine->GetSnapShot(snapshot, ADSL);

    EXPECT_EQ(snapshot.nDevice, ADSL);
    EXPECT_EQ(Narrow(snapshot.strName), "mine");
    EXPECT_EQ(snapshot.ullDL, 0U);
    EXPECT_EQ(snapshot.ullUL, 0U);
    EXPECT_EQ(snapshot.ulDLSpeed, 0U);
    EXPECT_EQ(snapshot.ulULSpeed, 0U);
    EXPECT_EQ(snapshot.ulMaxDLSpeed, 0U);
    EXPECT_EQ(snapshot.ulMaxULSpeed, 0U);
    EXPECT_EQ(snapshot.ulConnectTime, 0U);
    EXPECT_EQ(snapshot.ulReserved, 0U);
    EXPECT_EQ(snapshot.clkTime, 0);
}

TEST_F(Statistic, SnapshotHasEveryNumberOfTheTotalAndLeavesTheName)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Count("wlan0", 1600, 560);
    Beat(2);
    Count("wlan0", 1800, 600);
    Beat(2);
    nis::SNAPSHOT snapshot;
    snapshot.strName = U16("mine");

    engine->GetSnapShot(snapshot, WIFI);

    EXPECT_EQ(snapshot.nDevice, WIFI);
    EXPECT_EQ(Narrow(snapshot.strName), "mine");
    EXPECT_EQ(snapshot.ullDL, 800U);
    EXPECT_EQ(snapshot.ullUL, 100U);
    EXPECT_EQ(snapshot.ulDLSpeed, 100U);
    EXPECT_EQ(snapshot.ulULSpeed, 20U);
    EXPECT_EQ(snapshot.ulMaxDLSpeed, 300U);
    EXPECT_EQ(snapshot.ulMaxULSpeed, 30U);
    EXPECT_EQ(snapshot.ulConnectTime, 4U);
    EXPECT_EQ(snapshot.clkTime, START + 5);
}

TEST_F(Statistic, SnapshotCanBeTakenFromInsideEveryNotification)
{
    std::vector<unsigned long long> totals;
    Listener listener([&](bool, int nValue) { totals.push_back(Total(nValue).ullDL); });
    engine->RegisterCallbackEvent(&listener);
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 2000, 600);
    Beat();
    Count("wlan0", 1011, 500);
    Count("adsl0", 2022, 600);
    totals.clear();

    Beat();
    EXPECT_EQ(totals, (std::vector<unsigned long long>{11, 22}));

    totals.clear();
    Disconnect("adsl0");
    Beat();
    EXPECT_EQ(totals, (std::vector<unsigned long long>{11, 0}));

    totals.clear();
    Disconnect("wlan0");
    Beat();
    EXPECT_EQ(totals, (std::vector<unsigned long long>{0, 0, 0}));
}

// ---- Notifications

TEST_F(Statistic, TellsListenersAboutEachIncrement)
{
    Listener listener;
    engine->RegisterCallbackEvent(&listener);
    Connect("wlan0", WIFI, 1000, 500);
    Connect("modem0", DIALUP, 1, 1);

    Beat();
    EXPECT_EQ(listener.heard, (Heard{{true, WIFI}, {true, DIALUP}}));

    Beat();  // also when nothing has moved
    EXPECT_EQ(listener.heard.size(), 4U);
}

TEST_F(Statistic, TellsAllTypesWhenTheLastConnectionHasEndedAndThenNothing)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Listener first, second;
    engine->RegisterCallbackEvent(&first);
    engine->RegisterCallbackEvent(&second);
    Disconnect("wlan0");

    Beat();
    Beat();

    EXPECT_EQ(first.heard, (Heard{{false, DIALUP}, {false, WIFI}, {false, ADSL}}));
    EXPECT_EQ(second.heard, first.heard);
    EXPECT_EQ(TestClock::Slept(), 0);
}

TEST_F(Statistic, SavesOnceAndPausesWhenOneConnectionOfSeveralEnds)
{
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 2000, 600);
    Beat();
    Count("adsl0", 2077, 600);
    Beat();
    bool savedBefore = false;
    Listener first([&](bool bConnected, int) {
        if (bConnected) return;
        savedBefore = ReadFile(DataFile()).find("downloaded=\"77\"") != std::string::npos;
        std::filesystem::remove(DataFile());
    });
    Listener second;
    engine->RegisterCallbackEvent(&first);
    engine->RegisterCallbackEvent(&second);
    Disconnect("adsl0");

    Beat();

    EXPECT_EQ(first.heard, (Heard{{true, WIFI}, {false, ADSL}}));
    EXPECT_EQ(second.heard, first.heard);
    EXPECT_TRUE(savedBefore);
    EXPECT_FALSE(std::filesystem::exists(DataFile()));  // not saved a second time
    EXPECT_EQ(TestClock::Slept(), 1'500'000);
    EXPECT_EQ(Total(ADSL).clkTime, 0);
    EXPECT_EQ(Total(WIFI).nDevice, WIFI);
}

TEST_F(Statistic, HoldsUpRegistrationsDuringThePause)
{
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 2000, 600);
    Beat();
    Listener late;
    std::future<bool> registered;
    bool early = false;
    TestClock::OnSleep([&](long long microseconds) {
        EXPECT_EQ(microseconds, 1'500'000);
        std::promise<void> trying;
        registered = std::async(std::launch::async, [&] {
            trying.set_value();
            return engine->RegisterCallbackEvent(&late);
        });
        trying.get_future().wait();
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
        early = registered.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    Disconnect("adsl0");

    Beat();

    EXPECT_FALSE(early);
    EXPECT_TRUE(registered.get());
}

TEST_F(Statistic, RegistersAListenerOnceAndDeregistersItOnce)
{
    Listener listener;
    EXPECT_FALSE(engine->DeregisterCallbackEvent(&listener));
    EXPECT_TRUE(engine->RegisterCallbackEvent(&listener));
    EXPECT_FALSE(engine->RegisterCallbackEvent(&listener));

    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    EXPECT_EQ(listener.heard, (Heard{{true, WIFI}}));

    EXPECT_TRUE(engine->DeregisterCallbackEvent(&listener));
    EXPECT_FALSE(engine->DeregisterCallbackEvent(&listener));
    Beat();
    EXPECT_EQ(listener.heard.size(), 1U);
}

TEST_F(Statistic, KeepsANullListenerButCallsNothing)
{
    EXPECT_TRUE(engine->RegisterCallbackEvent(nullptr));
    EXPECT_FALSE(engine->RegisterCallbackEvent(nullptr));
    Connect("wlan0", WIFI, 1000, 500);
    Beat();
    Disconnect("wlan0");
    Beat();
    EXPECT_EQ(FakePlatform::TraceCount("CStatistic::OnHeartBeat() Exception No.2!"), 0);
    EXPECT_TRUE(engine->DeregisterCallbackEvent(nullptr));
}

TEST_F(Statistic, DoesNotCallAListenerThatAnEarlierOneHasDeregistered)
{
    Listener listeners[3];
    for (Listener& listener : listeners) {
        engine->RegisterCallbackEvent(&listener);
        listener.onChange = [&](bool, int) {  // whoever is called first throws the others out
            for (Listener& other : listeners) {
                if (&other != &listener) engine->DeregisterCallbackEvent(&other);
            }
        };
    }
    Connect("wlan0", WIFI, 1000, 500);

    Beat();
    Beat();

    std::vector<std::size_t> calls;
    for (const Listener& listener : listeners)
        calls.push_back(listener.heard.size());
    std::sort(calls.begin(), calls.end());
    EXPECT_EQ(calls, (std::vector<std::size_t>{0, 0, 2}));
}

TEST_F(Statistic, LetsAListenerDeregisterItselfFromInsideItsCall)
{
    Listener listener;
    listener.onChange = [&](bool, int) { EXPECT_TRUE(engine->DeregisterCallbackEvent(&listener)); };
    engine->RegisterCallbackEvent(&listener);
    Connect("wlan0", WIFI, 1000, 500);

    Beat();
    Beat();

    EXPECT_EQ(listener.heard.size(), 1U);
}

TEST_F(Statistic, CallsAListenerRegisteredFromInsideACallFromTheNextChangeOn)
{
    Listener late;
    Listener listener([&](bool, int) { engine->RegisterCallbackEvent(&late); });
    engine->RegisterCallbackEvent(&listener);
    Connect("wlan0", WIFI, 1000, 500);

    Beat();
    EXPECT_EQ(late.heard, Heard{});
    Beat();
    EXPECT_EQ(late.heard, (Heard{{true, WIFI}}));
}

TEST_F(Statistic, DeregistersOnAnotherThreadOnlyAfterTheCallToThatListenerHasEnded)
{
    std::promise<void> entered, leave;
    std::atomic<bool> ended{false};
    Listener listener([&](bool, int) {
        entered.set_value();
        leave.get_future().wait();
        ended = true;
    });
    engine->RegisterCallbackEvent(&listener);
    Connect("wlan0", WIFI, 1000, 500);
    ASSERT_TRUE(TestClock::Poll());
    auto beat = std::async(std::launch::async, [] { return TestClock::Beat(); });
    entered.get_future().wait();

    auto endedAtReturn = std::async(std::launch::async, [&] {
        EXPECT_TRUE(engine->DeregisterCallbackEvent(&listener));
        return ended.load();
    });
    std::this_thread::yield();
    leave.set_value();

    EXPECT_TRUE(endedAtReturn.get());
    EXPECT_TRUE(beat.get());
}

TEST_F(Statistic, DeregistersOtherListenersDuringACall)
{
    std::promise<void> entered, leave;
    Listener other;
    Listener busy([&](bool, int) {
        if (busy.heard.size() > 1) return;
        entered.set_value();
        leave.get_future().wait();
    });
    engine->RegisterCallbackEvent(&busy);
    Connect("wlan0", WIFI, 1000, 500);
    ASSERT_TRUE(TestClock::Poll());
    auto beat = std::async(std::launch::async, [] { return TestClock::Beat(); });
    entered.get_future().wait();

    auto done = std::async(std::launch::async, [&] {
        return engine->RegisterCallbackEvent(&other) && engine->DeregisterCallbackEvent(&other);
    });
    const auto status = done.wait_for(AGES);
    leave.set_value();

    EXPECT_EQ(status, std::future_status::ready);
    EXPECT_TRUE(done.get());
    EXPECT_TRUE(beat.get());
}

TEST_F(Statistic, SurvivesAListenerThatThrowsAboutAnIncrement)
{
    Listener thrower([](bool, int) { throw std::runtime_error("scripted"); });
    engine->RegisterCallbackEvent(&thrower);
    Connect("wlan0", WIFI, 1000, 500);
    FakePlatform::ClearTraces();

    Beat();
    EXPECT_EQ(FakePlatform::TraceCount("CStatistic::OnHeartBeat() Exception No.2!"), 1);
    EXPECT_EQ(Total(WIFI).nDevice, WIFI);  // no lock is left behind

    auto done = std::async(std::launch::async, [&] { return engine->DeregisterCallbackEvent(&thrower); });
    ASSERT_EQ(done.wait_for(AGES), std::future_status::ready);
    EXPECT_TRUE(done.get());
    Count("wlan0", 1100, 500);
    Beat();
    EXPECT_EQ(Total(WIFI).ullDL, 100U);
}

TEST_F(Statistic, SurvivesAListenerThatThrowsAboutTheEndOfConnections)
{
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 1000, 500);
    Beat();
    Listener thrower([](bool bConnected, int) {
        if (!bConnected) throw std::runtime_error("scripted");
    });
    engine->RegisterCallbackEvent(&thrower);

    Disconnect("adsl0");
    Beat();
    EXPECT_EQ(FakePlatform::TraceCount("CStatistic::OnHeartBeat() Exception No.2!"), 1);
    Disconnect("wlan0");
    Beat();
    EXPECT_EQ(FakePlatform::TraceCount("CStatistic::OnHeartBeat() Exception No.2!"), 2);

    EXPECT_EQ(thrower.heard, (Heard{{true, WIFI}, {false, ADSL}, {false, DIALUP}}));
    EXPECT_TRUE(engine->DeregisterCallbackEvent(&thrower));
}

TEST_F(Statistic, SurvivesRunningOutOfMemoryAtAnyPointOfAHeartBeat)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    Listener listener;
    engine->RegisterCallbackEvent(&listener);
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 1000, 500);

    for (std::size_t succeeding = 0;; ++succeeding) {
        SCOPED_TRACE(succeeding);
        Stop();  // an engine keeps memory for its next heartbeat
        Start();
        engine->RegisterCallbackEvent(&listener);
        Report("wlan0", "profile", 1);  // a phase begins
        Report("adsl0", "profile", 1);
        TestClock::AdvanceSeconds(1);
        bool failed = false;
        {
            const FailingAllocation failing(succeeding);
            engine->OnHeartBeat();
            failed = failing.HasFailed();
        }
        EXPECT_EQ(Total(WIFI).nDevice, WIFI);  // no lock is left behind
        Disconnect("wlan0");
        Disconnect("adsl0");
        Beat();
        if (!failed) break;
        ASSERT_LT(succeeding, 100'000U);
    }
    EXPECT_GT(FakePlatform::TraceCount("CStatistic::OnHeartBeat() Exception No.2!"), 0);
    listener.heard.clear();
    Report("wlan0", "profile", 1);
    Beat();
    EXPECT_EQ(listener.heard, (Heard{{true, WIFI}}));
    EXPECT_TRUE(engine->DeregisterCallbackEvent(&listener));
}

// ---- Reports, records, resets

TEST_F(Statistic, AnswersEveryReportFromTheStore)
{
    Connect("modem0", DIALUP, 1000, 500);
    Beat();
    Count("modem0", 1100, 510);
    Beat();

    using Query = void (CStatistic::*)(nis::REPORT&, int);
    for (const Query query :
         {&CStatistic::GetTodayReport, &CStatistic::GetSinceReport, &CStatistic::GetThisWeekReport,
          &CStatistic::GetThisMonthReport, &CStatistic::GetThisYearReport}) {
        nis::REPORT report;
        (engine.get()->*query)(report, DIALUP);
        EXPECT_EQ(report.ullDownloaded, 100U);
        EXPECT_EQ(report.ullUploaded, 10U);
    }
    nis::REPORT history;
    engine->GetSpecHistroryData(history, START);
    EXPECT_EQ(history.ullDownloaded, 100U);
}

TEST_F(Statistic, TellsThePeriodsApart)
{
    Connect("modem0", DIALUP, 1000, 500);
    Beat();
    Count("modem0", 1100, 500);
    Beat();
    TestClock::AdvanceSeconds(400 * 86'400LL);
    Count("modem0", 1107, 500);
    Beat();

    nis::REPORT today, since, week, month, year;
    engine->GetTodayReport(today, DIALUP);
    engine->GetSinceReport(since, DIALUP);
    engine->GetThisWeekReport(week, DIALUP);
    engine->GetThisMonthReport(month, DIALUP);
    engine->GetThisYearReport(year, DIALUP);
    EXPECT_EQ(today.ullDownloaded, 7U);
    EXPECT_EQ(week.ullDownloaded, 7U);
    EXPECT_EQ(month.ullDownloaded, 7U);
    EXPECT_EQ(year.ullDownloaded, 7U);
    EXPECT_EQ(since.ullDownloaded, 107U);
    EXPECT_LT(week.tmStart, today.tmStart + 86'400);
    EXPECT_NE(week.tmStart, month.tmStart);
}

TEST_F(Statistic, ListsAndRemovesRecordsOfTheStore)
{
    for (const char* const name : {"a", "b", "c"}) {
        Connect(std::string("wlan-") + name, WIFI, 1000, 500, name);
        Beat();
        Disconnect(std::string("wlan-") + name);
        Beat();
    }
    ASSERT_EQ(Records(), 3);

    EXPECT_TRUE(engine->BeginRemoveRecord());
    EXPECT_TRUE(engine->RemoveRecord(1));
    EXPECT_TRUE(engine->EndRemoveRecord());

    EXPECT_EQ(Records(), 2);
    IConnRecord* const last = engine->GetLastConnRecord();
    ASSERT_TRUE(last);
    EXPECT_EQ(last->GetAllRecordCount(), 1);
    EXPECT_STREQ(last->GetAPN(), "c");
    last->Release();
}

TEST_F(Statistic, ResetsEveryPeriodOfOneTypeAndAllRecordsButTheLastAndSaves)
{
    Connect("modem0", DIALUP, 1000, 500);
    Beat();
    Connect("wlan0", WIFI, 1, 1);
    Beat();
    Count("modem0", 1100, 510);
    Count("wlan0", 51, 51);
    Beat();
    ASSERT_EQ(Records(), 2);

    engine->Reset(DIALUP);

    EXPECT_EQ(Since(DIALUP).ullDownloaded, 0U);
    EXPECT_EQ(Since(WIFI).ullUploaded, 51U);
    nis::REPORT report;
    engine->GetThisYearReport(report, DIALUP);
    EXPECT_EQ(report.ullDownloaded, 0U);
    EXPECT_EQ(Records(), 1);
    EXPECT_NE(ReadFile(DataFile()).find("uploaded=\"51\""), std::string::npos);
    EXPECT_EQ(ReadFile(DataFile()).find("uploaded=\"10\""), std::string::npos);
}

}  // namespace
