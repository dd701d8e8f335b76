#include "platform/dialup/LinkRules.h"

#include <random>

#include <gtest/gtest.h>

#include "tests/platform/Machine.h"

namespace {

using namespace netinfo;
using nettest::Machine;

std::string NameOf(ConnectionType type)
{
    switch (type) {
        case ConnectionType::DialUp:
            return "dial-up";
        case ConnectionType::Wifi:
            return "wifi";
        case ConnectionType::Adsl:
            return "adsl";
    }
    return "?";
}

/// The links that are up and counted, as "eth0=adsl wlan0=wifi".
std::string Counted(const Machine& machine)
{
    const auto verdicts = JudgeLinks(machine.links, machine.surroundings);
    std::string counted;
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        if (!verdicts[i].type || !IsUp(machine.links[i])) continue;
        counted += (counted.empty() ? "" : " ") + machine.links[i].name + "=" + NameOf(*verdicts[i].type);
    }
    return counted;
}

Verdict VerdictOn(const Machine& machine, const std::string& name)
{
    const auto verdicts = JudgeLinks(machine.links, machine.surroundings);
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        if (machine.links[i].name == name) return verdicts[i];
    }
    ADD_FAILURE() << "no link " << name;
    return {};
}

TEST(ParseRuling, KnowsFourWordsInAnyCase)
{
    struct Case
    {
        const char* text;
        std::optional<Ruling> ruling;
    };
    const std::vector<Case> cases = {
        {"dial-up", Ruling::DialUp}, {"wifi", Ruling::Wifi},      {"adsl", Ruling::Adsl},
        {"ignore", Ruling::Ignore},  {"Dial-Up", Ruling::DialUp}, {"WIFI", Ruling::Wifi},
        {"aDSL", Ruling::Adsl},      {"Ignore", Ruling::Ignore},  {"", std::nullopt},
        {"dialup", std::nullopt},    {"ads", std::nullopt},       {"adsl2", std::nullopt},
        {"yes", std::nullopt},       {" wifi", std::nullopt},
    };
    for (const auto& [text, ruling] : cases) {
        EXPECT_EQ(ruling, ParseRuling(text)) << text;
    }
}

TEST(JudgeLinks, TakesEachLinkForWhatItIs)
{
    struct Case
    {
        const char* what;
        void (*add)(Machine&);
        const char* counted;
    };
    const std::vector<Case> cases = {
        {"Ethernet hardware", [](Machine& m) { m.Hardware("x"); }, "x=adsl"},
        {"a wireless adapter", [](Machine& m) { m.Wireless("x"); }, "x=wifi"},
        {"a wireless adapter that listens to everybody",
         [](Machine& m) { m.Wireless("x").hardwareType = ARPHRD_IEEE80211_RADIOTAP; }, ""},
        {"a wireless kind", [](Machine& m) { m.Virtual("virt_wifi", "x"); }, "x=wifi"},
        {"a modem by its device type", [](Machine& m) { m.Modem("x"); }, "x=dial-up"},
        {"a modem that looks like Ethernet", [](Machine& m) { m.Modem("x").hardwareType = ARPHRD_ETHER; },
         "x=dial-up"},
        {"a modem by its kind", [](Machine& m) { m.Virtual("wwan", "x"); }, "x=dial-up"},
        {"raw IP", [](Machine& m) { m.Add("x", ARPHRD_RAWIP); }, "x=dial-up"},
        {"raw IP of a kind", [](Machine& m) { m.Add("x", ARPHRD_RAWIP, "rmnet"); }, "x=dial-up"},
        {"PPP", [](Machine& m) { m.Ppp("x"); }, "x=dial-up"},
        {"PPP without a kind", [](Machine& m) { m.Add("x", ARPHRD_PPP); }, "x=dial-up"},
        {"loopback", [](Machine& m) { m.Loopback(); }, ""},
        {"a bridge", [](Machine& m) { m.Virtual("bridge", "x"); }, ""},
        {"a dummy", [](Machine& m) { m.Virtual("dummy", "x"); }, ""},
        {"one end of a pair", [](Machine& m) { m.HalfPair("x"); }, ""},
        {"a tunnel", [](Machine& m) { m.Virtual("wireguard", "x"); }, ""},
        {"InfiniBand", [](Machine& m) { m.Add("x", ARPHRD_INFINIBAND); }, ""},
        {"a link that is down", [](Machine& m) { m.Hardware("x").flags = 0; }, ""},
        {"a link without carrier", [](Machine& m) { m.Hardware("x").flags = IFF_UP; }, ""},
        {"a link without counters", [](Machine& m) { m.Hardware("x").counters.reset(); }, ""},
    };
    for (const auto& [what, add, counted] : cases) {
        SCOPED_TRACE(what);
        Machine machine;
        add(machine);
        EXPECT_EQ(counted, Counted(machine));
    }
}

