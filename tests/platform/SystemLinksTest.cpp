#include "platform/dialup/SystemLinks.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using namespace netinfo;
using nettest::FakePlatform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// Links with a device tree, a table of sessions and settings of the test's own.
class SystemLinksTest : public testing::Test
{
protected:
    SystemLinksTest() { FakePlatform::Reset(); }

    void Add(int index, const std::string& name, const std::string& uevent)
    {
        KernelLink link;
        link.index = index;
        link.name = name;
        m_links.push_back(link);
        std::filesystem::create_directory(InTree(name));
        nettest::WriteFile(InTree(name) + "/uevent", uevent);
    }
    std::string InTree(const std::string& name) const { return m_directory.File(name); }

    Surroundings Read()
    {
        Surroundings surroundings;
        EXPECT_EQ(0, m_source.ReadSurroundings(m_links, surroundings));
        return surroundings;
    }

    nettest::TempDir m_directory;
    std::vector<KernelLink> m_links;
    SystemLinks m_source{{m_directory.Path(), m_directory.File("sessions")}};
};

TEST_F(SystemLinksTest, TellWirelessLinksAndModemsByTheirDeviceType)
{
    Add(2, "eth0", "INTERFACE=eth0\nIFINDEX=2\n");
    Add(3, "wlan0", "DEVTYPE=wlan\nINTERFACE=wlan0\nIFINDEX=3\n");
    Add(4, "wwan0", "DEVTYPE=wwan\nINTERFACE=wwan0\nIFINDEX=4\n");

    const Surroundings surroundings = Read();

    EXPECT_FALSE(surroundings.facts.at(2).wireless);
    EXPECT_FALSE(surroundings.facts.at(2).wwan);
    EXPECT_TRUE(surroundings.facts.at(3).wireless);
    EXPECT_FALSE(surroundings.facts.at(3).wwan);
    EXPECT_FALSE(surroundings.facts.at(4).wireless);
    EXPECT_TRUE(surroundings.facts.at(4).wwan);
}

TEST_F(SystemLinksTest, TellAWirelessLinkByItsPhysicalDevice)
{
    Add(2, "ath0", "INTERFACE=ath0\nIFINDEX=2\n");
    std::filesystem::create_directory(InTree("ath0") + "/phy80211");

    EXPECT_TRUE(Read().facts.at(2).wireless);
}

TEST_F(SystemLinksTest, NameTheLinksBelow)
{
    Add(2, "bond0", "IFINDEX=2\n");
    for (const char* const entry : {"lower_eth0", "lower_eth1.5", "upper_br0", "flags", "xlower_eth9"}) {
        std::filesystem::create_directory(InTree("bond0") + "/" + entry);
    }

    EXPECT_THAT(Read().facts.at(2).lowerNames, UnorderedElementsAre("eth0", "eth1.5"));
}

TEST_F(SystemLinksTest, TakeNoWordOfANamesakeInAnotherNamespace)
{
    Add(2, "wlan0", "DEVTYPE=wlan\nIFINDEX=3\n");
    std::filesystem::create_directory(InTree("wlan0") + "/phy80211");
    std::filesystem::create_directory(InTree("wlan0") + "/lower_eth0");

    const LinkFacts facts = Read().facts.at(2);

    EXPECT_FALSE(facts.wireless);
    EXPECT_THAT(facts.lowerNames, IsEmpty());
}

TEST_F(SystemLinksTest, ManageWithoutADeviceTreeAndSessions)
{
    KernelLink link;
    link.index = 2;
    link.name = "eth0";
    m_links = {link};

    const Surroundings surroundings = Read();

    EXPECT_FALSE(surroundings.facts.at(2).wireless);
    EXPECT_THAT(surroundings.pppoeLinks, IsEmpty());
    EXPECT_THAT(surroundings.rules, IsEmpty());
}

TEST_F(SystemLinksTest, NameTheCarriersOfPppoeSessions)
{
    nettest::WriteFile(m_directory.File("sessions"),
                       "Id       Address              Device\n0000A100 00:11:22:33:44:55   eth0.7\n");

    EXPECT_THAT(Read().pppoeLinks, ElementsAre("eth0.7"));
}

TEST_F(SystemLinksTest, ReadARuleForEachLinkByItsExactName)
{
    for (const auto& [link, ruling] : std::map<std::string, std::string>{{"eth1", "WiFi"},
                                                                         {"ppp0", "ADSL"},
                                                                         {"tun0", "Ignore"},
                                                                         {"usb0", "dial-up"},
                                                                         {"eth2", "perhaps"},
                                                                         {"eth3", "dial-up connections"}}) {
        FakePlatform::SetSetting("links", link, ruling);
    }
    int index = 0;
    for (const char* const name :
         {"eth1", "eth10", "ppp0", "tun0", "usb0", "eth2", "eth3", "fifteen-letters"}) {
        Add(++index, name, "");
    }
    FakePlatform::SetSetting("links", "fifteen-letters", "wifi");

    const std::map<std::string, Ruling> expected = {{"eth1", Ruling::Wifi},
                                                    {"ppp0", Ruling::Adsl},
                                                    {"tun0", Ruling::Ignore},
                                                    {"usb0", Ruling::DialUp},
                                                    {"fifteen-letters", Ruling::Wifi}};
    EXPECT_EQ(expected, Read().rules);
}

}  // namespace
