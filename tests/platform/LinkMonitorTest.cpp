#include "platform/dialup/LinkMonitor.h"

#include <cerrno>

#include <gmock/gmock.h>

#include "tests/platform/Machine.h"

namespace {

using namespace netinfo;
using namespace std::chrono_literals;
using nettest::Machine;
using testing::ElementsAre;
using testing::IsEmpty;

class LinkMonitorTest : public testing::Test
{
protected:
    /// The rows, as "/eth0/1/ received sent"; or the error.
    std::vector<std::string> Rows()
    {
        PresentedLinks rows;
        const int error = m_monitor.ReadRows(rows);
        return Described(error, rows);
    }
    std::vector<std::string> Connections()
    {
        PresentedLinks connections;
        const int error = m_monitor.ReadConnections(connections);
        return Described(error, connections);
    }
    std::string Statistics(unsigned int handle)
    {
        const PresentedLink* connection = nullptr;
        const int error = m_monitor.ReadStatistics(handle, connection);
        return Described(error, {&connection, 1}).front();
    }
    std::string Name(unsigned int handle)
    {
        const PresentedLink* connection = nullptr;
        const int error = m_monitor.ReadName(handle, connection);
        return error != 0 ? "error " + std::to_string(error) : connection->deviceName;
    }
    std::vector<std::string> CountedNames()
    {
        std::vector<std::string> names;
        const auto counted = m_monitor.ReadCountedLinks();
        for (const CountedLink& link : counted.value()) {
            names.push_back(link.deviceName);
        }
        return names;
    }