TEST(JudgeLinks, CountsWhateverCarriesADefaultRoute)
{
    struct Case
    {
        const char* what;
        void (*add)(Machine&);
        const char* counted;
    };
    const std::vector<Case> cases = {
        {"a bridge", [](Machine& m) { m.Virtual("bridge", "x"); }, "x=adsl"},
        {"one end of a pair", [](Machine& m) { m.HalfPair("x"); }, "x=adsl"},
        {"a tunnel, with nothing else counted", [](Machine& m) { m.Virtual("tun", "x"); }, "x=adsl"},
        {"InfiniBand", [](Machine& m) { m.Add("x", ARPHRD_INFINIBAND); }, "x=adsl"},
        {"a wireless adapter keeps its type", [](Machine& m) { m.Wireless("x"); }, "x=wifi"},
        {"PPP keeps its type", [](Machine& m) { m.Ppp("x"); }, "x=dial-up"},
        {"loopback, never", [](Machine& m) { m.Loopback().name = "x"; }, ""},
    };
    for (const auto& [what, add, counted] : cases) {
        SCOPED_TRACE(what);
        Machine machine;
        add(machine);
        machine.DefaultRoute("x");
        EXPECT_EQ(counted, Counted(machine));
    }
}

TEST(JudgeLinks, FollowsARuleBeforeItsOwnIdeas)
{
    struct Case
    {
        Ruling ruling;
        const char* counted;
    };
    for (const auto& [ruling, counted] : std::vector<Case>{{Ruling::DialUp, "x=dial-up"},
                                                           {Ruling::Wifi, "x=wifi"},
                                                           {Ruling::Adsl, "x=adsl"},
                                                           {Ruling::Ignore, ""}}) {
        SCOPED_TRACE(counted);
        for (void (*const add)(Machine&) : std::vector<void (*)(Machine&)>{
                 [](Machine& m) { m.Hardware("x"); }, [](Machine& m) { m.Ppp("x"); },
                 [](Machine& m) { m.Virtual("dummy", "x"); }, [](Machine& m) { m.Virtual("tun", "x"); }}) {
            Machine machine;
            add(machine);
            machine.Rule("x", ruling);

            EXPECT_EQ(counted, Counted(machine));
            EXPECT_TRUE(VerdictOn(machine, "x").ruled);
        }
    }
}

TEST(JudgeLinks, NeverCountsLoopbackWhateverTheRule)
{
    Machine machine;
    machine.Loopback();
    machine.Rule("lo", Ruling::Adsl);

    EXPECT_EQ("", Counted(machine));
    EXPECT_FALSE(VerdictOn(machine, "lo").ruled);
}

TEST(JudgeLinks, AppliesARuleToItsLinkAlone)
{
    Machine machine;
    machine.Hardware("eth1");
    machine.Hardware("eth10");
    machine.Rule("eth1", Ruling::Wifi);

    EXPECT_EQ("eth1=wifi eth10=adsl", Counted(machine));
}

