#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/Program.h"
#include "tests/support/ProgramClock.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

// `netinfo run` in a network namespace of its own, with the far ends of its links in a second one: what it
// counts is held against the kernel's own counters, from the moment that it says it is counting: by then the
// links are quiet. Needs root; real time passes here, but nothing is timed.

namespace {

using Json = nlohmann::json;
using nettest::Program;

struct Traffic
{
    unsigned long long received = 0;  ///< bytes
    unsigned long long sent = 0;      ///< bytes
};

Traffic operator-(const Traffic& left, const Traffic& right)
{
    return {left.received - right.received, left.sent - right.sent};
}

Traffic operator+(const Traffic& left, const Traffic& right)
{
    return {left.received + right.received, left.sent + right.sent};
}

bool Shell(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

/// A network namespace; gone, with the links in it, at the end of its scope.
class Namespace
{
public:
    explicit Namespace(const std::string& name) : m_name(name + "-" + std::to_string(getpid()))
    {
        // Where the root directory is no mount, one can be made but not entered.
        m_made = Shell("ip netns add " + m_name) && Ip("link set lo up");
        // The only traffic is the test's own.
        Do([] { std::ofstream("/proc/sys/net/ipv6/conf/all/disable_ipv6") << 1; });
        Do([] { std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << 1; });
    }
    ~Namespace() { Shell("ip netns del " + m_name); }
    Namespace(const Namespace&) = delete;
    Namespace& operator=(const Namespace&) = delete;

    bool Made() const { return m_made; }
    const std::string& Name() const { return m_name; }
    bool Ip(const std::string& words) const { return Shell("ip -n " + m_name + " " + words); }

    /// Does `work` on a thread that stands in the namespace.
    void Do(const std::function<void()>& work) const
    {
        std::thread([&] {
            const int space = open(("/run/netns/" + m_name).c_str(), O_RDONLY | O_CLOEXEC);
            if (space < 0) return;
            if (setns(space, CLONE_NEWNET) == 0) work();
            close(space);
        }).join();
    }

    /// The kernel's counters of a link.
    Traffic Count(const std::string& link) const
    {
        Traffic traffic;
        Do([&] {
            std::ifstream table("/proc/thread-self/net/dev");
            for (std::string line; std::getline(table, line);) {
                const auto colon = line.find(':');
                if (colon == std::string::npos) continue;
                if (line.substr(line.find_first_not_of(' '), colon - line.find_first_not_of(' ')) != link)
                    continue;
                std::istringstream numbers(line.substr(colon + 1));
                unsigned long long other = 0;
                numbers >> traffic.received;
                for (int i = 0; i < 7; ++i)
                    numbers >> other;
                numbers >> traffic.sent;
            }
        });
        return traffic;
    }

    /// Sends datagrams with so many bytes of payload in all.
    void Send(const std::string& address, unsigned long long bytes, std::size_t datagram = 10'000) const
    {
        Do([&] {
            const int udp = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            sockaddr_in to{};
            to.sin_family = AF_INET;
            to.sin_port = htons(9);
            inet_pton(AF_INET, address.c_str(), &to.sin_addr);
            const std::vector<char> payload(datagram);
            for (unsigned long long sent = 0; sent < bytes; sent += datagram) {
                sendto(udp, payload.data(), payload.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                       sizeof to);
            }
            close(udp);
        });
    }

private:
    std::string m_name;
    bool m_made = false;
};

class NetworkTraffic : public testing::Test
{
protected:
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "network namespaces need root";
        if (!m_machine.Made() || !m_far.Made())
            GTEST_SKIP() << "no network namespace can be made and entered here";
    }

    /// A link to the far side, down as yet. `number` 1 to 9 gives it the addresses 10.77.<number>.1 and .2.
    void AddLink(const std::string& name, int number)
    {
        const std::string n = std::to_string(number);
        ASSERT_TRUE(Shell("ip link add " + name + " mtu 60000 address 02:00:00:00:00:1" + n + " netns " +
                          m_machine.Name() + " type veth peer name " + name +
                          " mtu 60000 address 02:00:00:00:00:2" + n + " netns " + m_far.Name()));
        ASSERT_TRUE(m_machine.Ip("addr add 10.77." + n + ".1/24 dev " + name));
        ASSERT_TRUE(m_far.Ip("addr add 10.77." + n + ".2/24 dev " + name));
        ASSERT_TRUE(m_far.Ip("link set " + name + " up"));
    }

    void Up(const std::string& link, int number)
    {
        const std::string n = std::to_string(number);
        ASSERT_TRUE(m_machine.Ip("link set " + link + " up"));
        ASSERT_TRUE(
            m_machine.Ip("neigh replace 10.77." + n + ".2 lladdr 02:00:00:00:00:2" + n + " dev " + link));
        ASSERT_TRUE(m_far.Ip("neigh replace 10.77." + n + ".1 lladdr 02:00:00:00:00:1" + n + " dev " + link));
    }

    void Down(const std::string& link) { ASSERT_TRUE(m_machine.Ip("link set " + link + " down")); }

    /// Moves bytes both ways over the link with that number.
    void Transfer(int number, unsigned long long received, unsigned long long sent) const
    {
        m_far.Send("10.77." + std::to_string(number) + ".1", received);
        m_machine.Send("10.77." + std::to_string(number) + ".2", sent);
    }

    /// Waits until what comes in over eth1 goes on to br0: the kernel opens the port in its own time.
    bool BridgeForwards() const
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (m_machine.Count("br0").received == 0 && std::chrono::steady_clock::now() < limit)
            m_far.Send("10.77.1.1", 100, 100);
        return m_machine.Count("br0").received != 0;
    }

    Program Netinfo(const std::string& rules, const std::string& otherSettings = "")
    {
        nettest::WriteFile(m_directory.File("DataUsageLimit.ini"), "[links]\n" + rules + otherSettings);
        return Program(
            {"/bin/sh", "-c", "exec ip netns exec " + m_machine.Name() + " " NETINFO_PROGRAM " run --json"},
            m_environment);
    }

    /// The newest line about `type`; null if there is none as yet.
    static Json Newest(const Program& program, const std::string& type)
    {
        Json newest;
        std::istringstream lines(program.Text());
        for (std::string line; std::getline(lines, line);) {
            if (lines.eof()) break;  // not whole yet
            const Json json = Json::parse(line, nullptr, false);
            if (json.is_object() && json.value("type", "") == type) newest = json;
        }
        return newest;
    }

    /// Reads on until the newest line about `type` says so; false if the program falls silent first.
    static bool Becomes(Program& program, const std::string& type, bool connected)
    {
        for (;;) {
            const Json newest = Newest(program, type);
            if (newest.is_object() && newest["connected"] == connected) return true;
            if (!program.WaitFor("\n")) return false;
        }
    }

    /// Reads on until the total since the reset has reached `expected`, and returns it.
    static Traffic SinceReset(Program& program, const std::string& type, const Traffic& expected)
    {
        for (;;) {
            const Json newest = Newest(program, type);
            Traffic total;
            if (newest.is_object()) {
                total = {newest["since_reset"]["downloaded"], newest["since_reset"]["uploaded"]};
            }
            if (total.received >= expected.received && total.sent >= expected.sent) return total;
            if (!program.WaitFor("\n")) return total;
        }
    }

    /// Attribute `name` of the first element behind the text `behind` in the saved file that begins with
    /// `element`.
    unsigned long long SavedNumber(const std::string& element, const std::string& name,
                                   const std::string& behind = "<xml>") const
    {
        const std::string file = nettest::ReadFile(m_directory.File("NetInfo.dat"));
        const auto value = file.find(" " + name + "=\"", file.find(element, file.find(behind)));
        if (value == std::string::npos) return 0;
        return std::strtoull(file.c_str() + value + name.size() + 3, nullptr, 10);
    }
    /// A number of the saved file: attribute `name` of the `since` element of a type.
    unsigned long long Saved(const std::string& label, const std::string& name) const
    {
        return SavedNumber("<since", name, "<transfer type=\"" + label + "\"");
    }

    /// What `netinfo usage` tells of a type.
    Json Usage(const std::string& type, const std::string& by)
    {
        Program program({NETINFO_PROGRAM, "usage", "--type", type, "--by", by, "--json"}, m_environment);
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
        return Json::parse(program.Text());
    }
    Json Usage(const std::string& type) { return Usage(type, "type")["total"]; }

    /// What the kernel has counted on a link, as `mark` says, since the last time that it was asked so.
    Traffic Moved(const std::string& link, Traffic& mark) const
    {
        const Traffic now = m_machine.Count(link);
        return now - std::exchange(mark, now);
    }

    Namespace m_machine{"netinfo-test"};
    Namespace m_far{"netinfo-far"};
    nettest::TempDir m_directory;
    std::map<std::string, std::string> m_environment{{"NETINFO_DATA_DIR", m_directory.Path()},
                                                     {"NETINFO_CONFIG_DIR", m_directory.Path()},
                                                     {"XDG_RUNTIME_DIR", m_directory.Path()},
                                                     {"XDG_STATE_HOME", m_directory.Path()}};
};

/// `counted` is `expected`, but for one byte each way for every time that a counter began while another
/// connection was up.
void ExpectTraffic(const Traffic& counted, const Traffic& expected, unsigned long long beginnings)
{
    EXPECT_GE(counted.received, expected.received);
    EXPECT_LE(counted.received, expected.received + beginnings);
    EXPECT_GE(counted.sent, expected.sent);
    EXPECT_LE(counted.sent, expected.sent + beginnings);
}

TEST_F(NetworkTraffic, EqualsTheKernelsCountWhileLinksComeAndGo)
{
    // Given a link with more on its counter than 31 bits hold, from before it is counted.
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(AddLink("eth2", 2));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    m_far.Send("10.77.1.1", 2'200'000'000, 50'000);

    Program program = Netinfo("eth1=adsl\neth2=wifi\n");
    ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
    const Traffic before = m_machine.Count("eth1");
    ASSERT_GT(before.received, 2'200'000'000U);

    // A transfer over it counts whole, and nothing else does.
    Transfer(1, 10'000'000, 1'000'000);
    Traffic expected = m_machine.Count("eth1") - before;
    ASSERT_GT(expected.received, 10'000'000U);
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 0);

    // A second link of another type joins; each counts its own.
    ASSERT_NO_FATAL_FAILURE(Up("eth2", 2));
    ASSERT_TRUE(Becomes(program, "wifi", true));
    const Traffic joined = m_machine.Count("eth2");
    Transfer(2, 3'000'000, 500'000);
    Transfer(1, 2'000'000, 20'000);
    expected = m_machine.Count("eth1") - before;
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 0);
    const Traffic second = m_machine.Count("eth2") - joined;
    ExpectTraffic(SinceReset(program, "wifi", second), second, 1);

    // The first goes down, and comes up again with its old counter; then it goes for good.
    ASSERT_NO_FATAL_FAILURE(Down("eth1"));
    ASSERT_TRUE(Becomes(program, "adsl", false));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    ASSERT_TRUE(Becomes(program, "adsl", true));
    Transfer(1, 4'000'000, 40'000);
    expected = m_machine.Count("eth1") - before;
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 1);
    ASSERT_TRUE(m_machine.Ip("link del eth1"));
    ASSERT_TRUE(Becomes(program, "adsl", false));

    // Ctrl-C saves it all.
    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
    ExpectTraffic({Saved("ADSL", "downloaded"), Saved("ADSL", "uploaded")}, expected, 1);
    ExpectTraffic({Saved("WiFi", "downloaded"), Saved("WiFi", "uploaded")}, second, 1);
    EXPECT_NE(nettest::ReadFile(m_directory.File("NetInfo.dat")).find(" apn=\"eth1\""), std::string::npos);
}

TEST_F(NetworkTraffic, IsCountedByARuleThatIsChangedWhileItRuns)
{
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    Program program = Netinfo("eth1=adsl\n");
    ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();

    nettest::WriteFile(m_directory.File("DataUsageLimit.ini"), "[links]\neth1=wifi\n");

    EXPECT_TRUE(Becomes(program, "wifi", true));
    EXPECT_TRUE(Becomes(program, "adsl", false));
    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
}

TEST_F(NetworkTraffic, LosesAtMostTheCheckpointWhenItIsKilled)
{
    constexpr long INTERVAL = 2;  // seconds
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    Program program = Netinfo("eth1=adsl\n", "[host]\ncheckpoint = " + std::to_string(INTERVAL) + "\n");
    ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();

    // When it is killed under traffic, some seconds after it said that it was counting.
    const long counting = Newest(program, "adsl")["time"];
    while (Newest(program, "adsl")["time"] < counting + 4 * INTERVAL) {
        Transfer(1, 100'000, 10'000);
        ASSERT_TRUE(program.WaitFor("\n")) << program.Errors();
    }
    program.Signal(SIGKILL);
    EXPECT_EQ(program.Wait(), -SIGKILL);

    // Then the file holds all that was shown an interval before its last word. A second may pass from what a
    // line shows to the tick that writes it.
    const long last = Newest(program, "adsl")["time"];
    const Traffic saved{Saved("ADSL", "downloaded"), Saved("ADSL", "uploaded")};
    int lines = 0;
    std::istringstream text(program.Text());
    for (std::string line; std::getline(text, line);) {
        const Json json = Json::parse(line, nullptr, false);
        if (!json.is_object() || json["type"] != "adsl" || json["time"] > last - INTERVAL - 1) continue;
        EXPECT_GE(saved.received, json["since_reset"]["downloaded"]) << line;
        EXPECT_GE(saved.sent, json["since_reset"]["uploaded"]) << line;
        ++lines;
    }
    EXPECT_GT(lines, 0);
    EXPECT_GT(saved.received, 0U);

    // And the next command goes on from there.
    Program report({NETINFO_PROGRAM, "report", "--json"},
                   {{"NETINFO_DATA_DIR", m_directory.Path()}, {"NETINFO_CONFIG_DIR", m_directory.Path()}});
    EXPECT_EQ(report.Wait(), 0) << report.Errors();
    EXPECT_EQ(Saved("ADSL", "downloaded"), saved.received);
}

TEST_F(NetworkTraffic, ShowsWithinTwoSecondsAndIsInTheFileAfterCtrlC)
{
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));

