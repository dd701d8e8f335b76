// The counters as the plug-in uses them: what it adds up over any sequence of links that come, go, flap and
// change must be the traffic that there was.

#include <cerrno>
#include <map>
#include <set>
#include <tuple>

#include <gtest/gtest.h>

#include "platform/dialup/LinkMonitor.h"
#include "tests/platform/PluginModel.h"
#include "tests/platform/RandomMachine.h"

namespace {

using namespace netinfo;
using namespace std::chrono_literals;
using nettest::kDirections;
using nettest::Machine;
using nettest::PluginModel;
using nettest::RandomMachine;

/// A machine with a plug-in and a host, and a ledger of every byte: what the plug-in must have counted.
///
/// A byte may get lost in these ways and no other: its link went down, or its counters were reset, before the
/// next read; its link came up, and nobody had read it yet; its name was gone before the host reported it.
class World : public RandomMachine
{
public:
    explicit World(unsigned int seed) : RandomMachine(seed)
    {
        machine.Hardware("eth1");
        machine.Hardware("eth10");
        machine.Wireless("wlan0");
        machine.Ppp("ppp0");
        machine.Modem("wwan0");
        machine.Hardware("eth1.1");
        machine.Ppp("ppp1");
        machine.Rule("eth1.1", Ruling::DialUp);
        machine.Rule("ppp1", Ruling::Adsl);
        for (KernelLink& link : machine.links) {
            link.counters = ByteCounters{Random(20'000'000'000'000), Random(20'000'000'000'000)};
        }
    }

    void Transfer(const std::string& name, const ByteCounters& bytes)
    {
        const KernelLink& link = machine.Link(name);
        if (!IsUp(link)) return;
        machine.Transfer(name, bytes.received, bytes.sent);
        if (!plugin.Connected() || Ignored(name)) return;
        for (const auto direction : kDirections) {
            m_due.*direction += bytes.*direction;
            m_accounts[link.index].waiting.*direction += bytes.*direction;
        }
    }

    void ResetCounters(const std::string& name)
    {
        if (RandomMachine::ResetCounters(name)) m_accounts[machine.Link(name).index].reset = true;
    }

    /// The host looks at the links and reports them as connected devices.
    void Report()
    {
        const auto counted = monitor.ReadCountedLinks();
        if (!counted) return;
        Looked();
        m_reported = monitor.Generation();
        std::vector<std::pair<std::string, ConnectionType>> devices;
        for (const CountedLink& link : *counted) {
            devices.emplace_back(link.deviceName, link.type);
        }
        plugin.Connect(std::move(devices));
    }
    void ReportChanges()
    {
        if (monitor.Generation() != m_reported) Report();
    }

    /// The process stands still for an hour, and traffic goes on.
    void StandStill()
    {
        for (const KernelLink& link : std::vector(machine.links)) {
            Transfer(link.name, {Random(9'000'000'000), Random(9'000'000'000)});
        }
        machine.Wait(1h);
    }

    /// The host disconnects everything for a while in which there is traffic, and goes on looking.
    void Disconnect()
    {
        Heartbeat();
        plugin.Connect({});
        Heartbeat();
        for (int i = 0; i < 70; ++i) {
            for (const KernelLink& link : std::vector(machine.links)) {
                Transfer(link.name, {Random(500'000'000), Random(500'000'000)});
            }
            if (monitor.ReadCountedLinks()) Looked();
            Heartbeat();
        }
    }

    void Heartbeat()
    {
        const bool before = plugin.Connected();
        machine.Wait(1s);
        plugin.Heartbeat();
        if (!plugin.Connected()) {
            EndPhase();
            return;
        }
        if (machine.linkError != 0) return;

        Looked();
        if (!before) BeginPhase();
        std::map<std::string, Handed> handed;
        for (const PresentedLink& link : plugin.Seen()) {
            Account& account = m_accounts[link.link.index];
            const auto known = m_handed.find(link.deviceName);
            Handed now = known == m_handed.end() ? Handed{} : known->second;
            for (const auto direction : kDirections) {
                // A new name's first byte is one that nobody sent.
                const unsigned long long last = std::max(now.counters.*direction, 1ULL);
                ASSERT_GE(link.counters.*direction, last) << link.deviceName;
                const unsigned long long grown = link.counters.*direction - last;
                if (before) {
                    ASSERT_GE(account.waiting.*direction, grown) << link.deviceName;
                    account.waiting.*direction -= grown;
                }
            }
            now.counters = link.counters;
            if (plugin.Selected().contains(link.deviceName) && !now.counted) {
                now.counted = true;
                if (!plugin.InBase().contains(link.deviceName)) ++m_begun;
            }
            handed[link.deviceName] = now;
        }
        for (const auto& [name, gone] : m_handed) {
            if (!handed.contains(name)) LoseUnreported(gone);
        }
        m_handed = handed;
    }

