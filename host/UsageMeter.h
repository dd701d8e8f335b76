#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "host/TrafficType.h"
#include "host/UsageLedger.h"
#include "platform/dialup/CountedLinks.h"

namespace netinfo {

/// The plug-in's running total of one connection type.
struct TypeTotal
{
    bool connected = false;  ///< the plug-in samples a connection of the type
    ByteCounters bytes;      ///< since the connection was first seen
};

/// The plug-in's totals and the kernel's counters behind them, of one sample.
struct TrafficSample
{
    HandedCounters handed;
    std::array<TypeTotal, TRAFFIC_TYPES.size()> totals{};  ///< in the order of TRAFFIC_TYPES
};

/// One moment on two clocks.
struct MeterTime
{
    long long wall = 0;  ///< seconds since 1970; may be set forward and back
    long long boot = 0;  ///< nanoseconds since the machine started, those asleep included
};

/// Turns the plug-in's running totals into additions to the ledger, so that each byte is added once.
///
/// How much is added is what the plug-in's total grew by, or all of a total that began anew. To which link it
/// is added the kernel's counters behind the total say, and no link gets more than its counter grew by: the
/// byte with which a presented counter begins stays out. What a link moved while the plug-in did not count
/// it, in a pause or between two runs of the host, is added as recovered. docs/usage-ledger.md tells it with
/// numbers.
///
/// Threads: one. Ownership: nothing is kept but values. Errors: none but for memory.
class UsageMeter
{
public:
    /// `boot` identifies the run of the kernel, empty: nobody knows; `marks` are those that the last run of
    /// the host left.
    UsageMeter(std::string boot, const std::vector<LinkMark>& marks);

    /// The links that are counted now. One that is not among them is not followed any more: what it moves
    /// until it is counted again is nobody's.
    void Present(const std::vector<CountedLink>& links);

    /// The additions to the ledger since the previous sample.
    std::vector<UsageRow> Take(const TrafficSample& sample, MeterTime now);

    /// How far each link's traffic has been added: to be committed together with the additions.
    std::vector<LinkMark> Marks() const;

private:
    /// A link whose traffic is being added.
    struct Link
    {
        LinkMark mark;
        bool carrierKnown = false;  ///< the kernel tells of carrier changes
        bool resumed = false;       ///< left by the last run of the host, and not met yet
        bool followed = false;      ///< it was counted up to the mark, so what it moves from there on is ours
        bool proven = false;        ///< its type's total was seen to hold all that the links moved
    };
    /// A connection type's total, as of the previous sample.
    struct Type
    {
        bool connected = false;
        std::string name;  ///< the device that gives the total its name
        ByteCounters total;
        long long timed = 0;    ///< up to when connected seconds were added; boot clock, nanoseconds
        unsigned behind = 0;    ///< samples in a row after which the total was behind the links
        bool doubtful = false;  ///< it will not catch up: it leaves a link out
    };
    /// A link's part in one sample of its type's total.
    struct Share
    {
        const HandedLink& handed;
        Link& link;
        ByteCounters counted{};
        ByteCounters recovered{};
    };

    Link& Follow(const HandedLink& handed);
    void TakeType(std::size_t index, const TrafficSample& sample, MeterTime now, std::vector<UsageRow>& rows);
    static void Settle(Type& type, std::vector<Share>& shares, bool begun);
    static void CatchUp(Share& share);

    const std::string m_boot;
    std::map<int, Link> m_links;  ///< by the kernel's number
    std::array<Type, TRAFFIC_TYPES.size()> m_types{};
};

}  // namespace netinfo
