#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <vector>

#include "platform/dialup/CountedLinks.h"
#include "platform/dialup/KernelLinks.h"
#include "platform/dialup/LinkCounters.h"
#include "platform/dialup/LinkRules.h"

namespace netinfo {

/// Where links, what surrounds them, and the time come from.
///
/// Errors: a read returns 0, or an error number of the system and leaves its result as it was.
class LinkSource
{
public:
    virtual ~LinkSource() = default;

    virtual int ReadLinks(std::vector<KernelLink>& links) = 0;
    /// The counters alone of the links that were read last, in their order; ESTALE if anything else about
    /// links has changed since, or cannot be told to be as it was. After an error `counters` says nothing.
    virtual int ReadCounters(std::vector<ByteCounters>& counters) = 0;
    virtual int ReadSurroundings(const std::vector<KernelLink>& links, Surroundings& surroundings) = 0;
    virtual std::chrono::milliseconds Now() = 0;  ///< of a clock that is never set
};

/// Some of the links that were handed out. Borrowed until the next question.
using PresentedLinks = std::span<const PresentedLink* const>;

/// Reads the links, judges and counts them, and answers the plug-in's and the host's questions about them.
///
/// One look at the kernel serves one heartbeat of the plug-in: the interface table opens it, and the dial-up
/// list and each connection's name and counters come from the same look, however the heartbeat is held up
/// and whatever the host reads meanwhile. A sum of rows and dial-up connections is thus of one moment.
///
/// A heartbeat asks for the counters alone while nothing else about the links changes, and allocates nothing
/// then.
///
/// Threads:   none of its own; the caller serialises.
/// Ownership: the source is borrowed.
/// Errors:    results are 0 or an error number of the system; a look that failed fails the whole heartbeat.
class LinkMonitor
{
public:
    explicit LinkMonitor(LinkSource& source) : m_source(source) {}

    /// The interface table's rows. Begins a heartbeat: what the last one saw is used again only if it is not
    /// older than 200 ms.
    int ReadRows(PresentedLinks& rows);
    /// The dial-up connections.
    int ReadConnections(PresentedLinks& connections);
    /// One connection, by its handle; ENODEV if there is none. Its name and its counters are two questions.
    /// Borrowed until the next question.
    int ReadName(unsigned int handle, const PresentedLink*& connection);
    int ReadStatistics(unsigned int handle, const PresentedLink*& connection);
    /// An answer got lost on its way to the plug-in: the heartbeat is over, as if the kernel had said
    /// `error`.
    void FailHeartbeat(int error);

    /// The host's questions: a fresh look, at routes, device tree and rules too, that hands out nothing.
    std::optional<std::vector<CountedLink>> ReadCountedLinks();
    std::vector<LinkState> ReadAllLinks();

    /// What the last heartbeat handed to the plug-in.
    HandedCounters Handed() const;

    /// Changes whenever a device name comes or goes.
    unsigned long long Generation() const { return m_counters.Generation(); }

private:
    using Handles = std::vector<unsigned int>;  ///< ascending

    /// What one look gave the plug-in.
    struct Heartbeat
    {
        bool begun = false;  ///< false: the plug-in has never asked
        int error = 0;
        std::chrono::milliseconds time{};  ///< when the look was over; the kernel may let one wait
        std::span<const PresentedLink> links;
        bool listed = false;  ///< the connections were asked for
        Handles named;        ///< handles whose name was asked for
        Handles measured;     ///< handles whose counters were asked for
    };

    bool Sampling() const;
    int Look(bool around);
    bool LookAtCounters();
    int LookAtLinks(bool around);
    Heartbeat& Current(std::chrono::milliseconds atMost);
    void Begin(int error, std::span<const PresentedLink> links);
    PresentedLinks Answer(const Heartbeat& heartbeat, bool dialUp);
    int Find(Handles Heartbeat::*asked, unsigned int handle, const PresentedLink*& connection);

    LinkSource& m_source;
    std::vector<KernelLink> m_links;
    std::vector<Verdict> m_verdicts;  ///< one for each link
    bool m_current = false;           ///< m_links and m_counters are of the links that the source read last
    std::vector<ByteCounters> m_raw;  ///< the counters that were read last, if they were read alone
    LinkCounters m_counters;
    Heartbeat m_heartbeat;
    std::vector<const PresentedLink*> m_answer;  ///< to the question for rows or connections
    unsigned long long m_handOuts = 0;           ///< those that failed, too
    std::chrono::milliseconds m_lastLook{};      ///< when; also if it failed
    std::chrono::milliseconds m_unasked{};       ///< how long the plug-in has not asked while others looked
};

}  // namespace netinfo
