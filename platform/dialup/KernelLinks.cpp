#include "platform/dialup/KernelLinks.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

namespace netinfo {
namespace {

/// The head of the kernel's 64-bit link statistics. The struct grows with the kernel, its head never moved.
struct StatisticsHead
{
    std::uint64_t receivedPackets;
    std::uint64_t sentPackets;
    std::uint64_t receivedBytes;
    std::uint64_t sentBytes;
};

/// The value at the front of `bytes`, however it is aligned; nothing if the bytes do not reach.
template <class T>
std::optional<T> Peek(Bytes bytes)
{
    if (bytes.size() < sizeof(T)) return std::nullopt;

    T value;
    std::memcpy(&value, bytes.data(), sizeof(T));
    return value;
}

std::string Text(Bytes bytes)
{
    const auto end = std::find(bytes.begin(), bytes.end(), std::byte{0});
    std::string text;
    std::transform(bytes.begin(), end, std::back_inserter(text),
                   [](std::byte b) { return static_cast<char>(b); });
    return text;
}

/// Every piece of a netlink message begins at a multiple of four bytes.
constexpr std::size_t Aligned(std::size_t length) { return (length + 3) & ~std::size_t{3}; }

/// Takes the next length-prefixed piece off the front of `rest`; nothing if it is cut short.
std::optional<Bytes> TakePiece(Bytes& rest, std::size_t length, std::size_t headerLength)
{
    if (length < headerLength) return std::nullopt;
    if (length > rest.size()) return std::nullopt;

    const Bytes piece = rest.first(length);
    rest = rest.subspan(std::min(Aligned(length), rest.size()));
    return piece;
}

/// Calls `visit(type, payload)` for each attribute; false if they are not well-formed or `visit` says so.
template <class Visit>
bool VisitAttributes(Bytes attributes, Visit visit)
{
    while (!attributes.empty()) {
        const auto header = Peek<nlattr>(attributes);
        if (!header) return false;
        const auto attribute = TakePiece(attributes, header->nla_len, sizeof(nlattr));
        if (!attribute) return false;
        if (!visit(header->nla_type & NLA_TYPE_MASK, attribute->subspan(sizeof(nlattr)))) return false;
    }
    return true;
}

/// Calls `visit(type, message)` for each message of a dump, header included.
template <class Visit>
bool VisitMessages(Bytes dump, Visit visit)
{
    while (!dump.empty()) {
        const auto header = Peek<nlmsghdr>(dump);
        if (!header) return false;
        const auto message = TakePiece(dump, header->nlmsg_len, sizeof(nlmsghdr));
        if (!message) return false;
        if (!visit(header->nlmsg_type, *message)) return false;
    }
    return true;
}

/// A message of one of two types, without its header and without what follows it.
std::optional<Bytes> BodyOf(Bytes message, unsigned short type)
{
    const auto header = Peek<nlmsghdr>(message);
    if (!header || header->nlmsg_type != type) return std::nullopt;
    if (header->nlmsg_len < sizeof(nlmsghdr)) return std::nullopt;
    if (header->nlmsg_len > message.size()) return std::nullopt;  // cut short on the way

    return message.first(header->nlmsg_len).subspan(sizeof(nlmsghdr));
}

template <class T>
bool Read(Bytes payload, T& value)
{
    const auto read = Peek<T>(payload);
    if (!read) return false;

    value = *read;
    return true;
}

/// The bytes counted by a link's 64-bit statistics.
std::optional<ByteCounters> ReadStatistics(Bytes payload)
{
    const auto head = Peek<StatisticsHead>(payload);
    if (!head) return std::nullopt;
    return ByteCounters{head->receivedBytes, head->sentBytes};
}

bool ReadLinkAttribute(int type, Bytes payload, KernelLink& link)
{
    switch (type) {
        case IFLA_IFNAME:
            link.name = Text(payload);
            return true;
        case IFLA_IFALIAS:
            link.alias = Text(payload);
            return true;
        case IFLA_LINK:
            return Read(payload, link.lowerIndex);
        case IFLA_LINK_NETNSID:
            link.lowerElsewhere = true;
            return true;
        case IFLA_MASTER:
            return Read(payload, link.masterIndex);
        case IFLA_CARRIER_CHANGES:
            return Read(payload, link.carrierChanges.emplace());
        case IFLA_ADDRESS:
            if (payload.size() == link.address.size()) std::memcpy(link.address.data(), payload.data(), 6);
            return true;
        case IFLA_LINKINFO:
            return VisitAttributes(payload, [&](int infoType, Bytes info) {
                if (infoType == IFLA_INFO_KIND) link.kind = Text(info);
                return true;
            });
        case IFLA_STATS64:
            link.counters = ReadStatistics(payload);
            return link.counters.has_value();
        default:
            return true;
    }
}

/// Adds the links that a multipath route leaves through.
bool ReadHops(Bytes hops, std::vector<int>& links)
{
    while (!hops.empty()) {
        const auto hop = Peek<rtnexthop>(hops);
        if (!hop) return false;
        if (!TakePiece(hops, hop->rtnh_len, sizeof(rtnexthop))) return false;
        links.push_back(hop->rtnh_ifindex);
    }
    return true;
}

/// Adds the links of a default route; true, adding nothing, for any other route; false if it is broken.
bool ReadRoute(Bytes message, std::vector<int>& defaultLinks)
{
    const auto body = BodyOf(message, RTM_NEWROUTE);
    if (!body) return false;
    const auto route = Peek<rtmsg>(*body);
    if (!route) return false;

    unsigned int table = route->rtm_table;
    std::vector<int> links;
    const bool wellFormed = VisitAttributes(body->subspan(sizeof(rtmsg)), [&](int type, Bytes payload) {
        switch (type) {
            case RTA_TABLE:
                return Read(payload, table);
            case RTA_OIF:
                return Read(payload, links.emplace_back());
            case RTA_MULTIPATH:
                return ReadHops(payload, links);
            default:
                return true;
        }
    });
    if (!wellFormed) return false;

    const bool isDefault = route->rtm_dst_len == 0 && route->rtm_type == RTN_UNICAST &&
                           table == RT_TABLE_MAIN && (route->rtm_flags & RTM_F_CLONED) == 0 &&
                           (route->rtm_family == AF_INET || route->rtm_family == AF_INET6);
    if (isDefault) defaultLinks.insert(defaultLinks.end(), links.begin(), links.end());
    return true;
}

}  // namespace

bool IsUp(const KernelLink& link) { return (link.flags & IFF_UP) != 0 && (link.flags & IFF_LOWER_UP) != 0; }

bool SameStructure(const KernelLink& left, const KernelLink& right)
{
    return left.index == right.index && IsUp(left) == IsUp(right) &&
           (left.flags & IFF_LOOPBACK) == (right.flags & IFF_LOOPBACK) &&
           left.hardwareType == right.hardwareType && left.lowerIndex == right.lowerIndex &&
           left.lowerElsewhere == right.lowerElsewhere && left.masterIndex == right.masterIndex &&
           left.counters.has_value() == right.counters.has_value() && left.name == right.name &&
           left.kind == right.kind;
}

std::optional<KernelLink> ParseLinkMessage(Bytes message)
{
    const auto body = BodyOf(message, RTM_NEWLINK);
    if (!body) return std::nullopt;
    const auto head = Peek<ifinfomsg>(*body);
    if (!head) return std::nullopt;

    KernelLink link;
    link.index = head->ifi_index;
    link.flags = head->ifi_flags;
    link.hardwareType = head->ifi_type;
    const bool wellFormed = VisitAttributes(body->subspan(sizeof(ifinfomsg)), [&](int type, Bytes payload) {
        return ReadLinkAttribute(type, payload, link);
    });
    if (!wellFormed || link.name.empty()) return std::nullopt;

    return link;
}

std::optional<std::vector<KernelLink>> ParseLinks(Bytes dump)
{
    std::vector<KernelLink> links;
    std::vector<int> indexes;
    const bool wellFormed = VisitMessages(dump, [&](int type, Bytes message) {
        if (type != RTM_NEWLINK) return true;
        auto link = ParseLinkMessage(message);
        if (!link) return false;
        indexes.push_back(link->index);
        links.push_back(std::move(*link));
        return true;
    });
    if (!wellFormed) return std::nullopt;

    std::sort(indexes.begin(), indexes.end());
    if (std::adjacent_find(indexes.begin(), indexes.end()) != indexes.end()) return std::nullopt;

    return links;
}

std::optional<LinkStatistics> ParseStatisticsMessage(Bytes message)
{
    const auto body = BodyOf(message, RTM_NEWSTATS);
    if (!body) return std::nullopt;
    const auto head = Peek<if_stats_msg>(*body);
    if (!head) return std::nullopt;

    std::optional<ByteCounters> counters;
    const bool wellFormed =
        VisitAttributes(body->subspan(sizeof(if_stats_msg)), [&](int type, Bytes payload) {
            if (type != IFLA_STATS_LINK_64) return true;
            counters = ReadStatistics(payload);
            return counters.has_value();
        });
    if (!wellFormed || !counters) return std::nullopt;

    return LinkStatistics{static_cast<int>(head->ifindex), *counters};
}

StatisticsReader::StatisticsReader(std::span<const int> indexes, std::vector<ByteCounters>& counters)
    : m_indexes(indexes), m_counters(counters)
{
    m_counters.resize(indexes.size());
}

void StatisticsReader::Read(Bytes messages)
{
    const auto readNext = [&](int type, Bytes message) {
        if (type != RTM_NEWSTATS) return true;
        const auto link = ParseStatisticsMessage(message);
        if (!link || m_place == m_indexes.size() || link->index != m_indexes[m_place]) return false;
        m_counters[m_place++] = link->counters;
        return true;
    };
    m_inOrder = m_inOrder && VisitMessages(messages, readNext);
}

std::optional<std::vector<int>> ParseDefaultRoutes(Bytes dump)
{
    std::vector<int> links;
    const bool wellFormed = VisitMessages(
        dump, [&](int type, Bytes message) { return type != RTM_NEWROUTE || ReadRoute(message, links); });
    if (!wellFormed) return std::nullopt;

    std::sort(links.begin(), links.end());
    links.erase(std::unique(links.begin(), links.end()), links.end());
    return links;
}

}  // namespace netinfo
