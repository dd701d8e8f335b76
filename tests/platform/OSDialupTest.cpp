#include "platform/dialup/OSDialup.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <thread>

#include <gmock/gmock.h>

#include "platform/dialup/CountedLinks.h"
#include "tests/platform/Namespaces.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using nettest::Narrow;
using testing::ElementsAre;
using testing::IsEmpty;

struct ReleaseTable
{
    void operator()(_OS_DIALUP_IFTABLE* table) const { OS_DIALUP_ReleaseIfTable(table, nullptr); }
};
struct ReleaseList
{
    void operator()(_OS_DIALUP_CONNECTIONSLIST* list) const { OS_DIALUP_ReleaseConnections(list, nullptr); }
};
using Table = std::unique_ptr<_OS_DIALUP_IFTABLE, ReleaseTable>;
using List = std::unique_ptr<_OS_DIALUP_CONNECTIONSLIST, ReleaseList>;

Table ReadTable()
{
    unsigned int aux = 0;
    _OS_DIALUP_IFTABLE* table = nullptr;
    EXPECT_EQ(0U, OS_DIALUP_GetIfTable(&table, &aux));
    return Table(table);
}

List ReadList()
{
    unsigned int aux = 0;
    _OS_DIALUP_CONNECTIONSLIST* list = nullptr;
    EXPECT_EQ(0U, OS_DIALUP_EnumConnections(&list, &aux));
    return List(list);
}

std::vector<std::string> Descriptions()
{
    const Table table = ReadTable();
    std::vector<std::string> descriptions;
    for (int i = 0; table && i < table->nCount; ++i) {
        descriptions.emplace_back(table->pRows[i].szDescription);
    }
    return descriptions;
}

std::vector<std::string> ConnectionNames()
{
    const List list = ReadList();
    std::vector<std::string> names;
    for (int i = 0; list && i < list->nCount; ++i) {
        _OS_DIALUP_CONNECTIONSTATE state{};
        unsigned int aux = 0;
        EXPECT_EQ(0U, OS_DIALUP_GetConnectionState(list->aHandle[i], &state, &aux));
        names.push_back(Narrow(state.szName));
    }
    return names;
}

/// Rows or connections as the host was told of them.
std::multiset<std::string> CountedNames()
{
    std::multiset<std::string> names;
    const auto counted = netinfo::ReadCountedLinks();
    for (const netinfo::CountedLink& link : counted.value()) {
        names.insert(link.deviceName);
    }
    return names;
}