TEST(JudgeLinks, MakesADialUpConnectionOfALinkByItsKindNotByItsType)
{
    Machine machine;
    machine.Ppp("ppp0");
    machine.Modem("wwan0");
    machine.Hardware("usb0");
    machine.Rule("ppp0", Ruling::Adsl);
    machine.Rule("usb0", Ruling::DialUp);

    EXPECT_EQ("ppp0=adsl wwan0=dial-up usb0=dial-up", Counted(machine));
    EXPECT_TRUE(VerdictOn(machine, "ppp0").dialUp);
    EXPECT_TRUE(VerdictOn(machine, "wwan0").dialUp);
    EXPECT_FALSE(VerdictOn(machine, "usb0").dialUp);
}

TEST(JudgeLinks, CountsOneOfStackedLinks)
{
    struct Case
    {
        const char* what;
        void (*build)(Machine&);
        const char* counted;
    };
    const std::vector<Case> cases = {
        {"a VLAN on hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vlan", "eth0.100", "eth0");
             m.DefaultRoute("eth0.100");
         },
         "eth0=adsl"},
        {"a VLAN that a rule names wins over its hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vlan", "eth0.100", "eth0");
             m.Rule("eth0.100", Ruling::Adsl);
         },
         "eth0.100=adsl"},
        {"two VLANs that rules name carry nothing of each other",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vlan", "eth0.1", "eth0");
             m.Virtual("vlan", "eth0.2", "eth0");
             m.Rule("eth0.1", Ruling::Adsl);
             m.Rule("eth0.2", Ruling::Wifi);
         },
         "eth0.1=adsl eth0.2=wifi"},
        {"both named by rules: the lower one",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vlan", "eth0.100", "eth0");
             m.Rule("eth0.100", Ruling::Wifi);
             m.Rule("eth0", Ruling::Adsl);
         },
         "eth0=adsl"},
        {"the hardware ignored by a rule: the VLAN with the default route",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vlan", "eth0.100", "eth0");
             m.DefaultRoute("eth0.100");
             m.Rule("eth0", Ruling::Ignore);
         },
         "eth0.100=adsl"},
        {"a VLAN on a VLAN on a bond of two",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Hardware("eth1");
             m.Master("bond", "bond0", {"eth0", "eth1"});
             m.Virtual("vlan", "bond0.1", "bond0");
             m.Virtual("vlan", "bond0.1.2", "bond0.1");
             m.DefaultRoute("bond0.1.2");
         },
         "eth0=adsl eth1=adsl"},
        {"the top of that tower by a rule",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Hardware("eth1");
             m.Master("team", "team0", {"eth0", "eth1"});
             m.Virtual("vlan", "team0.1", "team0");
             m.DefaultRoute("team0");
             m.Rule("team0.1", Ruling::Adsl);
         },
         "team0.1=adsl"},
        {"a bond that was made before its port",
         [](Machine& m) {
             const int bond = m.Virtual("bond", "bond0").index;
             m.Hardware("eth0").masterIndex = bond;
             m.DefaultRoute("bond0");
         },
         "eth0=adsl"},
        {"ports of a bond carry nothing of each other",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Hardware("eth1");
             m.Virtual("vlan", "eth1.5", "eth1");
             m.Master("bond", "bond0", {"eth0", "eth1.5"});
             m.Rule("eth1.5", Ruling::Wifi);
         },
         "eth0=adsl eth1.5=wifi"},
        {"a bond whose only port with carrier is wireless",
         [](Machine& m) {
             m.Hardware("eth0").flags = IFF_UP;
             m.Wireless("wlan0");
             m.Master("bond", "bond0", {"eth0", "wlan0"});
             m.DefaultRoute("bond0");
         },
         "wlan0=wifi"},
        {"a bridge over hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Master("bridge", "br0", {"eth0"});
             m.DefaultRoute("br0");
         },
         "eth0=adsl"},
        {"a bridge named by a rule",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Master("bridge", "br0", {"eth0"});
             m.Rule("br0", Ruling::Adsl);
         },
         "br0=adsl"},
        {"a bridge whose hardware is down",
         [](Machine& m) {
             m.Hardware("eth0").flags = 0;
             m.HalfPair("veth0");
             m.Master("bridge", "br0", {"eth0", "veth0"});
             m.DefaultRoute("br0");
         },
         "br0=adsl"},
        {"a guest's port of a bridge, named by a rule, wins over the bridge's hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("tun", "tap0");
             m.Master("bridge", "br0", {"eth0", "tap0"});
             m.DefaultRoute("br0");
             m.Rule("tap0", Ruling::Adsl);
         },
         "tap0=adsl"},
        {"guest and hardware both named by rules: the hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.HalfPair("veth0");
             m.Master("bridge", "br0", {"eth0", "veth0"});
             m.Rule("veth0", Ruling::Wifi);
             m.Rule("eth0", Ruling::Adsl);
         },
         "eth0=adsl"},
        {"two hardware ports of a bridge are two lines",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Wireless("wlan0");
             m.Master("bridge", "br0", {"eth0", "wlan0"});
             m.DefaultRoute("br0");
         },
         "eth0=adsl wlan0=wifi"},
        {"a macvlan on wireless",
         [](Machine& m) {
             m.Wireless("wlan0");
             m.Virtual("macvlan", "mac0", "wlan0");
             m.DefaultRoute("mac0");
         },
         "wlan0=wifi"},
        {"a macvlan whose hardware is in another namespace",
         [](Machine& m) {
             m.Virtual("macvlan", "eth0").lowerIndex = 1;
             m.Link("eth0").lowerElsewhere = true;
             m.DefaultRoute("eth0");
         },
         "eth0=adsl"},
        {"a port of a switch chip and the link to the chip",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Hardware("lan1").lowerIndex = m.Link("eth0").index;
         },
         "eth0=adsl"},
        {"a VXLAN with a known way out",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vxlan", "vx0", "eth0");
             m.DefaultRoute("vx0");
         },
         "eth0=adsl"},
        {"a VXLAN over hardware that is down counts alone",
         [](Machine& m) {
             m.Hardware("eth0").flags = 0;
             m.Wireless("wlan0");
             m.Virtual("vxlan", "vx0", "eth0");
             m.DefaultRoute("vx0");
         },
         "wlan0=wifi vx0=adsl"},
        {"a channel of a modem that only the device tree knows",
         [](Machine& m) {
             m.Modem("wwan0");
             m.Add("qmimux0", ARPHRD_NONE);
             m.surroundings.facts[m.Link("qmimux0").index].lowerNames = {"wwan0"};
             m.DefaultRoute("qmimux0");
         },
         "wwan0=dial-up"},
        {"a channel of a modem by its kind",
         [](Machine& m) {
             m.Modem("wwan0");
             m.Add("rmnet0", ARPHRD_RAWIP, "rmnet").lowerIndex = m.Link("wwan0").index;
         },
         "wwan0=dial-up"},
        {"a lower name that the machine has no link of",
         [](Machine& m) {
             m.Hardware("eth0");
             m.surroundings.facts[1].lowerNames = {"gone0"};
         },
         "eth0=adsl"},
    };
    for (const auto& [what, build, counted] : cases) {
        SCOPED_TRACE(what);
        Machine machine;
        build(machine);
        EXPECT_EQ(counted, Counted(machine));
    }
}

