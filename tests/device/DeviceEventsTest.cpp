#include <gmock/gmock.h>

#include "tests/device/DeviceFixture.h"
#include "tests/support/FailingAllocation.h"

namespace nettest {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

using Query = FakeContainer::Query;

const Query FOR_CONNECTION_MANAGER{"9D1E4B27-2C8F-4a61-B3D7-05E8F6A9C142", 0x4001};
const Query FOR_DEVICE_MANAGER{"C7A05E94-18B6-4f2d-8E3C-D6F1A2B47E90", 1};

constexpr const char* REGISTER_EXCEPTION = "CDeviceMgr::RegisterNetConnectEvent exception!";
constexpr const char* DEREGISTER_EXCEPTION = "CDeviceMgr::DeregisterNetConnectEvent exception!";

constexpr const char* REJECT_TRACE = "Get Device Reject Event , Disconnect all 3G Connection";
constexpr const char* POWER_TRACE = "Get EVENT_DEVICE_POWER_MANAGEMENT form DeviceMgr";
constexpr const char* HIBERNATION_TRACE = "Statistic on HIBERNATION Set All the Device to Disconnect Status";
constexpr const char* WAKE_UP_TRACE = "Statistic Come Into System Wake up";

std::vector<std::string> Lines()
{
    std::vector<std::string> lines;
    for (const FakeTrace& trace : FakePlatform::Traces())
        lines.push_back(std::to_string(trace.level) + " " + trace.module + ": " + trace.text);
    return lines;
}

std::string Anomaly(const std::string& text) { return "2 NetInfoPlugin: " + text; }
std::string Information(const std::string& text) { return "4 NetInfoPlugin: " + text; }

class Registration : public DeviceFixture
{};

TEST_F(Registration, IsMadeWithBothSiblingsAndWithdrawnAgain)
{
    Tracker();
    EXPECT_EQ(m_manager.Listeners(), 1U);
    EXPECT_EQ(m_deviceManager.Listeners(), 1U);

    m_tracker.reset();

    EXPECT_EQ(m_manager.Listeners(), 0U);
    EXPECT_EQ(m_deviceManager.Listeners(), 0U);
    EXPECT_THAT(m_container.Queries(), ElementsAre(FOR_CONNECTION_MANAGER, FOR_DEVICE_MANAGER,
                                                   FOR_CONNECTION_MANAGER, FOR_DEVICE_MANAGER));
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(Registration, IsNotMadeWithoutAContainer)
{
    m_installed.reset();

    Tracker();
    m_tracker.reset();

    EXPECT_TRUE(m_container.Queries().empty());
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(Registration, IsMadeWithTheOneSiblingThatIsThere)
{
    m_container.SetConnectionManager(nullptr);
    Tracker();
    EXPECT_EQ(m_deviceManager.Listeners(), 1U);
    m_tracker.reset();
    EXPECT_EQ(m_deviceManager.Listeners(), 0U);

    m_container.SetConnectionManager(&m_manager);
    m_container.SetDeviceManager(nullptr);
    Tracker();
    EXPECT_EQ(m_manager.Listeners(), 1U);
    m_tracker.reset();
    EXPECT_EQ(m_manager.Listeners(), 0U);
}

TEST_F(Registration, IsWithdrawnWhereItWasMadeThoughThePlugInHasLostItsContainer)
{
    Tracker();
    m_installed.reset();

    m_tracker.reset();

    EXPECT_EQ(m_manager.Listeners(), 0U);
    EXPECT_EQ(m_deviceManager.Listeners(), 0U);
}

TEST_F(Registration, TracesASiblingThatThrowsAndGoesOnToTheNext)
{
    m_manager.ThrowOn(HostCall::AddListener);
    Tracker();
    EXPECT_THAT(Lines(), ElementsAre(Anomaly(REGISTER_EXCEPTION)));
    EXPECT_EQ(m_deviceManager.Listeners(), 1U);

    FakePlatform::ClearTraces();
    m_manager.ThrowOn(HostCall::RemoveListener);
    m_tracker.reset();
    EXPECT_THAT(Lines(), ElementsAre(Anomaly(DEREGISTER_EXCEPTION)));
    EXPECT_EQ(m_deviceManager.Listeners(), 0U);
}

TEST_F(Registration, TracesADeviceManagerThatThrows)
{
    m_deviceManager.ThrowOn(HostCall::AddListener);
    m_deviceManager.ThrowOn(HostCall::RemoveListener);

    Tracker();
    EXPECT_EQ(m_manager.Listeners(), 1U);
    m_tracker.reset();

    EXPECT_EQ(m_manager.Listeners(), 0U);
    EXPECT_THAT(Lines(), ElementsAre(Anomaly(REGISTER_EXCEPTION), Anomaly(DEREGISTER_EXCEPTION)));
}

TEST_F(Registration, TracesAContainerThatThrows)
{
    m_container.ThrowOnQuery(CONNECTION_MANAGER_CLSID);
    m_container.ThrowOnQuery(DEVICE_MANAGER_CLSID);

    Tracker();
    m_tracker.reset();

    EXPECT_EQ(FakePlatform::TraceCount(REGISTER_EXCEPTION), 2);
    EXPECT_EQ(FakePlatform::TraceCount(DEREGISTER_EXCEPTION), 2);
}

TEST_F(Registration, MayBringTheFirstEventAtOnce)
{
    m_manager.SetDevices({{"modem", DIALUP}});
    m_manager.SetReportOnRegistration({{"modem", "Home", 1}});

    Tracker();

    EXPECT_TRUE(Tracker().HaveConnected());
    EXPECT_EQ(ProfileOf("modem"), "Home");
}

TEST(DeviceListener, HasTheConnectListenerForItsFirstFace)
{
    FakePlatform::Reset();
    TrackerUnderTest tracker;

    EXPECT_EQ(static_cast<void*>(static_cast<INetConnectEvent*>(&tracker)), static_cast<void*>(&tracker));
}

class ConnectState : public DeviceFixture
{
protected:
    ConnectState() { Tracker(); }

    /// Takes the first event of the process out of the way.
    void AfterTheFirstEvent()
    {
        m_manager.Report({{"nobody", "", 0}});
        FakePlatform::ClearTraces();
    }
};

TEST_F(ConnectState, IgnoresNullAndStatesThatAreNeitherUpNorDown)
{
    m_manager.SetDevices({{"modem", DIALUP}});

    m_manager.Report(static_cast<INetConnectStatus*>(nullptr));
    m_manager.Report(std::vector<FakeConnection>{});
    m_manager.Report({{"modem", "Home", 2}, {std::nullopt, std::nullopt, -1}, {"modem", "Home", 3}});

    EXPECT_EQ(m_manager.Enumerations(), 0) << "not even refreshed";
    EXPECT_TRUE(FakePlatform::Traces().empty());

    m_manager.Report({{"modem", "Home", 1}});
    EXPECT_THAT(Lines(), ElementsAre(Information("Device Name 11: modem -> Connected")))
        << "the first event is still to come";
}

TEST_F(ConnectState, LeavesConnectedDevicesAloneForAStateInBetween)
{
    Connect({{"modem", DIALUP}});
    const int enumerations = m_manager.Enumerations();

    m_manager.Report({{"modem", "", 2}});

    EXPECT_TRUE(Tracker().HaveConnected());
    EXPECT_EQ(m_manager.Enumerations(), enumerations);
}

TEST_F(ConnectState, ReadsEveryEntryThoughOnlyTheLastIsUp)
{
    m_manager.SetDevices({{"modem", DIALUP}, {"wlan", WIFI}});

    m_manager.Report({{"modem", "", 2}, {"wlan", "Cafe", 1}});

    EXPECT_EQ(ProfileOf("wlan"), "Cafe");
    EXPECT_FALSE(IsCounted("modem"));
}

TEST_F(ConnectState, OnlyConnectsOnTheFirstEventOfTheProcess)
{
    m_manager.SetDevices({{"modem", DIALUP}, {"wlan", WIFI}});

    m_manager.Report({{"modem", "Home", 1}, {"modem", "", 0}, {"wlan", "", 0}, {"wlan", "", 2}});

    EXPECT_TRUE(IsCounted("modem"));
    EXPECT_EQ(ProfileOf("modem"), "Home");
    EXPECT_FALSE(IsCounted("wlan"));
    EXPECT_THAT(Lines(), ElementsAre(Information("Device Name 11: modem -> Connected")));
}

TEST_F(ConnectState, TracesWhatIsWrongWithTheFirstEvent)
{
    m_manager.SetDevices({{"modem", DIALUP}});

    m_manager.Report(
        {{std::nullopt, "Home", 1}, {std::nullopt, "Home", 0}, {"gone", "", 0}, {"mode", "Home", 1}});

    EXPECT_THAT(Lines(), ElementsAre(Anomaly("pszDeviceName == 0"),
                                     Anomaly("EqualToDeviceName() Failed! Device Name: mode")));
    EXPECT_FALSE(Tracker().HaveConnected());
}

TEST_F(ConnectState, KnowsTheFirstEventOfTheProcessNotOfTheObject)
{
    m_manager.SetDevices({{"modem", DIALUP}});
    m_manager.Report({{"modem", "Home", 1}});
    m_tracker.reset();
    FakePlatform::ClearTraces();

    Tracker();
    m_manager.Report({{"modem", "Home", 1}});

    EXPECT_THAT(Lines(), ElementsAre(Information("Device Name 22: modem -> Connected")));
}

TEST_F(ConnectState, ConnectsWithTheProfileOfTheEvent)
{
    AfterTheFirstEvent();
    m_manager.SetDevices({{"modem", DIALUP}, {"wlan", WIFI}});

    m_manager.Report({{"modem", "Home", 1}});
    EXPECT_TRUE(IsCounted("modem"));
    EXPECT_FALSE(IsCounted("wlan"));
    EXPECT_EQ(ProfileOf("modem"), "Home");
    EXPECT_THAT(Lines(), ElementsAre(Information("Device Name 22: modem -> Connected")));

    m_manager.Report({{"modem", "Abroad", 1}});
    EXPECT_EQ(ProfileOf("modem"), "Abroad");

    m_manager.Report({{"modem", std::nullopt, 1}});
    EXPECT_TRUE(IsCounted("modem"));
    EXPECT_EQ(ProfileOf("modem"), "");
}

TEST_F(ConnectState, DisconnectsForEveryStateButConnected)
{
    for (const int state : {0, 2, 3, -1}) {
        SCOPED_TRACE(state);
        Connect({{"modem", DIALUP}, {"wlan", WIFI}});

        m_manager.Report({{"wlan", "Cafe", 1}, {"modem", "Home", state}});

        EXPECT_FALSE(IsCounted("modem"));
        EXPECT_EQ(ProfileOf("modem"), "");
        EXPECT_TRUE(IsCounted("wlan"));
    }
}

TEST_F(ConnectState, DisconnectsEveryDeviceOfTheNameAndTracesEachOnTheWay)
{
    AfterTheFirstEvent();
    m_manager.SetDevices({{"before"},
                          {"twin", DIALUP, "000000000001"},
                          {"between"},
                          {"twin", WIFI, "000000000002"},
                          {"after"}});
    m_manager.Report({{"before", "", 1}, {"twin", "", 1}, {"after", "", 1}});
    FakePlatform::ClearTraces();

    m_manager.Report({{"twin", "", 0}});

    EXPECT_THAT(Lines(), ElementsAre(Information("Device Name 22: twin -> Disconnected"),
                                     Information("Device Name 22: twin -> Disconnected"),
                                     Information("Device Name 22: twin -> DisconnectedDisconnected"),
                                     Information("Device Name 22: twin -> DisconnectedDisconnected")));
    EXPECT_FALSE(IsCounted("twin"));
    EXPECT_TRUE(IsCounted("before"));
    EXPECT_TRUE(IsCounted("after"));
}

TEST_F(ConnectState, DisconnectsTheSecondDeviceOfANameToo)
{
    // Known apart, two devices come to share a name: the one entry is copied for each that matches it.
    Connect({{"twin", DIALUP, "000000000001"}});
    m_manager.SetDevices({{"twin", DIALUP, "000000000001"}, {"twin", DIALUP, "000000000002"}});

    m_manager.Report({{"twin", "", 0}});

    EXPECT_FALSE(Tracker().HaveConnected());
}

TEST_F(ConnectState, ConnectsTheFirstDeviceOfTheNameOnly)
{
    AfterTheFirstEvent();
    m_manager.SetDevices({{"twin", DIALUP}, {"twin", WIFI}});

    m_manager.Report({{"twin", "Home", 1}});

    int type = -1;
    U16String device;
    EXPECT_TRUE(Tracker().IsSelected(U16("twin"), type, device));
    EXPECT_EQ(type, DIALUP);
    m_manager.SetDevices({{"other"}});
    m_manager.Report({{"other", "", 0}});
    EXPECT_FALSE(Tracker().HaveConnected());
}

TEST_F(ConnectState, ChangesNothingForADeviceThatIsNotListed)
{
    Connect({{"modem", DIALUP}});
    AfterTheFirstEvent();

    m_manager.Report({{"Modem", "Home", 1}, {"mode", "", 0}, {"modem 2", "", 0}});

    EXPECT_TRUE(IsCounted("modem"));
    EXPECT_THAT(Lines(), ElementsAre(Anomaly("Device Name 22: Modem -> not in available device list"),
                                     Anomaly("Device Name 22: mode -> not in available device list"),
                                     Anomaly("Device Name 22: modem 2 -> not in available device list")));
}

TEST_F(ConnectState, TracesEveryEntryWithoutADeviceName)
{
    AfterTheFirstEvent();

    m_manager.Report({{std::nullopt, "", 1}, {std::nullopt, "", 0}, {std::nullopt, "", 5}});

    EXPECT_THAT(Lines(), ElementsAre(Anomaly("pszDeviceName == 0"), Anomaly("pszDeviceName == 0"),
                                     Anomaly("pszDeviceName == 0")));
}

TEST_F(ConnectState, ForgetsADeviceThatIsNoLongerListed)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    m_manager.SetDevices({{"wlan", WIFI}});

    m_manager.Report({{"wlan", "Cafe", 1}});
    EXPECT_FALSE(IsCounted("modem"));

    m_manager.SetDevices({{"modem", DIALUP}, {"wlan", WIFI}});
    m_manager.Report({{"wlan", "Cafe", 1}});
    EXPECT_FALSE(IsCounted("modem")) << "its state went with it";
}

TEST_F(ConnectState, LosesEveryConnectionWhenNoDeviceIsReported)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    m_manager.SetNoEnumerator(true);

    m_manager.Report({{"modem", "Home", 1}});

    EXPECT_FALSE(Tracker().HaveConnected());
}

TEST_F(ConnectState, IsTakenOnTheOldListWhenTheRefreshThrows)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    m_manager.ThrowOn(HostCall::MoveNext);

