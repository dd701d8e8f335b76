#include "host/UsageMeter.h"

#include <gmock/gmock.h>

#include <map>
#include <optional>
#include <set>
#include <stdexcept>

namespace {

using namespace netinfo;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr long long kNow = 1'714'557'600;  // 2024-05-01 10:00 UTC
constexpr long long kHour = 3600;

std::string Text(const UsageRow& row)
{
    const char* const type = row.type == 0 ? "dial-up" : row.type == 1 ? "wifi" : "adsl";
    std::string text = std::string(type) + " " + row.link + " " + std::to_string(row.downloaded) + "/" +
                       std::to_string(row.uploaded);
    if (row.seconds != 0) text += " " + std::to_string(row.seconds) + "s";
    if (row.recovered) text += " recovered";
    if (row.hour != kNow) text += " at " + std::to_string((row.hour - kNow) / kHour) + "h";
    return text;
}

/// A plug-in and its links at work, one step at a time, and a meter that looks on.
///
/// The links' counters are set as the kernel would show them; the plug-in's totals follow by its own rules,
/// written down once here: one total for each type, named by the type's first link, that begins anew with the
/// name, and at the begin of a phase from the counters of that moment.
class Line
{
public:
    Line() { m_meter.emplace("boot", std::vector<LinkMark>()); }

    /// A link comes up; what its counter shows then is not counted.
    HandedLink& Up(int index, const std::string& name, ConnectionType type, ByteCounters counter = {})
    {
        HandedLink link{};
        link.index = index;
        link.linkName = name;
        link.type = type;
        link.address = {2, 0, 0, 0, 0, static_cast<unsigned char>(index)};
        link.carrierChanges = 1;
        link.origin = counter;
        link.handed = counter;
        link.deviceName = "/" + name + "/" + std::to_string(++m_lastNumber) + "/";
        m_links.push_back(link);
        return m_links.back();
    }
    void Down(int index)
    {
        const ConnectionType type = (*this)[index].type;
        std::erase_if(m_links, [&](const HandedLink& link) { return link.index == index; });
        Rename(type);
    }
    /// All links of the type go on under new names, counted from what was last handed out.
    void Rename(ConnectionType type)
    {
        for (HandedLink& link : m_links) {
            if (link.type != type) continue;
            link.deviceName = "/" + link.linkName + "/" + std::to_string(++m_lastNumber) + "/";
            link.origin = link.handed;
        }
    }
    HandedLink& operator[](int index)
    {
        for (HandedLink& link : m_links) {
            if (link.index == index) return link;
        }
        throw std::out_of_range(std::to_string(index));
    }
    void Move(int index, unsigned long long received, unsigned long long sent = 0)
    {
        (*this)[index].handed.received += received;
        (*this)[index].handed.sent += sent;
    }
    /// The plug-in leaves the link out, as for software that conflicts.
    void Exclude(int index) { m_excluded.insert(index); }
    void Include(int index) { m_excluded.erase(index); }

    /// The plug-in begins a phase with the counters as they are.
    void Connect()
    {
        m_connected = true;
        m_base.clear();
        for (const HandedLink& link : m_links)
            m_base[link.deviceName] = link.handed;
    }
    void Disconnect() { m_connected = false; }

    /// A sample, and what the meter adds for it.
    std::vector<std::string> Sample(long long seconds = 1)
    {
        Beat(seconds);
        return Look();
    }
    /// A sample that the meter does not see.
    void Beat(long long seconds = 1)
    {
        m_time.wall += seconds;
        m_time.boot += seconds * 1'000'000'000;
        ++m_number;
    }
    std::vector<std::string> Look()
    {
        std::vector<std::string> texts;
        for (const UsageRow& row : m_meter->Take(Now(), m_time)) {
            m_added[row.link].received += row.downloaded;
            m_added[row.link].sent += row.uploaded;
            if (row.downloaded + row.uploaded != 0) texts.push_back(Text(row));
        }
        return texts;
    }
    /// The same, connected seconds alone.
    std::vector<std::string> Seconds(long long seconds)
    {
        Beat(seconds);
        std::vector<std::string> texts;
        for (const UsageRow& row : m_meter->Take(Now(), m_time)) {
            if (row.seconds != 0) texts.push_back(Text(row));
        }
        return texts;
    }