TEST(JudgeLinks, CountsATunnelOnlyWhereNothingCanCarryIt)
{
    struct Case
    {
        const char* what;
        void (*build)(Machine&);
        const char* counted;
    };
    const std::vector<Case> cases = {
        {"beside hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("tun", "tun0");
             m.DefaultRoute("tun0");
         },
         "eth0=adsl"},
        {"beside a modem",
         [](Machine& m) {
             m.Virtual("wireguard", "wg0");
             m.Modem("wwan0");
             m.DefaultRoute("wg0");
         },
         "wwan0=dial-up"},
        {"beside PPP",
         [](Machine& m) {
             m.Virtual("tun", "tun0");
             m.Ppp("ppp0");
             m.DefaultRoute("tun0");
         },
         "ppp0=dial-up"},
        {"beside a container's link",
         [](Machine& m) {
             m.HalfPair("eth0");
             m.Virtual("tun", "tun0");
             m.DefaultRoute("eth0");
             m.DefaultRoute("tun0");
         },
         "eth0=adsl"},
        {"beside hardware that is down",
         [](Machine& m) {
             m.Hardware("eth0").flags = 0;
             m.Virtual("tun", "tun0");
             m.DefaultRoute("tun0");
         },
         "tun0=adsl"},
        {"beside hardware that a rule ignores",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("gre", "gre0");
             m.DefaultRoute("gre0");
             m.Rule("eth0", Ruling::Ignore);
         },
         "gre0=adsl"},
        {"two tunnels may travel in each other",
         [](Machine& m) {
             m.Virtual("tun", "tun0");
             m.Virtual("wireguard", "wg0");
             m.DefaultRoute("wg0");
             m.DefaultRoute("tun0");
         },
         "tun0=adsl"},
        {"a kind nobody has heard of",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("quantum", "q0");
             m.DefaultRoute("q0");
         },
         "eth0=adsl"},
        {"a tunnel by its hardware type",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Add("tunl0", ARPHRD_TUNNEL);
             m.DefaultRoute("tunl0");
         },
         "eth0=adsl"},
        {"a bridge whose only port is a tunnel",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("tun", "tap0");
             m.Master("bridge", "br0", {"tap0"});
             m.DefaultRoute("br0");
         },
         "eth0=adsl"},
        {"a tunnel whose way out is in another namespace",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("wireguard", "wg0").lowerElsewhere = true;
             m.DefaultRoute("wg0");
         },
         "eth0=adsl wg0=adsl"},
        {"named by a rule it wins over what may carry it",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Wireless("wlan0").flags = 0;
             m.Virtual("tun", "tun0");
             m.Rule("tun0", Ruling::Wifi);
         },
         "tun0=wifi"},
        {"named by a rule and down it takes nothing from others",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("tun", "tun0").flags = 0;
             m.Rule("tun0", Ruling::Wifi);
         },
         "eth0=adsl"},
        {"tunnel and hardware named by rules: as the user says",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("tun", "tun0");
             m.Rule("tun0", Ruling::Wifi);
             m.Rule("eth0", Ruling::Adsl);
         },
         "eth0=adsl tun0=wifi"},
        {"a tunnel with a known way out does not stand in for others",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Wireless("wlan0");
             m.Virtual("vxlan", "vx0", "eth0");
             m.Rule("vx0", Ruling::Adsl);
         },
         "wlan0=wifi vx0=adsl"},
    };
    for (const auto& [what, build, counted] : cases) {
        SCOPED_TRACE(what);
        Machine machine;
        build(machine);
        EXPECT_EQ(counted, Counted(machine));
    }
}