    /// Compares what was counted with what there was, when all is quiet.
    void Settle()
    {
        for (int i = 0; i < 30; ++i) {
            Report();
            Heartbeat();
        }
        ByteCounters waiting;
        for (const auto& [index, account] : m_accounts) {
            waiting.received += account.waiting.received;
            waiting.sent += account.waiting.sent;
        }
        EXPECT_EQ(ByteCounters{}, waiting);
        EXPECT_GT(plugin.Counted().received, 0U);
        for (const auto direction : kDirections) {
            EXPECT_EQ(m_due.*direction - m_lost.*direction + m_begun, plugin.Counted().*direction);
            EXPECT_LE(plugin.Counted().*direction, m_due.*direction + m_begun);
        }
    }

    bool Ignored(const std::string& name)
    {
        const auto rule = machine.surroundings.rules.find(name);
        return rule != machine.surroundings.rules.end() && rule->second == Ruling::Ignore;
    }

    LinkMonitor monitor{machine};
    PluginModel plugin{monitor};

private:
    /// Bytes of one link on their way to the plug-in.
    struct Account
    {
        ByteCounters waiting;  ///< not handed out yet
        bool known = false;    ///< the last look found it up and counted
        bool reset = false;    ///< its counters were reset since
    };
    /// What the plug-in was handed under one name.
    struct Handed
    {
        ByteCounters counters;
        bool counted = false;  ///< the host has reported the name, so that the plug-in counted it
    };

    void Lose(ByteCounters& bytes)
    {
        m_lost.received += bytes.received;
        m_lost.sent += bytes.sent;
        bytes = {};
    }

    void LoseUnreported(const Handed& gone)
    {
        if (gone.counted) return;
        m_lost.received += gone.counters.received - 1;
        m_lost.sent += gone.counters.sent - 1;
    }

    /// The kernel was read, by whomever: links may have come or gone.
    void Looked()
    {
        std::set<int> counted;
        for (const KernelLink& link : machine.links) {
            if (IsUp(link) && !Ignored(link.name)) counted.insert(link.index);
        }
        for (const KernelLink& link : machine.links) {
            m_accounts[link.index];
        }
        for (auto& [index, account] : m_accounts) {
            const bool now = counted.contains(index);
            if (!account.known || !now || account.reset) Lose(account.waiting);
            account.known = now;
            account.reset = false;
        }
    }

    void BeginPhase()
    {
        for (auto& [index, account] : m_accounts) {
            EXPECT_EQ(ByteCounters{}, account.waiting);
        }
    }
    void EndPhase()
    {
        for (auto& [index, account] : m_accounts) {
            Lose(account.waiting);
        }
        for (const auto& [name, handed] : m_handed) {
            LoseUnreported(handed);
        }
        m_handed.clear();
    }

    unsigned long long m_reported = 0;
    std::map<int, Account> m_accounts;       ///< by link index
    std::map<std::string, Handed> m_handed;  ///< by device name
    ByteCounters m_due;                      ///< sent and received while connected
    ByteCounters m_lost;                     ///< of that, lost in one of the ways that are allowed
    unsigned long long m_begun = 0;          ///< names that the plug-in counted from their first byte
};

void TransferSome(World& world, unsigned long long most)
{
    for (const KernelLink& link : std::vector(world.machine.links)) {
        if (world.Random(3) == 0) continue;
        world.Transfer(link.name, {world.Random(most), world.Random(most)});
    }
}

/// A seed, and whether counters can be read without the rest of the links.
class RandomLinks : public testing::TestWithParam<std::tuple<unsigned int, bool>>
{
protected:
    RandomLinks() : world(std::get<0>(GetParam())) { world.machine.countersAlone = std::get<1>(GetParam()); }
    ~RandomLinks() override { EXPECT_EQ(world.machine.countersAlone, world.machine.counterReads > 100); }

