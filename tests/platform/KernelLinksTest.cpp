#include "platform/dialup/KernelLinks.h"

#include <random>

#include <gmock/gmock.h>
#include <linux/if.h>
#include <linux/if_arp.h>

#include "tests/platform/NetlinkMessages.h"

namespace {

using namespace nettest;
using netinfo::ByteCounters;
using netinfo::IsUp;
using netinfo::KernelLink;
using netinfo::ParseDefaultRoutes;
using netinfo::ParseLinkMessage;
using netinfo::ParseLinks;
using netinfo::ParseStatisticsMessage;
using netinfo::SameStructure;
using netinfo::StatisticsReader;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

/// A link with something in every field.
KernelLink FullLink()
{
    KernelLink link;
    link.index = 7;
    link.name = "eth0.100";
    link.alias = "the flat's line";
    link.flags = IFF_UP | IFF_LOWER_UP;
    link.hardwareType = ARPHRD_ETHER;
    link.kind = "vlan";
    link.lowerIndex = 3;
    link.lowerElsewhere = true;
    link.masterIndex = 9;
    link.address = {0x02, 0x42, 0xAC, 0x11, 0x00, 0xFE};
    link.carrierChanges = 5;
    link.counters = ByteCounters{7'000'000'000, 300};
    return link;
}

Buffer CutTo(const Buffer& whole, std::size_t length)
{
    return {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)};
}

/// The cut message with a header that claims nothing more than what is there.
Buffer ShortenedTo(const Buffer& whole, std::size_t length)
{
    Buffer message = CutTo(whole, length);
    const auto claimed = static_cast<std::uint32_t>(length);
    std::memcpy(message.data(), &claimed, sizeof(claimed));
    return message;
}

struct Route
{
    unsigned char family = AF_INET;
    unsigned char destinationLength = 0;
    unsigned char table = RT_TABLE_MAIN;
    unsigned char type = RTN_UNICAST;
    unsigned int flags = 0;
    std::vector<Buffer> attributes{};
};

Buffer RouteMessage(const Route& route)
{
    rtmsg head{};
    head.rtm_family = route.family;
    head.rtm_dst_len = route.destinationLength;
    head.rtm_table = route.table;
    head.rtm_type = route.type;
    head.rtm_flags = route.flags;
    return Message(RTM_NEWROUTE, head, route.attributes);
}

Buffer Through(int link) { return Attribute(RTA_OIF, BytesOf(link)); }

Buffer ThroughEach(const std::vector<int>& links)
{
    Buffer hops;
    for (const int link : links) {
        const Buffer gateway = Attribute(RTA_GATEWAY, BytesOf(0x0100000AU));
        rtnexthop hop{};
        hop.rtnh_len = static_cast<unsigned short>(sizeof(hop) + gateway.size());
        hop.rtnh_ifindex = link;
        Append(hops, hop);
        hops.insert(hops.end(), gateway.begin(), gateway.end());
    }
    return Attribute(RTA_MULTIPATH, hops);
}

TEST(ParseLinkMessage, ReadsEveryFieldThatMatters)
{
    const auto link = ParseLinkMessage(LinkMessage(FullLink()));

    ASSERT_TRUE(link);
    const KernelLink expected = FullLink();
    EXPECT_EQ(expected.index, link->index);
    EXPECT_EQ(expected.name, link->name);
    EXPECT_EQ(expected.alias, link->alias);
    EXPECT_EQ(expected.flags, link->flags);
    EXPECT_EQ(expected.hardwareType, link->hardwareType);
    EXPECT_EQ(expected.kind, link->kind);
    EXPECT_EQ(expected.lowerIndex, link->lowerIndex);
    EXPECT_EQ(expected.lowerElsewhere, link->lowerElsewhere);
    EXPECT_EQ(expected.masterIndex, link->masterIndex);
    EXPECT_EQ(expected.address, link->address);
    EXPECT_EQ(expected.carrierChanges, link->carrierChanges);
    EXPECT_EQ(expected.counters, link->counters);
}

TEST(ParseLinkMessage, LeavesWhatTheKernelDoesNotSendAtNothing)
{
    KernelLink bare;
    bare.index = 1;
    bare.name = "eth0";

    const auto link = ParseLinkMessage(
        Message(RTM_NEWLINK, LinkHead(bare), {Attribute(IFLA_IFNAME, Terminated(bare.name))}));

    ASSERT_TRUE(link);
    EXPECT_EQ("", link->alias);
    EXPECT_EQ("", link->kind);
    EXPECT_EQ(0, link->lowerIndex);
    EXPECT_FALSE(link->lowerElsewhere);
    EXPECT_EQ(0, link->masterIndex);
    EXPECT_EQ(netinfo::HardwareAddress{}, link->address);
    EXPECT_FALSE(link->carrierChanges);
    EXPECT_FALSE(link->counters);
}

TEST(ParseLinkMessage, RejectsEveryTruncationOfAValidMessage)
{
    const Buffer whole = LinkMessage(FullLink());
    ASSERT_TRUE(ParseLinkMessage(whole));

    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_FALSE(ParseLinkMessage(CutTo(whole, length)));
        EXPECT_FALSE(length != 0 && ParseLinks(CutTo(whole, length)));
    }
}