TEST(JudgeLinks, CountsOneEndOfAPair)
{
    Machine machine;
    machine.Pair("v0", "v1");
    machine.DefaultRoute("v0");
    EXPECT_EQ("v0=adsl", Counted(machine));

    machine.Rule("v1", Ruling::Wifi);
    EXPECT_EQ("v1=wifi", Counted(machine));

    machine.Rule("v0", Ruling::Adsl);
    EXPECT_EQ("v0=adsl", Counted(machine));
}

TEST(JudgeLinks, SeesThroughAPairIntoABridge)
{
    Machine machine;
    machine.Hardware("eth0");
    machine.Pair("v0", "v1");
    machine.Master("bridge", "br0", {"eth0", "v1"});
    machine.DefaultRoute("v0");

    EXPECT_EQ("eth0=adsl", Counted(machine));
}

TEST(JudgeLinks, CountsPppInsteadOfTheLinkUnderItsSession)
{
    struct Case
    {
        const char* what;
        void (*build)(Machine&);
        const char* counted;
    };
    const std::vector<Case> cases = {
        {"on hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Hardware("eth1");
             m.Ppp("ppp0");
             m.Session("eth0");
         },
         "eth1=adsl ppp0=dial-up"},
        {"on a VLAN on hardware",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vlan", "eth0.7", "eth0");
             m.Ppp("ppp0");
             m.Session("eth0.7");
         },
         "ppp0=dial-up"},
        {"on a VLAN with a default route of its own",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Virtual("vlan", "eth0.7", "eth0");
             m.Virtual("vlan", "eth0.8", "eth0");
             m.Ppp("ppp0");
             m.Session("eth0.7");
             m.DefaultRoute("eth0.8");
         },
         "eth0.8=adsl ppp0=dial-up"},
        {"on hardware that a rule names",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Ppp("ppp0");
             m.Session("eth0");
             m.Rule("eth0", Ruling::Adsl);
         },
         "eth0=adsl"},
        {"with the type that a rule gives it",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Ppp("ppp0");
             m.Session("eth0");
             m.Rule("ppp0", Ruling::Adsl);
         },
         "ppp0=adsl"},
        {"both named by rules: the lower one",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Ppp("ppp0");
             m.Session("eth0");
             m.Rule("ppp0", Ruling::Adsl);
             m.Rule("eth0", Ruling::Adsl);
         },
         "eth0=adsl"},
        {"while the session is up",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Ppp("ppp0").flags = 0;
             m.Session("eth0");
         },
         "eth0=adsl"},
        {"unless a rule ignores it",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Ppp("ppp0");
             m.Session("eth0");
             m.Rule("ppp0", Ruling::Ignore);
         },
         "eth0=adsl"},
        {"and a modem's PPP beside it",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Ppp("ppp0");
             m.Ppp("ppp1");
             m.Session("eth0");
         },
         "ppp0=dial-up ppp1=dial-up"},
        {"but no other hardware without a session",
         [](Machine& m) {
             m.Hardware("eth0");
             m.Ppp("ppp0");
         },
         "eth0=adsl ppp0=dial-up"},
    };
    for (const auto& [what, build, counted] : cases) {
        SCOPED_TRACE(what);
        Machine machine;
        build(machine);
        EXPECT_EQ(counted, Counted(machine));
    }
}

