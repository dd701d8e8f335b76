#include <gmock/gmock.h>

#include <ctime>
#include <ostream>

#include "tests/device/DeviceFixture.h"
#include "tests/support/FailingAllocation.h"

namespace nettest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* TABLE_MISSING = "CDeviceMgr::GetIpHelperSnapShot() -- GetIFTable() exception!";
constexpr const char* DIALUP_EXCEPTION = "CDeviceMgr::GetRasSnapShot() exception!";
constexpr const char* LIST_EXCEPTION = "CDeviceMgr::RasEnumConnections() exception!";

/// The four fields of a snapshot that the tracker fills from its sources.
struct Sample
{
    int type;
    std::string name;
    unsigned long long received;
    unsigned long long sent;

    bool operator==(const Sample&) const = default;
    friend std::ostream& operator<<(std::ostream& stream, const Sample& sample)
    {
        return stream << '{' << sample.type << ", " << sample.name << ", " << sample.received << ", "
                      << sample.sent << '}';
    }
};

std::vector<Sample> Samples(const std::vector<nis::SNAPSHOT>& snapshots)
{
    std::vector<Sample> samples;
    samples.reserve(snapshots.size());
    for (const nis::SNAPSHOT& snapshot : snapshots)
        samples.push_back({snapshot.nDevice, Narrow(snapshot.strName), snapshot.ullDL, snapshot.ullUL});
    return samples;
}

nis::SNAPSHOT Snapshot(int type, const std::string& name, unsigned long long received,
                       unsigned long long sent)
{
    nis::SNAPSHOT snapshot;
    snapshot.nDevice = type;
    snapshot.strName = U16(name);
    snapshot.ullDL = received;
    snapshot.ullUL = sent;
    return snapshot;
}

FakeRow Row(const std::string& description, unsigned int received, unsigned int sent,
            const std::string& mac = "")
{
    return {description, received, sent, mac};
}

FakeDialup Dialup(unsigned int handle, const std::string& name, unsigned long long received,
                  unsigned long long sent)
{
    FakeDialup dialup;
    dialup.handle = handle;
    dialup.name = name;
    dialup.received = received;
    dialup.sent = sent;
    return dialup;
}

class Snapshots : public DeviceFixture
{
protected:
    ~Snapshots() override { EXPECT_EQ(FakePlatform::Unreleased(), 0); }

    std::vector<Sample> Take()
    {
        std::vector<nis::SNAPSHOT> out;
        const bool found = Tracker().GetSnapShot(out);
        EXPECT_EQ(found, !out.empty());
        return Samples(out);
    }
    std::vector<Sample> TakeRows(bool vendorFallback)
    {
        std::vector<nis::SNAPSHOT> out;
        const bool found = Tracker().GetIpHelperSnapShot(out, vendorFallback);
        EXPECT_EQ(found, !out.empty());
        return Samples(out);
    }
    std::vector<Sample> TakeDialups()
    {
        std::vector<nis::SNAPSHOT> out;
        const bool found = Tracker().GetRASSnapShot(out);
        EXPECT_EQ(found, !out.empty());
        return Samples(out);
    }
};

// --- Merging

TEST_F(Snapshots, AddUpTheRowAndTheDialupConnectionOfOneModem)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::SetRows({Row("modem adapter", 1'000, 100)});
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3)});

    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "modem", 1'020, 103}));
}

