#include "plugin/NetInfoPlugin.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/plugin/PluginFixture.h"
#include "tests/support/FailingAllocation.h"

namespace {

using nettest::FailingAllocation;
using nettest::FakePlatform;
using nettest::ReadFile;
using nettest::TestClock;

struct Plugin : PluginFixture
{
    /// How many heartbeats have said that they run.
    static int HeartBeats()
    {
        return FakePlatform::TraceCount("CHeartBeat::Thread() started") -
               FakePlatform::TraceCount("CHeartBeat::Thread() stopped");
    }
    static bool OneHeartBeatRuns() { return TestClock::Poll() && HeartBeats() == 1; }
};

TEST_F(Plugin, IsOneObjectForTheWholeProcess)
{
    Create();
    EXPECT_EQ(CreatePlugin(), plugin);
}

TEST_F(Plugin, IsMadeAnewAfterItsRelease)
{
    Create();
    IBaseInterface* face = nullptr;
    plugin->QueryInterface(7, &face);
    ASSERT_EQ(plugin->GetLastError(), -1);
    ReleasePlugin();

    plugin = CreatePlugin();

    ASSERT_TRUE(plugin);
    EXPECT_EQ(plugin->GetLastError(), 0);
}

TEST_F(Plugin, CanBeReleasedWhenThereIsNone)
{
    ReleasePlugin();
    ReleasePlugin();
}

TEST_F(Plugin, IsNullWhenItCannotBeMade)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    {
        const FailingAllocation failing(0);
        EXPECT_EQ(CreatePlugin(), nullptr);
    }
    plugin = CreatePlugin();
    EXPECT_TRUE(plugin);
}

TEST_F(Plugin, SaysWhatItIs)
{
    Create();
    EXPECT_EQ(plugin->GetPluginType(), 1);
    EXPECT_EQ(plugin->GetVersion(), 0x101);
    EXPECT_STREQ(plugin->GetCLSID(), "3F2A9C71-6D4B-4c8e-A1E5-7B90C2D4E613");
    EXPECT_STREQ(plugin->GetPluginName(), "NetInfoSrvPlugin");
    EXPECT_TRUE(plugin->IsAllowRelease());
    EXPECT_EQ(plugin->GetCLSID(), MYCLSID);
    EXPECT_EQ(plugin->GetPluginName(), PLUGIN_NAME);
    EXPECT_EQ(plugin->GetLastError(), 0);
}

TEST_F(Plugin, RefusesUnknownInterfaceNumbers)
{
    CreateAndInit();
    for (const int number : {0, 2, 3, 5, 7, -1, -4}) {
        SCOPED_TRACE(number);
        plugin->GetVersion();
        IBaseInterface* face = plugin;

        EXPECT_FALSE(plugin->QueryInterface(number, &face));

        EXPECT_EQ(face, nullptr);
        EXPECT_EQ(plugin->GetLastError(), -1);
    }
}

TEST_F(Plugin, RefusesANullDestination)
{
    CreateAndInit();
    EXPECT_FALSE(plugin->QueryInterface(1, nullptr));
    EXPECT_EQ(plugin->GetLastError(), -1);
    EXPECT_FALSE(plugin->QueryInterface(7, nullptr));
}

TEST_F(Plugin, HandsOutEachServiceToEverybody)
{
    CreateAndInit();
    for (const int number : {1, 4}) {
        IBaseInterface* first = nullptr;
        IBaseInterface* second = nullptr;
        EXPECT_TRUE(plugin->QueryInterface(number, &first));
        EXPECT_EQ(plugin->GetLastError(), 0);
        EXPECT_TRUE(plugin->QueryInterface(number, &second));
        EXPECT_TRUE(first);
        EXPECT_EQ(first, second);
        EXPECT_EQ(first->GetLastError(), 0);
    }
    EXPECT_NE(static_cast<IBaseInterface*>(Service()), static_cast<IBaseInterface*>(RecordService()));
}

