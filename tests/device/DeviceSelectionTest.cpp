#include <gmock/gmock.h>

#include <list>
#include <ostream>

#include "tests/device/DeviceFixture.h"
#include "tests/support/FailingAllocation.h"

namespace nettest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using DEVICE_INFO = CDeviceMgr::DEVICE_INFO;
using DeviceList = std::list<DEVICE_INFO>;

constexpr const char* REFRESH_EXCEPTION = "CDeviceMgr::GetAvailableDevices exception!";

/// A connected device as an earlier refresh left it.
DEVICE_INFO Known(const std::string& name, const std::string& mac = "", int type = DIALUP,
                  const std::string& profile = "profile")
{
    return {U16(name), U16(profile), U16(mac), type, 1, 1};
}

std::vector<std::string> Names(const DeviceList& devices)
{
    std::vector<std::string> names;
    for (const DEVICE_INFO& device : devices)
        names.push_back(Narrow(device.strDeviceName));
    return names;
}

class DeviceListRefresh : public DeviceFixture
{
protected:
    DeviceList Refreshed(DeviceList devices)
    {
        Tracker().GetAvailableDevices(devices);
        return devices;
    }
};

TEST_F(DeviceListRefresh, ChangesNothingWithoutAContainer)
{
    Tracker();
    m_manager.SetDevices({{"modem"}});
    m_installed.reset();

    EXPECT_THAT(Names(Refreshed({Known("old")})), ElementsAre("old"));
}

TEST_F(DeviceListRefresh, ChangesNothingWithoutAConnectionManager)
{
    Tracker();
    m_container.SetConnectionManager(nullptr);

    EXPECT_THAT(Names(Refreshed({Known("old")})), ElementsAre("old"));
}

TEST_F(DeviceListRefresh, AsksForTheConnectionManagerWithItsFlags)
{
    Tracker();

    Refreshed({});

    EXPECT_EQ(m_container.Queries().back(),
              (FakeContainer::Query{"9D1E4B27-2C8F-4a61-B3D7-05E8F6A9C142", 0x4001}));
}

TEST_F(DeviceListRefresh, EmptiesTheListWithoutAnEnumerator)
{
    m_manager.SetDevices({{"modem"}});
    m_manager.SetNoEnumerator(true);

    EXPECT_THAT(Refreshed({Known("modem")}), IsEmpty());
}

TEST_F(DeviceListRefresh, EmptiesTheListWhenNoDeviceIsReported)
{
    EXPECT_THAT(Refreshed({Known("modem")}), IsEmpty());
    EXPECT_EQ(m_manager.Enumerations(), 1);
    EXPECT_EQ(m_manager.UnreleasedEnumerators(), 0);
}

TEST_F(DeviceListRefresh, TakesANewDeviceUnconnected)
{
    m_manager.SetDevices({{"wlan", WIFI, "0A1B2C3D4E5F"}});

    const DeviceList devices = Refreshed({});

    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(Narrow(devices.front().strDeviceName), "wlan");
    EXPECT_EQ(Narrow(devices.front().strMAC), "0A1B2C3D4E5F");
    EXPECT_EQ(devices.front().nConnectionType, WIFI);
    EXPECT_TRUE(devices.front().strProfileName.empty());
    EXPECT_EQ(devices.front().bConnected, 0);
    EXPECT_EQ(devices.front().bSelected, 0);
    EXPECT_EQ(m_manager.UnreleasedEnumerators(), 0);
}

TEST_F(DeviceListRefresh, LeavesTheAddressEmptyWhenNoneIsReported)
{
    m_manager.SetDevices({{"modem"}});

    const DeviceList devices = Refreshed({});

    ASSERT_EQ(devices.size(), 1U);
    EXPECT_TRUE(devices.front().strMAC.empty());
}

TEST_F(DeviceListRefresh, SkipsADeviceWithoutAName)
{
    m_manager.SetDevices({{"first"}, {std::nullopt, WIFI, "0A1B2C3D4E5F"}, {"last"}});

    EXPECT_THAT(Names(Refreshed({Known("old", "0A1B2C3D4E5F")})), ElementsAre("first", "last"));
}

TEST_F(DeviceListRefresh, FollowsTheOrderOfTheConnectionManagerAndDropsWhatItNoLongerReports)
{
    m_manager.SetDevices({{"c"}, {"new"}, {"a"}});

    EXPECT_THAT(Names(Refreshed({Known("a"), Known("b"), Known("c")})), ElementsAre("c", "new", "a"));
}