TEST(JudgeLinks, SaysWhyALinkIsNotCounted)
{
    Machine machine;
    machine.Loopback();
    machine.Hardware("eth0");
    machine.Virtual("vlan", "eth0.5", "eth0");
    machine.Hardware("eth1");
    machine.Virtual("vlan", "eth1.5", "eth1");
    machine.Hardware("eth2");
    machine.Hardware("eth3").counters.reset();
    machine.Virtual("dummy", "dummy0");
    machine.Virtual("tun", "tun0");
    machine.DefaultRoute("eth0.5");
    machine.DefaultRoute("tun0");
    machine.Rule("eth1.5", Ruling::Adsl);
    machine.Rule("eth2", Ruling::Ignore);

    const std::vector<std::pair<const char*, const char*>> reasons = {
        {"lo", "loopback"},
        {"eth0", ""},
        {"eth0.5", "its bytes are counted at eth0"},
        {"eth1", "it carries the bytes of eth1.5, which is counted"},
        {"eth1.5", ""},
        {"eth2", "ignored by a rule"},
        {"eth3", "the kernel counts no bytes for it"},
        {"dummy0", "neither hardware nor on the default route"},
        {"tun0", "its bytes may travel over eth1.5, which is counted"},
    };
    for (const auto& [name, reason] : reasons) {
        const Verdict verdict = VerdictOn(machine, name);
        EXPECT_EQ(reason, verdict.reason) << name;
        EXPECT_EQ(verdict.reason.empty(), verdict.type.has_value()) << name;
    }
}