TEST_F(Snapshots, KeepConnectionTypesApart)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}, {"dsl", ADSL}});
    FakePlatform::SetRows({Row("wlan", 1'000, 100), Row("modem", 2'000, 200)});
    FakePlatform::SetDialups({Dialup(1, "dsl", 3'000, 300)});

    EXPECT_THAT(Take(), ElementsAre(Sample{WIFI, "wlan", 1'000, 100}, Sample{DIALUP, "modem", 2'000, 200},
                                    Sample{ADSL, "dsl", 3'000, 300}));
}

TEST_F(Snapshots, AddUpTwoRowsOfOneDevice)
{
    Connect({{"wlan", WIFI}});
    FakePlatform::SetRows({Row("wlan", 1'000, 100), Row("wlan filter", 20, 3)});

    EXPECT_THAT(Take(), ElementsAre(Sample{WIFI, "wlan", 1'020, 103}));
}

TEST_F(Snapshots, AddUpTwoDevicesOfOneTypeUnderTheFirstName)
{
    Connect({{"modem", DIALUP}, {"stick", DIALUP}});
    FakePlatform::SetRows({Row("stick", 1'000, 100)});
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3), Dialup(2, "stick", 400, 50)});

    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "stick", 1'420, 153}));
}

TEST_F(Snapshots, AddUpWithoutLosingACarry)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::SetRows({Row("modem", 0xFFFFFFFF, 1)});
    FakePlatform::SetDialups({Dialup(1, "modem", 1, 0xFFFFFFFF)});

    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "modem", 0x1'0000'0000, 0x1'0000'0000}));
}

TEST_F(Snapshots, AddToEveryRecordOfTheTypeThatIsAlreadyThere)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    FakePlatform::SetRows({Row("modem", 10, 1), Row("wlan", 20, 2)});
    std::vector<nis::SNAPSHOT> out{Snapshot(DIALUP, "a", 100, 1'000), Snapshot(DIALUP, "b", 200, 2'000)};
    out[0].clkTime = 77;

    EXPECT_TRUE(Tracker().GetSnapShot(out));

    EXPECT_THAT(Samples(out), ElementsAre(Sample{DIALUP, "a", 110, 1'001}, Sample{DIALUP, "b", 210, 2'001},
                                          Sample{WIFI, "wlan", 20, 2}));
    EXPECT_EQ(out[0].clkTime, 77);
}

TEST_F(Snapshots, FillNothingButCountersAndTheProcessClock)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::SetRows({Row("modem", 1'000, 100)});
    std::vector<nis::SNAPSHOT> out;

    Tracker().GetSnapShot(out);

    ASSERT_EQ(out.size(), 1U);
    EXPECT_EQ(out[0].clkTime, static_cast<int>(clock()));
    EXPECT_EQ(out[0].ulDLSpeed, 0U);
    EXPECT_EQ(out[0].ulULSpeed, 0U);
    EXPECT_EQ(out[0].ulMaxDLSpeed, 0U);
    EXPECT_EQ(out[0].ulMaxULSpeed, 0U);
    EXPECT_EQ(out[0].ulConnectTime, 0U);
    EXPECT_EQ(out[0].ulReserved, 0U);
}

TEST_F(Snapshots, LeaveTheListAloneWhenNothingIsCounted)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::SetRows({Row("eth0", 1'000, 100)});
    FakePlatform::SetDialups({Dialup(1, "other", 20, 3)});
    std::vector<nis::SNAPSHOT> out{Snapshot(DIALUP, "a", 100, 1'000)};

    EXPECT_FALSE(Tracker().GetSnapShot(out));
    EXPECT_THAT(Samples(out), ElementsAre(Sample{DIALUP, "a", 100, 1'000}));
}

TEST_F(Snapshots, CountNothingThatIsNotConnected)
{
    Connect({{"modem", DIALUP}});
    Disconnect("modem");
    FakePlatform::SetRows({Row("modem", 1'000, 100)});
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3)});

    EXPECT_THAT(Take(), IsEmpty());
}

// --- The interface table

TEST_F(Snapshots, OfRowsAreNotMergedAndKeepTheOrderOfTheTable)
{
    Connect({{"wlan", WIFI}, {"modem", DIALUP}});
    FakePlatform::SetRows({Row("modem", 1, 2), Row("wlan", 3, 4), Row("eth0", 5, 6),
                           Row("wlan filter", 0xFFFFFFFF, 0xFFFFFFFF)});

    EXPECT_THAT(TakeRows(false), ElementsAre(Sample{DIALUP, "modem", 1, 2}, Sample{WIFI, "wlan", 3, 4},
                                             Sample{WIFI, "wlan", 0xFFFFFFFF, 0xFFFFFFFF}));
}

TEST_F(Snapshots, CountARowByItsHardwareAddress)
{
    Connect({{"wlan", WIFI, "0A1B2C3D4EFF"}});
    FakePlatform::SetRows(
        {Row("some adapter", 1'000, 100, "0A1B2C3D4EFF"), Row("another", 1, 1, "0A1B2C3D4EFE")});

    EXPECT_THAT(Take(), ElementsAre(Sample{WIFI, "wlan", 1'000, 100}));
}

TEST_F(Snapshots, PreferTheDescriptionToTheHardwareAddress)
{
    Connect({{"wlan", WIFI, "0A1B2C3D4E5F"}, {"modem", DIALUP}});
    FakePlatform::SetRows({Row("modem", 1'000, 100, "0A1B2C3D4E5F")});

    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "modem", 1'000, 100}));
}

TEST_F(Snapshots, NeverCountAPacketSchedulersRowByItsDescription)
{
    Connect({{"wlan", WIFI, "0A1B2C3D4E5F"}});
    FakePlatform::SetRows({Row("wlan", 1'000, 100), Row("wlan - QoS Packet Scheduler", 1'000, 100)});

    EXPECT_THAT(Take(), ElementsAre(Sample{WIFI, "wlan", 1'000, 100}));
}

TEST_F(Snapshots, CountAPacketSchedulersRowThatHasTheAddressOfASelectedDevice)
{
    Connect({{"modem", DIALUP}, {"wlan", WIFI, "0A1B2C3D4E5F"}});
    FakePlatform::SetRows({Row("modem - QoS Packet Scheduler", 1'000, 100, "0A1B2C3D4E5F")});

    EXPECT_THAT(Take(), ElementsAre(Sample{WIFI, "wlan", 1'000, 100}));
}

TEST_F(Snapshots, NeverCountConflictingSoftwareByName)
{
    WriteKeywords({"Tunnel"});
    Connect({{"modem", DIALUP}});
    FakePlatform::SetRows({Row("modem Tunnel", 1'000, 100)});
    FakePlatform::SetDialups({Dialup(1, "Tunnel modem", 20, 3)});

    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(Snapshots, ReadADescriptionThatFillsItsFieldAndNoFurther)
{
    const std::string filling = std::string(251, 'x') + "modem";
    Connect({{"modem", DIALUP}, {"modemA", WIFI}});
    Disconnect("modem");
    // The bytes behind the field are the address of the next row: 'A' and five more.
    FakePlatform::SetRows({Row(filling, 1'000, 100), Row("", 1, 1, "410000000000")});
    EXPECT_THAT(Take(), IsEmpty());

    Connect({{"modem", DIALUP}});
    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "modem", 1'000, 100}));
}

TEST_F(Snapshots, AreEmptyAndSilentWhenTheTableCannotBeRead)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::ClearTraces();
    FakePlatform::SetRows({Row("modem", 1'000, 100)});
    FakePlatform::FailIfTable(true);

    EXPECT_THAT(TakeRows(false), IsEmpty());
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(Snapshots, TraceATableThatIsMissingDespiteSuccess)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::ClearTraces();
    FakePlatform::NullIfTable(true);

    EXPECT_THAT(TakeRows(false), IsEmpty());
    ASSERT_EQ(FakePlatform::Traces().size(), 1U);
    EXPECT_EQ(FakePlatform::Traces()[0].level, 2);
    EXPECT_EQ(FakePlatform::Traces()[0].module, "NetInfoPlugin");
    EXPECT_EQ(FakePlatform::Traces()[0].text, TABLE_MISSING);
}

TEST_F(Snapshots, StillHoldTheDialupConnectionsWhenTheTableFails)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3)});

    FakePlatform::FailIfTable(true);
    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "modem", 20, 3}));
    FakePlatform::FailIfTable(false);
    FakePlatform::ThrowOnIfTable(true);
    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "modem", 20, 3}));
    EXPECT_EQ(FakePlatform::TraceCount("CDeviceMgr::GetIpHelperSnapShot() exception!"), 1);
}

TEST_F(Snapshots, AreEmptyForCountsBelowOne)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::SetOSType(1);
    FakePlatform::SetRows({Row("modem QUALCOMM", 1'000, 100)});
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3)});
    for (const int count : {0, -1, -2'147'483'647 - 1}) {
        FakePlatform::ClaimCount(count);
        EXPECT_THAT(Take(), IsEmpty()) << count;
    }
}

// --- The vendor fallback

TEST_F(Snapshots, CountRowsOfModemMakersWhereTheSystemAllowsIt)
{
    FakePlatform::SetRows(
        {Row("eth0", 1, 1), Row("A QUALCOMM device", 1'000, 100), Row("VELTRA stick", 20, 3)});
    FakePlatform::SetOSType(1);

    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "A QUALCOMM device", 1'020, 103}));
}

TEST_F(Snapshots, CountNoModemMakersOnOtherSystems)
{
    FakePlatform::SetRows({Row("A QUALCOMM device", 1'000, 100)});
    for (const int type : {0, 2, -1}) {
        FakePlatform::SetOSType(type);
        EXPECT_THAT(Take(), IsEmpty()) << type;
    }
    EXPECT_EQ(FakePlatform::IfTableReads(), 3) << "the table is not even read again";
}

TEST_F(Snapshots, CountModemMakersByExactCaseOnly)
{
    FakePlatform::SetRows({Row("Qualcomm", 1, 1), Row("veltra", 1, 1)});

    EXPECT_THAT(TakeRows(true), IsEmpty());
}

TEST_F(Snapshots, LeaveModemMakersAloneWhenAnythingElseWasFound)
{
    FakePlatform::SetOSType(1);
    Connect({{"modem", DIALUP}, {"wlan", WIFI}});
    FakePlatform::SetRows({Row("QUALCOMM", 1'000, 100), Row("wlan", 5, 6)});
    EXPECT_THAT(Take(), ElementsAre(Sample{WIFI, "wlan", 5, 6}));
    EXPECT_THAT(TakeRows(true), ElementsAre(Sample{WIFI, "wlan", 5, 6}));

    FakePlatform::SetRows({Row("QUALCOMM", 1'000, 100)});
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3)});
    EXPECT_THAT(Take(), ElementsAre(Sample{DIALUP, "modem", 20, 3}));
}

TEST_F(Snapshots, OfModemMakersKnowTheirOwnFindsFromWhatWasThereBefore)
{
    FakePlatform::SetRows({Row("QUALCOMM", 1'000, 100)});
    std::vector<nis::SNAPSHOT> out{Snapshot(WIFI, "earlier", 1, 1)};

    EXPECT_FALSE(Tracker().GetIpHelperSnapShot(out, false));
    EXPECT_TRUE(Tracker().GetIpHelperSnapShot(out, true));
    EXPECT_THAT(Samples(out),
                ElementsAre(Sample{WIFI, "earlier", 1, 1}, Sample{DIALUP, "QUALCOMM", 1'000, 100}));
}

TEST_F(Snapshots, OfModemMakersLeaveConflictingSoftwareOut)
{
    WriteKeywords({"Tunnel"});
    FakePlatform::SetRows({Row("QUALCOMM Tunnel", 1'000, 100), Row("QUALCOMM", 20, 3)});

    EXPECT_THAT(TakeRows(true), ElementsAre(Sample{DIALUP, "QUALCOMM", 20, 3}));
}

// --- Dial-up connections

TEST_F(Snapshots, OfDialupConnectionsAreNotMergedAndFullyWide)
{
    Connect({{"modem", DIALUP}, {"dsl", ADSL}});
    FakePlatform::SetDialups({Dialup(7, "my dsl", 0xFFFF'FFFF'FFFF'FFFF, 0x1'0000'0001),
                              Dialup(8, "other", 1, 1), Dialup(9, "modem", 5, 6), Dialup(10, "modem", 7, 8)});

    EXPECT_THAT(TakeDialups(), ElementsAre(Sample{ADSL, "dsl", 0xFFFF'FFFF'FFFF'FFFF, 0x1'0000'0001},
                                           Sample{DIALUP, "modem", 5, 6}, Sample{DIALUP, "modem", 7, 8}));
}

TEST_F(Snapshots, SkipConnectionsThatCannotBeReadAndCountTheOthers)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::ClearTraces();
    FakeDialup noState = Dialup(1, "modem", 1, 1);
    noState.stateFails = true;
    FakeDialup noStatistics = Dialup(2, "modem", 10, 10);
    noStatistics.statisticsFail = true;
    FakePlatform::SetDialups({noState, noStatistics, Dialup(3, "modem", 20, 3)});

    EXPECT_THAT(TakeDialups(), ElementsAre(Sample{DIALUP, "modem", 20, 3}));
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(Snapshots, KeepWhatWasReadBeforeTheDialupLayerThrew)
{
    Connect({{"modem", DIALUP}});
    FakeDialup throwing = Dialup(2, "modem", 10, 10);
    throwing.statisticsThrow = true;
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3), throwing, Dialup(3, "modem", 400, 50)});

    EXPECT_THAT(TakeDialups(), ElementsAre(Sample{DIALUP, "modem", 20, 3}));
    EXPECT_EQ(FakePlatform::TraceCount(DIALUP_EXCEPTION), 1);
    EXPECT_EQ(FakePlatform::Traces().back().level, 2);
    EXPECT_EQ(FakePlatform::Unreleased(), 0);
}

TEST_F(Snapshots, ReleaseTheListWhenReadingAStateThrows)
{
    Connect({{"modem", DIALUP}});
    FakeDialup throwing = Dialup(2, "modem", 10, 10);
    throwing.stateThrows = true;
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3), throwing});

    EXPECT_THAT(TakeDialups(), ElementsAre(Sample{DIALUP, "modem", 20, 3}));
    EXPECT_EQ(FakePlatform::TraceCount(LIST_EXCEPTION), 1);
    EXPECT_EQ(FakePlatform::Traces().back().level, 2);
    EXPECT_EQ(FakePlatform::Unreleased(), 0);
}

TEST_F(Snapshots, AreEmptyWhenListingTheConnectionsThrows)
{
    Connect({{"modem", DIALUP}});
    FakePlatform::SetDialups({Dialup(1, "modem", 20, 3)});
    FakePlatform::ThrowOnEnumConnections(true);

    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ(FakePlatform::TraceCount(LIST_EXCEPTION), 1);
}

TEST_F(Snapshots, ReadAConnectionNameThatFillsItsFieldAndNoFurther)
{
    const std::string filling = std::string(127, 'x') + "modem";  // 132 units, no room for the terminator
    FakePlatform::SetDialups({Dialup(1, filling, 20, 3)});
    Connect({{"mode", DIALUP}});

    EXPECT_THAT(TakeDialups(), ElementsAre(Sample{DIALUP, "mode", 20, 3}));
    Connect({{"modem", DIALUP}});
    EXPECT_THAT(TakeDialups(), IsEmpty()) << "the last unit gives way to the terminator";
}

// --- docs/device-selection.md

TEST_F(Snapshots, CountTheWorkedExampleOfTheGuide)
{
    WriteKeywords({"tun", "Shield Miniport"});
    Tracker();
    m_manager.SetDevices({{"/wwan0/1/", DIALUP}, {"/wlan0/1/", WIFI, "9C2A70114E08"}, {"/eth1/1/", ADSL}});
    m_manager.Report({{"/wwan0/1/", "Provider", 1}, {"/wlan0/1/", "Cafe", 1}});
    FakePlatform::SetRows({Row("/wlan0/1/", 1'000, 100, "9C2A70114E08"),
                           Row("/wlan0/1/ - QoS Packet Scheduler", 1'000, 100),
                           Row("Wireless adapter", 20, 3, "9C2A70114E08"),
                           Row("/wlan0/1/ over tun0", 700, 70), Row("/eth1/1/", 600, 60)});
    FakePlatform::SetDialups(
        {Dialup(1, "/wwan0/1/", 5'000'000'000, 40'000), Dialup(2, "/wwan0/10/", 500, 50)});

    const Sample dialup{DIALUP, "/wwan0/1/", 5'000'000'000, 40'000};
    EXPECT_THAT(Take(), ElementsAre(Sample{WIFI, "/wlan0/1/", 1'020, 103}, dialup));

    Disconnect("/wlan0/1/");
    EXPECT_THAT(Take(), ElementsAre(dialup));

    m_deviceManager.Fire(EVENT_DEVICE_REJECT, nullptr);
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_FALSE(Tracker().HaveConnected());
}

class ConnectionList : public DeviceFixture
{
protected:
    /// Lists and releases.
    void List(std::vector<CDeviceMgr::MYCONN>& conns)
    {
        unsigned int stray = 0;
        auto* list = reinterpret_cast<_OS_DIALUP_CONNECTIONSLIST*>(&stray);
        Tracker().MyEnumConnections(conns, &list);
        m_listed = list != nullptr;
        unsigned int aux = 0;
        OS_DIALUP_ReleaseConnections(list, &aux);
    }

    bool m_listed = false;
};

TEST_F(ConnectionList, StaysAsItWasWhereThereIsNone)
{
    std::vector<CDeviceMgr::MYCONN> conns(3);

    List(conns);

    EXPECT_EQ(conns.size(), 3U);
    EXPECT_FALSE(m_listed);
}

TEST_F(ConnectionList, IsNoneWhenListingThrows)
{
    FakePlatform::SetDialups({Dialup(9, "a", 0, 0)});
    FakePlatform::ThrowOnEnumConnections(true);
    std::vector<CDeviceMgr::MYCONN> conns(3);

    List(conns);

    EXPECT_EQ(conns.size(), 3U);
    EXPECT_FALSE(m_listed);
}

TEST_F(ConnectionList, HoldsTheReadableConnectionsInOrder)
{
    FakeDialup unreadable = Dialup(2, "b", 0, 0);
    unreadable.stateFails = true;
    FakePlatform::SetDialups({Dialup(9, "a", 0, 0), unreadable, Dialup(3, "c", 0, 0)});
    std::vector<CDeviceMgr::MYCONN> conns(3);

    List(conns);

    EXPECT_TRUE(m_listed);
    ASSERT_EQ(conns.size(), 2U);
    EXPECT_EQ(conns[0].hConnection, 9U);
    EXPECT_EQ(Narrow(conns[0].szEntryName), "a");
    EXPECT_EQ(conns[1].hConnection, 3U);
    EXPECT_EQ(Narrow(conns[1].szEntryName), "c");
}

TEST_F(ConnectionList, IsNothingWithoutAPlaceForTheList)
{
    FakePlatform::SetDialups({Dialup(9, "a", 0, 0)});
    std::vector<CDeviceMgr::MYCONN> conns;

    Tracker().MyEnumConnections(conns, nullptr);

    EXPECT_TRUE(conns.empty());
    EXPECT_EQ(FakePlatform::Unreleased(), 0);
}

// --- Memory

TEST_F(Snapshots, NeitherThrowNorLeakNorTearTheListForLackOfMemory)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    const std::string modem = "a modem whose name does not fit into the string object itself";
    WriteKeywords({"Tunnel"});
    Connect({{modem, DIALUP}, {"wlan", WIFI, "0A1B2C3D4E5F"}});
    FakePlatform::SetRows({Row(modem, 1, 2), Row("any", 3, 4, "0A1B2C3D4E5F")});
    FakePlatform::SetDialups({Dialup(1, modem, 5, 6)});

    bool failed = true;
    for (std::size_t succeeding = 0; failed; ++succeeding) {
        SCOPED_TRACE(succeeding);
        ASSERT_LT(succeeding, 10'000U);
        std::vector<nis::SNAPSHOT> out{Snapshot(ADSL, "earlier", 7, 8)};
        bool found = true;
        {
            const FailingAllocation failing(succeeding);
            EXPECT_NO_THROW(found = Tracker().GetSnapShot(out));
            failed = failing.HasFailed();
        }
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(Samples(out)[0], (Sample{ADSL, "earlier", 7, 8}));
        EXPECT_EQ(found, out.size() > 1);
        EXPECT_EQ(FakePlatform::Unreleased(), 0);
        if (!failed) {
            EXPECT_EQ(out.size(), 3U);
        }
    }
}

}  // namespace
}  // namespace nettest
