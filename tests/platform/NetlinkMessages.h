#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include "platform/dialup/KernelLinks.h"

namespace nettest {

using Buffer = std::vector<std::byte>;

template <class T>
void Append(Buffer& buffer, const T& value)
{
    const auto* const bytes = reinterpret_cast<const std::byte*>(&value);
    buffer.insert(buffer.end(), bytes, bytes + sizeof(T));
}

inline void Align(Buffer& buffer) { buffer.resize((buffer.size() + 3) / 4 * 4); }

inline Buffer BytesOf(const std::string& text)
{
    Buffer bytes;
    for (const char c : text) {
        bytes.push_back(static_cast<std::byte>(c));
    }
    return bytes;
}

/// The text as the kernel sends it, with its terminator.
inline Buffer Terminated(const std::string& text)
{
    Buffer bytes = BytesOf(text);
    bytes.push_back(std::byte{0});
    return bytes;
}

template <class T>
Buffer BytesOf(const T& value)
{
    Buffer bytes;
    Append(bytes, value);
    return bytes;
}

inline Buffer Attribute(unsigned short type, const Buffer& payload)
{
    Buffer attribute;
    Append(attribute, nlattr{static_cast<std::uint16_t>(sizeof(nlattr) + payload.size()), type});
    attribute.insert(attribute.end(), payload.begin(), payload.end());
    Align(attribute);
    return attribute;
}

/// One message: a header, the head of its type, attributes.
template <class Head>
Buffer Message(unsigned short type, const Head& head, const std::vector<Buffer>& attributes)
{
    Buffer body = BytesOf(head);
    Align(body);
    for (const Buffer& attribute : attributes) {
        body.insert(body.end(), attribute.begin(), attribute.end());
    }
    Buffer message;
    Append(message, nlmsghdr{static_cast<std::uint32_t>(sizeof(nlmsghdr) + body.size()), type, 0, 1, 1});
    message.insert(message.end(), body.begin(), body.end());
    return message;
}

/// The kernel's statistics of a link, the struct as it was in the first kernels that had it.
inline Buffer Statistics(const netinfo::ByteCounters& counters)
{
    Buffer statistics;
    Append(statistics, std::uint64_t{11});  // packets
    Append(statistics, std::uint64_t{12});
    Append(statistics, std::uint64_t{counters.received});
    Append(statistics, std::uint64_t{counters.sent});
    for (int i = 0; i < 19; ++i) {
        Append(statistics, std::uint64_t{0xEEEE});
    }
    return statistics;
}

inline ifinfomsg LinkHead(const netinfo::KernelLink& link)
{
    ifinfomsg head{};
    head.ifi_index = link.index;
    head.ifi_flags = link.flags;
    head.ifi_type = link.hardwareType;
    return head;
}

/// A message about a link, with the attributes that the kernel sends for it.
inline Buffer LinkMessage(const netinfo::KernelLink& link)
{
    std::vector<Buffer> attributes = {Attribute(IFLA_IFNAME, Terminated(link.name)),
                                      Attribute(IFLA_TXQLEN, BytesOf(1000U)),
                                      Attribute(IFLA_ADDRESS, BytesOf(link.address))};
    if (!link.alias.empty()) attributes.push_back(Attribute(IFLA_IFALIAS, Terminated(link.alias)));
    if (link.lowerIndex != 0) attributes.push_back(Attribute(IFLA_LINK, BytesOf(link.lowerIndex)));
    if (link.lowerElsewhere) attributes.push_back(Attribute(IFLA_LINK_NETNSID, BytesOf(0)));
    if (link.masterIndex != 0) attributes.push_back(Attribute(IFLA_MASTER, BytesOf(link.masterIndex)));
    if (!link.kind.empty()) {
        const Buffer kind = Attribute(IFLA_INFO_KIND, Terminated(link.kind));
        attributes.push_back(Attribute(IFLA_LINKINFO | NLA_F_NESTED, kind));
    }
    if (link.carrierChanges) {
        attributes.push_back(Attribute(IFLA_CARRIER_CHANGES, BytesOf(*link.carrierChanges)));
    }
    if (link.counters) attributes.push_back(Attribute(IFLA_STATS64, Statistics(*link.counters)));
    return Message(RTM_NEWLINK, LinkHead(link), attributes);
}

/// A message about a link's statistics, with the attributes that are given.
inline Buffer StatisticsMessage(int index, const std::vector<Buffer>& attributes)
{
    if_stats_msg head{};
    head.ifindex = static_cast<std::uint32_t>(index);
    head.filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
    return Message(RTM_NEWSTATS, head, attributes);
}
inline Buffer StatisticsMessage(int index, const netinfo::ByteCounters& counters)
{
    return StatisticsMessage(index, {Attribute(IFLA_STATS_LINK_64, Statistics(counters))});
}

inline Buffer Joined(const std::vector<Buffer>& messages)
{
    Buffer dump;
    for (const Buffer& message : messages) {
        dump.insert(dump.end(), message.begin(), message.end());
    }
    return dump;
}

}  // namespace nettest
