// The meter behind the real counters of links, through anything that can happen to them and to the host: for
// every link as long as it lives, what the ledger has grown by is what the kernel's counter has grown by.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "host/UsageMeter.h"
#include "platform/dialup/LinkMonitor.h"
#include "tests/platform/PluginModel.h"
#include "tests/platform/RandomMachine.h"

namespace {

using namespace netinfo;
using nettest::kDirections;
using nettest::PluginModel;
using nettest::RandomMachine;

/// A link for as long as its counters go on.
using Life = std::tuple<int, std::string, unsigned int, int>;

/// What a ledger would hold.
struct Ledger
{
    std::map<std::string, ByteCounters> links;  ///< by their kernel name, which no other link takes
    ByteCounters counted;
    ByteCounters recovered;
    std::vector<LinkMark> marks;
    std::map<int, Life> lives;  ///< that the marks are of, by index
};

class World : public RandomMachine
{
public:
    explicit World(unsigned int seed) : RandomMachine(seed)
    {
        for (int i = 0; i < 3; ++i) {
            machine.Hardware(FreshName());
            machine.Wireless(FreshName());
            machine.Ppp(FreshName());
        }
        for (KernelLink& link : machine.links)
            link.counters = ByteCounters{kLeast + Random(20'000'000'000'000), kLeast};
        Start();
    }

    void Transfer(unsigned long long most)
    {
        for (KernelLink& link : machine.links) {
            if (!IsUp(link) || Random(3) == 0) continue;
            machine.Transfer(link.name, Random(most), Random(most));
        }
    }

    /// The host looks at the links and reports them.
    void Report()
    {
        const auto counted = m_monitor->ReadCountedLinks();
        if (!counted) return;
        std::vector<std::pair<std::string, ConnectionType>> devices;
        for (const CountedLink& link : *counted)
            devices.emplace_back(link.deviceName, link.type);
        m_plugin->Connect(std::move(devices));
        m_meter->Present(*counted);

        for (const KernelLink& link : machine.links) {
            const bool there = std::any_of(counted->begin(), counted->end(), [&](const CountedLink& known) {
                return known.index == link.index;
            });
            if (!there) ++m_absences[link.index];
        }
    }
    void Heartbeat()
    {
        machine.Wait(std::chrono::seconds(1));
        m_plugin->Heartbeat();
    }
    /// The host hears of the heartbeat.
    void Look()
    {
        TrafficSample sample;
        sample.handed = m_monitor->Handed();
        for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
            const auto total = m_plugin->Totals().find(static_cast<ConnectionType>(TRAFFIC_TYPES[i].code));
            if (total != m_plugin->Totals().end()) sample.totals[i] = {true, total->second};
        }
        m_time.wall += static_cast<long long>(Random(7200)) - 3600;
        m_time.boot += 1'000'000'000;
        for (const UsageRow& row : m_meter->Take(sample, m_time)) {
            ByteCounters& link = m_ledger.links[row.link];
            ByteCounters& sum = row.recovered ? m_ledger.recovered : m_ledger.counted;
            link.received += row.downloaded;
            link.sent += row.uploaded;
            sum.received += row.downloaded;
            sum.sent += row.uploaded;
        }
        m_ledger.marks = m_meter->Marks();
        // What happened to a link shows once the plug-in is handed something again.
        if (machine.linkError == 0 && std::exchange(m_number, sample.handed.number) != sample.handed.number)
            CheckMarks();
    }

