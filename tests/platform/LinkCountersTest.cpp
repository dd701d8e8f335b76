#include "platform/dialup/LinkCounters.h"

#include <gmock/gmock.h>

namespace {

using namespace netinfo;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long long kFold = 0xFFFFFFFF;  ///< what the plug-in folds counters with

/// Links of one moment, changed from one update to the next.
class Links
{
public:
    LinkReading& Row(int index, const std::string& name, ConnectionType type = ConnectionType::Adsl)
    {
        LinkReading reading;
        reading.index = index;
        reading.name = name;
        reading.type = type;
        reading.carrierChanges = 1;
        m_readings.push_back(reading);
        return m_readings.back();
    }
    LinkReading& DialUp(int index, const std::string& name, ConnectionType type = ConnectionType::DialUp)
    {
        LinkReading& reading = Row(index, name, type);
        reading.dialUp = true;
        return reading;
    }
    LinkReading& operator[](int index)
    {
        for (LinkReading& reading : m_readings) {
            if (reading.index == index) return reading;
        }
        throw std::out_of_range(std::to_string(index));
    }
    void Remove(int index)
    {
        std::erase_if(m_readings, [&](const LinkReading& reading) { return reading.index == index; });
    }
    void Transfer(int index, unsigned long long received, unsigned long long sent = 0)
    {
        (*this)[index].raw.received += received;
        (*this)[index].raw.sent += sent;
    }
    operator std::span<const LinkReading>() const { return m_readings; }

private:
    std::vector<LinkReading> m_readings;
};

std::vector<std::string> Names(const LinkCounters& counters)
{
    std::vector<std::string> names;
    for (const auto& incarnation : counters.Incarnations()) {
        names.push_back(incarnation.deviceName);
    }
    return names;
}

/// What is handed out, as "/eth0/1/ received sent".
std::vector<std::string> HandedOut(LinkCounters& counters, bool sampling = true)
{
    std::vector<std::string> handed;
    for (const PresentedLink& link : counters.HandOut(sampling)) {
        handed.push_back(link.deviceName + " " + std::to_string(link.counters.received) + " " +
                         std::to_string(link.counters.sent));
    }
    return handed;
}

TEST(LinkCounters, TakeNewCountersAloneByThePlaceOfEachLink)
{
    Links links;
    links.Row(2, "eth0").place = 1;
    links.DialUp(3, "ppp0").place = 0;
    LinkCounters counters;
    counters.Update(links, true);
    const auto generation = counters.Generation();

    EXPECT_TRUE(counters.Advance(std::vector<ByteCounters>{{70, 7}, {500, 50}}));

    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/1/ 501 51", "/ppp0/2/ 71 8"));
    EXPECT_EQ(generation, counters.Generation());
}

TEST(LinkCounters, WantAWholeUpdateWhereACounterFell)
{
    Links links;
    links.Row(2, "eth0").raw = {1'000, 100};
    links.Row(3, "eth1").raw = {1'000, 100};
    links[3].place = 1;
    LinkCounters counters;
    counters.Update(links, true);
    counters.HandOut(true);

    EXPECT_FALSE(counters.Advance(std::vector<ByteCounters>{{1'030, 100}, {1'000, 99}}));

    links[2].raw = {1'030, 100};
    links[3].raw = {1'000, 99};
    counters.Update(links, true);
    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/3/ 31 1", "/eth1/4/ 1 1"));
}

TEST(LinkCounters, WantAWholeUpdateOnceThePluginLostSight)
{
    Links links;
    links.Row(2, "eth0");
    LinkCounters counters;
    counters.Update(links, true);
    counters.HandOut(true);
    counters.LoseSight();

    EXPECT_FALSE(counters.Advance(std::vector<ByteCounters>{{30, 3}}));
}

TEST(LinkCounters, KeepWhatTheyHandedOutThroughUpdates)
{
    Links links;
    links.Row(2, "eth0");
    LinkCounters counters;
    counters.Update(links, true);
    counters.HandOut(true);
    links.Transfer(2, 500, 50);
    links[2].name = "eth1";
    counters.Update(links, true);

    ASSERT_EQ(1U, counters.HandedOut().size());
    EXPECT_EQ("/eth0/1/", counters.HandedOut()[0].deviceName);
    EXPECT_EQ((ByteCounters{1, 1}), counters.HandedOut()[0].counters);
}

TEST(LinkCounters, CountFromOneWhateverTheKernelHasCounted)
{
    Links links;
    links.Row(2, "eth0").raw = {7'000'000'000, 300};
    LinkCounters counters;

    counters.Update(links, true);
    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/1/ 1 1"));

    links.Transfer(2, 50, 6);
    counters.Update(links, true);
    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/1/ 51 7"));
}

TEST(LinkCounters, NumberLinksOneAfterTheOther)
{
    Links links;
    links.Row(2, "eth0");
    links.DialUp(3, "ppp0");
    LinkCounters counters;
    counters.Update(links, true);
    links.Row(9, "wlan0", ConnectionType::Wifi);
    counters.Update(links, true);

    EXPECT_THAT(Names(counters), ElementsAre("/eth0/1/", "/ppp0/2/", "/wlan0/3/"));
}

TEST(LinkCounters, GiveALinkThatWentAndCameANewName)
{
    Links links;
    links.Row(2, "eth0").raw = {1'000, 1'000};
    LinkCounters counters;
    counters.Update(links, true);
    counters.HandOut(true);

    const LinkReading eth0 = links[2];
    links.Remove(2);
    counters.Update(links, true);
    EXPECT_THAT(Names(counters), IsEmpty());

    links.Row(2, "eth0") = eth0;
    links.Transfer(2, 500);
    counters.Update(links, true);
    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/2/ 1 1"));
}

TEST(LinkCounters, GiveANewNameForWhateverEndsARunOfCounters)
{
    struct Case
    {
        const char* what;
        void (*change)(LinkReading&);
        const char* handed;  ///< of a link that had 100 handed out and 30 more since
    };
    const std::vector<Case> cases = {
        {"nothing", [](LinkReading&) {}, "/eth0/1/ 131 11"},
        {"a carrier that flapped", [](LinkReading& l) { l.carrierChanges = 3; }, "/eth0/2/ 31 11"},
        {"carrier changes that are no longer told", [](LinkReading& l) { l.carrierChanges.reset(); },
         "/eth0/2/ 31 11"},
        {"a counter that went back", [](LinkReading& l) { l.raw.received = 1'099; }, "/eth0/2/ 1 1"},
        {"the other counter that went back", [](LinkReading& l) { l.raw.sent = 4; }, "/eth0/2/ 1 1"},
        {"another name", [](LinkReading& l) { l.name = "wan0"; }, "/wan0/2/ 31 11"},
        {"another type", [](LinkReading& l) { l.type = ConnectionType::Wifi; }, "/eth0/2/ 31 11"},
        {"a dial-up connection", [](LinkReading& l) { l.dialUp = true; }, "/eth0/2/ 31 11"},
        {"another address", [](LinkReading& l) { l.address[0] = 2; }, "/eth0/1/ 131 11"},
    };
    for (const auto& [what, change, handed] : cases) {
        SCOPED_TRACE(what);
        Links links;
        links.Row(2, "eth0").raw = {1'000, 5};
        LinkCounters counters;
        counters.Update(links, true);
        links.Transfer(2, 100);
        counters.Update(links, true);
        counters.HandOut(true);
        links.Transfer(2, 30, 10);
        change(links[2]);

        counters.Update(links, true);

        EXPECT_THAT(HandedOut(counters), ElementsAre(handed));
    }
}

TEST(LinkCounters, LoseNothingOfALinkThatFlappedBeforeItWasHandedOut)
{
    Links links;
    links.Row(2, "eth0");
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(2, 70, 7);
    links[2].carrierChanges = 3;
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/2/ 71 8"));
}

TEST(LinkCounters, RenameTheOthersOfATypeWhenOneLeaves)
{
    Links links;
    links.Row(2, "eth0");
    links.Row(3, "eth1");
    links.Row(4, "wlan0", ConnectionType::Wifi);
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(3, 1'000, 100);
    counters.Update(links, true);
    counters.HandOut(true);

    links.Remove(2);
    links.Transfer(3, 20, 2);
    links.Transfer(4, 4, 4);
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/wlan0/3/ 5 5", "/eth1/4/ 21 3"));
}

TEST(LinkCounters, RenameTheOthersOfATypeWhenOneStartsAnew)
{
    Links links;
    links.Row(2, "eth0");
    links.Row(3, "eth1");
    LinkCounters counters;
    counters.Update(links, true);
    counters.HandOut(true);

    links.Transfer(2, 9);
    links[3].carrierChanges = 3;
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/3/ 10 1", "/eth1/4/ 1 1"));
}

TEST(LinkCounters, CountOnFromWhatWasHandedOutThroughSeveralNames)
{
    Links links;
    links.Row(2, "eth0");
    links.Row(3, "eth1");
    links.Row(4, "eth2");
    LinkCounters counters;
    counters.Update(links, true);
    counters.HandOut(true);

    links.Transfer(2, 10);
    links.Remove(3);
    counters.Update(links, true);
    links.Transfer(2, 20);
    links.Remove(4);
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/6/ 31 1"));
}

TEST(LinkCounters, CountNothingOfABreakUnderANewName)
{
    Links links;
    links.Row(2, "eth0");
    links.Row(3, "eth1");
    links.Row(4, "wlan0", ConnectionType::Wifi);
    LinkCounters counters;
    counters.Update(links, true);
    counters.HandOut(true);

    links.Transfer(2, 7'000);
    links.Transfer(4, 8'000);
    links[4].carrierChanges = 3;
    links.Remove(3);
    counters.Update(links, false);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/4/ 1 1", "/wlan0/5/ 1 1"));
}

TEST(LinkCounters, ChangeNoNameForANewcomerThatComesLast)
{
    struct Case
    {
        const char* what;
        void (*present)(Links&);
        void (*joins)(Links&);
        std::vector<std::string> names;
    };
    const std::vector<Case> cases = {
        {"a row behind a row",
         [](Links& l) { l.Row(9, "eth9"); },
         [](Links& l) { l.Row(2, "eth2"); },
         {"/eth9/1/", "/eth2/2/"}},
        {"a connection behind a row",
         [](Links& l) { l.Row(9, "eth9"); },
         [](Links& l) { l.DialUp(2, "ppp0", ConnectionType::Adsl); },
         {"/eth9/1/", "/ppp0/2/"}},
        {"a connection behind a connection",
         [](Links& l) { l.DialUp(9, "ppp9"); },
         [](Links& l) { l.DialUp(2, "ppp2"); },
         {"/ppp9/1/", "/ppp2/2/"}},
        {"a row before a connection of another type",
         [](Links& l) { l.DialUp(9, "ppp9"); },
         [](Links& l) { l.Row(2, "eth2"); },
         {"/ppp9/1/", "/eth2/2/"}},
        {"a row behind a row and a connection",
         [](Links& l) {
             l.Row(9, "eth9", ConnectionType::DialUp);
             l.DialUp(8, "ppp8");
         },
         [](Links& l) { l.Row(2, "eth2", ConnectionType::DialUp); },
         {"/eth9/1/", "/ppp8/2/", "/eth2/3/"}},
    };
    for (const auto& [what, present, joins, names] : cases) {
        SCOPED_TRACE(what);
        Links links;
        present(links);
        LinkCounters counters;
        counters.Update(links, true);
        counters.HandOut(true);
        joins(links);
        counters.Update(links, true);

        EXPECT_EQ(names, Names(counters));
    }
}

TEST(LinkCounters, RenameConnectionsThatARowComesBefore)
{
    Links links;
    links.DialUp(2, "ppp0");
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(2, 1'000);
    counters.Update(links, true);
    counters.HandOut(true);

    links.Transfer(2, 10);
    links.Row(3, "usb0", ConnectionType::DialUp);
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/ppp0/2/ 11 1", "/usb0/3/ 1 1"));
}

TEST(LinkCounters, GiveNewNamesToAllThatWasHandedOutWhenThePluginLostSight)
{
    Links links;
    links.Row(2, "eth0");
    links.Row(3, "wlan0", ConnectionType::Wifi);
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(2, 100);
    counters.Update(links, true);
    counters.HandOut(true);

    links.Transfer(2, 5);
    links.DialUp(4, "ppp0");
    counters.LoseSight();
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/3/ 6 1", "/wlan0/4/ 1 1", "/ppp0/5/ 1 1"));
    counters.Update(links, true);
    EXPECT_THAT(Names(counters), ElementsAre("/eth0/3/", "/wlan0/4/", "/ppp0/5/"));
}

TEST(LinkCounters, KeepNamesThatThePluginNeverHadWhenItLostSight)
{
    Links links;
    links.Row(2, "eth0");
    LinkCounters counters;
    counters.Update(links, true);

    counters.LoseSight();
    counters.Update(links, true);

    EXPECT_THAT(Names(counters), ElementsAre("/eth0/1/"));
}

TEST(LinkCounters, ChangeTheirGenerationWithTheNames)
{
    Links links;
    LinkCounters counters;
    counters.Update(links, true);
    const auto changes = [&] {
        const auto before = counters.Generation();
        counters.Update(links, true);
        return counters.Generation() != before;
    };

    EXPECT_FALSE(changes());
    links.Row(2, "eth0");
    EXPECT_TRUE(changes());
    EXPECT_FALSE(changes());
    links.Transfer(2, 100, 100);
    EXPECT_FALSE(changes());
    links[2].carrierChanges = 3;
    EXPECT_TRUE(changes());
    links.Remove(2);
    EXPECT_TRUE(changes());
    EXPECT_FALSE(changes());
}

TEST(LinkCounters, NameDevicesInPrintableAscii)
{
    Links links;
    links.Row(2, "caf\xC3\xA9\x01~");
    links.Row(3, "caf??\x7F~");
    LinkCounters counters;
    counters.Update(links, true);

    EXPECT_THAT(Names(counters), ElementsAre("/caf???~/1/", "/caf???~/2/"));
}

TEST(LinkCounters, NameNoDeviceInsideAnothersName)
{
    Links links;
    const std::vector<std::string> names = {"eth1", "eth10", "eth1.1", "1", "11", "h1", "e"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        links.Row(static_cast<int>(i) + 1, names[i]);
    }
    LinkCounters counters;
    for (int round = 0; round < 4; ++round) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            *links[static_cast<int>(i) + 1].carrierChanges += 2;
        }
        counters.Update(links, true);
        for (const std::string& name : Names(counters)) {
            for (const std::string& other : Names(counters)) {
                EXPECT_EQ(name == other, other.find(name) != std::string::npos) << name << " in " << other;
            }
        }
    }
}

TEST(PresentedLink, HasCountersOfARowThatNeverReadZero)
{
    const std::vector<std::pair<unsigned long long, unsigned int>> cases = {
        {1, 1},
        {2, 2},
        {kFold - 1, 0xFFFFFFFE},
        {kFold, 0xFFFFFFFF},
        {kFold + 1, 1},
        {2 * kFold, 0xFFFFFFFF},
        {1'000 * kFold + 7, 7},
    };
    for (const auto& [counter, inRow] : cases) {
        EXPECT_EQ(inRow, PresentedLink::InRow(counter));
        EXPECT_EQ(counter % kFold, inRow % kFold);  // which is all that the plug-in keeps of it
    }
}

/// A type whose sum the plug-in has up to `last`, and which grew by `growth` since.
std::vector<std::string> PacedAfter(unsigned long long last, unsigned long long growth, bool sampling)
{
    Links links;
    links.Row(2, "eth0");
    links.Row(3, "eth1");
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(2, last - 2);  // both count from 1
    counters.Update(links, true);
    counters.HandOut(false);
    links.Transfer(3, growth);
    counters.Update(links, true);
    return HandedOut(counters, sampling);
}

TEST(LinkCounters, HandOutNoMoreThanThePluginTakesForAWrap)
{
    const auto eth1After = [](unsigned long long last, unsigned long long growth, bool sampling) {
        return std::stoull(PacedAfter(last, growth, sampling)[1].substr(9));
    };
    struct Case
    {
        const char* what;
        unsigned long long last;
        unsigned long long growth;
        unsigned long long handed;  ///< of the growth
    };
    const std::vector<Case> cases = {
        {"nothing", 1'000, 0, 0},
        {"much, far from the fold", 1'000, 4'000'000'000, 4'000'000'000},
        {"little, over the fold", kFold - 100, 5'000, 5'000},
        {"as much as goes over the fold", kFold - 100, 200'000'000, 200'000'000},
        {"more, over the fold", kFold - 100, 200'000'001, 200'000'000},
        {"much more, up to the fold", kFold - 1'000'000'000, 3'000'000'000, 999'990'000},
        {"more than the fold", 1'000, 9'000'000'000, kFold - 11'000},
        {"much more, with the second fold near", 2 * kFold - 300'000'000, 400'000'000, 299'990'000},
    };
    for (const auto& [what, last, growth, handed] : cases) {
        SCOPED_TRACE(what);
        EXPECT_EQ(handed + 1, eth1After(last, growth, true));
        EXPECT_EQ(growth + 1, eth1After(last, growth, false));
    }
}

TEST(LinkCounters, HandOutTheRestNextTime)
{
    Links links;
    links.Row(2, "eth0");
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(2, kFold - 101);
    counters.Update(links, true);
    counters.HandOut(false);

    links.Transfer(2, 500'000'000);
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters),
                ElementsAre("/eth0/1/ " + std::to_string(kFold - 100 + 200'000'000) + " 1"));
    EXPECT_THAT(HandedOut(counters),
                ElementsAre("/eth0/1/ " + std::to_string(kFold - 100 + 500'000'000) + " 1"));
}

TEST(LinkCounters, CountTheRestUnderANewNameToo)
{
    Links links;
    links.Row(2, "eth0");
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(2, kFold - 101);
    counters.Update(links, true);
    counters.HandOut(false);
    links.Transfer(2, 500'000'000);
    counters.Update(links, true);
    counters.HandOut(true);

    links[2].carrierChanges = 3;
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters), ElementsAre("/eth0/2/ 300000001 1"));
}

TEST(LinkCounters, BeginNewLinksAtOneEvenWhereTheRestMustWait)
{
    Links links;
    links.Row(2, "eth0");
    LinkCounters counters;
    counters.Update(links, true);
    links.Transfer(2, kFold - 101);
    counters.Update(links, true);
    counters.HandOut(false);
    links.Transfer(2, 500'000'000);
    links.Row(3, "eth1");
    counters.Update(links, true);

    EXPECT_THAT(HandedOut(counters),
                ElementsAre("/eth0/1/ " + std::to_string(kFold - 100 + 200'000'000) + " 1", "/eth1/2/ 1 1"));
}

}  // namespace