TEST_F(DeviceListRefresh, KeepsTheWholeEntryOfADeviceOfTheSameName)
{
    m_manager.SetDevices({{"modem", WIFI, "FFFFFFFFFFFF"}});

    const DeviceList devices = Refreshed({Known("modem", "0A1B2C3D4E5F", DIALUP, "Home")});

    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(Narrow(devices.front().strProfileName), "Home");
    EXPECT_EQ(Narrow(devices.front().strMAC), "0A1B2C3D4E5F");
    EXPECT_EQ(devices.front().nConnectionType, DIALUP);
    EXPECT_EQ(devices.front().bConnected, 1);
    EXPECT_EQ(devices.front().bSelected, 1);
}

TEST_F(DeviceListRefresh, KeepsTheWholeEntryOfARenamedDeviceByItsAddress)
{
    m_manager.SetDevices({{"new name", WIFI, "0A1B2C3D4E5F"}});

    const DeviceList devices = Refreshed({Known("old name", "0A1B2C3D4E5F", DIALUP, "Home")});

    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(Narrow(devices.front().strDeviceName), "old name");
    EXPECT_EQ(Narrow(devices.front().strProfileName), "Home");
    EXPECT_EQ(devices.front().nConnectionType, DIALUP);
    EXPECT_EQ(devices.front().bConnected, 1);
    EXPECT_EQ(devices.front().bSelected, 1);
}

TEST_F(DeviceListRefresh, MatchesNamesAndAddressesExactly)
{
    m_manager.SetDevices({{"modem 1", DIALUP, "0A1B2C3D4E5"}, {"Modem", DIALUP, "0a1b2c3d4e5f"}, {"mode"}});

    const DeviceList devices = Refreshed({Known("modem", "0A1B2C3D4E5F")});

    EXPECT_THAT(Names(devices), ElementsAre("modem 1", "Modem", "mode"));
    for (const DEVICE_INFO& device : devices)
        EXPECT_EQ(device.bConnected, 0) << Narrow(device.strDeviceName);
}

TEST_F(DeviceListRefresh, MatchesADeviceWithAnEmptyAddressByNameOnly)
{
    m_manager.SetDevices({{"empty", DIALUP, ""}, {"none"}});

    const DeviceList devices = Refreshed({Known("old", "")});

    EXPECT_THAT(Names(devices), ElementsAre("empty", "none"));
    for (const DEVICE_INFO& device : devices)
        EXPECT_EQ(device.bConnected, 0);
}

TEST_F(DeviceListRefresh, TakesTheFirstOldEntryThatMatchesByNameOrByAddress)
{
    m_manager.SetDevices({{"modem", DIALUP, "0A1B2C3D4E5F"}});

    const DeviceList devices = Refreshed(
        {Known("other", "0A1B2C3D4E5F", DIALUP, "by address"), Known("modem", "", DIALUP, "by name")});

    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(Narrow(devices.front().strProfileName), "by address");
}

TEST_F(DeviceListRefresh, CopiesAnEntryForEachDeviceThatMatchesIt)
{
    m_manager.SetDevices({{"modem", DIALUP, ""}, {"twin", DIALUP, "0A1B2C3D4E5F"}});

    const DeviceList devices = Refreshed({Known("modem", "0A1B2C3D4E5F", DIALUP, "Home")});

    EXPECT_THAT(Names(devices), ElementsAre("modem", "modem"));
    for (const DEVICE_INFO& device : devices)
        EXPECT_EQ(Narrow(device.strProfileName), "Home");
}

TEST_F(DeviceListRefresh, KeepsTheListAndReleasesTheEnumeratorWhateverCallThrows)
{
    Tracker();
    m_manager.SetDevices({{"known"}, {"new"}});
    for (const HostCall call : {HostCall::GetDeviceEnumerator, HostCall::MoveFirst, HostCall::GetDeviceName,
                                HostCall::GetMAC, HostCall::GetConnectionType, HostCall::MoveNext}) {
        SCOPED_TRACE(static_cast<int>(call));
        FakePlatform::ClearTraces();
        m_manager.ThrowOn(call);

        EXPECT_THAT(Names(Refreshed({Known("known"), Known("gone")})), ElementsAre("known", "gone"));
        EXPECT_EQ(FakePlatform::TraceCount(REFRESH_EXCEPTION), 1);
        EXPECT_EQ(m_manager.UnreleasedEnumerators(), 0);
        m_manager.ThrowOn(call, false);
    }
}

TEST_F(DeviceListRefresh, IsDoneEvenIfReleasingTheEnumeratorThrows)
{
    m_manager.SetDevices({{"new"}});
    m_manager.ThrowOn(HostCall::Release);

    EXPECT_THAT(Names(Refreshed({Known("old")})), ElementsAre("new"));
    EXPECT_EQ(FakePlatform::TraceCount(REFRESH_EXCEPTION), 1);
    EXPECT_EQ(FakePlatform::Traces().back().level, 2);
}