    void Commit() { m_committed = m_ledger; }
    /// The host is killed, and another one starts some time later, perhaps of another boot.
    void Kill(unsigned long long seconds)
    {
        // Where the last commit knows nothing of what a link is now, nobody will afterwards.
        for (const KernelLink& link : machine.links) {
            const auto known = m_committed.lives.find(link.index);
            const Life now = LifeOf(link.index, link.name, *link.carrierChanges);
            if (known == m_committed.lives.end() || known->second != now) ++m_absences[link.index];
        }
        m_ledger = m_committed;
        m_number = 0;
        machine.Wait(std::chrono::seconds(seconds));
    }
    void Reboot()
    {
        m_boot = "boot" + std::to_string(Random(1'000'000'000));
        for (KernelLink& link : machine.links)
            link.counters = ByteCounters{Random(3) * kLeast, kLeast};
        ++m_reboots;
    }
    void Start()
    {
        m_monitor.emplace(machine);
        m_plugin.emplace(*m_monitor);
        m_meter.emplace(m_boot, m_ledger.marks);
        Report();
    }
    void ResetCounters(const std::string& name)
    {
        if (RandomMachine::ResetCounters(name)) ++m_resets[machine.Link(name).index];
    }

    /// When all is quiet, the ledger holds what the kernel has counted.
    void Settle()
    {
        machine.linkError = 0;
        for (int i = 0; i < 30; ++i) {
            Report();
            Heartbeat();
            Look();
        }
        const auto counted = m_monitor->ReadCountedLinks().value();
        for (const CountedLink& link : counted) {
            const auto mark = std::find_if(m_ledger.marks.begin(), m_ledger.marks.end(),
                                           [&](const LinkMark& known) { return known.index == link.index; });
            ASSERT_NE(m_ledger.marks.end(), mark) << link.linkName;
            EXPECT_EQ(*machine.Link(link.linkName).counters, mark->counted) << link.linkName;
        }
    }

    const Ledger& Held() const { return m_ledger; }
    const PluginModel& Plugin() const { return *m_plugin; }

private:
    static constexpr unsigned long long kLeast = 1'000'000'000'000;

    Life LifeOf(int index, const std::string& name, unsigned int carrierChanges)
    {
        return {index, name, carrierChanges,
                m_reboots * 1'000'000 + m_resets[index] * 1'000 + m_absences[index]};
    }
    /// While a link lives, ledger and mark move on together: their difference is what was on the counter
    /// before.
    void CheckMarks()
    {
        m_ledger.lives.clear();
        for (const LinkMark& mark : m_ledger.marks) {
            const Life present = LifeOf(mark.index, mark.linkName, mark.carrierChanges);
            m_ledger.lives[mark.index] = present;
            const ByteCounters& held = m_ledger.links[mark.linkName];
            const ByteCounters before{mark.counted.received - held.received, mark.counted.sent - held.sent};
            const auto [life, isNew] = m_before.try_emplace(present, before);
            ASSERT_EQ(life->second, before) << mark.linkName << " carrier " << mark.carrierChanges;
        }
    }

    std::optional<LinkMonitor> m_monitor;
    std::optional<PluginModel> m_plugin;
    std::optional<UsageMeter> m_meter;
    std::string m_boot = "boot";
    MeterTime m_time{1'714'557'600, 0};
    Ledger m_ledger;
    Ledger m_committed;
    unsigned long long m_number = 0;  ///< of the hand-out that was looked at last
    int m_reboots = 0;
    std::map<int, int> m_resets;
    std::map<int, int> m_absences;
    std::map<Life, ByteCounters> m_before;
};

class RandomUse : public testing::TestWithParam<unsigned int>
{};

TEST_P(RandomUse, IsInTheLedgerToTheByte)
{
    World world(GetParam());
    for (int second = 0; second < 400; ++second) {
        SCOPED_TRACE(second);
        world.Transfer(world.Random(10) == 0 ? 3'000'000'000 : 5'000'000);
        for (auto events = world.Random(4); events > 2; --events) {
            HappenToALink(world);
            world.Transfer(5'000'000);
        }
        world.Report();
        world.Heartbeat();
        if (world.Random(5) != 0) world.Look();
        if (world.Random(10) == 0) world.Commit();
        if (world.Random(40) == 0) {
            if (world.Random(2) == 0) world.Commit();  // stopped, not killed
            world.Kill(world.Random(2) == 0 ? 1 : 400'000);
            world.Transfer(9'000'000'000);
            if (world.Random(4) == 0) HappenToALink(world);
            if (world.Random(4) == 0) world.Reboot();
            world.machine.linkError = 0;
            world.Start();
        }
        if (HasFatalFailure()) return;
    }
    world.Settle();
}

TEST_P(RandomUse, IsWhatThePluginCountedWhenNothingIsMissed)
{
    World world(GetParam());
    world.Heartbeat();
    world.Look();
    unsigned long long names = 0;
    for (int second = 0; second < 200; ++second) {
        SCOPED_TRACE(second);
        world.Transfer(5'000'000);
        if (world.Random(3) == 0) HappenToALink(world);
        world.machine.linkError = 0;
        world.Report();
        world.Heartbeat();
        world.Look();
        names += world.machine.links.size();
        if (HasFatalFailure()) return;
    }
    // Each name begins with one byte that nobody sent.
    EXPECT_LE(world.Held().counted.received, world.Plugin().Counted().received);
    EXPECT_LE(world.Held().counted.sent, world.Plugin().Counted().sent);
    EXPECT_GE(world.Held().counted.received + names, world.Plugin().Counted().received);
    EXPECT_GE(world.Held().counted.sent + names, world.Plugin().Counted().sent);
    EXPECT_GT(world.Held().counted.sent, 100 * names);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomUse, testing::Range(1U, 31U));

}  // namespace
