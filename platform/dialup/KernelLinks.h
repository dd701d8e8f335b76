#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/dialup/ByteCounters.h"

/// What the kernel says about the machine's links and routes, read from the bytes of rtnetlink messages.
///
/// Threads: pure functions, any thread.
/// Errors:  bytes that are not whole, well-formed messages give nothing; nothing throws but for memory. A
///          longer or a newer message is read for the leading fields that have always been there.
namespace netinfo {

using Bytes = std::span<const std::byte>;
using HardwareAddress = std::array<unsigned char, 6>;

/// One link as the kernel describes it.
struct KernelLink
{
    int index = 0;
    std::string name;
    std::string alias;                           ///< an administrator's text; may be empty
    unsigned int flags = 0;                      ///< IFF_*
    unsigned short hardwareType = 0;             ///< ARPHRD_*
    std::string kind;                            ///< "bridge", "vlan", "ppp" ...; empty for hardware
    int lowerIndex = 0;                          ///< the link below, or the peer; 0: none is named
    bool lowerElsewhere = false;                 ///< that link is in another network namespace
    int masterIndex = 0;                         ///< the bridge, bond ... this link is a port of; 0: none
    HardwareAddress address{};                   ///< zeros if it has none of six bytes
    std::optional<unsigned int> carrierChanges;  ///< how often the carrier came or went
    std::optional<ByteCounters> counters;        ///< since the link was made, or since its driver likes
};

/// Up, and with a carrier.
bool IsUp(const KernelLink& link);

/// True if nothing differs but what changes all the time or does not matter for which links are counted:
/// counters, carrier changes, alias, address.
bool SameStructure(const KernelLink& left, const KernelLink& right);

/// One message about a new or present link.
std::optional<KernelLink> ParseLinkMessage(Bytes message);

/// All links of a dump, in its order. Messages of other types are passed over. Nothing if one message is
/// broken, or if two speak of one link: such a dump was not of one moment.
std::optional<std::vector<KernelLink>> ParseLinks(Bytes dump);

/// What a message of a statistics dump says of one link.
struct LinkStatistics
{
    int index = 0;
    ByteCounters counters;
};

/// One message of a statistics dump; nothing, too, if it holds no 64-bit link statistics.
std::optional<LinkStatistics> ParseStatisticsMessage(Bytes message);

/// Reads a statistics dump, part by part, that speaks of exactly the links of an earlier link dump, in its
/// order.
///
/// Ownership: indexes and counters are borrowed. What the counters hold before the dump `IsWhole` says
/// nothing.
class StatisticsReader
{
public:
    /// `counters` get a pair for each of `indexes`.
    StatisticsReader(std::span<const int> indexes, std::vector<ByteCounters>& counters);

    /// Reads whole messages. Once one is broken or out of order the dump is not going to be whole.
    void Read(Bytes messages);
    /// Every link has been read, each once and nothing else.
    bool IsWhole() const { return m_inOrder && m_place == m_indexes.size(); }

private:
    std::span<const int> m_indexes;
    std::vector<ByteCounters>& m_counters;
    std::size_t m_place = 0;  ///< of the next link
    bool m_inOrder = true;
};

/// The indexes of the links that a default route of a route dump leaves through: unicast, in the main table,
/// IPv4 or IPv6, every hop of a multipath route. Ascending, each once.
std::optional<std::vector<int>> ParseDefaultRoutes(Bytes dump);

}  // namespace netinfo