TEST_F(Plugin, ForgetsAnErrorWithEachAnswerButTheOneThatItMayBeUnloaded)
{
    Create();
    IBaseInterface* face = nullptr;
    const auto fail = [&] {
        plugin->QueryInterface(7, &face);
        ASSERT_EQ(plugin->GetLastError(), -1);
    };
    fail();
    plugin->IsAllowRelease();
    plugin->SetPluginContainer(&container);
    plugin->Release();
    EXPECT_EQ(plugin->GetLastError(), -1);

    plugin->GetVersion();
    EXPECT_EQ(plugin->GetLastError(), 0);
    fail();
    plugin->GetPluginType();
    EXPECT_EQ(plugin->GetLastError(), 0);
    fail();
    plugin->GetCLSID();
    EXPECT_EQ(plugin->GetLastError(), 0);
    fail();
    plugin->GetPluginName();
    EXPECT_EQ(plugin->GetLastError(), 0);
    fail();
    plugin->QueryInterface(1, &face);
    EXPECT_EQ(plugin->GetLastError(), 0);
    fail();
    plugin->Init();
    EXPECT_EQ(plugin->GetLastError(), 0);
}

TEST_F(Plugin, KeepsItsContainerForTheWholeClass)
{
    EXPECT_EQ(CNetInfoPlugin::GetPluginContainer(), nullptr);
    Create();
    EXPECT_EQ(CNetInfoPlugin::GetPluginContainer(), &container);
    plugin->OnDestroy();
    EXPECT_EQ(CNetInfoPlugin::GetPluginContainer(), &container);
    ReleasePlugin();
    plugin = nullptr;
    EXPECT_EQ(CNetInfoPlugin::GetPluginContainer(), nullptr);
}

TEST_F(Plugin, IsNotEndedByItsOwnRelease)
{
    CreateAndInit();
    plugin->Release();
    EXPECT_EQ(plugin->GetVersion(), 0x101);
    EXPECT_EQ(CreatePlugin(), plugin);
    EXPECT_TRUE(OneHeartBeatRuns());
}

TEST_F(Plugin, SamplesFromInitToOnDestroy)
{
    Create();
    EXPECT_EQ(HeartBeats(), 0);
    EXPECT_TRUE(plugin->Init());
    EXPECT_TRUE(OneHeartBeatRuns());
    EXPECT_EQ(connections.Listeners(), 1U);
    EXPECT_EQ(deviceManager.Listeners(), 1U);

    Connect("wlan0", WIFI, 1000, 500);
    INetInfoService* const service = Service();
    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Beat());
    FakePlatform::SetRowCounters("wlan0", 1100, 510);
    ASSERT_TRUE(TestClock::Beat());
    nis::SNAPSHOT snapshot;
    service->GetSnapShot(snapshot, WIFI);
    EXPECT_EQ(snapshot.ullDL, 100U);

    plugin->OnDestroy();
    EXPECT_EQ(HeartBeats(), 0);
    EXPECT_EQ(connections.Listeners(), 0U);
    EXPECT_EQ(deviceManager.Listeners(), 0U);
    EXPECT_NE(ReadFile(directory.File("NetInfo.dat")).find("downloaded=\"100\""), std::string::npos);
}

TEST_F(Plugin, KeepsItsEngineWhenInitialisedTwice)
{
    CreateAndInit();
    Connect("wlan0", WIFI, 1000, 500);
    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Beat());
    FakePlatform::SetRowCounters("wlan0", 1100, 510);
    ASSERT_TRUE(TestClock::Beat());

    EXPECT_TRUE(plugin->Init());

    EXPECT_TRUE(OneHeartBeatRuns());
    EXPECT_EQ(connections.Listeners(), 1U);
    nis::SNAPSHOT snapshot;
    Service()->GetSnapShot(snapshot, WIFI);
    EXPECT_EQ(snapshot.ullDL, 100U);
}

TEST_F(Plugin, CanBeInitialisedAgainAfterOnDestroy)
{
    CreateAndInit();
    plugin->OnDestroy();
    EXPECT_TRUE(plugin->Init());
    EXPECT_TRUE(OneHeartBeatRuns());
    EXPECT_TRUE(Service()->RegisterCallbackFunc(nullptr));
}

TEST_F(Plugin, CanBeDestroyedTwiceAndWithoutInit)
{
    Create();
    plugin->OnDestroy();
    plugin->Init();
    Service();
    RecordService();
    plugin->OnDestroy();
    plugin->OnDestroy();
    EXPECT_EQ(HeartBeats(), 0);
}

TEST_F(Plugin, HearsOfItsDestructionThroughItsEventFace)
{
    CreateAndInit();
    IDestroyEvent* const event = plugin;
    event->OnDestroy();
    EXPECT_EQ(HeartBeats(), 0);
}