    Machine m_machine;
    LinkMonitor m_monitor{m_machine};

private:
    static std::vector<std::string> Described(int error, PresentedLinks links)
    {
        if (error != 0) return {"error " + std::to_string(error)};
        std::vector<std::string> described;
        described.reserve(links.size());
        for (const PresentedLink* const link : links) {
            described.push_back(link->deviceName + " " + std::to_string(link->counters.received) + " " +
                                std::to_string(link->counters.sent));
        }
        return described;
    }
};

TEST_F(LinkMonitorTest, PutsEachLinkAmongRowsOrConnectionsNeverBoth)
{
    m_machine.Loopback();
    m_machine.Hardware("eth0");
    m_machine.Ppp("ppp0");
    m_machine.Wireless("wlan0");
    m_machine.Modem("wwan0");

    EXPECT_THAT(Rows(), ElementsAre("/eth0/1/ 1 1", "/wlan0/3/ 1 1"));
    EXPECT_THAT(Connections(), ElementsAre("/ppp0/2/ 1 1", "/wwan0/4/ 1 1"));
    EXPECT_EQ("/ppp0/2/", Name(2));
    EXPECT_EQ("/wwan0/4/ 1 1", Statistics(4));
    EXPECT_EQ("error " + std::to_string(ENODEV), Statistics(1));  // a row
    EXPECT_EQ("error " + std::to_string(ENODEV), Name(7));
}

TEST_F(LinkMonitorTest, ShowsOnlyLinksThatAreUpAndCounted)
{
    m_machine.Hardware("eth0");
    m_machine.Hardware("eth1");
    m_machine.Virtual("bridge", "br0");
    m_machine.SetUp("eth1", false);

    EXPECT_THAT(Rows(), ElementsAre("/eth0/1/ 1 1"));
    EXPECT_THAT(Connections(), IsEmpty());
}

TEST_F(LinkMonitorTest, GivesARowItsLinksAddress)
{
    m_machine.Hardware("eth0").address = {2, 0, 0, 0, 0, 7};

    PresentedLinks rows;
    ASSERT_EQ(0, m_monitor.ReadRows(rows));

    EXPECT_EQ((HardwareAddress{2, 0, 0, 0, 0, 7}), rows[0]->link.address);
}

TEST_F(LinkMonitorTest, ServesAHeartbeatFromOneLook)
{
    m_machine.Hardware("eth0");
    m_machine.Ppp("ppp0");
    Rows();
    m_machine.Transfer("ppp0", 100, 10);
    m_machine.Wait(150ms);

    Connections();
    Name(2);
    EXPECT_EQ("/ppp0/2/ 1 1", Statistics(2));
    EXPECT_EQ(1, m_machine.linkReads);
}

TEST_F(LinkMonitorTest, ServesAHeartbeatFromOneLookEvenIfItIsHeldUp)
{
    m_machine.Ppp("ppp0");
    Rows();
    for (int pause = 0; pause < 3; ++pause) {
        m_machine.Transfer("ppp0", 100, 10);
        m_machine.Wait(300ms);
        if (pause == 0) Connections();
        if (pause == 1) Name(1);
    }
    EXPECT_EQ("/ppp0/1/ 1 1", Statistics(1));

    EXPECT_EQ(1, m_machine.linkReads);
}

TEST_F(LinkMonitorTest, ServesAHeartbeatFromOneLookHoweverLongThatTook)
{
    m_machine.Ppp("ppp0");
    m_machine.linkReadTime = 5s;
    Rows();
    Connections();
    Name(1);
    Statistics(1);
    Rows();

    EXPECT_EQ(1, m_machine.linkReads);
}

TEST_F(LinkMonitorTest, LooksAnewWhenAQuestionComesAgainLater)
{
    m_machine.Hardware("eth0");
    m_machine.Ppp("ppp0");
    for (int second = 0; second < 3; ++second) {
        m_machine.Transfer("eth0", 10, 1);
        m_machine.Transfer("ppp0", 100, 2);
        m_machine.Wait(1s);
        EXPECT_EQ(Rows().front(),
                  "/eth0/1/ " + std::to_string(1 + 10 * second) + " " + std::to_string(1 + second));
        Connections();
        EXPECT_EQ(Statistics(2),
                  "/ppp0/2/ " + std::to_string(1 + 100 * second) + " " + std::to_string(1 + 2 * second));
    }
    EXPECT_EQ(3, m_machine.linkReads);
}

TEST_F(LinkMonitorTest, AnswersWhoAsksOnlyForConnectionsToo)
{
    m_machine.Ppp("ppp0");
    EXPECT_THAT(Connections(), ElementsAre("/ppp0/1/ 1 1"));
    for (const auto& wait : {100ms, 150ms, 201ms}) {
        m_machine.Transfer("ppp0", 10, 0);
        m_machine.Wait(wait);
        Connections();
    }
    EXPECT_EQ(3, m_machine.linkReads);

    EXPECT_EQ("/ppp0/1/ 31 1", Statistics(1));
    m_machine.Transfer("ppp0", 10, 0);
    m_machine.Wait(1s);
    EXPECT_EQ("/ppp0/1/ 41 1", Statistics(1));
}

TEST_F(LinkMonitorTest, DoesNotAnswerFromALookLongPast)
{
    m_machine.Ppp("ppp0");
    Rows();
    m_machine.Transfer("ppp0", 10, 0);
    m_machine.Wait(1h);

    EXPECT_THAT(Connections(), ElementsAre("/ppp0/1/ 11 1"));
}

TEST_F(LinkMonitorTest, BeginsAHeartbeatWithTheTableEvenFromTheSameLook)
{
    m_machine.Ppp("ppp0");
    Rows();
    Connections();
    Statistics(1);
    m_machine.Wait(190ms);
    Rows();
    m_machine.Wait(190ms);

    Connections();
    Statistics(1);
    EXPECT_EQ(1, m_machine.linkReads);
}

TEST_F(LinkMonitorTest, HandsOutNothingToTheHost)
{
    m_machine.Hardware("eth0");
    m_machine.Hardware("eth1");
    Rows();
    m_machine.Transfer("eth1", 500, 0);
    CountedNames();
    m_machine.Transfer("eth1", 70, 0);
    m_machine.SetUp("eth0", false);
    CountedNames();
    m_machine.Wait(1s);

    EXPECT_THAT(Rows(), ElementsAre("/eth1/3/ 571 1"));
}

TEST_F(LinkMonitorTest, KeepsAHeartbeatAsItBeganWhateverTheHostReads)
{
    m_machine.Hardware("eth0");
    m_machine.Rule("ppp0", Ruling::Adsl);
    m_machine.Ppp("ppp0");
    m_machine.Transfer("ppp0", 0, 0);
    Rows();
    m_machine.Transfer("ppp0", 100, 0);
    m_machine.Wait(1s);
    Rows();
    m_machine.Transfer("ppp0", 30, 0);
    m_machine.SetUp("eth0", false);
    EXPECT_THAT(CountedNames(), ElementsAre("/ppp0/3/"));

    EXPECT_THAT(Connections(), ElementsAre("/ppp0/2/ 101 1"));
    EXPECT_EQ("/ppp0/2/ 101 1", Statistics(2));
    m_machine.Wait(1s);
    EXPECT_THAT(Rows(), IsEmpty());
    EXPECT_EQ("/ppp0/3/ 31 1", Statistics(3));
}

TEST_F(LinkMonitorTest, FailsTheWholeHeartbeatWithItsLook)
{
    m_machine.Hardware("eth0");
    m_machine.Ppp("ppp0");
    m_machine.linkError = ENOBUFS;
    const std::string error = "error " + std::to_string(ENOBUFS);

    EXPECT_THAT(Rows(), ElementsAre(error));
    m_machine.linkError = 0;
    m_machine.Wait(300ms);
    EXPECT_THAT(Connections(), ElementsAre(error));
    EXPECT_EQ(error, Name(2));
    EXPECT_EQ(error, Statistics(2));
    EXPECT_EQ(1, m_machine.linkReads);

    m_machine.Wait(1s);
    EXPECT_THAT(Rows(), ElementsAre("/eth0/1/ 1 1"));
}

TEST_F(LinkMonitorTest, FailsAHeartbeatThatCannotSeeTheSurroundingsOfNewLinks)
{
    m_machine.Hardware("eth0");
    m_machine.surroundingError = EBADMSG;
    EXPECT_THAT(Rows(), ElementsAre("error " + std::to_string(EBADMSG)));
    EXPECT_FALSE(m_monitor.ReadCountedLinks());
    EXPECT_THAT(m_monitor.ReadAllLinks(), IsEmpty());

    m_machine.surroundingError = 0;
    m_machine.Wait(1s);
    EXPECT_THAT(Rows(), ElementsAre("/eth0/1/ 1 1"));
}

TEST_F(LinkMonitorTest, ChangesNothingByAReadThatFails)
{
    m_machine.Hardware("eth0");
    Rows();
    const auto generation = m_monitor.Generation();

    m_machine.links.clear();
    m_machine.surroundingError = EBADMSG;
    m_machine.Wait(1s);
    Rows();
    EXPECT_FALSE(m_monitor.ReadCountedLinks());
    EXPECT_EQ(generation, m_monitor.Generation());
}

TEST_F(LinkMonitorTest, NamesAnewWhatThePluginLostSightOf)
{
    m_machine.Hardware("eth0");
    Rows();
    m_machine.Transfer("eth0", 100, 0);
    m_machine.Wait(1s);
    Rows();
    m_machine.linkError = ENOBUFS;
    m_machine.Transfer("eth0", 20, 0);
    m_machine.Wait(1s);
    Rows();
    m_machine.linkError = 0;
    m_machine.Transfer("eth0", 3, 0);
    m_machine.Wait(1s);

    EXPECT_THAT(Rows(), ElementsAre("/eth0/2/ 24 1"));
}

TEST_F(LinkMonitorTest, NamesAnewWhatWasLostOnItsWayToThePlugin)
{
    m_machine.Hardware("eth0");
    m_machine.Ppp("ppp0");
    Rows();
    m_monitor.FailHeartbeat(ENOMEM);
    EXPECT_THAT(Connections(), ElementsAre("error " + std::to_string(ENOMEM)));
    m_machine.Wait(1s);

    EXPECT_THAT(Rows(), ElementsAre("/eth0/3/ 1 1"));
    EXPECT_THAT(Connections(), ElementsAre("/ppp0/4/ 1 1"));
}

TEST_F(LinkMonitorTest, LosesNothingForThePluginByAReadOfTheHostThatFails)
{
    m_machine.Hardware("eth0");
    Rows();
    m_machine.linkError = ENOBUFS;
    EXPECT_FALSE(m_monitor.ReadCountedLinks());
    m_machine.linkError = 0;
    m_machine.Wait(1s);

    EXPECT_THAT(Rows(), ElementsAre("/eth0/1/ 1 1"));
}

TEST_F(LinkMonitorTest, ReadsTheCountersAloneWhileNothingElseChanges)
{
    m_machine.Hardware("eth0");
    m_machine.Ppp("ppp0");
    m_machine.Loopback();
    for (unsigned long long second = 0; second < 5; ++second) {
        EXPECT_THAT(Rows(), ElementsAre("/eth0/1/ " + std::to_string(1 + 10 * second) + " 1"));
        EXPECT_THAT(Connections(), ElementsAre("/ppp0/2/ " + std::to_string(1 + 7 * second) + " 1"));
        m_machine.Transfer("eth0", 10, 0);
        m_machine.Transfer("ppp0", 7, 0);
        m_machine.Wait(1s);
    }
    EXPECT_EQ(5, m_machine.linkReads);
    EXPECT_EQ(4, m_machine.counterReads);
}

TEST_F(LinkMonitorTest, ReadsTheLinksWholeWheneverAnythingElseHasChanged)
{
    m_machine.Hardware("eth0");
    m_machine.Hardware("eth1");
    const auto readsCountersAlone = [&](auto change) {
        change();
        const int before = m_machine.counterReads;
        m_machine.Wait(1s);
        Rows();
        return m_machine.counterReads != before;
    };

    EXPECT_FALSE(readsCountersAlone([] {})) << "nothing is known yet";
    EXPECT_TRUE(readsCountersAlone([] {}));
    EXPECT_FALSE(readsCountersAlone([&] { *m_machine.Link("eth0").carrierChanges += 2; }));
    EXPECT_FALSE(readsCountersAlone([&] { m_machine.Link("eth0").alias = "the flat's line"; }));
    EXPECT_FALSE(readsCountersAlone([&] { m_machine.Link("eth0").address = {2, 0, 0, 0, 0, 7}; }));
    EXPECT_FALSE(readsCountersAlone([&] { m_machine.SetUp("eth1", false); }));
    EXPECT_FALSE(readsCountersAlone([&] { m_machine.Remove("eth1"); }));
    EXPECT_FALSE(readsCountersAlone([&] { m_machine.Wireless("wlan0"); }));
    EXPECT_TRUE(readsCountersAlone([] {}));
    m_machine.countersAlone = false;
    EXPECT_FALSE(readsCountersAlone([] {}));
}

TEST_F(LinkMonitorTest, ReadsTheLinksWholeForTheHost)
{
    m_machine.Hardware("eth0");
    Rows();
    m_monitor.ReadCountedLinks();
    m_monitor.ReadAllLinks();

    EXPECT_EQ(0, m_machine.counterReads);
}

TEST_F(LinkMonitorTest, TakesNoCountersForTheLinksOfAReadThatFailed)
{
    m_machine.Hardware("eth0");
    m_machine.Hardware("eth1");
    Rows();
    m_machine.Remove("eth0");
    m_machine.surroundingError = EBADMSG;
    EXPECT_FALSE(m_monitor.ReadCountedLinks()) << "the source knows of eth1 alone now, the monitor of both";
    m_machine.surroundingError = 0;
    m_machine.Transfer("eth1", 70, 7);
    m_machine.Wait(1s);

    EXPECT_THAT(Rows(), ElementsAre("/eth1/3/ 71 8"));
}

TEST_F(LinkMonitorTest, SeesCountersThatFell)
{
    m_machine.Hardware("eth0").counters = ByteCounters{1'000, 100};
    Rows();
    m_machine.Link("eth0").counters = ByteCounters{40, 4};
    m_machine.Wait(1s);

    EXPECT_THAT(Rows(), ElementsAre("/eth0/2/ 1 1"));
}

TEST_F(LinkMonitorTest, LooksAroundOnlyWhenTheLinksChangedOrTheHostAsks)
{
    m_machine.Hardware("eth0");
    const auto lookedAround = [&](auto change) {
        change();
        const int before = m_machine.surroundingReads;
        m_machine.Wait(1s);
        Rows();
        return m_machine.surroundingReads != before;
    };

    EXPECT_TRUE(lookedAround([] {}));
    EXPECT_FALSE(lookedAround([] {}));
    EXPECT_FALSE(lookedAround([&] { m_machine.Transfer("eth0", 10, 10); }));
    EXPECT_FALSE(lookedAround([&] { m_machine.DefaultRoute("eth0"); }));
    EXPECT_TRUE(lookedAround([&] { m_machine.HalfPair("veth0"); }));
    EXPECT_TRUE(lookedAround([&] { m_machine.SetUp("veth0", false); }));
    EXPECT_TRUE(lookedAround([&] { m_machine.Link("veth0").name = "wan0"; }));
    EXPECT_TRUE(lookedAround([&] { m_machine.Remove("wan0"); }));

    const int before = m_machine.surroundingReads;
    m_monitor.ReadCountedLinks();
    m_monitor.ReadAllLinks();
    EXPECT_EQ(before + 2, m_machine.surroundingReads);
}

TEST_F(LinkMonitorTest, FollowsARouteAndARuleWhenTheHostAsks)
{
    m_machine.HalfPair("veth0");
    m_machine.Hardware("eth0");
    EXPECT_THAT(CountedNames(), ElementsAre("/eth0/1/"));

    m_machine.DefaultRoute("veth0");
    EXPECT_THAT(CountedNames(), ElementsAre("/eth0/1/", "/veth0/2/"));

    m_machine.Rule("eth0", Ruling::Wifi);
    EXPECT_THAT(CountedNames(), ElementsAre("/veth0/3/", "/eth0/4/"));

    m_machine.Rule("veth0", Ruling::Ignore);
    EXPECT_THAT(CountedNames(), ElementsAre("/eth0/4/"));
}

TEST_F(LinkMonitorTest, TellsTheHostWhatIsCounted)
{
    m_machine.Hardware("eth0").alias = "the flat's line";
    m_machine.Wireless("wlan0");
    m_machine.Ppp("ppp0");
    m_machine.Rule("ppp0", Ruling::Adsl);

    const auto counted = m_monitor.ReadCountedLinks();

    ASSERT_TRUE(counted);
    ASSERT_EQ(3U, counted->size());
    EXPECT_EQ(1, counted->at(0).index);
    EXPECT_EQ("eth0", counted->at(0).linkName);
    EXPECT_EQ("/eth0/1/", counted->at(0).deviceName);
    EXPECT_EQ("the flat's line", counted->at(0).alias);
    EXPECT_EQ(ConnectionType::Adsl, counted->at(0).type);
    EXPECT_FALSE(counted->at(0).ruled);
    EXPECT_EQ(ConnectionType::Wifi, counted->at(1).type);
    EXPECT_EQ("", counted->at(1).alias);
    EXPECT_EQ("/ppp0/3/", counted->at(2).deviceName);
    EXPECT_EQ(ConnectionType::Adsl, counted->at(2).type);
    EXPECT_TRUE(counted->at(2).ruled);
}

TEST_F(LinkMonitorTest, TellsTheHostOfEveryLink)
{
    m_machine.Loopback();
    m_machine.Hardware("eth0").alias = "the flat's line";
    m_machine.Wireless("wlan0").flags = 0;
    m_machine.Hardware("eth1");
    m_machine.Rule("eth1", Ruling::Ignore);

    const auto states = m_monitor.ReadAllLinks();

    ASSERT_EQ(4U, states.size());
    EXPECT_EQ("lo", states[0].linkName);
    EXPECT_TRUE(states[0].up);
    EXPECT_FALSE(states[0].type);
    EXPECT_EQ("loopback", states[0].reason);
    EXPECT_EQ("", states[0].deviceName);
    EXPECT_EQ("/eth0/1/", states[1].deviceName);
    EXPECT_EQ("the flat's line", states[1].alias);
    EXPECT_EQ(ConnectionType::Adsl, states[1].type);
    EXPECT_EQ("", states[1].reason);
    EXPECT_FALSE(states[2].up);
    EXPECT_EQ("", states[2].deviceName);
    EXPECT_EQ(ConnectionType::Wifi, states[2].type);
    EXPECT_TRUE(states[3].ruled);
    EXPECT_FALSE(states[3].type);
    EXPECT_EQ("ignored by a rule", states[3].reason);
}

TEST_F(LinkMonitorTest, KeepsTheOldestFirst)
{
    m_machine.Hardware("eth0");
    m_machine.Wireless("wlan0");
    CountedNames();
    m_machine.SetUp("eth0", false);
    CountedNames();
    m_machine.SetUp("eth0", true);

    EXPECT_THAT(CountedNames(), ElementsAre("/wlan0/2/", "/eth0/3/"));
    EXPECT_THAT(Rows(), ElementsAre("/wlan0/2/ 1 1", "/eth0/3/ 1 1"));
}

/// A link that the plug-in was handed at 1, that received so many bytes since, and whose carrier flapped if
/// `flaps`: what the plug-in is handed next, when it has not asked for so long and the host did so each time.
unsigned long long HandedAfter(std::chrono::milliseconds unasked, std::chrono::milliseconds hostsPace,
                               unsigned long long received, bool flaps)
{
    Machine machine;
    LinkMonitor monitor(machine);
    machine.Hardware("eth0");
    PresentedLinks rows;
    monitor.ReadRows(rows);

    machine.Transfer("eth0", received, 0);
    for (auto passed = hostsPace; passed <= unasked; passed += hostsPace) {
        machine.Wait(hostsPace);
        monitor.ReadCountedLinks();
    }
    if (flaps) *machine.Link("eth0").carrierChanges += 2;
    machine.Wait(1s);
    monitor.ReadRows(rows);
    return rows[0]->counters.received;
}

TEST_F(LinkMonitorTest, CountsOnUnderANewNameForAPluginThatSamplesWithoutABreak)
{
    EXPECT_EQ(501U, HandedAfter(0s, 1s, 500, true));
    EXPECT_EQ(501U, HandedAfter(50s, 5s, 500, true));
    EXPECT_EQ(1U, HandedAfter(70s, 5s, 500, true));
    EXPECT_EQ(1U, HandedAfter(24h, 60s, 500, true));
}

TEST_F(LinkMonitorTest, PacesAPluginThatSamplesWithoutABreak)
{
    constexpr unsigned long long kMuch = 9'000'000'000;
    EXPECT_GT(kMuch, HandedAfter(0s, 1s, kMuch, false));
    EXPECT_GT(kMuch, HandedAfter(50s, 5s, kMuch, false));
    EXPECT_EQ(kMuch + 1, HandedAfter(70s, 5s, kMuch, false));
    EXPECT_EQ(kMuch + 1, HandedAfter(24h, 60s, kMuch, false));
}

TEST_F(LinkMonitorTest, TakesAProcessThatStoodStillForNoBreakOfThePlugin)
{
    EXPECT_EQ(501U, HandedAfter(24h, 24h, 500, true));
    EXPECT_GT(9'000'000'000U, HandedAfter(24h, 24h, 9'000'000'000, false));
}

TEST_F(LinkMonitorTest, TakesAPluginThatAsksInVainForSampling)
{
    m_machine.Hardware("eth0");
    Rows();
    m_machine.linkError = ENOBUFS;
    for (int second = 0; second < 100; ++second) {
        m_machine.Transfer("eth0", 10, 0);
        m_machine.Wait(1s);
        Rows();
    }
    m_machine.linkError = 0;
    m_machine.Wait(1s);

    EXPECT_THAT(Rows(), ElementsAre("/eth0/2/ 1001 1"));
}

/// What was handed out, as "2: /eth0/1/ 7000..7100 300..310", the number of the hand-out first.
std::string Handed(const LinkMonitor& monitor)
{
    const HandedCounters handed = monitor.Handed();
    std::string text = std::to_string(handed.number) + ":";
    for (const HandedLink& link : handed.links) {
        text += " " + link.deviceName;
        text += " " + std::to_string(link.origin.received) + ".." + std::to_string(link.handed.received);
        text += " " + std::to_string(link.origin.sent) + ".." + std::to_string(link.handed.sent);
    }
    return text;
}

TEST_F(LinkMonitorTest, TellsTheKernelsCountersBehindWhatWasHandedOut)
{
    m_machine.Hardware("eth0").counters = ByteCounters{7'000, 300};
    EXPECT_EQ("0:", Handed(m_monitor));

    Rows();
    EXPECT_EQ("1: /eth0/1/ 7000..7000 300..300", Handed(m_monitor));

    m_machine.Transfer("eth0", 100, 10);
    m_machine.Wait(1s);
    CountedNames();
    EXPECT_EQ("1: /eth0/1/ 7000..7000 300..300", Handed(m_monitor)) << "the host's look hands out nothing";

    Rows();
    EXPECT_EQ("2: /eth0/1/ 7000..7100 300..310", Handed(m_monitor));
}

TEST_F(LinkMonitorTest, TellsWhatWasHandedOutEvenWhenTheLinkHasGone)
{
    m_machine.Hardware("eth0");
    m_machine.Hardware("eth1");
    Rows();
    m_machine.SetUp("eth0", false);
    CountedNames();

    EXPECT_EQ("1: /eth0/1/ 0..0 0..0 /eth1/2/ 0..0 0..0", Handed(m_monitor));
    m_machine.Wait(1s);
    Rows();
    EXPECT_EQ("2: /eth1/3/ 0..0 0..0", Handed(m_monitor));
}

TEST_F(LinkMonitorTest, CountsAHandOutThatFailedAndKeepsTheLastOne)
{
    m_machine.Hardware("eth0");
    Rows();
    m_machine.linkError = EIO;
    m_machine.Wait(1s);
    Rows();

    EXPECT_EQ("2: /eth0/1/ 0..0 0..0", Handed(m_monitor));
}

TEST_F(LinkMonitorTest, TellsHandedLinksInTheOrderOfThePluginsSum)
{
    m_machine.Ppp("ppp0");
    m_machine.Hardware("eth0").alias = "uplink";
    m_machine.Link("eth0").address = {2, 0, 0, 0, 0, 7};
    m_machine.Link("eth0").carrierChanges = 5;
    Rows();

    const HandedCounters handed = m_monitor.Handed();
    ASSERT_EQ(2U, handed.links.size());
    EXPECT_EQ("/eth0/2/", handed.links[0].deviceName);
    EXPECT_EQ("uplink", handed.links[0].alias);
    EXPECT_EQ(ConnectionType::Adsl, handed.links[0].type);
    EXPECT_EQ((HardwareAddress{2, 0, 0, 0, 0, 7}), handed.links[0].address);
    EXPECT_EQ(5U, handed.links[0].carrierChanges);
    EXPECT_EQ("/ppp0/1/", handed.links[1].deviceName);
}

}  // namespace