    /// The host ends, in whatever way, with `marks` in its ledger, and another one begins.
    void Restart(const std::vector<LinkMark>& marks, const std::string& boot = "boot")
    {
        m_meter.emplace(boot, marks);
        for (HandedLink& link : m_links) {
            link.deviceName = "/" + link.linkName + "/" + std::to_string(++m_lastNumber) + "/";
            link.origin = link.handed;
        }
        m_connected = false;
    }
    void Restart() { Restart(m_meter->Marks()); }
    void Present()
    {
        std::vector<CountedLink> links;
        for (const HandedLink& link : m_links)
            links.push_back({link.index, link.linkName, link.deviceName, link.alias, link.type, false});
        m_meter->Present(links);
    }

    std::vector<LinkMark> Marks() const { return m_meter->Marks(); }
    const ByteCounters& Added(const std::string& link) { return m_added[link]; }
    MeterTime& Time() { return m_time; }

private:
    TrafficSample Now()
    {
        TrafficSample sample;
        sample.handed.number = m_number;
        sample.handed.links = m_links;
        for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
            if (!m_connected) continue;
            TypeTotal& total = sample.totals.at(i);
            for (const HandedLink& link : m_links) {
                if (static_cast<int>(link.type) != TRAFFIC_TYPES.at(i).code) continue;
                if (m_excluded.contains(link.index)) continue;
                const auto base = m_base.find(link.deviceName);
                const ByteCounters from = base != m_base.end() ? base->second : link.origin;
                const unsigned beginning = base != m_base.end() ? 0 : 1;
                total.connected = true;
                total.bytes.received += link.handed.received - from.received + beginning;
                total.bytes.sent += link.handed.sent - from.sent + beginning;
            }
        }
        return sample;
    }

    std::optional<UsageMeter> m_meter;
    std::vector<HandedLink> m_links;
    std::set<int> m_excluded;
    unsigned m_lastNumber = 0;
    bool m_connected = false;
    std::map<std::string, ByteCounters> m_base;
    unsigned long long m_number = 0;
    MeterTime m_time{kNow, 5'000'000'000'000};
    std::map<std::string, ByteCounters> m_added;
};

TEST(UsageMeter, AddsWhatATotalGrewBy)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl, {7'000'000'000, 900});
    line.Connect();
    EXPECT_THAT(line.Sample(), IsEmpty()) << "gigabytes on a counter before it is counted are nobody's";

    line.Move(2, 1'000, 50);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 1000/50"));
    EXPECT_THAT(line.Sample(), IsEmpty());
    line.Move(2, 0, 7);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 0/7"));
}

TEST(UsageMeter, AddsTheWholeOfATotalThatBeganAnew)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Move(2, 1'000, 100);
    line.Sample();

    line.Disconnect();
    line.Sample();
    line.Down(2);
    line.Up(2, "eth0", ConnectionType::Adsl, {5'000, 500}).carrierChanges = 3;
    line.Connect();
    line.Move(2, 30, 3);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 30/3"));
}

TEST(UsageMeter, LeavesOutTheByteWithWhichACounterBegins)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Sample();

    line.Up(3, "wlan0", ConnectionType::Wifi);  // inside the phase: its total begins with 1
    EXPECT_THAT(line.Sample(), IsEmpty());
    line.Move(3, 10, 20);
    EXPECT_THAT(line.Sample(), ElementsAre("wifi wlan0 10/20"));

    line.Up(4, "eth1", ConnectionType::Adsl);  // joins a total that goes on
    line.Move(2, 5, 5);
    line.Move(4, 7, 0);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 5/5", "adsl eth1 7/0"));
    line.Down(2);  // takes the name of the total with it
    line.Move(4, 100, 100);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth1 100/100"));
}

TEST(UsageMeter, SharesATotalAmongItsLinksByTheirCounters)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Up(3, "eth1", ConnectionType::Adsl, {99, 99}).alias = "uplink";
    line.Up(4, "ppp0", ConnectionType::DialUp);
    line.Connect();
    line.Sample();

    line.Move(2, 10, 1);
    line.Move(3, 20, 2);
    line.Move(4, 40, 4);
    EXPECT_THAT(line.Sample(), UnorderedElementsAre("dial-up ppp0 40/4", "adsl eth0 10/1", "adsl eth1 20/2"));
}

TEST(UsageMeter, NamesTheProfileAsPeopleDo)
{
    UsageMeter meter("boot", {});
    TrafficSample sample;
    HandedLink link{};
    link.index = 2;
    link.linkName = "eth0";
    link.alias = "office line";
    link.deviceName = "/eth0/1/";
    link.type = ConnectionType::Adsl;
    link.carrierChanges = 1;
    link.handed = {100, 10};
    sample.handed = {1, {link}};
    sample.totals.back() = {true, {101, 11}};

    const auto rows = meter.Take(sample, {kNow + 10, 0});

    ASSERT_EQ(1U, rows.size());
    EXPECT_EQ((UsageRow{kNow, 4, "office line", "eth0", false, 100, 10, 0}), rows[0]);
}

TEST(UsageMeter, AddsToTheHourOfNow)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Sample();

    line.Time().wall = kNow + kHour - 2;
    line.Move(2, 1);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 1/0"));
    line.Move(2, 2);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 2/0 at 1h"));
    line.Time().wall = kNow - 5 * kHour;  // set back
    line.Move(2, 4);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 4/0 at -5h"));
    line.Time().wall = kNow + 10 * 8760 * kHour;  // set forward
    line.Move(2, 8);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 8/0 at 87600h"));
    line.Time().wall = -100;  // a clock that was never set
    line.Move(2, 16);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 16/0 at " + std::to_string(-kNow / kHour) + "h"));
    EXPECT_EQ(31U, line.Added("eth0").received);
}