TEST(JudgeLinks, SaysWhichTunnelMayTravelOverALink)
{
    Machine machine;
    machine.Hardware("eth0");
    machine.Virtual("tun", "tun0");
    machine.Rule("tun0", Ruling::Adsl);

    EXPECT_EQ("it may carry the bytes of tun0, which is counted", VerdictOn(machine, "eth0").reason);
}

TEST(JudgeLinks, KeepsTheTypeOfALinkThatIsDown)
{
    Machine machine;
    machine.Wireless("wlan0").flags = 0;

    const Verdict verdict = VerdictOn(machine, "wlan0");
    EXPECT_EQ(ConnectionType::Wifi, verdict.type);
    EXPECT_EQ("", verdict.reason);
}

TEST(JudgeLinks, EndsOnStacksThatGoInCircles)
{
    Machine machine;
    machine.Hardware("eth0");
    machine.Hardware("eth1");
    machine.Link("eth0").lowerIndex = machine.Link("eth1").index;
    machine.Link("eth1").lowerIndex = machine.Link("eth0").index;
    machine.Hardware("eth2");
    machine.Link("eth2").lowerIndex = machine.Link("eth2").index;

    EXPECT_EQ("eth0=adsl eth2=adsl", Counted(machine));
}

TEST(JudgeLinks, ClimbsTowersOfAnyHeight)
{
    Machine machine;
    machine.Hardware("eth0");
    for (int level = 0; level < 2'000; ++level) {
        machine.Virtual("vlan", "v" + std::to_string(level), machine.links.back().name);
    }
    machine.DefaultRoute(machine.links.back().name);

    EXPECT_EQ("eth0=adsl", Counted(machine));
}

/// Every link that carries bytes of `link`, found the slow way.
std::vector<std::string> Carriers(Machine& machine, const std::string& link)
{
    std::vector<std::string> carriers;
    std::vector<std::string> open{link};
    while (!open.empty()) {
        const KernelLink current = machine.Link(open.back());
        open.pop_back();
        for (const KernelLink& other : machine.links) {
            const bool below = (!current.lowerElsewhere && current.lowerIndex == other.index) ||
                               other.masterIndex == current.index;
            if (!below || std::find(carriers.begin(), carriers.end(), other.name) != carriers.end()) continue;
            carriers.push_back(other.name);
            open.push_back(other.name);
        }
    }
    return carriers;
}

TEST(JudgeLinks, NeverCountsALinkAndItsCarrierOnRandomMachines)
{
    std::mt19937 random(20'240'229);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        Machine machine;
        const std::vector<std::string> kinds = {"vlan", "bridge", "bond", "macvlan", "vxlan", "tun", ""};
        const int count = 2 + static_cast<int>(random() % 14);
        for (int i = 0; i < count; ++i) {
            const std::string name = "l" + std::to_string(i);
            KernelLink& link = machine.Add(name, ARPHRD_ETHER, kinds[random() % kinds.size()]);
            const auto earlier = [&] {
                return i == 0 ? 0 : 1 + static_cast<int>(random() % static_cast<unsigned>(i));
            };
            if (random() % 2 == 0) link.lowerIndex = earlier();
            if (random() % 3 == 0)
                machine.Link("l" + std::to_string(random() % static_cast<unsigned>(i + 1))).masterIndex =
                    link.index;
            if (random() % 5 == 0) machine.DefaultRoute(name);
            if (random() % 8 == 0) machine.SetUp(name, false);
            if (random() % 4 == 0) machine.Rule(name, static_cast<Ruling>(random() % 4));
        }

        const auto verdicts = JudgeLinks(machine.links, machine.surroundings);
        for (std::size_t i = 0; i < verdicts.size(); ++i) {
            if (!verdicts[i].type || !IsUp(machine.links[i])) continue;
            for (const std::string& carrier : Carriers(machine, machine.links[i].name)) {
                if (carrier == machine.links[i].name || !IsUp(machine.Link(carrier))) continue;
                EXPECT_FALSE(VerdictOn(machine, carrier).type)
                    << machine.links[i].name << " over " << carrier;
            }
        }
    }
}

}  // namespace
