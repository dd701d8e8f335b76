#include "platform/dialup/LinkFacts.h"

#include <gmock/gmock.h>

namespace {

using netinfo::ParsePppoeSessions;
using netinfo::ParseUevent;
using netinfo::Uevent;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ParseUevent, ReadsTypeAndIndex)
{
    struct Case
    {
        const char* text;
        int index;
        const char* deviceType;
    };
    const std::vector<Case> cases = {
        {"DEVTYPE=wlan\nINTERFACE=wlan0\nIFINDEX=3\n", 3, "wlan"},
        {"INTERFACE=eth0\nIFINDEX=12\n", 12, ""},
        {"IFINDEX=12", 12, ""},
        {"", 0, ""},
        {"\n\n=\nIFINDEX\n", 0, ""},
        {"IFINDEX=\n", 0, ""},
        {"IFINDEX=99999999999999999999\n", 0, ""},
        {"OF_DEVTYPE=wwan\n", 0, ""},
    };
    for (const auto& [text, index, deviceType] : cases) {
        SCOPED_TRACE(text);
        const Uevent uevent = ParseUevent(text);
        EXPECT_EQ(index, uevent.index);
        EXPECT_EQ(deviceType, uevent.deviceType);
    }
}

TEST(ParsePppoeSessions, NamesEachCarrierOnce)
{
    const char* const table =
        "Id       Address              Device\n"
        "0000A100 00:11:22:33:44:55   eth0.7\n"
        "0000A200 00:11:22:33:44:55   eth0.7\n"
        "0000A300 00:11:22:33:44:56     eth1\n";

    EXPECT_THAT(ParsePppoeSessions(table), ElementsAre("eth0.7", "eth1"));
}

TEST(ParsePppoeSessions, FindsNoneInATableWithoutSessions)
{
    for (const char* const table :
         {"", "\n", "Id       Address              Device\n", "Id\n0000A100 x\n\n"}) {
        EXPECT_THAT(ParsePppoeSessions(table), IsEmpty());
    }
}

}  // namespace