TEST_F(DeviceListRefresh, KeepsTheListWhenTheContainerThrows)
{
    Tracker();
    m_manager.SetDevices({{"new"}});
    m_container.ThrowOnQuery(CONNECTION_MANAGER_CLSID);

    EXPECT_THAT(Names(Refreshed({Known("old")})), ElementsAre("old"));
    EXPECT_EQ(FakePlatform::TraceCount(REFRESH_EXCEPTION), 1);
}

/// What a matcher answered, with its outputs; they stand at "untouched" before.
struct Answer
{
    bool selected = false;
    int type = -7;
    std::string device = "untouched";

    bool operator==(const Answer&) const = default;
    friend std::ostream& operator<<(std::ostream& stream, const Answer& answer)
    {
        return stream << answer.selected << ' ' << answer.type << ' ' << answer.device;
    }
};

class Selection : public DeviceFixture
{
protected:
    template <typename Name>
    Answer Ask(const Name& name)
    {
        Answer answer;
        U16String device = U16(answer.device);
        answer.selected = Tracker().IsSelected(name, answer.type, device);
        answer.device = Narrow(device);
        return answer;
    }
    Answer AskWide(const std::string& name) { return Ask(U16(name)); }
    Answer AskNarrow(const char* name) { return Ask(name); }

    Answer AskMac(const unsigned short* mac)
    {
        Answer answer;
        U16String device = U16(answer.device);
        answer.selected = Tracker().IsMacSelected(mac, answer.type, device);
        answer.device = Narrow(device);
        return answer;
    }
    Answer AskMac(const std::string& mac) { return AskMac(U16(mac).c_str()); }
};

TEST_F(Selection, FindsTheDeviceWhoseNameOccursAnywhereInTheText)
{
    Connect({{"HSPA Modem", DIALUP}, {"wlan", WIFI}});

    const Answer modem{true, DIALUP, "HSPA Modem"};
    EXPECT_EQ(AskWide("HSPA Modem"), modem);
    EXPECT_EQ(AskWide("HSPA Modem #2"), modem);
    EXPECT_EQ(AskWide("My HSPA Modem"), modem);
    EXPECT_EQ(AskWide("the wlan adapter"), (Answer{true, WIFI, "wlan"}));
}

TEST_F(Selection, LeavesTheOutputsUntouchedWhenNoDeviceIsDesignated)
{
    Connect({{"HSPA Modem", DIALUP}});

    EXPECT_EQ(AskWide("hspa modem"), Answer()) << "case matters";
    EXPECT_EQ(AskWide("HSPA"), Answer()) << "the device's name has to occur whole";
    EXPECT_EQ(AskWide(""), Answer());
    EXPECT_EQ(AskWide("something else"), Answer());
}

TEST_F(Selection, NeverTakesADeviceThatIsNotConnected)
{
    Connect({{"modem", DIALUP, "0A1B2C3D4E5F"}});
    ASSERT_TRUE(AskWide("modem").selected);
    ASSERT_TRUE(AskMac("0A1B2C3D4E5F").selected);
    Disconnect("modem");

    EXPECT_EQ(AskWide("modem"), Answer());
    EXPECT_EQ(AskMac("0A1B2C3D4E5F"), Answer());
}

TEST_F(Selection, TakesTheFirstSelectedDeviceOfTheList)
{
    Connect({{"mod", DIALUP}, {"modem", WIFI}, {"modem x", ADSL}});
    EXPECT_EQ(AskWide("modem x"), (Answer{true, DIALUP, "mod"}));

    Disconnect("mod");

    EXPECT_EQ(AskWide("modem x"), (Answer{true, WIFI, "modem"}));
}

TEST_F(Selection, RefusesAPacketSchedulersNameButTellsTheDevice)
{
    Connect({{"modem", WIFI, "0A1B2C3D4E5F"}});

    EXPECT_EQ(AskWide("modem - QoS Packet Scheduler"), (Answer{false, WIFI, "modem"}));
    EXPECT_EQ(AskWide("modem - qos packet scheduler"), (Answer{true, WIFI, "modem"}));
    EXPECT_EQ(AskWide("other - QoS Packet Scheduler"), Answer());
}

TEST_F(Selection, RefusesEveryNameThatHoldsAConflictingKeyword)
{
    WriteKeywords({"Tunnel"});
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});

    EXPECT_EQ(AskWide("modem Tunnel"), Answer());
    EXPECT_EQ(AskWide("Tunnelled wlan"), Answer());
    EXPECT_TRUE(AskWide("modem tunnel").selected);
}

TEST_F(Selection, DecodesANarrowName)
{
    Connect({{"modem", DIALUP}, {"Mod\xE8le", ADSL}});  // a unit for each byte

    EXPECT_EQ(AskNarrow("the modem"), (Answer{true, DIALUP, "modem"}));
    EXPECT_EQ(AskNarrow("Mod\xC3\xA8le"), (Answer{true, ADSL, "Mod?le"})) << "two bytes of UTF-8 in";
}