/// What a fresh process says of `question` if one allocation fails after so many: 0 the answer is there as no
/// allocation failed, 1 it failed in order, anything else not.
int OutcomeWhereMemoryRunsOutAfter(std::size_t succeeding, bool (*question)())
{
    const pid_t child = fork();
    if (child == 0) {
        bool answered = false;
        bool failed = false;
        {
            const nettest::FailingAllocation failing(succeeding);
            answered = question();
            failed = failing.HasFailed();
        }
        if (!failed) _exit(answered ? 0 : 2);
        _exit(1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Comes first, so that each child makes the service and its first look.
TEST(OSDialup, ThrowsNothingWhereMemoryRunsOut)
{
    if (!nettest::FailingAllocation::Available())
        GTEST_SKIP() << "this sanitizer keeps operator new to itself";
    const std::vector<bool (*)()> questions = {
        [] {
            _OS_DIALUP_IFTABLE* table = nullptr;
            const bool answered = OS_DIALUP_GetIfTable(&table, nullptr) == 0;
            if (answered != (table != nullptr)) _exit(3);
            return answered;
        },
        [] {
            _OS_DIALUP_CONNECTIONSLIST* list = nullptr;
            return OS_DIALUP_EnumConnections(&list, nullptr) == 0;
        },
        [] {
            _OS_DIALUP_STATISTICS statistics{};
            return OS_DIALUP_GetNetworkStatistics(1, &statistics, nullptr) == ENODEV;
        },
        [] {
            _OS_DIALUP_CONNECTIONSTATE state{};
            return OS_DIALUP_GetConnectionState(1, &state, nullptr) == ENODEV;
        },
        [] { return netinfo::ReadCountedLinks().has_value(); },
        [] { return !netinfo::ReadAllLinks().empty(); },
    };
    for (std::size_t i = 0; i < questions.size(); ++i) {
        int outcome = 1;
        std::size_t succeeding = 0;
        for (; outcome == 1; ++succeeding) {
            outcome = OutcomeWhereMemoryRunsOutAfter(succeeding, questions[i]);
        }
        EXPECT_EQ(0, outcome) << "question " << i << ", allocation " << succeeding - 1;
        EXPECT_GT(succeeding, 10U);
    }
}

TEST(OSDialup, HasATableOnAnyMachine)
{
    const Table table = ReadTable();

    ASSERT_TRUE(table);
    EXPECT_GE(table->nCount, 0);
    EXPECT_TRUE(table->pRows);
}

TEST(OSDialup, AgreesWithWhatTheHostIsTold)
{
    const auto counted = CountedNames();
    std::multiset<std::string> names;
    for (const std::string& description : Descriptions()) {
        names.insert(description);
    }
    for (const std::string& name : ConnectionNames()) {
        names.insert(name);
    }

    EXPECT_EQ(counted, names);
}

TEST(OSDialup, AnswersWithoutAnAuxiliaryWord)
{
    _OS_DIALUP_IFTABLE* table = nullptr;
    _OS_DIALUP_CONNECTIONSLIST* list = nullptr;

    EXPECT_EQ(0U, OS_DIALUP_GetIfTable(&table, nullptr));
    EXPECT_EQ(0U, OS_DIALUP_EnumConnections(&list, nullptr));
    OS_DIALUP_ReleaseIfTable(table, nullptr);
    OS_DIALUP_ReleaseConnections(list, nullptr);
}

TEST(OSDialup, RefusesToAnswerIntoNothing)
{
    unsigned int aux = 0;
    EXPECT_EQ(static_cast<unsigned int>(EINVAL), OS_DIALUP_GetIfTable(nullptr, &aux));
    EXPECT_EQ(static_cast<unsigned int>(EINVAL), OS_DIALUP_EnumConnections(nullptr, &aux));
    EXPECT_EQ(static_cast<unsigned int>(EINVAL), OS_DIALUP_GetConnectionState(1, nullptr, &aux));
    EXPECT_EQ(static_cast<unsigned int>(EINVAL), OS_DIALUP_GetNetworkStatistics(1, nullptr, &aux));
}

TEST(OSDialup, KnowsNoConnectionByAStrangeHandle)
{
    unsigned int aux = 0;
    for (const unsigned int handle : {0U, 123'456U, 0xFFFFFFFFU}) {
        _OS_DIALUP_CONNECTIONSTATE state{};
        _OS_DIALUP_STATISTICS statistics{};
        EXPECT_EQ(static_cast<unsigned int>(ENODEV), OS_DIALUP_GetConnectionState(handle, &state, &aux));
        EXPECT_EQ(static_cast<unsigned int>(ENODEV),
                  OS_DIALUP_GetNetworkStatistics(handle, &statistics, &aux));
    }
}

TEST(OSDialup, TakesBackNothing)
{
    unsigned int aux = 0;
    OS_DIALUP_ReleaseIfTable(nullptr, &aux);
    OS_DIALUP_ReleaseConnections(nullptr, &aux);
}

TEST(OSDialup, ServesManyThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                Descriptions();
                ConnectionNames();
                CountedNames();
                netinfo::ReadAllLinks();
                netinfo::LinkGeneration();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// The whole way from a link to the plug-in: a cable with the default route and a rule in the settings file,
/// and a link that looks like PPP. The process has one service, so this is one story.
TEST(OSDialupNamespaceTest, TellsThePluginOfLinksAndTheirBytes)
{
    if (geteuid() != 0) GTEST_SKIP() << "network namespaces need root";
    if (netinfo::LinkGeneration() != 0) GTEST_SKIP() << "this process looks at another namespace already";
    const nettest::Namespace here;
    if (here.Error() != 0) GTEST_SKIP() << "no namespace: " << std::strerror(here.Error());
    nettest::Tunnel wan(here, "wan0");
    nettest::Tunnel ppp(here, "ppp0", ARPHRD_PPP);
    if (!wan.IsOpen() || !ppp.IsOpen()) GTEST_SKIP() << "the kernel has no tunnels";
    const nettest::TempDir settings;
    setenv("NETINFO_CONFIG_DIR", settings.Path().c_str(), 1);
    nettest::WriteFile(settings.File("DataUsageLimit.ini"), "[links]\nwan0 = WiFi\nppp0 = Dial-Up\n");
    ASSERT_TRUE(here.Ip("link set wan0 up"));
    wan.Receive(1'000);

    here.Do([&] {
        const auto generation = netinfo::LinkGeneration();
        const auto counted = netinfo::ReadCountedLinks().value();
        ASSERT_EQ(1U, counted.size());
        EXPECT_EQ("/wan0/1/", counted[0].deviceName);
        EXPECT_EQ(netinfo::ConnectionType::Wifi, counted[0].type);
        EXPECT_TRUE(counted[0].ruled);
        EXPECT_NE(generation, netinfo::LinkGeneration());

        wan.Receive(700);
        Table table = ReadTable();
        ASSERT_EQ(1, table->nCount);
        EXPECT_STREQ("/wan0/1/", table->pRows[0].szDescription);
        EXPECT_EQ(701U, table->pRows[0].ulReceivedOctets);
        EXPECT_EQ(1U, table->pRows[0].ulSentOctets);
        EXPECT_THAT(table->pRows[0].aMac, testing::Each(0));
        EXPECT_FALSE(ReadList());

        // The same look serves until the heartbeat is over.
        wan.Receive(50);
        EXPECT_EQ(701U, ReadTable()->pRows[0].ulReceivedOctets);

        ASSERT_TRUE(here.Ip("link set ppp0 up"));
        EXPECT_EQ(2U, netinfo::ReadCountedLinks().value().size());
        ppp.Receive(3'000);
        do {
            table = ReadTable();
        } while (table->pRows[0].ulReceivedOctets == 701);
        EXPECT_EQ(751U, table->pRows[0].ulReceivedOctets);
        const List list = ReadList();
        ASSERT_TRUE(list);
        ASSERT_EQ(1, list->nCount);
        EXPECT_THAT(ConnectionNames(), ElementsAre("/ppp0/2/"));
        _OS_DIALUP_STATISTICS statistics{};
        unsigned int aux = 0;
        ASSERT_EQ(0U, OS_DIALUP_GetNetworkStatistics(list->aHandle[0], &statistics, &aux));
        EXPECT_EQ(3'001U, statistics.ullReceived);
        EXPECT_EQ(1U, statistics.ullSent);
        EXPECT_THAT(Descriptions(), ElementsAre("/wan0/1/"));

        const auto all = netinfo::ReadAllLinks();
        EXPECT_EQ(3U, all.size());  // with loopback
    });
}

}  // namespace
