#include "platform/dialup/LinkMonitor.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <utility>

namespace netinfo {
namespace {

using std::chrono::milliseconds;

/// A question asked again within this time is answered from the same look.
constexpr milliseconds kSameLook{200};
/// A question asked for the first time in a heartbeat is answered from its look within this time.
constexpr milliseconds kHeldUp{1000};
/// A plug-in that has not asked for this long was not sampling: its own pauses are much shorter.
constexpr milliseconds kBreak{60'000};
/// As much of the time between two looks tells that the plug-in did not ask. A process that stood still for
/// longer, stopped or starved, kept the plug-in from asking, and what passed is still to be counted.
constexpr milliseconds kWitnessed{10'000};

}  // namespace

int LinkMonitor::ReadRows(std::vector<PresentedLink>& rows)
{
    Heartbeat& heartbeat = Current(kSameLook);
    heartbeat.listed = false;
    heartbeat.named.clear();
    heartbeat.measured.clear();
    if (heartbeat.error != 0) return heartbeat.error;

    rows.clear();
    std::copy_if(heartbeat.links.begin(), heartbeat.links.end(), std::back_inserter(rows),
                 [](const PresentedLink& link) { return !link.link.dialUp; });
    return 0;
}

int LinkMonitor::ReadConnections(std::vector<PresentedLink>& connections)
{
    const bool again = m_heartbeat && m_heartbeat->listed;
    Heartbeat& heartbeat = Current(again ? kSameLook : kHeldUp);
    heartbeat.listed = true;
    if (heartbeat.error != 0) return heartbeat.error;

    connections.clear();
    std::copy_if(heartbeat.links.begin(), heartbeat.links.end(), std::back_inserter(connections),
                 [](const PresentedLink& link) { return link.link.dialUp; });
    return 0;
}

int LinkMonitor::ReadName(unsigned int handle, PresentedLink& connection)
{
    return Find(&Heartbeat::named, handle, connection);
}

int LinkMonitor::ReadStatistics(unsigned int handle, PresentedLink& connection)
{
    return Find(&Heartbeat::measured, handle, connection);
}

int LinkMonitor::Find(std::set<unsigned int> Heartbeat::*asked, unsigned int handle,
                      PresentedLink& connection)
{
    const bool again = m_heartbeat && (*m_heartbeat.*asked).contains(handle);
    Heartbeat& heartbeat = Current(again ? kSameLook : kHeldUp);
    (heartbeat.*asked).insert(handle);
    if (heartbeat.error != 0) return heartbeat.error;

    const auto found =
        std::find_if(heartbeat.links.begin(), heartbeat.links.end(),
                     [&](const PresentedLink& l) { return l.link.dialUp && l.number == handle; });
    if (found == heartbeat.links.end()) return ENODEV;

    connection = *found;
    return 0;
}

void LinkMonitor::FailHeartbeat(int error)
{
    m_heartbeat = Heartbeat{error, m_source.Now()};
    m_unasked = {};
    m_counters.LoseSight();
    ++m_handOuts;
}

std::optional<std::vector<CountedLink>> LinkMonitor::ReadCountedLinks()
{
    if (Look(true) != 0) return std::nullopt;

    std::map<int, std::size_t> places;
    for (std::size_t i = 0; i < m_links.size(); ++i) {
        places[m_links[i].index] = i;
    }
    std::vector<CountedLink> counted;
    for (const auto& incarnation : m_counters.Incarnations()) {
        const LinkReading& link = incarnation.link;
        const std::size_t place = places.at(link.index);
        counted.push_back({link.index, link.name, incarnation.deviceName, m_links[place].alias, link.type,
                           m_verdicts[place].ruled});
    }
    return counted;
}

std::vector<LinkState> LinkMonitor::ReadAllLinks()
{
    if (Look(true) != 0) return {};

    std::map<int, std::string> deviceNames;
    for (const auto& incarnation : m_counters.Incarnations()) {
        deviceNames[incarnation.link.index] = incarnation.deviceName;
    }
    std::vector<LinkState> states;
    for (std::size_t i = 0; i < m_links.size(); ++i) {
        const KernelLink& link = m_links[i];
        const Verdict& verdict = m_verdicts[i];
        states.push_back({link.index, link.name, deviceNames[link.index], link.alias, IsUp(link),
                          verdict.type, verdict.ruled, verdict.reason});
    }
    return states;
}

HandedCounters LinkMonitor::Handed() const
{
    std::map<int, const KernelLink*> present;
    for (const KernelLink& link : m_links) {
        present[link.index] = &link;
    }
    HandedCounters handed;
    handed.number = m_handOuts;
    for (const bool dialUp : {false, true}) {
        for (const auto& incarnation : m_counters.HandedOut()) {
            const LinkReading& link = incarnation.link;
            if (link.dialUp != dialUp) continue;

            const auto found = present.find(link.index);
            const std::string alias = found == present.end() ? "" : found->second->alias;
            handed.links.push_back({link.index, link.name, incarnation.deviceName, alias, link.type,
                                    link.address, link.carrierChanges, incarnation.origin,
                                    LinkCounters::LastHanded(incarnation)});
        }
    }
    return handed;
}

/// Reads the links and brings the counters up to date; routes, device tree and rules are looked at only if
/// the links are others than before, or with `around`. Changes nothing if it fails.
int LinkMonitor::Look(bool around)
{
    const milliseconds now = m_source.Now();
    m_unasked += std::min(now - m_lastLook, kWitnessed);
    m_lastLook = now;

    std::vector<KernelLink> links;
    if (const int error = m_source.ReadLinks(links); error != 0) return error;

    if (around || !std::equal(links.begin(), links.end(), m_links.begin(), m_links.end(), SameStructure)) {
        Surroundings surroundings;
        if (const int error = m_source.ReadSurroundings(links, surroundings); error != 0) return error;
        m_verdicts = JudgeLinks(links, surroundings);
    }
    m_links = std::move(links);

    std::vector<LinkReading> readings;
    for (std::size_t i = 0; i < m_links.size(); ++i) {
        const KernelLink& link = m_links[i];
        const Verdict& verdict = m_verdicts[i];
        if (!verdict.type || !IsUp(link) || !link.counters) continue;
        readings.push_back({link.index, link.name, *verdict.type, verdict.dialUp, link.address,
                            link.carrierChanges, *link.counters});
    }
    m_counters.Update(readings, Sampling());
    return 0;
}

/// The heartbeat that a question belongs to: the one under way if its look is at most so old, else a new one.
LinkMonitor::Heartbeat& LinkMonitor::Current(milliseconds atMost)
{
    if (m_heartbeat && m_source.Now() - m_heartbeat->time <= atMost) return *m_heartbeat;

    if (const int error = Look(false); error != 0) {
        FailHeartbeat(error);
        return *m_heartbeat;
    }
    ++m_handOuts;
    m_heartbeat = Heartbeat{0, m_source.Now(), m_counters.HandOut(Sampling())};
    m_unasked = {};
    return *m_heartbeat;
}

/// The plug-in has asked for its last heartbeat without a break.
bool LinkMonitor::Sampling() const { return m_heartbeat && m_unasked <= kBreak; }

}  // namespace netinfo