TEST_F(Selection, TakesADeviceWithAnEmptyNameForEveryText)
{
    Connect({{"", WIFI}});

    EXPECT_EQ(AskWide("anything"), (Answer{true, WIFI, ""}));
    EXPECT_EQ(AskNarrow(""), (Answer{true, WIFI, ""}));
}

TEST_F(Selection, IsNothingForANullText)
{
    Connect({{"", DIALUP}});

    EXPECT_EQ(AskNarrow(nullptr), Answer());
    EXPECT_EQ(AskMac(nullptr), Answer());
}

TEST_F(Selection, FindsTheDeviceOfExactlyThatAddress)
{
    Connect({{"modem", DIALUP, "000000000001"}, {"wlan", WIFI, "0A1B2C3D4E5F"}});

    EXPECT_EQ(AskMac("0A1B2C3D4E5F"), (Answer{true, WIFI, "wlan"}));
    EXPECT_EQ(AskMac("0a1b2c3d4e5f"), Answer());
    EXPECT_EQ(AskMac("0A1B2C3D4E5"), Answer());
    EXPECT_EQ(AskMac("0A1B2C3D4E5F0"), Answer());
}

TEST_F(Selection, TakesTheFirstSelectedDeviceOfAnAddress)
{
    Tracker();
    m_manager.SetDevices(
        {{"off", ADSL, "0A1B2C3D4E5F"}, {"on", DIALUP, "0A1B2C3D4E5F"}, {"too", WIFI, "0A1B2C3D4E5F"}});
    m_manager.Report({{"on", "", 1}, {"too", "", 1}});

    EXPECT_EQ(AskMac("0A1B2C3D4E5F"), (Answer{true, DIALUP, "on"}));
}

TEST_F(Selection, ByAddressDoesNotAskForConflictingSoftware)
{
    WriteKeywords({""});
    Connect({{"wlan", WIFI, "0A1B2C3D4E5F"}});

    EXPECT_EQ(AskWide("wlan"), Answer());
    EXPECT_EQ(AskMac("0A1B2C3D4E5F"), (Answer{true, WIFI, "wlan"}));
}

class ConnectionQuery : public DeviceFixture
{};

TEST_F(ConnectionQuery, FindsNothingConnectedInAnEmptyList) { EXPECT_FALSE(Tracker().HaveConnected()); }

TEST_F(ConnectionQuery, FindsAnyConnectedDevice)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    EXPECT_TRUE(Tracker().HaveConnected());

    Disconnect("modem");
    EXPECT_TRUE(Tracker().HaveConnected());

    Disconnect("wlan");
    EXPECT_FALSE(Tracker().HaveConnected());
}

TEST_F(ConnectionQuery, GivesTheProfileOfTheFirstSelectedDeviceForAnEmptyName)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    EXPECT_EQ(ProfileOf(""), "of modem");

    Disconnect("modem");
    EXPECT_EQ(ProfileOf(""), "of wlan");

    Disconnect("wlan");
    EXPECT_EQ(ProfileOf(""), "");
}

TEST_F(ConnectionQuery, GivesTheProfileOfTheFirstDeviceThatTheNameDesignates)
{
    Connect({{"modem", DIALUP}, {"modem 2", DIALUP}, {"wlan", WIFI}});

    EXPECT_EQ(ProfileOf("wlan adapter"), "of wlan");
    EXPECT_EQ(ProfileOf("modem 2"), "of modem");
    EXPECT_EQ(ProfileOf("Modem 2"), "");
    EXPECT_EQ(ProfileOf("mod"), "");
}

TEST_F(ConnectionQuery, LetsADisconnectedDeviceAnswerForItsNameWithNoProfile)
{
    Connect({{"modem", DIALUP}, {"modem 2", DIALUP}});

    Disconnect("modem");

    EXPECT_EQ(ProfileOf("modem 2"), "") << "the first device that occurs answers, whatever its state";
}

TEST_F(ConnectionQuery, GivesNoProfileForLackOfMemory)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    Connect({{"modem", DIALUP}});
    m_manager.Report({{"modem", "a profile whose name does not fit into the string object itself", 1}});
    U16String profile = U16("untouched");
    {
        const FailingAllocation failing(0);
        EXPECT_NO_THROW(profile = Tracker().GetProfileName(U16String()));
        EXPECT_TRUE(failing.HasFailed());
    }

    EXPECT_TRUE(profile.empty());
    EXPECT_EQ(FakePlatform::TraceCount("CDeviceMgr::GetProfileName() exception!"), 1);
}

}  // namespace
}  // namespace nettest