TEST_F(Plugin, WorksWithoutAContainer)
{
    plugin = CreatePlugin();
    EXPECT_TRUE(plugin->Init());
    EXPECT_TRUE(OneHeartBeatRuns());
}

TEST_F(Plugin, MakesServicesWithoutAnEngineBeforeInitAndAfterOnDestroy)
{
    Create();
    EXPECT_EQ(RecordService()->GetAllConnRecord(), nullptr);
    EXPECT_FALSE(Service()->RegisterCallbackEvent(nullptr));

    plugin->Init();
    EXPECT_EQ(RecordService()->GetAllConnRecord(), nullptr);  // a service keeps the engine it was made with

    plugin->OnDestroy();
    EXPECT_EQ(RecordService()->GetAllConnRecord(), nullptr);
    EXPECT_FALSE(Service()->RegisterCallbackEvent(nullptr));
}

TEST_F(Plugin, MakesANewServiceAfterTheHostHasEndedOne)
{
    CreateAndInit();
    Service()->Release();
    RecordService()->Release();

    // Whatever their addresses, these are alive and know the engine.
    EXPECT_TRUE(Service()->RegisterCallbackEvent(nullptr));
    IConnRecord* const records = RecordService()->GetAllConnRecord();
    ASSERT_TRUE(records);
    records->Release();
}

TEST_F(Plugin, DoesNotDestroyAServiceThatTheHostHasEnded)
{
    CreateAndInit();
    Service()->Release();
    RecordService()->Release();
    plugin->OnDestroy();
    EXPECT_EQ(HeartBeats(), 0);
}

TEST_F(Plugin, ReportsSuccessWhenItsEngineCannotBeMade)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    Create();
    for (std::size_t succeeding = 0;; ++succeeding) {
        SCOPED_TRACE(succeeding);
        bool failed = false;
        {
            const FailingAllocation failing(succeeding);
            EXPECT_TRUE(plugin->Init());
            failed = failing.HasFailed();
        }
        EXPECT_EQ(plugin->GetLastError(), 0);
        nis::REPORT report;
        Service()->GetSinceReport(report, WIFI);
        if (IConnRecord* const records = RecordService()->GetLastConnRecord()) records->Release();
        plugin->OnDestroy();
        EXPECT_EQ(HeartBeats(), 0);
        EXPECT_EQ(connections.Listeners(), 0U);
        if (!failed) break;
        ASSERT_LT(succeeding, 100'000U);
    }
}

TEST_F(Plugin, MakesGoodWithASecondInitWhatTheFirstCouldNotMake)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    Create();
    {
        const FailingAllocation failing(0);
        EXPECT_TRUE(plugin->Init());
    }
    EXPECT_EQ(HeartBeats(), 0);

    EXPECT_TRUE(plugin->Init());

    EXPECT_TRUE(OneHeartBeatRuns());
    EXPECT_TRUE(Service()->RegisterCallbackEvent(nullptr));
}

TEST_F(Plugin, SaysSoWhenAServiceCannotBeMade)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    CreateAndInit();
    for (const int number : {1, 4}) {
        IBaseInterface* face = plugin;
        {
            const FailingAllocation failing(0);
            EXPECT_FALSE(plugin->QueryInterface(number, &face));
        }
        EXPECT_EQ(face, nullptr);
        EXPECT_EQ(plugin->GetLastError(), -1);
        EXPECT_TRUE(plugin->QueryInterface(number, &face));
    }
}

// The engine, and what a host may still do with it, when the plug-in goes without OnDestroy.
TEST_F(Plugin, LeavesItsEngineRunningWhenReleasedWithoutOnDestroy)
{
    CreateAndInit();
    INetInfoService* const service = Service();
    Connect("wlan0", WIFI, 1000, 500);
    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Beat());

    ReleasePlugin();
    FakePlatform::SetRowCounters("wlan0", 1100, 510);
    ASSERT_TRUE(TestClock::Beat());

    EXPECT_TRUE(OneHeartBeatRuns());
    nis::SNAPSHOT snapshot;
    service->GetSnapShot(snapshot, WIFI);
    EXPECT_EQ(snapshot.ullDL, 100U);
    EXPECT_EQ(connections.Listeners(), 1U);

    // The service objects belong to the class, so the next plug-in object finds and ends them.
    plugin = CreatePlugin();
    EXPECT_EQ(Service(), service);
}

}  // namespace