    m_manager.Report({{"wlan", "", 0}});

    EXPECT_TRUE(IsCounted("modem"));
    EXPECT_FALSE(IsCounted("wlan"));
    EXPECT_EQ(FakePlatform::TraceCount("CDeviceMgr::GetAvailableDevices exception!"), 1);
}

TEST_F(ConnectState, LeavesTheTrackerUsableWhenTheStatusThrows)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    AfterTheFirstEvent();
    FakeConnectStatus status({{"modem", "", 0}, {"wlan", "Cafe", 1}});
    status.ThrowAtProfileOf(1);

    m_manager.Report(&status);

    EXPECT_THAT(Lines().back(), Anomaly("CDeviceMgr::OnConnectState() exception!"));
    EXPECT_FALSE(IsCounted("modem"));
    EXPECT_EQ(ProfileOf("wlan"), "of wlan");
    m_manager.Report({{"wlan", "", 0}});
    EXPECT_FALSE(Tracker().HaveConnected()) << "the list is not left locked";
}

TEST_F(ConnectState, NeverThrowsForLackOfMemory)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    const std::string modem = "a modem whose name does not fit into the string object itself";
    Connect({{modem, DIALUP, "0A1B2C3D4E5F"}, {"wlan", WIFI}});
    bool failed = true;
    for (std::size_t succeeding = 0; failed; ++succeeding) {
        SCOPED_TRACE(succeeding);
        ASSERT_LT(succeeding, 10'000U);
        FakeConnectStatus status({{modem, "another profile that needs memory of its own", 1},
                                  {"wlan", "Cafe", 0},
                                  {std::nullopt, "", 0},
                                  {"gone", "", 1}});
        {
            const FailingAllocation failing(succeeding);
            EXPECT_NO_THROW(Tracker().OnConnectState(&status));
            failed = failing.HasFailed();
        }
        EXPECT_EQ(m_manager.UnreleasedEnumerators(), 0);
        EXPECT_TRUE(IsCounted(modem)) << "it was connected all the time";
        m_manager.Report({{"wlan", "Cafe", 1}});
    }
}

