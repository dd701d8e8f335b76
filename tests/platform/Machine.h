#pragma once

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <linux/if.h>
#include <linux/if_arp.h>

#include "platform/dialup/LinkMonitor.h"

namespace nettest {

/// A machine with scripted links and surroundings, and a clock that stands still until it is moved. Links are
/// up when they are added, with indexes from 1 on and all counters at 0.
class Machine : public netinfo::LinkSource
{
public:
    netinfo::KernelLink& Add(const std::string& name, unsigned short hardwareType,
                             const std::string& kind = "")
    {
        netinfo::KernelLink link;
        link.index = ++m_lastIndex;
        link.name = name;
        link.flags = IFF_UP | IFF_LOWER_UP;
        link.hardwareType = hardwareType;
        link.kind = kind;
        link.carrierChanges = 1;
        link.counters.emplace();
        links.push_back(link);
        return links.back();
    }
    netinfo::KernelLink& Loopback()
    {
        auto& link = Add("lo", ARPHRD_LOOPBACK);
        link.flags |= IFF_LOOPBACK;
        return link;
    }
    netinfo::KernelLink& Hardware(const std::string& name) { return Add(name, ARPHRD_ETHER); }
    netinfo::KernelLink& Wireless(const std::string& name)
    {
        surroundings.facts[m_lastIndex + 1].wireless = true;
        return Hardware(name);
    }
    netinfo::KernelLink& Modem(const std::string& name)
    {
        surroundings.facts[m_lastIndex + 1].wwan = true;
        return Add(name, ARPHRD_NONE);
    }
    netinfo::KernelLink& Ppp(const std::string& name) { return Add(name, ARPHRD_PPP, "ppp"); }
    /// A link of a virtual kind, on top of `lower` if that is given.
    netinfo::KernelLink& Virtual(const std::string& kind, const std::string& name,
                                 const std::string& lower = "")
    {
        const int lowerIndex = lower.empty() ? 0 : Link(lower).index;
        auto& link = Add(name, ARPHRD_ETHER, kind);
        link.lowerIndex = lowerIndex;
        return link;
    }
    /// A link with ports: a bridge, a bond, a team.
    void Master(const std::string& kind, const std::string& name, const std::vector<std::string>& ports)
    {
        const int index = Virtual(kind, name).index;
        for (const std::string& port : ports) {
            Link(port).masterIndex = index;
        }
    }
    /// A pair of virtual Ethernet ends, both on this machine.
    void Pair(const std::string& left, const std::string& right)
    {
        const int leftIndex = Virtual("veth", left).index;
        Link(left).lowerIndex = Virtual("veth", right, left).index;
        Link(right).lowerIndex = leftIndex;
    }
    /// One end of a pair whose other end is in another namespace.
    netinfo::KernelLink& HalfPair(const std::string& name)
    {
        auto& link = Virtual("veth", name);
        link.lowerIndex = 2;
        link.lowerElsewhere = true;
        return link;
    }

    netinfo::KernelLink& Link(const std::string& name)
    {
        const auto found =
            std::find_if(links.begin(), links.end(), [&](const auto& l) { return l.name == name; });
        if (found == links.end()) throw std::out_of_range(name);
        return *found;
    }
    void Remove(const std::string& name)
    {
        std::erase_if(links, [&](const auto& l) { return l.name == name; });
    }
    void SetUp(const std::string& name, bool up)
    {
        netinfo::KernelLink& link = Link(name);
        constexpr unsigned int kUp = IFF_UP | IFF_LOWER_UP;
        link.flags = up ? link.flags | kUp : link.flags & ~kUp;
        link.carrierChanges = link.carrierChanges.value_or(0) + 1;
    }
    void Transfer(const std::string& name, unsigned long long received, unsigned long long sent)
    {
        Link(name).counters->received += received;
        Link(name).counters->sent += sent;
    }
    void DefaultRoute(const std::string& name) { surroundings.defaultRouteLinks.push_back(Link(name).index); }
    void Rule(const std::string& name, netinfo::Ruling ruling) { surroundings.rules[name] = ruling; }
    void Session(const std::string& name) { surroundings.pppoeLinks.push_back(name); }
    void Wait(std::chrono::milliseconds time) { m_now += time; }

    int ReadLinks(std::vector<netinfo::KernelLink>& read) override
    {
        ++linkReads;
        m_now += linkReadTime;
        if (linkError != 0) return linkError;
        read = links;
        m_read = links;
        return 0;
    }
    /// As long as nothing but counters differs from what was read last.
    int ReadCounters(std::vector<netinfo::ByteCounters>& counters) override
    {
        if (!countersAlone) return EOPNOTSUPP;
        if (linkError != 0) return linkError;
        if (!std::equal(links.begin(), links.end(), m_read.begin(), m_read.end(), SameButCounters))
            return ESTALE;
        ++linkReads;
        ++counterReads;
        m_now += linkReadTime;
        counters.clear();
        for (const netinfo::KernelLink& link : links) {
            counters.push_back(link.counters.value_or(netinfo::ByteCounters{}));
        }
        return 0;
    }
    int ReadSurroundings(const std::vector<netinfo::KernelLink>& /*links*/,
                         netinfo::Surroundings& read) override
    {
        ++surroundingReads;
        if (surroundingError != 0) return surroundingError;
        read = surroundings;
        return 0;
    }
    std::chrono::milliseconds Now() override { return m_now; }

    std::vector<netinfo::KernelLink> links;
    netinfo::Surroundings surroundings;
    std::chrono::milliseconds linkReadTime{};  ///< what a read of links takes
    int linkError = 0;                         ///< what the next reads of links fail with; 0: they do not
    int surroundingError = 0;
    bool countersAlone = true;  ///< they can be read without the rest
    int linkReads = 0;          ///< with or without the rest
    int counterReads = 0;       ///< without
    int surroundingReads = 0;

private:
    static bool SameButCounters(const netinfo::KernelLink& left, const netinfo::KernelLink& right)
    {
        return netinfo::SameStructure(left, right) && left.carrierChanges == right.carrierChanges &&
               left.alias == right.alias && left.address == right.address;
    }

    std::vector<netinfo::KernelLink> m_read;
    int m_lastIndex = 0;
    std::chrono::milliseconds m_now{1'000'000};
};

}  // namespace nettest
