#include "platform/dialup/LinkMonitor.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
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

/// True if `number` was in already.
bool Insert(std::vector<unsigned int>& ascending, unsigned int number)
{
    const auto place = std::lower_bound(ascending.begin(), ascending.end(), number);
    if (place != ascending.end() && *place == number) return true;
    ascending.insert(place, number);
    return false;
}

}  // namespace

int LinkMonitor::ReadRows(PresentedLinks& rows)
{
    Heartbeat& heartbeat = Current(kSameLook);
    heartbeat.listed = false;
    heartbeat.named.clear();
    heartbeat.measured.clear();
    if (heartbeat.error != 0) return heartbeat.error;

    rows = Answer(heartbeat, false);
    return 0;
}

int LinkMonitor::ReadConnections(PresentedLinks& connections)
{
    const bool again = m_heartbeat.begun && m_heartbeat.listed;
    Heartbeat& heartbeat = Current(again ? kSameLook : kHeldUp);
    heartbeat.listed = true;
    if (heartbeat.error != 0) return heartbeat.error;

    connections = Answer(heartbeat, true);
    return 0;
}

PresentedLinks LinkMonitor::Answer(const Heartbeat& heartbeat, bool dialUp)
{
    m_answer.clear();
    for (const PresentedLink& link : heartbeat.links) {
        if (link.link.dialUp == dialUp) m_answer.push_back(&link);
    }
    return m_answer;
}

int LinkMonitor::ReadName(unsigned int handle, const PresentedLink*& connection)
{
    return Find(&Heartbeat::named, handle, connection);
}

int LinkMonitor::ReadStatistics(unsigned int handle, const PresentedLink*& connection)
{
    return Find(&Heartbeat::measured, handle, connection);
}

int LinkMonitor::Find(Handles Heartbeat::*asked, unsigned int handle, const PresentedLink*& connection)
{
    const bool again = m_heartbeat.begun &&
                       std::binary_search((m_heartbeat.*asked).begin(), (m_heartbeat.*asked).end(), handle);
    Heartbeat& heartbeat = Current(again ? kSameLook : kHeldUp);
    Insert(heartbeat.*asked, handle);
    if (heartbeat.error != 0) return heartbeat.error;

    const auto found =
        std::find_if(heartbeat.links.begin(), heartbeat.links.end(),
                     [&](const PresentedLink& l) { return l.link.dialUp && l.number == handle; });
    if (found == heartbeat.links.end()) return ENODEV;

    connection = &*found;
    return 0;
}

void LinkMonitor::FailHeartbeat(int error)
{
    Begin(error, {});
    m_counters.LoseSight();
}

/// Begins the heartbeat of a look that is over.
void LinkMonitor::Begin(int error, std::span<const PresentedLink> links)
{
    m_heartbeat.begun = true;
    m_heartbeat.error = error;
    m_heartbeat.time = m_source.Now();
    m_heartbeat.links = links;
    m_heartbeat.listed = false;
    m_heartbeat.named.clear();
    m_heartbeat.measured.clear();
    m_unasked = {};
    ++m_handOuts;
}

std::optional<std::vector<CountedLink>> LinkMonitor::ReadCountedLinks()
{
    if (Look(true) != 0) return std::nullopt;

    std::vector<CountedLink> counted;
    for (const auto& incarnation : m_counters.Incarnations()) {
        const LinkReading& link = incarnation.link;
        counted.push_back({link.index, link.name, incarnation.deviceName, m_links[link.place].alias,
                           link.type, m_verdicts[link.place].ruled});
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
        for (const PresentedLink& presented : m_counters.HandedOut()) {
            const LinkReading& link = presented.link;
            if (link.dialUp != dialUp) continue;

            const auto found = present.find(link.index);
            const std::string alias = found == present.end() ? "" : found->second->alias;
            handed.links.push_back({link.index, link.name, presented.deviceName, alias, link.type,
                                    link.address, link.carrierChanges, presented.origin,
                                    LinkCounters::LastHanded(presented.origin, presented.counters)});
        }
    }
    return handed;
}

/// Brings the counters up to date; routes, device tree and rules are looked at only if the links are others
/// than before, or with `around`. Changes nothing that counts if it fails.
int LinkMonitor::Look(bool around)
{
    const milliseconds now = m_source.Now();
    m_unasked += std::min(now - m_lastLook, kWitnessed);
    m_lastLook = now;

    if (!around && LookAtCounters()) return 0;
    return LookAtLinks(around);
}

/// False if that is not enough.
bool LinkMonitor::LookAtCounters()
{
    if (!m_current) return false;
    if (m_source.ReadCounters(m_raw) != 0 || m_raw.size() != m_links.size()) return false;
    return m_counters.Advance(m_raw);
}

int LinkMonitor::LookAtLinks(bool around)
{
    m_current = false;
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
                            link.carrierChanges, i, *link.counters});
    }
    m_counters.Update(readings, Sampling());
    m_current = true;
    return 0;
}

/// The heartbeat that a question belongs to: the one under way if its look is at most so old, else a new one.
LinkMonitor::Heartbeat& LinkMonitor::Current(milliseconds atMost)
{
    if (m_heartbeat.begun && m_source.Now() - m_heartbeat.time <= atMost) return m_heartbeat;

    if (const int error = Look(false); error != 0) {
        FailHeartbeat(error);
        return m_heartbeat;
    }
    Begin(0, m_counters.HandOut(Sampling()));
    return m_heartbeat;
}

/// The plug-in has asked for its last heartbeat without a break.
bool LinkMonitor::Sampling() const { return m_heartbeat.begun && m_unasked <= kBreak; }

}  // namespace netinfo