TEST_F(ConnectState, ReadsNoEntryOfAStatusThatRanEmpty)
{
    /// Has an entry until it is rewound.
    class RunningEmpty final : public INetConnectStatus
    {
    public:
        bool MoveFirst() override { return ++m_rewound == 1; }
        bool MoveNext() override { return false; }
        const unsigned short* GetProfileName() override { return Entry(); }
        const unsigned short* GetDeviceName() override { return Entry(); }
        int GetState() override
        {
            Entry();
            return 0;
        }

    private:
        const unsigned short* Entry() const
        {
            EXPECT_EQ(m_rewound, 1) << "there is no entry";
            return nullptr;
        }

        int m_rewound = 0;
    };
    AfterTheFirstEvent();
    RunningEmpty status;

    m_manager.Report(&status);

    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(ConnectState, HasNoUseForMessages)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::ClearTraces();

    Tracker().OnConnectMessage(U16("disconnected").c_str());
    Tracker().OnConnectMessage(nullptr);

    EXPECT_TRUE(IsCounted("modem"));
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

class DeviceEvent : public DeviceFixture
{
protected:
    DeviceEvent()
    {
        Connect({{"modem", DIALUP}, {"stick", DIALUP}, {"wlan", WIFI}, {"dsl", ADSL}});
        FakePlatform::ClearTraces();
    }

    std::vector<std::string> Counted()
    {
        std::vector<std::string> names;
        for (const char* const name : {"modem", "stick", "wlan", "dsl"}) {
            EXPECT_EQ(IsCounted(name), !ProfileOf(name).empty()) << name;
            if (IsCounted(name)) names.emplace_back(name);
        }
        return names;
    }
};

TEST_F(DeviceEvent, RejectDisconnectsTheDialupDevicesOnly)
{
    EXPECT_THAT(m_deviceManager.Fire(6601, nullptr), ElementsAre(1));

    EXPECT_THAT(Counted(), ElementsAre("wlan", "dsl"));
    EXPECT_TRUE(Tracker().HaveConnected());
    EXPECT_THAT(Lines(), ElementsAre(Information(REJECT_TRACE)));
}

TEST_F(DeviceEvent, HibernationDisconnectsEveryDeviceAndWakingUpConnectsNone)
{
    int state = 0;
    EXPECT_THAT(m_deviceManager.Fire(6616, &state), ElementsAre(1));
    EXPECT_THAT(Counted(), ElementsAre());
    EXPECT_FALSE(Tracker().HaveConnected());

    state = 1;
    EXPECT_THAT(m_deviceManager.Fire(6616, &state), ElementsAre(1));
    EXPECT_FALSE(Tracker().HaveConnected());
    EXPECT_THAT(Lines(), ElementsAre(Information(POWER_TRACE), Information(HIBERNATION_TRACE),
                                     Information(POWER_TRACE), Information(WAKE_UP_TRACE)));

    m_manager.Report({{"modem", "Home", 1}});
    EXPECT_THAT(Counted(), ElementsAre("modem"));
}

TEST_F(DeviceEvent, PowerManagementWithoutAStateOrWithAnotherOneDoesNothing)
{
    EXPECT_THAT(m_deviceManager.Fire(6616, nullptr), ElementsAre(1));
    for (int state : {2, -1, 0x100}) {
        EXPECT_THAT(m_deviceManager.Fire(6616, &state), ElementsAre(1));
    }

    EXPECT_THAT(Counted(), ElementsAre("modem", "stick", "wlan", "dsl"));
    EXPECT_THAT(Lines(), Each(Information(POWER_TRACE)));
}

TEST_F(DeviceEvent, ReadsAStateWhereverItLies)
{
    alignas(int) unsigned char bytes[1 + sizeof(int)] = {0xFF};  // an odd address, state 0

    m_deviceManager.Fire(6616, bytes + 1);

    EXPECT_FALSE(Tracker().HaveConnected());
}

TEST_F(DeviceEvent, OfAnotherNumberDoesNothing)
{
    int state = 0;
    for (const unsigned long event : {0UL, 1UL, 6600UL, 6602UL, 6615UL, 6617UL, 6601UL + (1UL << 32)})
        EXPECT_THAT(m_deviceManager.Fire(event, &state), ElementsAre(1)) << event;

    EXPECT_THAT(Counted(), ElementsAre("modem", "stick", "wlan", "dsl"));
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(DeviceEvent, NeverThrowsForLackOfMemory)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    int state = 0;
    bool failed = true;
    for (std::size_t succeeding = 0; failed; ++succeeding) {
        ASSERT_LT(succeeding, 100U);
        const FailingAllocation failing(succeeding);
        EXPECT_EQ(Tracker().OnDeviceMgrEvent(6601, nullptr), 1);
        EXPECT_EQ(Tracker().OnDeviceMgrEvent(6616, &state), 1);
        failed = failing.HasFailed();
    }
}

}  // namespace
}  // namespace nettest