    World world;
};

TEST_P(RandomLinks, AreCountedToTheByteWithAPromptHost)
{
    world.Report();
    world.Heartbeat();
    for (int second = 0; second < 300; ++second) {
        SCOPED_TRACE(second);
        world.machine.linkError = 0;
        const unsigned long long most = world.Random(10) == 0 ? 3'000'000'000 : 20'000'000;
        TransferSome(world, most);
        for (auto events = world.Random(4); events > 1; --events) {
            HappenToALink(world);
            TransferSome(world, most);
        }
        if (world.Random(100) == 0) world.Disconnect();
        if (world.Random(100) == 0) world.StandStill();
        world.Report();
        world.Heartbeat();
        if (HasFatalFailure()) return;
    }
    world.machine.linkError = 0;
    world.Settle();
}

TEST_P(RandomLinks, AreCountedToTheByteWithAHostThatIsASecondLate)
{
    world.Report();
    world.Heartbeat();
    for (int second = 0; second < 300; ++second) {
        SCOPED_TRACE(second);
        world.machine.linkError = 0;
        // Not more than the plug-in takes in one sample even when a second's worth comes late.
        TransferSome(world, 8'000'000);
        for (auto events = world.Random(3); events > 1; --events) {
            HappenToALink(world);
            TransferSome(world, 8'000'000);
        }
        world.Heartbeat();
        world.ReportChanges();
        if (HasFatalFailure()) return;
    }
    world.machine.linkError = 0;
    world.Settle();
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomLinks, testing::Combine(testing::Range(1U, 13U), testing::Bool()));

/// The host looks and reports, and a second later the plug-in samples.
void ReportAndSample(Machine& machine, LinkMonitor& monitor, PluginModel& plugin)
{
    const auto counted = monitor.ReadCountedLinks().value();
    std::vector<std::pair<std::string, ConnectionType>> devices;
    devices.reserve(counted.size());
    for (const CountedLink& link : counted) {
        devices.emplace_back(link.deviceName, link.type);
    }
    plugin.Connect(std::move(devices));
    machine.Wait(1s);
    plugin.Heartbeat();
}

TEST(CountedTraffic, OfALinkNeverGoesToANamesake)
{
    World world(1);
    for (const KernelLink& link : std::vector(world.machine.links)) {
        world.machine.SetUp(link.name, link.name == "eth1" || link.name == "eth10");
    }
    const auto counted = world.monitor.ReadCountedLinks().value();
    ASSERT_EQ(2U, counted.size());
    world.plugin.Connect({{counted[0].deviceName, counted[0].type}});  // eth1 alone
    world.plugin.Heartbeat();

    world.machine.Transfer("eth10", 1'000'000, 1'000);
    world.machine.Transfer("eth1", 70, 7);
    world.machine.Wait(1s);
    world.plugin.Heartbeat();

    EXPECT_EQ((ByteCounters{70, 7}), world.plugin.Counted());
}

TEST(CountedTraffic, OfABridgedLinkIsCountedOnce)
{
    Machine machine;
    LinkMonitor monitor(machine);
    PluginModel plugin(monitor);
    machine.Hardware("eth0");
    machine.Master("bridge", "br0", {"eth0"});
    machine.DefaultRoute("br0");
    ReportAndSample(machine, monitor, plugin);
    for (int second = 0; second < 10; ++second) {
        machine.Transfer("eth0", 1'000, 100);
        machine.Transfer("br0", 1'000, 100);
        if (second == 5) machine.Rule("br0", Ruling::Adsl);  // the bridge takes over
        ReportAndSample(machine, monitor, plugin);
    }

    EXPECT_EQ((ByteCounters{9'001, 901}), plugin.Counted()) << "the bridge counts from 1, when it took over";
}

TEST(CountedTraffic, GoesOnWhenALinkOfItsTypeLeavesAndComesBack)
{
    // The worked example of docs/counters.md.
    Machine machine;
    LinkMonitor monitor(machine);
    PluginModel plugin(monitor);
    machine.Hardware("eth0");
    machine.Hardware("eth1");
    struct Second
    {
        unsigned long long eth0;  ///< raw; 0: down
        unsigned long long eth1;
        std::vector<std::pair<std::string, unsigned long long>> rows;
        unsigned long long counted;
    };
    const std::vector<Second> seconds = {
        {5'000, 900, {{"/eth0/1/", 1}, {"/eth1/2/", 1}}, 0},
        {5'600, 950, {{"/eth0/1/", 601}, {"/eth1/2/", 51}}, 650},
        {0, 970, {{"/eth1/3/", 21}}, 21},
        {6'000, 980, {{"/eth1/3/", 31}, {"/eth0/4/", 1}}, 11},
        {6'050, 980, {{"/eth1/3/", 31}, {"/eth0/4/", 51}}, 50},
    };
    unsigned long long before = 0;
    for (const auto& [eth0, eth1, rows, counted] : seconds) {
        machine.Link("eth1").counters->received = eth1;
        if (eth0 != 0) machine.Link("eth0").counters->received = eth0;
        if (IsUp(machine.Link("eth0")) != (eth0 != 0)) machine.SetUp("eth0", eth0 != 0);
        ReportAndSample(machine, monitor, plugin);

        std::vector<std::pair<std::string, unsigned long long>> seen;
        seen.reserve(plugin.Seen().size());
        for (const PresentedLink& link : plugin.Seen()) {
            seen.emplace_back(link.deviceName, link.counters.received);
        }
        EXPECT_EQ(rows, seen);
        EXPECT_EQ(counted, plugin.Counted().received - before);
        before = plugin.Counted().received;
    }
}

TEST(CountedTraffic, AtAnySpeedIsCountedToTheByte)
{
    // 10 Gbit/s: the plug-in's 32-bit fold comes round every few seconds, with steps that it would refuse.
    Machine machine;
    LinkMonitor monitor(machine);
    PluginModel plugin(monitor);
    machine.Hardware("eth0");
    const auto counted = monitor.ReadCountedLinks().value();
    plugin.Connect({{counted[0].deviceName, counted[0].type}});
    plugin.Heartbeat();

    for (int second = 0; second < 1'000; ++second) {
        machine.Transfer("eth0", 1'250'000'000, 1'249'999'999);
        machine.Wait(1s);
        plugin.Heartbeat();
    }
    for (int second = 0; second < 2'000; ++second) {
        machine.Wait(1s);
        plugin.Heartbeat();
    }

    EXPECT_EQ((ByteCounters{1'250'000'000'000, 1'249'999'999'000}), plugin.Counted());
    EXPECT_EQ("/eth0/1/", plugin.Seen().at(0).deviceName);
}

}  // namespace
