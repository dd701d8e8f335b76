// The counters against a real kernel, in network namespaces of the test's own. Needs root and the "ip"
// command; is skipped with a message where it cannot run.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>

#include "platform/dialup/LinkMonitor.h"
#include "platform/dialup/SystemLinks.h"
#include "tests/platform/Namespaces.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using namespace netinfo;
using namespace std::chrono_literals;
using nettest::LinkNews;
using nettest::Namespace;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pointwise;
using testing::Truly;

/// The machine's links, at a time of the test's choice.
class TimedLinks : public SystemLinks
{
public:
    std::chrono::milliseconds Now() override { return m_now; }
    void Wait(std::chrono::milliseconds time) { m_now += time; }

    int ReadLinks(std::vector<KernelLink>& links) override
    {
        ++wholeReads;
        return SystemLinks::ReadLinks(links);
    }

    int wholeReads = 0;  ///< of links; the other ones are of counters alone

private:
    std::chrono::milliseconds m_now{1'000'000};
};

class SystemLinksNamespaceTest : public testing::Test
{
protected:
    /// A cable from "wan0" here to "far0" there, with the default route through it.
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "network namespaces need root";
        if (std::system("ip -V >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no \"ip\" command";
        m_here = std::make_unique<Namespace>();
        m_there = std::make_unique<Namespace>();
        for (const auto& space : {std::cref(*m_here), std::cref(*m_there)}) {
            if (space.get().Error() != 0)
                GTEST_SKIP() << "no namespace: " << std::strerror(space.get().Error());
        }
        nettest::FakePlatform::Reset();
        Cable("wan0", "far0");
        ASSERT_TRUE(Here("addr add 192.0.2.1/24 dev wan0"));
        ASSERT_TRUE(Here("route add default via 192.0.2.2"));
    }

    bool Here(const std::string& arguments) const { return m_here->Ip(arguments); }
    bool There(const std::string& arguments) const { return m_there->Ip(arguments); }

    /// A pair of links with large frames, one end here and one there, both up.
    void Cable(const std::string& here, const std::string& there) const
    {
        ASSERT_TRUE(Here("link add " + here + " mtu 65535 type veth peer name " + there + " mtu 65535"));
        // The namespace has no name, so it is told by a process that is in it.
        int told[2];
        ASSERT_EQ(0, pipe2(told, O_CLOEXEC));
        pid_t holder = -1;
        m_there->Do([&] {
            holder = fork();
            if (holder != 0) return;
            char end = 0;
            close(told[1]);
            _exit(static_cast<int>(read(told[0], &end, 1)));
        });
        ASSERT_GT(holder, 0);
        const bool moved = Here("link set " + there + " netns " + std::to_string(holder));
        close(told[0]);
        close(told[1]);
        waitpid(holder, nullptr, 0);
        ASSERT_TRUE(moved);
        ASSERT_TRUE(There("link set " + there + " up"));
        ASSERT_TRUE(Here("link set " + here + " up"));
        AwaitOpen(here, there);
    }

    static void Rule(const std::string& linkName, const std::string& ruling)
    {
        nettest::FakePlatform::SetSetting("links", linkName, ruling);
    }

    /// Runs one `ip` command after the other for each number below `count`, which stands for "#".
    bool HereForEach(int count, const std::string& arguments)
    {
        std::string lines;
        for (int i = 0; i < count; ++i) {
            std::string line = arguments;
            lines += line.replace(line.find('#'), 1, std::to_string(i)) + "\n";
        }
        const nettest::TempDir directory;
        nettest::WriteFile(directory.File("batch"), lines);
        return Here("-batch " + directory.File("batch"));
    }

    /// The next second's rows, as "/wan0/1/ received sent"; or the error.
    std::vector<std::string> Rows()
    {
        PresentedLinks rows;
        m_source.Wait(1s);
        int error = 0;
        m_here->Do([&] { error = m_monitor.ReadRows(rows); });
        if (error != 0) return {"error " + std::to_string(error)};
        std::vector<std::string> described;
        for (const PresentedLink* const row : rows) {
            described.push_back(Described(row->deviceName, row->counters));
        }
        return described;
    }
    /// Waits until frames pass both ways: the kernel opens a link that came up in its own time, and drops
    /// what is sent before.
    void AwaitOpen(const std::string& here, const std::string& there) const
    {
        const ByteCounters before = m_here->Counters(here);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (ByteCounters now = before; now.received == before.received || now.sent == before.sent;
             now = m_here->Counters(here)) {
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << here << " does not open";
            m_there->Send(there, 100, 100);
            m_here->Send(here, 100, 100);
        }
        // What opened the link holds the kernel's lock on links until it has announced that.
        ASSERT_TRUE(Here("link set " + here + " up"));
    }
    static std::string Described(const std::string& deviceName, const ByteCounters& counters)
    {
        return deviceName + " " + std::to_string(counters.received) + " " + std::to_string(counters.sent);
    }
    /// The names of the links that are counted, for the host.
    std::vector<std::string> Counted()
    {
        std::optional<std::vector<CountedLink>> counted;
        m_here->Do([&] { counted = m_monitor.ReadCountedLinks(); });
        std::vector<std::string> names;
        for (const CountedLink& link : counted.value()) {
            names.push_back(link.deviceName);
        }
        return names;
    }
    std::vector<LinkState> AllLinks()
    {
        std::vector<LinkState> links;
        m_here->Do([&] { links = m_monitor.ReadAllLinks(); });
        return links;
    }
    LinkState StateOf(const std::string& name)
    {
        for (const LinkState& link : AllLinks()) {
            if (link.linkName == name) return link;
        }
        ADD_FAILURE() << "no link " << name;
        return {};
    }

    /// Adds "up0" on top of wan0 and gives it the default route; wan0 is still the one that is counted.
    void ExpectCountedBelow(const std::string& link)
    {
        if (!Here("link add " + link)) GTEST_SKIP() << "the kernel has no such links";
        ASSERT_TRUE(Here("link set up0 up"));
        ASSERT_TRUE(Here("addr add 203.0.113.1/24 dev up0"));
        ASSERT_TRUE(Here("route add default via 203.0.113.2 metric 5"));

        EXPECT_THAT(Counted(), ElementsAre("/wan0/1/"));
        EXPECT_EQ("its bytes are counted at wan0", StateOf("up0").reason);
    }

    std::unique_ptr<Namespace> m_here;
    std::unique_ptr<Namespace> m_there;
    TimedLinks m_source;
    LinkMonitor m_monitor{m_source};
};

TEST_F(SystemLinksNamespaceTest, CountsWhatTheKernelCounts)
{
    EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 1 1"));
    for (int second = 0; second < 5; ++second) {
        const ByteCounters before = m_here->Counters("wan0");
        const auto rows = Rows();
        m_here->Send("wan0", 10'000);
        m_there->Send("far0", 70'000);

        const ByteCounters after = m_here->Counters("wan0");
        EXPECT_EQ(10'000U, after.sent - before.sent);
        EXPECT_EQ(70'000U, after.received - before.received);
        const auto passed = static_cast<unsigned long long>(second) + 1;
        EXPECT_THAT(Rows(), ElementsAre(Described("/wan0/1/", {1 + 70'000 * passed, 1 + 10'000 * passed})));
    }
}

TEST_F(SystemLinksNamespaceTest, CountsFromOneHoweverMuchHasPassed)
{
    constexpr std::size_t kFrame = 60'000;
    m_there->Send("far0", 400'000'000, kFrame);
    ASSERT_LE(400'000'000U, m_here->Counters("wan0").received);

    EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 1 1"));
    m_there->Send("far0", 300'000'000, kFrame);
    EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 300000001 1"));
}

TEST_F(SystemLinksNamespaceTest, BeginsAnewWhenTheLinkGoesDownAndComesUp)
{
    m_there->Send("far0", 5'000);
    Rows();
    m_there->Send("far0", 5'000);
    ASSERT_TRUE(Here("link set wan0 down"));
    EXPECT_THAT(Rows(), IsEmpty());
    EXPECT_FALSE(StateOf("wan0").up);

    ASSERT_TRUE(Here("link set wan0 up"));
    AwaitOpen("wan0", "far0");
    ASSERT_TRUE(Here("route add default via 192.0.2.2"));
    EXPECT_THAT(Counted(), ElementsAre("/wan0/2/"));
    m_there->Send("far0", 3'000);
    EXPECT_THAT(Rows(), ElementsAre("/wan0/2/ 3001 1"));
}

TEST_F(SystemLinksNamespaceTest, SeesACarrierThatFlappedBetweenTwoReads)
{
    Rule("wan0", "adsl");
    Rows();
    const ByteCounters before = m_here->Counters("wan0");
    LinkNews news(*m_here);
    m_there->Send("far0", 5'000);
    ASSERT_TRUE(There("link set far0 down"));
    ASSERT_TRUE(There("link set far0 up"));
    ASSERT_TRUE(news.Await("wan0", true));
    AwaitOpen("wan0", "far0");
    const ByteCounters after = m_here->Counters("wan0");

    ASSERT_LT(before.received + 5'000, after.received);
    EXPECT_THAT(Rows(), ElementsAre(Described("/wan0/2/", {1 + after.received - before.received,
                                                           1 + after.sent - before.sent})));
}

TEST_F(SystemLinksNamespaceTest, ReadsTheCountersAloneWhileNothingElseChanges)
{
    Rows();
    Rows();  // what was still to be heard of
    const int before = m_source.wholeReads;
    for (unsigned long long second = 1; second <= 5; ++second) {
        m_there->Send("far0", 7'000);
        EXPECT_THAT(Rows(), ElementsAre(Described("/wan0/1/", {1 + 7'000 * second, 1})));
    }
    EXPECT_EQ(before, m_source.wholeReads);

    ASSERT_TRUE(Here("link set wan0 alias \"the flat's line\""));
    Rows();
    EXPECT_EQ(before + 1, m_source.wholeReads);
    Rows();
    EXPECT_EQ(before + 1, m_source.wholeReads);
}

TEST_F(SystemLinksNamespaceTest, ReadsWholeWhatItCouldNotHearOf)
{
    Rule("wan0", "adsl");
    ASSERT_TRUE(HereForEach(300, "link add many# type bridge"));
    Rows();
    Rows();
    const int before = m_source.wholeReads;
    const ByteCounters counted = m_here->Counters("wan0");
    for (int round = 0; round < 4; ++round) {  // more than a socket holds
        ASSERT_TRUE(HereForEach(300, "link set many# alias number" + std::to_string(round)));
        ASSERT_TRUE(HereForEach(300, "link set many# up"));
        ASSERT_TRUE(HereForEach(300, "link set many# down"));
    }
    ASSERT_TRUE(There("link set far0 down"));
    ASSERT_TRUE(There("link set far0 up"));
    AwaitOpen("wan0", "far0");
    const ByteCounters after = m_here->Counters("wan0");

    EXPECT_THAT(Rows(), ElementsAre(Described("/wan0/2/", {1 + after.received - counted.received,
                                                           1 + after.sent - counted.sent})));
    EXPECT_LT(before, m_source.wholeReads);
}

TEST_F(SystemLinksNamespaceTest, TakesALinkThatTookThePlaceOfAnotherForNewEvenUnderItsName)
{
    Rule("wan0", "adsl");
    m_there->Send("far0", 5'000);
    Rows();
    m_there->Send("far0", 300);
    Rows();
    ASSERT_TRUE(Here("link del wan0"));
    Cable("wan0", "far0");
    m_there->Send("far0", 90'000);

    EXPECT_THAT(Rows(), ElementsAre("/wan0/2/ 1 1"));
    m_there->Send("far0", 70);
    EXPECT_THAT(Rows(), ElementsAre("/wan0/2/ 71 1"));
}

TEST_F(SystemLinksNamespaceTest, SeesALinkThatWasAwayForLessThanASecond)
{
    Rule("wan0", "adsl");
    Rows();
    Rows();
    m_there->Send("far0", 5'000);
    ASSERT_TRUE(Here("link set wan0 down"));
    ASSERT_TRUE(Here("link set wan0 up"));

    EXPECT_EQ("/wan0/2/", Rows().at(0).substr(0, 8));
}

TEST_F(SystemLinksNamespaceTest, SeesTheFarEndPulled)
{
    Rows();
    LinkNews news(*m_here);
    ASSERT_TRUE(There("link set far0 down"));
    ASSERT_TRUE(news.Await("wan0", false));

    EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(SystemLinksNamespaceTest, BeginsAnewWhenTheLinkIsRenamed)
{
    Rule("wan0", "adsl");
    Rule("line0", "adsl");
    Rows();
    m_there->Send("far0", 2'000);
    Rows();
    ASSERT_TRUE(Here("link set wan0 down"));
    ASSERT_TRUE(Here("link set wan0 name line0"));
    ASSERT_TRUE(Here("link set line0 up"));

    EXPECT_THAT(Rows(), ElementsAre("/line0/2/ 1 1"));
}

TEST_F(SystemLinksNamespaceTest, CountsByTheDefaultRouteOnly)
{
    Cable("lan0", "far1");
    EXPECT_THAT(Counted(), ElementsAre("/wan0/1/"));
    EXPECT_EQ("neither hardware nor on the default route", StateOf("lan0").reason);

    ASSERT_TRUE(Here("route del default"));
    EXPECT_THAT(Counted(), IsEmpty());

    ASSERT_TRUE(Here("addr add 198.51.100.1/24 dev lan0"));
    ASSERT_TRUE(Here("route add default nexthop via 192.0.2.2 nexthop via 198.51.100.2"));
    EXPECT_EQ(2U, Counted().size());

    ASSERT_TRUE(Here("route del default"));
    ASSERT_TRUE(Here("route add default via 192.0.2.2 table 100"));
    EXPECT_THAT(Counted(), IsEmpty());
}

TEST_F(SystemLinksNamespaceTest, FindsADefaultRouteOfIpv6)
{
    m_here->Do([] { std::ofstream("/proc/sys/net/ipv6/conf/wan0/disable_ipv6") << 0; });
    ASSERT_TRUE(Here("route del default"));
    EXPECT_THAT(Counted(), IsEmpty());
    if (!Here("-6 route add default via fe80::1 dev wan0")) GTEST_SKIP() << "the kernel has no IPv6";

    EXPECT_THAT(Counted(), ElementsAre("/wan0/1/"));
}

TEST_F(SystemLinksNamespaceTest, FollowsTheRulesOfTheSettings)
{
    Cable("lan0", "far1");
    Rule("wan0", "ignore");
    Rule("lan0", "WiFi");

    const LinkState wan0 = StateOf("wan0");
    const LinkState lan0 = StateOf("lan0");

    EXPECT_EQ("ignored by a rule", wan0.reason);
    EXPECT_TRUE(wan0.ruled);
    EXPECT_EQ(ConnectionType::Wifi, lan0.type);
    EXPECT_TRUE(lan0.ruled);
    EXPECT_EQ("", lan0.reason);
}

TEST_F(SystemLinksNamespaceTest, CountsABridgedLinkOnce)
{
    ASSERT_TRUE(Here("route del default"));
    ASSERT_TRUE(Here("link add br0 type bridge mcast_snooping 0"));
    ASSERT_TRUE(Here("link set wan0 master br0"));
    ASSERT_TRUE(Here("link set br0 up multicast off"));
    ASSERT_TRUE(Here("addr add 203.0.113.1/24 dev br0"));
    ASSERT_TRUE(Here("route add default via 203.0.113.2"));
    EXPECT_THAT(Counted(), ElementsAre("/br0/1/"));

    Rule("wan0", "adsl");
    EXPECT_THAT(Counted(), ElementsAre("/wan0/2/"));
    EXPECT_EQ("its bytes are counted at wan0", StateOf("br0").reason);

    Rows();
    const ByteCounters before = m_here->Counters("wan0");
    const ByteCounters bridged = m_here->Counters("br0");
    m_there->Send("far0", 30'000);
    m_here->Send("br0", 2'000);
    const ByteCounters after = m_here->Counters("wan0");
    EXPECT_LT(bridged.sent, m_here->Counters("br0").sent) << "the bridge counts them, too";
    EXPECT_THAT(Rows(), ElementsAre(Described("/wan0/2/", {1 + after.received - before.received,
                                                           1 + after.sent - before.sent})));
}

TEST_F(SystemLinksNamespaceTest, CountsAVlanAtItsHardware)
{
    ExpectCountedBelow("link wan0 up0 type vlan id 7");
}

TEST_F(SystemLinksNamespaceTest, CountsAMacvlanAtItsHardware)
{
    ExpectCountedBelow("link wan0 up0 type macvlan");
}

TEST_F(SystemLinksNamespaceTest, FindsTheLowerLinkInTheDeviceTree)
{
    bool mounted = false;
    m_here->Do([&] {
        mounted = unshare(CLONE_NEWNS) == 0 &&
                  mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  mount("here", "/sys", "sysfs", 0, nullptr) == 0;
    });
    if (!mounted) GTEST_SKIP() << "no device tree of the namespace's own: " << std::strerror(errno);

    ExpectCountedBelow("up0 type vxlan id 7 dev wan0 dstport 4789");
}

TEST_F(SystemLinksNamespaceTest, CountsOneEndOfAPairThatIsAllHere)
{
    ASSERT_TRUE(Here("link add left0 type veth peer name right0"));
    ASSERT_TRUE(Here("link set left0 up"));
    ASSERT_TRUE(Here("link set right0 up"));
    Rule("left0", "adsl");
    Rule("right0", "adsl");
    Rule("wan0", "ignore");

    const auto counted = Counted();

    ASSERT_EQ(1U, counted.size());
    EXPECT_THAT(Rows().size(), 1U);
}

TEST_F(SystemLinksNamespaceTest, CountsATunnelOnlyWhereNothingElseIs)
{
    const nettest::Tunnel tunnel(*m_here, "tun0");
    if (!tunnel.IsOpen()) GTEST_SKIP() << "the kernel has no tunnels";
    ASSERT_TRUE(Here("link set tun0 up"));
    ASSERT_TRUE(Here("route add default dev tun0 metric 5"));
    EXPECT_THAT(Counted(), ElementsAre("/wan0/1/"));
    EXPECT_EQ("its bytes may travel over wan0, which is counted", StateOf("tun0").reason);

    ASSERT_TRUE(Here("link set wan0 down"));
    EXPECT_THAT(Counted(), ElementsAre("/tun0/2/"));
}

TEST_F(SystemLinksNamespaceTest, CountsPppAsADialUpConnection)
{
    nettest::Tunnel tunnel(*m_here, "ppp0", ARPHRD_PPP);
    if (!tunnel.IsOpen()) GTEST_SKIP() << "the kernel has no tunnels";
    ASSERT_TRUE(Here("link set ppp0 up"));
    PresentedLinks connections;
    for (const unsigned long long received : {1U, 2'001U}) {
        EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 1 1"));
        m_here->Do([&] { EXPECT_EQ(0, m_monitor.ReadConnections(connections)); });
        ASSERT_EQ(1U, connections.size());
        EXPECT_EQ("/ppp0/2/", connections[0]->deviceName);
        EXPECT_EQ(received, connections[0]->counters.received);
        tunnel.Receive(2'000);
    }
}

TEST_F(SystemLinksNamespaceTest, TellsTheAliasOfALink)
{
    ASSERT_TRUE(Here("link set wan0 alias \"the flat's line\""));

    EXPECT_EQ("the flat's line", StateOf("wan0").alias);
}

TEST_F(SystemLinksNamespaceTest, ReadsHundredsOfLinks)
{
    ASSERT_TRUE(HereForEach(500, "link add many# type bridge"));
    EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 1 1"));
    m_there->Send("far0", 1'000);

    EXPECT_EQ(502U, AllLinks().size());  // with loopback and wan0
    EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 1001 1"));
}

TEST_F(SystemLinksNamespaceTest, IsNotDisturbedByLinksThatCome)
{
    ASSERT_TRUE(HereForEach(150, "link add many# type bridge"));
    Rows();
    std::atomic<bool> done{false};
    std::thread other([&] {
        for (int i = 0; i < 60; ++i) {
            Here("link add other" + std::to_string(i) + " type bridge");
        }
        done = true;
    });

    for (unsigned long long sent = 1'000; !done && !HasFailure(); sent += 1'000) {
        m_there->Send("far0", 1'000);
        EXPECT_THAT(Rows(), ElementsAre(Described("/wan0/1/", {1 + sent, 1})));
    }
    other.join();
    EXPECT_EQ(212U, AllLinks().size());
}

/// While it lives, every dump of links looks as if something had got in between two of its parts.
class Interruption
{
public:
    Interruption() { s_lasts = true; }
    ~Interruption() { s_lasts = false; }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Marks the first message received, if it is part of a dump.
    static void Mark(void* received, ssize_t length)
    {
        auto* const message = static_cast<nlmsghdr*>(received);
        if (!s_lasts || length < static_cast<ssize_t>(sizeof(*message))) return;
        const bool isOfLinks = message->nlmsg_type == RTM_NEWLINK || message->nlmsg_type == RTM_NEWSTATS;
        if (isOfLinks && (message->nlmsg_flags & NLM_F_MULTI) != 0) message->nlmsg_flags |= NLM_F_DUMP_INTR;
    }

private:
    static inline std::atomic<bool> s_lasts{false};
};

TEST_F(SystemLinksNamespaceTest, AsksForLinksOneByOneWhereEveryDumpIsInterrupted)
{
    ASSERT_TRUE(HereForEach(150, "link add many# type bridge"));
    EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 1 1"));
    {
        const Interruption interruption;
        m_there->Send("far0", 1'000);
        EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 1001 1"));
        ASSERT_TRUE(Here("link del many7"));
        ASSERT_TRUE(Here("link add other type bridge"));
        EXPECT_EQ(152U, AllLinks().size());
        m_there->Send("far0", 1'000);
        EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 2001 1"));
    }
    m_there->Send("far0", 1'000);
    EXPECT_THAT(Rows(), ElementsAre("/wan0/1/ 3001 1"));
}

/// The open descriptors of this process.
std::set<int> Descriptors()
{
    std::set<int> open;
    for (int descriptor = 0; descriptor < 1'024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0) open.insert(descriptor);
    }
    return open;
}

TEST_F(SystemLinksNamespaceTest, KeepsOneSocketThatIsClosedOnExec)
{
    m_here->Do([] {
        const std::set<int> before = Descriptors();
        Netlink netlink;
        Bytes messages;
        std::set<int> sockets;
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
            EXPECT_THAT(messages, Not(IsEmpty()));
            for (const int descriptor : Descriptors()) {
                if (!before.contains(descriptor)) sockets.insert(descriptor);
            }
        }

        ASSERT_EQ(1U, sockets.size());
        EXPECT_EQ(FD_CLOEXEC, fcntl(*sockets.begin(), F_GETFD));
    });
}

TEST_F(SystemLinksNamespaceTest, AsksOnASocketOfItsOwnInAForkedChild)
{
    m_here->Do([] {
        Netlink netlink;
        Bytes messages;
        ASSERT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
        const auto expected = ParseLinks(messages).value().size();
        std::vector<pid_t> children;
        for (int child = 0; child < 4; ++child) {
            children.push_back(fork());
            if (children.back() != 0) continue;
            for (int i = 0; i < 50; ++i) {
                if (netlink.Dump(RTM_GETLINK, messages) != 0) _exit(1);
                const auto links = ParseLinks(messages);
                if (!links || links->size() != expected) _exit(2);
            }
            _exit(0);
        }
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
        }
        for (const pid_t child : children) {
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(0, status);
        }
    });
}

/// What a dump of statistics comes to.
int StatisticsOf(Netlink& netlink)
{
    std::vector<ByteCounters> counters;
    StatisticsReader reader({}, counters);
    return netlink.DumpStatistics(reader);
}

TEST_F(SystemLinksNamespaceTest, TellsWhetherStatisticsAreOfTheLinksThatWereRead)
{
    m_here->Do([&] {
        Netlink netlink;
        Bytes messages;
        EXPECT_EQ(ESTALE, StatisticsOf(netlink)) << "no links were read";
        ASSERT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
        EXPECT_EQ(0, StatisticsOf(netlink));

        ASSERT_TRUE(Here("link set wan0 down"));
        EXPECT_EQ(ESTALE, StatisticsOf(netlink));
        EXPECT_EQ(ESTALE, StatisticsOf(netlink)) << "the links have not been read again";
        ASSERT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
        EXPECT_EQ(0, StatisticsOf(netlink));

        ASSERT_TRUE(Here("link add other0 type bridge"));
        ASSERT_EQ(0, netlink.Dump(RTM_GETROUTE, messages));
        EXPECT_EQ(ESTALE, StatisticsOf(netlink)) << "it was told in between";
    });
}

TEST_F(SystemLinksNamespaceTest, LeavesOutALinkThatIsGoneWhenItIsAskedFor)
{
    m_here->Do([] {
        Netlink netlink;
        Bytes messages;
        ASSERT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
        auto present = ParseLinks(messages);
        ASSERT_TRUE(present);
        std::vector<int> asked;
        for (const KernelLink& link : *present) {
            asked.push_back(link.index);
        }
        constexpr int GONE = 9'999;
        for (const auto place : {asked.begin(), asked.end()}) {
            std::vector<int> some = asked;
            some.insert(some.begin() + (place - asked.begin()), GONE);
            ASSERT_EQ(0, netlink.AskForEach(some, messages));
            const auto links = ParseLinks(messages);
            ASSERT_TRUE(links);
            EXPECT_THAT(*links, Pointwise(Truly([](const auto& pair) {
                                              return SameStructure(std::get<0>(pair), std::get<1>(pair));
                                          }),
                                          *present));
        }
        EXPECT_EQ(ESTALE, StatisticsOf(netlink)) << "something may have changed in between";
    });
}

TEST_F(SystemLinksNamespaceTest, KnowsOfNoLinksInAForkedChild)
{
    m_here->Do([] {
        Netlink netlink;
        Bytes messages;
        ASSERT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
        const pid_t child = fork();
        if (child == 0) _exit(StatisticsOf(netlink) == ESTALE ? 0 : 1);
        int status = -1;
        waitpid(child, &status, 0);

        EXPECT_EQ(0, status);
        EXPECT_EQ(0, StatisticsOf(netlink)) << "the child took nothing from this process";
    });
}

TEST_F(SystemLinksNamespaceTest, SaysWhatTheKernelSaysToAQuestionItDoesNotKnow)
{
    m_here->Do([] {
        Netlink netlink;
        Bytes messages;
        EXPECT_EQ(EOPNOTSUPP, netlink.Dump(RTM_GETLINK + 4 * 100, messages));
        EXPECT_EQ(0, netlink.Dump(RTM_GETLINK, messages));
    });
}

}  // namespace

/// Takes the place of the C library's: the kernel's answers come through it.
extern "C" __attribute__((visibility("default"))) ssize_t recv(int socket, void* buffer, size_t size,
                                                               int flags)
{
    const auto received =
        static_cast<ssize_t>(syscall(SYS_recvfrom, socket, buffer, size, flags, nullptr, nullptr));
    Interruption::Mark(buffer, received);
    return received;
}