    // The program's own clock readings tell when it knew, however late this test gets to read them.
    const std::time_t started = std::time(nullptr);
    Program program = Netinfo("eth1=adsl\n");
    ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
    EXPECT_LE(Newest(program, "adsl")["time"], started + 2);

    const Traffic before = m_machine.Count("eth1");
    Transfer(1, 10'000'000, 1'000'000);
    const Traffic expected = m_machine.Count("eth1") - before;
    const std::time_t moved = std::time(nullptr);
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 0);
    EXPECT_LE(Newest(program, "adsl")["time"], moved + 2);

    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
    ExpectTraffic({Saved("ADSL", "downloaded"), Saved("ADSL", "uploaded")}, expected, 0);
    ExpectTraffic({SavedNumber("<item", "downloaded"), SavedNumber("<item", "uploaded")}, expected, 0);
}

TEST_F(NetworkTraffic, LosesNothingWhenOneOfTwoLinksOfATypeLeavesOrComesBack)
{
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(AddLink("eth2", 2));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(Up("eth2", 2));
    Program program = Netinfo("eth1=adsl\neth2=adsl\n");
    ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
    const Traffic first = m_machine.Count("eth1");
    const Traffic second = m_machine.Count("eth2");

    Transfer(1, 5'000'000, 50'000);
    Transfer(2, 7'000'000, 70'000);
    Traffic expected = (m_machine.Count("eth1") - first) + (m_machine.Count("eth2") - second);
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 1);

    ASSERT_NO_FATAL_FAILURE(Down("eth1"));
    Transfer(2, 1'000'000, 10'000);
    expected = (m_machine.Count("eth1") - first) + (m_machine.Count("eth2") - second);
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 2);

    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    Transfer(2, 2'000'000, 20'000);
    expected = (m_machine.Count("eth1") - first) + (m_machine.Count("eth2") - second);
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 4);

    program.Signal(SIGTERM);
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
}

TEST_F(NetworkTraffic, IsInItsHourToTheByteAcrossAStopAKillAndALinkMadeAnew)
{
    constexpr std::time_t TEN = 1778148000;  // 2026-05-07 10:00 UTC
    constexpr std::time_t HOUR = 3600;
    constexpr std::time_t MINUTE = 60;
    nettest::ProgramClock clock(NETTEST_PROGRAM_CLOCK, TEN + 30 * MINUTE);
    m_environment.merge(clock.Environment());
    const std::string rules = "eth1=adsl\neth2=wifi\n";
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(AddLink("eth2", 2));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(Up("eth2", 2));
    m_far.Send("10.77.1.1", 2'200'000'000, 50'000);

    // The kernel's count per hour, and where it stood on either link when it was last asked.
    std::map<std::time_t, Traffic> adsl;
    std::map<std::time_t, Traffic> wifi;
    Traffic first;
    Traffic second;
    const auto count = [&](std::time_t hour) {
        adsl[hour] = adsl[hour] + Moved("eth1", first);
        wifi[hour] = wifi[hour] + Moved("eth2", second);
    };
    const auto expectHours = [&](const std::string& type, const std::map<std::time_t, Traffic>& expected) {
        const Json lines = Usage(type, "hour")["lines"];
        ASSERT_EQ(lines.size(), expected.size()) << type << lines;
        for (const Json& line : lines) {
            const auto hour = expected.find(line["start"]);
            ASSERT_NE(hour, expected.end()) << type << line;
            EXPECT_EQ(hour->second.received, line["downloaded"]) << type << line;
            EXPECT_EQ(hour->second.sent, line["uploaded"]) << type << line;
        }
    };
    const auto expectUsage = [&] {
        expectHours("adsl", adsl);
        expectHours("wifi", wifi);
    };
    // Two transfers, and what the program shows once it has counted them.
    const auto transfer = [&](Program& program, std::time_t hour) {
        const Traffic shownFirst = SinceReset(program, "adsl", {});
        const Traffic shownSecond = SinceReset(program, "wifi", {});
        Traffic markFirst = first = m_machine.Count("eth1");
        Traffic markSecond = second = m_machine.Count("eth2");
        Transfer(1, 2'000'000, 200'000);
        Transfer(2, 3'000'000, 20'000);
        SinceReset(program, "adsl", shownFirst + Moved("eth1", markFirst));
        SinceReset(program, "wifi", shownSecond + Moved("eth2", markSecond));
        count(hour);
    };

    {
        Program program = Netinfo(rules);
        ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
        ASSERT_TRUE(Becomes(program, "wifi", true));
        transfer(program, TEN);
        expectUsage();
        clock.PassTo(TEN + HOUR + MINUTE);
        transfer(program, TEN + HOUR);
        expectUsage();
        program.Signal(SIGINT);
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
    }
    expectUsage();

    // The links live on for minutes in which nobody counts; then it is killed before it has told its file.
    Transfer(1, 5'000'000, 500'000);
    clock.PassTo(TEN + HOUR + 10 * MINUTE);
    count(TEN + HOUR);
    {
        Program program = Netinfo(rules);
        ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
        ASSERT_TRUE(Becomes(program, "wifi", true));
        transfer(program, TEN + HOUR);
        expectUsage();
        program.Signal(SIGKILL);
        EXPECT_EQ(program.Wait(), -SIGKILL);
    }
    EXPECT_GE(Usage("adsl")["recovered"]["downloaded"], 5'000'000) << "committed at once";
    Transfer(2, 1'000'000, 1'000'000);
    clock.PassTo(TEN + HOUR + 30 * MINUTE);
    count(TEN + HOUR);
    {
        Program program = Netinfo(rules);
        ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
        ASSERT_TRUE(Becomes(program, "wifi", true));
        expectUsage();
        EXPECT_GE(Usage("wifi")["recovered"]["downloaded"], 1'000'000);

        // One link is made anew while it counts: nothing is lost but what passes before it is counted again.
        clock.PassTo(TEN + 2 * HOUR + MINUTE);
        transfer(program, TEN + 2 * HOUR);
        ASSERT_TRUE(m_machine.Ip("link del eth1"));
        ASSERT_TRUE(Becomes(program, "adsl", false));
        ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
        ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
        ASSERT_TRUE(Becomes(program, "adsl", true));
        transfer(program, TEN + 2 * HOUR);
        expectUsage();
        program.Signal(SIGINT);
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
    }

    // Made anew while nobody counts, it takes along what it moved since the stop, and has gigabytes on its
    // new counter that are nobody's.
    Transfer(1, 4'000'000, 40'000);
    ASSERT_TRUE(m_machine.Ip("link del eth1"));
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    m_far.Send("10.77.1.1", 2'200'000'000, 50'000);
    {
        Program program = Netinfo(rules);
        ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
        ASSERT_TRUE(Becomes(program, "wifi", true));
        transfer(program, TEN + 2 * HOUR);
        program.Signal(SIGINT);
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
    }
    expectUsage();
}

TEST_F(NetworkTraffic, OfALinkNeverCountsForOneWhoseNameItBegins)
{
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(AddLink("eth10", 2));
    ASSERT_NO_FATAL_FAILURE(Up("eth1", 1));
    ASSERT_NO_FATAL_FAILURE(Up("eth10", 2));
    Program program = Netinfo("eth1=adsl\neth10=ignore\n");
    ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
    const Traffic before = m_machine.Count("eth1");

    Transfer(2, 9'000'000, 90'000);
    Transfer(1, 1'000'000, 10'000);
    const Traffic expected = m_machine.Count("eth1") - before;
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 0);

    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 0);
    ExpectTraffic({Saved("ADSL", "downloaded"), Saved("ADSL", "uploaded")}, expected, 0);
}

TEST_F(NetworkTraffic, OverABridgeCountsOnce)
{
    ASSERT_NO_FATAL_FAILURE(AddLink("eth1", 1));
    // A bridge that looks into multicasts would send a membership report whenever it likes.
    ASSERT_TRUE(m_machine.Ip("link add br0 mtu 60000 type bridge forward_delay 0 mcast_snooping 0"));
    ASSERT_TRUE(m_machine.Ip("addr flush dev eth1"));
    ASSERT_TRUE(m_machine.Ip("link set eth1 master br0 up"));
    ASSERT_TRUE(m_machine.Ip("link set br0 address 02:00:00:00:00:11 up"));
    ASSERT_TRUE(m_machine.Ip("addr add 10.77.1.1/24 dev br0"));
    ASSERT_TRUE(m_machine.Ip("route add default via 10.77.1.2"));
    ASSERT_TRUE(m_machine.Ip("neigh replace 10.77.1.2 lladdr 02:00:00:00:00:21 dev br0"));
    ASSERT_TRUE(m_far.Ip("neigh replace 10.77.1.1 lladdr 02:00:00:00:00:11 dev eth1"));
    ASSERT_TRUE(BridgeForwards());
    Program program = Netinfo("eth1=adsl\n");
    ASSERT_TRUE(Becomes(program, "adsl", true)) << program.Errors();
    const Traffic bridged = m_machine.Count("br0");
    const Traffic before = m_machine.Count("eth1");

    Transfer(1, 6'000'000, 60'000);
    const Traffic expected = m_machine.Count("eth1") - before;
    ASSERT_GT((m_machine.Count("br0") - bridged).received, 6'000'000U);
    ExpectTraffic(SinceReset(program, "adsl", expected), expected, 0);

    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 0);
    ExpectTraffic({Saved("ADSL", "downloaded"), Saved("ADSL", "uploaded")}, expected, 0);
}

}  // namespace
