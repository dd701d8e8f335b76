#pragma once

#include <array>
#include <cerrno>
#include <random>
#include <string>

#include "platform/dialup/LinkMonitor.h"
#include "tests/platform/Machine.h"

namespace nettest {

/// A machine to which things happen at random, the same ones for the same seed.
class RandomMachine
{
public:
    explicit RandomMachine(unsigned int seed) : m_random(seed) {}

    unsigned long long Random(unsigned long long below) { return m_random() % below; }
    const std::string& AnyLink() { return machine.links[Random(machine.links.size())].name; }
    /// Now and then one that another link's name begins with.
    std::string FreshName() { return "eth" + std::to_string(++m_lastName); }

    /// Sets both counters of a link back to nothing; false, doing nothing, where that might not show.
    bool ResetCounters(const std::string& name)
    {
        constexpr unsigned long long kAnySecond = 1'000'000'000'000;  // more than passes in one
        netinfo::KernelLink& link = machine.Link(name);
        if (link.counters->received < kAnySecond || link.counters->sent < kAnySecond) return false;
        link.counters = netinfo::ByteCounters{};
        return true;
    }

    Machine machine;

private:
    std::mt19937_64 m_random;
    int m_lastName = 10;
};

/// One thing that happens to a machine's links. `World` is a RandomMachine that has a host, which can
/// `Report` the links.
template <class World>
void HappenToALink(World& world)
{
    using netinfo::Ruling;
    static constexpr std::array kRulings = {Ruling::DialUp, Ruling::Wifi, Ruling::Adsl, Ruling::Ignore};
    Machine& machine = world.machine;
    const std::string name = world.AnyLink();
    switch (world.Random(9)) {
        case 0:
            machine.SetUp(name, false);
            break;
        case 1:
        case 2:
            machine.SetUp(name, true);
            break;
        case 3:
            *machine.Link(name).carrierChanges += 2;
            break;
        case 4:
            world.ResetCounters(name);
            break;
        case 5:
            machine.Link(name).name = world.FreshName();
            break;
        case 6:
            machine.Rule(name, kRulings[world.Random(kRulings.size())]);
            world.Report();
            break;
        case 7:  // the link is unplugged, and another one plugged in
            if (machine.links.size() > 4) machine.Remove(name);
            machine.Hardware(world.FreshName()).counters =
                netinfo::ByteCounters{world.Random(5'000'000'000), 0};
            break;
        case 8:
            machine.linkError = world.Random(4) == 0 ? ENOBUFS : 0;
            break;
        default:
            break;
    }
}

}  // namespace nettest
