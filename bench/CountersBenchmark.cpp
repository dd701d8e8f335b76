// What one heartbeat reads of a machine's links, beside a bare dump of their statistics. The links are
// virtual cables in a network namespace of the program's own; needs root and the "ip" command.

#include <benchmark/benchmark.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/dialup/LinkMonitor.h"
#include "platform/dialup/OSDialup.h"
#include "platform/dialup/SystemLinks.h"
#include "tests/support/TempDir.h"

namespace {

using namespace netinfo;

/// A namespace with links "wan0", "wan1" ... whose far ends are in another one. All are up and, by rules,
/// counted.
class Links
{
public:
    /// Sees to it that there are so many; false if that cannot be. There are never less than there were.
    static bool Make(int count)
    {
        static Links links;
        return links.Add(count);
    }

private:
    Links()
    {
        if (unshare(CLONE_NEWNET) != 0) return;
        int ready[2];
        if (pipe(ready) != 0) return;
        m_farSide = fork();
        if (m_farSide == 0) {  // holds the far side until this program ends
            const char answer = unshare(CLONE_NEWNET) == 0 ? 'y' : 'n';
            if (write(ready[1], &answer, 1) != 1) _exit(1);
            close(ready[1]);
            close(m_end[1]);
            char end = 0;
            _exit(read(m_end[0], &end, 1) < 0 ? 1 : 0);
        }
        char answer = 'n';
        close(ready[1]);
        m_made = m_farSide > 0 && read(ready[0], &answer, 1) == 1 && answer == 'y';
        close(ready[0]);
    }

    bool Add(int count)
    {
        if (!m_made) return false;
        std::ofstream settings(m_directory.File("DataUsageLimit.ini"));
        settings << "[links]\n";
        for (int i = 0; i < 1'000; ++i)
            settings << "wan" << i << " = adsl\n";
        settings.close();
        setenv("NETINFO_CONFIG_DIR", m_directory.Path().c_str(), 1);

        std::ofstream commands(m_directory.File("commands"));
        for (; m_count < count; ++m_count) {
            const std::string name = "wan" + std::to_string(m_count);
            commands << "link add " << name << " type veth peer name " << name << " netns " << m_farSide
                     << "\n";
            commands << "link set " << name << " up\n";
        }
        commands.close();
        std::ofstream farCommands(m_directory.File("far-commands"));
        for (int i = 0; i < count; ++i)
            farCommands << "link set wan" << i << " up\n";
        farCommands.close();
        return std::system(("ip -batch " + m_directory.File("commands")).c_str()) == 0 &&
               std::system(("nsenter --net=/proc/" + std::to_string(m_farSide) + "/ns/net ip -batch " +
                            m_directory.File("far-commands"))
                               .c_str()) == 0;
    }

    nettest::TempDir m_directory;
    std::array<int, 2> m_end = [] {
        std::array<int, 2> ends{-1, -1};
        if (pipe(ends.data()) != 0) ends = {-1, -1};
        return ends;
    }();  ///< closed with the program, which ends the far side
    pid_t m_farSide = -1;
    bool m_made = false;
    int m_count = 0;
};

/// False, with a message, where there are no such links.
bool Prepare(benchmark::State& state)
{
    if (geteuid() == 0 && Links::Make(static_cast<int>(state.range(0)))) return true;
    state.SkipWithError("needs root, network namespaces and the \"ip\" command");
    return false;
}

/// The least that any program can do to get at the counters: one request, and its answer received.
void BareStatisticsDump(benchmark::State& state)
{
    if (!Prepare(state)) return;
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    struct
    {
        nlmsghdr header{sizeof(nlmsghdr) + sizeof(if_stats_msg), RTM_GETSTATS, NLM_F_REQUEST | NLM_F_DUMP, 0,
                        0};
        if_stats_msg head{};
    } request;
    request.head.filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
    alignas(nlmsghdr) static std::array<char, 65'536> answer;
    long long links = 0;
    for (auto _ : state) {
        links = 0;
        if (send(netlink, &request, request.header.nlmsg_len, 0) < 0) state.SkipWithError("send");
        for (bool done = false; !done;) {
            auto length = recv(netlink, answer.data(), answer.size(), 0);
            if (length <= 0) break;
            const auto* message = reinterpret_cast<const nlmsghdr*>(answer.data());
            for (; NLMSG_OK(message, length); message = NLMSG_NEXT(message, length)) {
                done = message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR;
                links += message->nlmsg_type == RTM_NEWSTATS ? 1 : 0;
            }
        }
    }
    close(netlink);
    state.counters["links"] = static_cast<double>(links);
}

/// The machine's links, with a second between any two looks.
class TimedLinks : public SystemLinks
{
public:
    std::chrono::milliseconds Now() override { return m_now; }
    void WaitASecond() { m_now += std::chrono::seconds(1); }

private:
    std::chrono::milliseconds m_now{1'000'000};
};

/// From the question to the kernel to the counters as they are presented, of all links.
void CountersOfOneBeat(benchmark::State& state)
{
    if (!Prepare(state)) return;
    TimedLinks links;
    LinkMonitor monitor(links);
    PresentedLinks rows;
    PresentedLinks connections;
    monitor.ReadRows(rows);
    for (auto _ : state) {
        links.WaitASecond();
        monitor.ReadRows(rows);
        benchmark::DoNotOptimize(rows);
        monitor.ReadConnections(connections);
    }
    monitor.ReadRows(rows);
    state.counters["counted"] = static_cast<double>(rows.size());
}

/// The rest of what the plug-in asks for in a heartbeat: the same counters as an interface table, and the
/// list of dial-up connections. Questions that follow each other at once are answered from one look.
void TableOfOneBeat(benchmark::State& state)
{
    if (!Prepare(state)) return;
    unsigned int aux = 0;
    int rows = 0;
    for (auto _ : state) {
        _OS_DIALUP_IFTABLE* table = nullptr;
        if (OS_DIALUP_GetIfTable(&table, &aux) == 0) {
            rows = table->nCount;
            OS_DIALUP_ReleaseIfTable(table, &aux);
        }
        _OS_DIALUP_CONNECTIONSLIST* connections = nullptr;
        OS_DIALUP_EnumConnections(&connections, &aux);
        if (connections) OS_DIALUP_ReleaseConnections(connections, &aux);
    }
    state.counters["rows"] = rows;
}

BENCHMARK(BareStatisticsDump)->Arg(4)->Unit(benchmark::kMicrosecond);
BENCHMARK(CountersOfOneBeat)->Arg(4)->Unit(benchmark::kMicrosecond);
BENCHMARK(TableOfOneBeat)->Arg(4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BareStatisticsDump)->Arg(500)->Unit(benchmark::kMicrosecond);
BENCHMARK(CountersOfOneBeat)->Arg(500)->Unit(benchmark::kMicrosecond);
BENCHMARK(TableOfOneBeat)->Arg(500)->Unit(benchmark::kMicrosecond);

}  // namespace