// ---- connected seconds ------------------------------------------------------------------------------------

TEST(UsageMeter, TimesAConnectionByTheClockThatIsNeverSet)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    EXPECT_THAT(line.Seconds(5), IsEmpty()) << "it begins with the first sample";
    EXPECT_THAT(line.Seconds(1), ElementsAre("adsl eth0 0/0 1s"));

    line.Time().wall += 500'000;
    EXPECT_THAT(line.Seconds(2), ElementsAre("adsl eth0 0/0 2s at 138h"));
    line.Time().wall -= 500'000;
    EXPECT_THAT(line.Seconds(3), ElementsAre("adsl eth0 0/0 3s"));
}

TEST(UsageMeter, KeepsFractionsOfSeconds)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Seconds(1);
    unsigned long long seconds = 0;
    for (int i = 0; i < 100; ++i) {
        line.Time().boot += 990'000'000;
        const auto texts = line.Seconds(0);
        if (!texts.empty()) ++seconds;
    }
    EXPECT_EQ(99U, seconds);
}

TEST(UsageMeter, PutsSecondsIntoTheHoursInWhichTheyPassed)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Time().wall = kNow + kHour - 100;
    line.Seconds(0);

    // Asleep for two hours and a half.
    EXPECT_THAT(line.Seconds(9000), ElementsAre("adsl eth0 0/0 1700s at 3h", "adsl eth0 0/0 3600s at 2h",
                                                "adsl eth0 0/0 3600s at 1h", "adsl eth0 0/0 100s"));
}

TEST(UsageMeter, TimesATypeOnceHoweverManyLinksItHas)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Up(3, "eth1", ConnectionType::Adsl);
    line.Up(4, "wlan0", ConnectionType::Wifi);
    line.Connect();
    line.Seconds(1);

    EXPECT_THAT(line.Seconds(1), UnorderedElementsAre("adsl eth0 0/0 1s", "wifi wlan0 0/0 1s"));
}

TEST(UsageMeter, TimesNothingBetweenTwoConnections)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Seconds(1);
    line.Disconnect();
    EXPECT_THAT(line.Seconds(60), IsEmpty());
    line.Connect();
    EXPECT_THAT(line.Seconds(60), IsEmpty());
    EXPECT_THAT(line.Seconds(1), ElementsAre("adsl eth0 0/0 1s"));
}

// ---- restarts ---------------------------------------------------------------------------------------------