TEST(ParseLinkMessage, ReadsNothingWrongFromAMessageThatWasSentShorter)
{
    const Buffer whole = LinkMessage(FullLink());

    for (std::size_t length = sizeof(nlmsghdr); length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        const auto link = ParseLinkMessage(ShortenedTo(whole, length));
        if (!link) continue;

        // Whole attributes may be missing, none may be half read.
        EXPECT_EQ(FullLink().name, link->name);
        EXPECT_TRUE(link->alias.empty() || link->alias == FullLink().alias);
        EXPECT_TRUE(link->kind.empty() || link->kind == FullLink().kind);
        EXPECT_TRUE(!link->counters || link->counters == FullLink().counters);
    }
}

TEST(ParseLinkMessage, AcceptsTheStatisticsOfAnyKernel)
{
    const Buffer statistics = Statistics({7'000, 300});
    for (std::size_t length = 0; length <= statistics.size() + 64; length += 8) {
        SCOPED_TRACE(length);
        Buffer sent = statistics;
        sent.resize(length);
        const Buffer message =
            Message(RTM_NEWLINK, LinkHead(FullLink()),
                    {Attribute(IFLA_IFNAME, Terminated("eth0")), Attribute(IFLA_STATS64, sent)});

        const auto link = ParseLinkMessage(message);

        EXPECT_EQ(length >= 32, link.has_value());
        if (link) {
            EXPECT_EQ((ByteCounters{7'000, 300}), link->counters);
        }
    }
}

TEST(ParseLinkMessage, RejectsAnAttributeThatReachesBeyondTheMessage)
{
    Buffer name = Attribute(IFLA_IFNAME, Terminated("eth0"));
    const std::uint16_t beyond = 200;
    std::memcpy(name.data(), &beyond, sizeof(beyond));

    EXPECT_FALSE(ParseLinkMessage(Message(RTM_NEWLINK, LinkHead(FullLink()), {name})));
}

TEST(ParseLinkMessage, RejectsAnAttributeShorterThanItsOwnHeader)
{
    for (std::size_t length = 0; length < sizeof(nlattr); ++length) {
        const auto claimed = static_cast<std::uint16_t>(length);
        Buffer name = Attribute(IFLA_IFNAME, Terminated("eth0"));
        std::memcpy(name.data(), &claimed, sizeof(claimed));

        EXPECT_FALSE(ParseLinkMessage(Message(RTM_NEWLINK, LinkHead(FullLink()), {name})));
    }
}

TEST(ParseLinkMessage, RejectsALinkWithoutAName)
{
    EXPECT_FALSE(ParseLinkMessage(Message(RTM_NEWLINK, LinkHead(FullLink()), {})));
    EXPECT_FALSE(ParseLinkMessage(
        Message(RTM_NEWLINK, LinkHead(FullLink()), {Attribute(IFLA_IFNAME, Terminated(""))})));
}

TEST(ParseLinkMessage, ReadsANameThatIsNotTerminated)
{
    const auto link = ParseLinkMessage(
        Message(RTM_NEWLINK, LinkHead(FullLink()), {Attribute(IFLA_IFNAME, BytesOf(std::string("eth0")))}));

    ASSERT_TRUE(link);
    EXPECT_EQ("eth0", link->name);
}

TEST(ParseLinkMessage, HasNoAddressWhereItIsNotOfSixBytes)
{
    for (const std::size_t length : {0U, 4U, 8U, 20U}) {
        const auto link = ParseLinkMessage(Message(RTM_NEWLINK, LinkHead(FullLink()),
                                                   {Attribute(IFLA_IFNAME, Terminated("ib0")),
                                                    Attribute(IFLA_ADDRESS, Buffer(length, std::byte{9}))}));

        ASSERT_TRUE(link);
        EXPECT_EQ(netinfo::HardwareAddress{}, link->address);
    }
}

TEST(ParseLinkMessage, RejectsMessagesOfOtherTypes)
{
    for (const int type : std::vector<int>{RTM_DELLINK, RTM_NEWADDR, RTM_NEWROUTE, NLMSG_DONE, NLMSG_ERROR}) {
        EXPECT_FALSE(ParseLinkMessage(Message(static_cast<unsigned short>(type), LinkHead(FullLink()),
                                              {Attribute(IFLA_IFNAME, Terminated("eth0"))})));
    }
}

TEST(ParseLinks, ReadsAllLinksInOrder)
{
    KernelLink first = FullLink();
    KernelLink second = FullLink();
    second.index = 4;
    second.name = "wlan0";

    const auto links = ParseLinks(Joined({LinkMessage(first), LinkMessage(second)}));

    ASSERT_TRUE(links);
    ASSERT_EQ(2U, links->size());
    EXPECT_EQ("eth0.100", links->at(0).name);
    EXPECT_EQ("wlan0", links->at(1).name);
}

TEST(ParseLinks, PassesOverMessagesOfOtherTypes)
{
    const Buffer other = Message(NLMSG_NOOP, LinkHead(FullLink()), {});

    const auto links = ParseLinks(Joined({other, LinkMessage(FullLink()), other}));

    ASSERT_TRUE(links);
    EXPECT_EQ(1U, links->size());
}

TEST(ParseLinks, FindsNoLinkInNoBytes) { EXPECT_THAT(ParseLinks({}), Optional(IsEmpty())); }

TEST(ParseLinks, RejectsADumpWithOneBrokenLink)
{
    const Buffer nameless = Message(RTM_NEWLINK, LinkHead(FullLink()), {});

    EXPECT_FALSE(ParseLinks(Joined({LinkMessage(FullLink()), nameless})));
}

TEST(ParseLinks, RejectsADumpThatSpeaksTwiceOfALink)
{
    EXPECT_FALSE(ParseLinks(Joined({LinkMessage(FullLink()), LinkMessage(FullLink())})));
}

TEST(ParseLinks, RejectsAMessageShorterThanItsOwnHeader)
{
    for (std::uint32_t length = 0; length < sizeof(nlmsghdr); ++length) {
        Buffer message = LinkMessage(FullLink());
        std::memcpy(message.data(), &length, sizeof(length));

        EXPECT_FALSE(ParseLinks(message));
        EXPECT_FALSE(ParseLinkMessage(message));
        EXPECT_FALSE(ParseDefaultRoutes(message));
    }
}

TEST(ParseLinks, SurvivesEveryFlippedByteAndAnyNoise)
{
    std::mt19937 random(4711);
    const Buffer whole = Joined({LinkMessage(FullLink()), RouteMessage({.attributes = {ThroughEach({1, 2})}}),
                                 StatisticsMessage(2, {20, 2})});
    const std::vector indexes{2};
    std::vector<ByteCounters> counters;
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (int i = 0; i < 8; ++i) {
            Buffer flipped = whole;
            flipped[place] ^= static_cast<std::byte>(1U << i);
            ParseLinks(flipped);
            ParseDefaultRoutes(flipped);
            StatisticsReader(indexes, counters).Read(flipped);
        }
    }
    for (int round = 0; round < 2'000; ++round) {
        Buffer noise(random() % 200);
        for (std::byte& byte : noise) {
            byte = static_cast<std::byte>(random() % 5 == 0 ? random() : random() % 40);
        }
        ParseLinks(noise);
        ParseDefaultRoutes(noise);
        StatisticsReader(indexes, counters).Read(noise);
    }
}

TEST(ParseStatisticsMessage, ReadsTheLinkAndItsBytes)
{
    const auto statistics = ParseStatisticsMessage(StatisticsMessage(7, {7'000'000'000, 300}));

    ASSERT_TRUE(statistics);
    EXPECT_EQ(7, statistics->index);
    EXPECT_EQ((ByteCounters{7'000'000'000, 300}), statistics->counters);
}

TEST(ParseStatisticsMessage, PassesOverStatisticsOfOtherKinds)
{
    const auto statistics = ParseStatisticsMessage(StatisticsMessage(
        7, {Attribute(IFLA_STATS_AF_SPEC, Buffer(8)), Attribute(IFLA_STATS_LINK_64, Statistics({7'000, 300})),
            Attribute(IFLA_STATS_LINK_XSTATS, Buffer(40))}));

    ASSERT_TRUE(statistics);
    EXPECT_EQ((ByteCounters{7'000, 300}), statistics->counters);
}

TEST(ParseStatisticsMessage, RejectsEveryTruncationOfAValidMessage)
{
    const Buffer whole = StatisticsMessage(7, {7'000, 300});
    ASSERT_TRUE(ParseStatisticsMessage(whole));

    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_FALSE(ParseStatisticsMessage(CutTo(whole, length)));
        if (length >= sizeof(nlmsghdr)) {
            EXPECT_FALSE(ParseStatisticsMessage(ShortenedTo(whole, length)));
        }
    }
}

TEST(ParseStatisticsMessage, AcceptsTheStatisticsOfAnyKernel)
{
    const Buffer statistics = Statistics({7'000, 300});
    for (std::size_t length = 0; length <= statistics.size() + 64; length += 8) {
        SCOPED_TRACE(length);
        Buffer sent = statistics;
        sent.resize(length);

        const auto read = ParseStatisticsMessage(StatisticsMessage(7, {Attribute(IFLA_STATS_LINK_64, sent)}));

        EXPECT_EQ(length >= 32, read.has_value());
        if (read) {
            EXPECT_EQ((ByteCounters{7'000, 300}), read->counters);
        }
    }
}

TEST(ParseStatisticsMessage, RejectsALinkWithoutCounters)
{
    EXPECT_FALSE(ParseStatisticsMessage(StatisticsMessage(7, std::vector<Buffer>{})));
}

TEST(ParseStatisticsMessage, RejectsMessagesOfOtherTypes)
{
    EXPECT_FALSE(ParseStatisticsMessage(LinkMessage(FullLink())));
    EXPECT_FALSE(ParseLinkMessage(StatisticsMessage(7, {7'000, 300})));
}

/// The counters that a dump, given in parts, has for links 2 and 5, as "received sent ..."; or "no".
std::string CountersOfLinks2And5(const std::vector<Buffer>& parts)
{
    const std::vector indexes{2, 5};
    std::vector<ByteCounters> counters(9);
    StatisticsReader reader(indexes, counters);
    for (const Buffer& part : parts) {
        reader.Read(part);
    }
    if (!reader.IsWhole()) return "no";
    std::string text;
    for (const ByteCounters& link : counters) {
        text += std::to_string(link.received) + " " + std::to_string(link.sent) + " ";
    }
    return text;
}

TEST(StatisticsReader, TakesOnlyADumpOfExactlyTheKnownLinksInTheirOrder)
{
    const Buffer second = StatisticsMessage(2, {20, 2});
    const Buffer third = StatisticsMessage(3, {30, 3});
    const Buffer fifth = StatisticsMessage(5, {50, 5});
    const Buffer done = Message(NLMSG_DONE, 0, {});

    EXPECT_EQ("20 2 50 5 ", CountersOfLinks2And5({Joined({second, fifth, done})}));
    EXPECT_EQ("20 2 50 5 ", CountersOfLinks2And5({second, fifth, done}));
    EXPECT_EQ("no", CountersOfLinks2And5({})) << "both have gone";
    EXPECT_EQ("no", CountersOfLinks2And5({second})) << "one has gone";
    EXPECT_EQ("no", CountersOfLinks2And5({second, third, fifth})) << "one has come";
    EXPECT_EQ("no", CountersOfLinks2And5({second, fifth, fifth}));
    EXPECT_EQ("no", CountersOfLinks2And5({fifth, second}));
    EXPECT_EQ("no", CountersOfLinks2And5({fifth, second, fifth}));
    EXPECT_EQ("no", CountersOfLinks2And5({second, StatisticsMessage(5, std::vector<Buffer>{})}));
}

TEST(StatisticsReader, TakesNoDumpThatWasCutShort)
{
    const Buffer whole = Joined({StatisticsMessage(2, {20, 2}), StatisticsMessage(5, {50, 5})});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ("no", CountersOfLinks2And5({CutTo(whole, length)}));
    }
}

TEST(ParseDefaultRoutes, FindsOnlyUnicastDefaultRoutesOfTheMainTable)
{
    struct Case
    {
        const char* name;
        Route route;
        bool counts;
    };
    const std::vector<Case> cases = {
        {"IPv4", {}, true},
        {"IPv6", {.family = AF_INET6}, true},
        {"another family", {.family = AF_BRIDGE}, false},
        {"a network's route", {.destinationLength = 24}, false},
        {"half the internet", {.destinationLength = 1}, false},
        {"the local table", {.table = RT_TABLE_LOCAL}, false},
        {"a table of policy routing", {.table = 100}, false},
        {"a large table's number",
         {.table = RT_TABLE_COMPAT, .attributes = {Attribute(RTA_TABLE, BytesOf(51'820U))}},
         false},
        {"the main table's number in the attribute",
         {.table = RT_TABLE_COMPAT, .attributes = {Attribute(RTA_TABLE, BytesOf(254U))}},
         true},
        {"unreachable", {.type = RTN_UNREACHABLE}, false},
        {"blackhole", {.type = RTN_BLACKHOLE}, false},
        {"a cached clone", {.flags = RTM_F_CLONED}, false},
    };
    for (const auto& [name, route, counts] : cases) {
        SCOPED_TRACE(name);
        Route sent = route;
        sent.attributes.push_back(Through(3));

        const auto links = ParseDefaultRoutes(RouteMessage(sent));

        ASSERT_TRUE(links);
        EXPECT_EQ(counts, *links == std::vector{3});
        EXPECT_EQ(!counts, links->empty());
    }
}

TEST(ParseDefaultRoutes, FindsEveryHopOfAMultipathRouteAndEachLinkOnce)
{
    const Buffer dump = Joined({RouteMessage({.attributes = {ThroughEach({9, 4})}}),
                                RouteMessage({.family = AF_INET6, .attributes = {Through(4)}}),
                                RouteMessage({.attributes = {Through(2)}})});

    EXPECT_THAT(ParseDefaultRoutes(dump), Optional(ElementsAre(2, 4, 9)));
}

TEST(ParseDefaultRoutes, RejectsEveryTruncationOfAValidMessage)
{
    const Buffer whole = RouteMessage({.attributes = {ThroughEach({9, 4})}});
    for (std::size_t length = 1; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_FALSE(ParseDefaultRoutes(CutTo(whole, length)));
    }
}

TEST(ParseDefaultRoutes, RejectsAHopThatIsCutShort)
{
    rtnexthop hop{};
    for (const std::size_t length : {std::size_t{0}, sizeof(hop) - 1, sizeof(hop) + 4}) {
        hop.rtnh_len = static_cast<unsigned short>(length);
        const Buffer route = RouteMessage({.attributes = {Attribute(RTA_MULTIPATH, BytesOf(hop))}});

        EXPECT_FALSE(ParseDefaultRoutes(route));
    }
}

TEST(IsUp, NeedsTheLinkUpAndACarrier)
{
    KernelLink link;
    for (const auto& [flags, up] :
         std::vector<std::pair<unsigned int, bool>>{{0, false},
                                                    {IFF_UP, false},
                                                    {IFF_LOWER_UP, false},
                                                    {IFF_UP | IFF_LOWER_UP | IFF_RUNNING, true}}) {
        link.flags = flags;
        EXPECT_EQ(up, IsUp(link));
    }
}

TEST(SameStructure, LooksOverWhatChangesAllTheTime)
{
    KernelLink other = FullLink();
    other.counters->received += 1;
    other.carrierChanges = 6;
    other.alias = "another text";
    other.address = {};
    other.flags |= IFF_PROMISC;

    EXPECT_TRUE(SameStructure(FullLink(), other));
}

TEST(SameStructure, SeesEveryChangeThatMatters)
{
    const std::vector<void (*)(KernelLink&)> changes = {
        [](KernelLink& link) { link.index = 8; },
        [](KernelLink& link) { link.name = "eth0.101"; },
        [](KernelLink& link) { link.flags = IFF_UP; },
        [](KernelLink& link) { link.flags |= IFF_LOOPBACK; },
        [](KernelLink& link) { link.hardwareType = ARPHRD_PPP; },
        [](KernelLink& link) { link.kind = "macvlan"; },
        [](KernelLink& link) { link.lowerIndex = 4; },
        [](KernelLink& link) { link.lowerElsewhere = false; },
        [](KernelLink& link) { link.masterIndex = 0; },
        [](KernelLink& link) { link.counters.reset(); },
    };
    for (const auto change : changes) {
        KernelLink other = FullLink();
        change(other);
        EXPECT_FALSE(SameStructure(FullLink(), other));
    }
}

}  // namespace