TEST(UsageMeter, RecoversWhatALinkMovedWhileTheHostWasAway)
{
    for (const long long gap : {1LL, 420LL, 86'400LL * 3}) {
        SCOPED_TRACE(gap);
        Line line;
        line.Up(2, "eth0", ConnectionType::Adsl, {500, 50});
        line.Connect();
        line.Move(2, 1'000, 100);
        line.Sample();

        line.Move(2, 70'000'000'000, 7);
        line.Time().wall = kNow - 1;
        line.Restart();
        line.Connect();
        EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 70000000000/7 recovered"));
        line.Move(2, 5, 6);
        EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 5/6"));
        EXPECT_EQ((ByteCounters{70'000'001'005, 113}), line.Added("eth0"));
    }
}

TEST(UsageMeter, RecoversWhatWasCountedAfterTheLastCommit)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Move(2, 1'000, 100);
    line.Sample();
    const auto committed = line.Marks();
    line.Move(2, 20, 2);
    line.Sample();  // added, but the host is killed before the next commit

    line.Move(2, 3, 0);
    line.Restart(committed);
    line.Connect();
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 23/2 recovered"));
}

TEST(UsageMeter, RecoversUpToWhereThePluginsCountBegan)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Sample();

    line.Move(2, 100);
    line.Restart();  // the host's first look
    line.Move(2, 10);
    line.Connect();  // the plug-in's
    line.Move(2, 1);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 1/0", "adsl eth0 110/0 recovered"));
}

TEST(UsageMeter, GuessesNothingForALinkThatIsNotTheSame)
{
    struct Case
    {
        const char* what;
        void (*change)(HandedLink&);
        bool recovers;
    };
    const std::vector<Case> cases = {
        {"nothing", [](HandedLink&) {}, true},
        {"another number", [](HandedLink& link) { link.index = 9; }, false},
        {"another name", [](HandedLink& link) { link.linkName = "eth9"; }, false},
        {"another address", [](HandedLink& link) { link.address[5] = 99; }, false},
        {"a carrier that was away", [](HandedLink& link) { link.carrierChanges = 3; }, false},
        {"carrier changes that are no longer told", [](HandedLink& link) { link.carrierChanges.reset(); },
         false},
        {"a counter that fell", [](HandedLink& link) { link.handed.received = 999; }, false},
        {"the other counter that fell", [](HandedLink& link) { link.handed.sent = 99; }, false},
        {"another type", [](HandedLink& link) { link.type = ConnectionType::Wifi; }, true},
        {"another text of the administrator", [](HandedLink& link) { link.alias = "x"; }, true},
    };
    for (const auto& [what, change, recovers] : cases) {
        SCOPED_TRACE(what);
        Line line;
        line.Up(2, "eth0", ConnectionType::Adsl);
        line.Connect();
        line.Move(2, 1'000, 100);
        line.Sample();
        line.Move(2, 50, 50);
        change(line[2]);
        line.Restart();
        line.Connect();
        EXPECT_EQ(recovers ? 1U : 0U, line.Sample().size());
    }
}

TEST(UsageMeter, GuessesNothingAfterTheMachineStartedAnew)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Move(2, 1'000, 100);
    line.Sample();
    line.Move(2, 50, 50);
    line.Restart(line.Marks(), "another boot");
    line.Connect();

    EXPECT_THAT(line.Sample(), IsEmpty());
}

TEST(UsageMeter, MarksNoLinkWhoseCarrierTheKernelDoesNotTell)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl).carrierChanges.reset();
    line.Connect();
    line.Move(2, 1'000, 100);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 1000/100"));
    EXPECT_THAT(line.Marks(), IsEmpty());
}

TEST(UsageMeter, KeepsTheMarksOfTheLastRunUntilThePluginCounts)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Move(2, 1'000, 100);
    line.Sample();
    const auto marks = line.Marks();

    line.Restart();
    line.Present();
    EXPECT_EQ(marks, line.Marks());
    line.Look();
    EXPECT_EQ(marks, line.Marks()) << "killed again before the first sample, it still knows";
}

TEST(UsageMeter, ForgetsALinkThatIsNotCountedAnyMore)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Move(2, 1'000, 100);
    line.Sample();

    const HandedLink ignored = line[2];
    line.Down(2);
    line.Disconnect();
    line.Present();
    EXPECT_THAT(line.Marks(), IsEmpty());
    line.Up(2, "eth0", ConnectionType::Adsl, {50'000, 5'000});  // its user had it ignored for a while
    line[2].carrierChanges = ignored.carrierChanges;
    line.Connect();
    EXPECT_THAT(line.Sample(), IsEmpty());
}

// ---- pauses -----------------------------------------------------------------------------------------------

TEST(UsageMeter, RecoversAPauseOfThePluginWhileTheLinkLivedOn)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Move(2, 1'000, 100);
    line.Sample();

    line.Disconnect();
    line.Sample();
    line.Move(2, 40, 4);
    line.Connect();  // the same names, counted from here
    line.Move(2, 2, 1);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 2/1", "adsl eth0 40/4 recovered"));
}

TEST(UsageMeter, SeesAPauseThatItDidNotLookAt)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Move(2, 1'000, 100);
    line.Sample();
    line.Move(2, 40, 4);
    line.Connect();
    line.Move(2, 5'000, 500);  // the new total is larger than the old one

    line.Sample();
    for (int i = 0; i < 10; ++i)
        line.Sample();
    EXPECT_EQ((ByteCounters{6'040, 604}), line.Added("eth0"));
}

TEST(UsageMeter, LosesNothingWhenItMissesSamples)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Up(3, "eth1", ConnectionType::Adsl);
    line.Connect();
    line.Sample();
    line.Move(2, 10, 1);
    line.Move(3, 20, 2);
    line.Beat();
    line.Rename(ConnectionType::Adsl);
    line.Move(3, 40, 4);
    line.Sample();

    EXPECT_EQ((ByteCounters{10, 1}), line.Added("eth0"));
    EXPECT_EQ((ByteCounters{60, 6}), line.Added("eth1"));
}

TEST(UsageMeter, WaitsForATotalThatIsBehindTheLinks)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Connect();
    line.Sample();
    line.Up(3, "eth1", ConnectionType::Adsl);
    line.Exclude(3);  // the plug-in does not know it yet
    line.Move(2, 10);
    line.Move(3, 500);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth0 10/0"));
    const auto early = line.Marks();

    Line killed = line;
    line.Include(3);
    EXPECT_THAT(line.Sample(), ElementsAre("adsl eth1 500/0"));
    killed.Restart(early);
    killed.Connect();
    EXPECT_THAT(killed.Sample(), ElementsAre("adsl eth1 500/0 recovered"));
}

TEST(UsageMeter, AddsNothingForALinkThatThePluginLeavesOut)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Up(3, "tun0", ConnectionType::Adsl);
    line.Exclude(3);
    line.Connect();
    line.Sample();
    for (int i = 0; i < 30; ++i) {
        line.Move(2, 10);
        line.Move(3, 1'000);
        line.Sample();
    }
    EXPECT_EQ(300U, line.Added("eth0").received + line.Added("tun0").received);
    EXPECT_THAT(line.Marks(), IsEmpty()) << "or the next start would recover what nobody counts";

    line.Move(3, 5'000);
    line.Restart();
    line.Connect();
    EXPECT_THAT(line.Sample(), IsEmpty());
}

TEST(UsageMeter, AddsNothingForATypeThatIsNotSampled)
{
    Line line;
    line.Up(2, "eth0", ConnectionType::Adsl);
    line.Up(3, "tun0", ConnectionType::DialUp);
    line.Exclude(3);
    line.Connect();
    line.Sample();
    line.Move(3, 1'000, 1'000);

    EXPECT_THAT(line.Sample(), IsEmpty());
    EXPECT_EQ(1U, line.Marks().size());
}

TEST(UsageMeter, FollowsATotalWithoutLinks)
{
    UsageMeter meter("boot", {});
    TrafficSample sample;
    sample.totals[1] = {true, {100, 10}};
    const auto first = meter.Take(sample, {kNow, 0});
    sample.totals[1].bytes = {150, 10};
    const auto second = meter.Take(sample, {kNow, 1'000'000'000});

    EXPECT_THAT(first, ElementsAre(UsageRow{kNow, 1, "", "", false, 100, 10, 0}));
    EXPECT_THAT(second, ElementsAre(UsageRow{kNow, 1, "", "", false, 50, 0, 0}));
}

}  // namespace
