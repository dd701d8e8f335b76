#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/sampling/EngineFixture.h"
#include "tests/support/AllocationCount.h"

// What a heartbeat costs in which nothing comes and nothing goes, and a poll between two heartbeats. The
// plug-in runs for months in a process that is not its own.

namespace {

using nettest::AllocationCount;
using nettest::TestClock;

/// Hears of changes without keeping anything.
struct CountingListener final : INetInfoEvent
{
    void OnDataChanged(bool, int) override { ++heard; }

    int heard = 0;
};

struct SteadyHeartbeat : EngineFixture
{
    /// Rows of all types, one that is nobody's, and dial-up connections, with names too long for a string's
    /// own memory; all live, some with others of their type.
    void ConnectMany()
    {
        for (int i = 0; i < 3; ++i) {
            Connect("/an-adsl-link/" + std::to_string(i) + "/", ADSL, 1'000, 100);
            Connect("/a-wifi-link/" + std::to_string(i) + "/", WIFI, 1'000, 100);
        }
        rows.push_back({.description = "/nobodys-link/9/", .received = 7, .sent = 7, .mac = "0242AC1100FE"});
        nettest::FakePlatform::SetRows(rows);
        nettest::FakePlatform::SetDialups(
            {{.handle = 1, .name = "/a-modem-link/7/", .received = 10, .sent = 1},
             {.handle = 2, .name = "/a-modem-link/8/", .received = 10, .sent = 1}});
        known.push_back({.name = "/a-modem-link/7/", .type = DIALUP});
        known.push_back({.name = "/a-modem-link/8/", .type = DIALUP});
        connections.SetDevices(known);
        Report("/a-modem-link/7/", "profile", 1);
        Report("/a-modem-link/8/", "profile", 1);
    }

    /// One more second of traffic on every link. From the 20th second to the 80th no total gains a digit: a
    /// document that grows asks for memory now and then.
    void BeatWithTraffic()
    {
        ++m_second;
        for (const nettest::FakeRow& row : rows) {
            Count(row.description, 1'000 + 3'003 * m_second, 100 + 407 * m_second);
        }
        nettest::FakePlatform::SetDialupCounters("/a-modem-link/7/", 10 + 900 * m_second, 1 + 90 * m_second);
        nettest::FakePlatform::SetDialupCounters("/a-modem-link/8/", 10 + 90 * m_second, 1 + 9 * m_second);
        TestClock::AdvanceSeconds(1);
    }

    /// Allocations of so many heartbeats.
    std::size_t AllocationsOf(int beats)
    {
        std::size_t made = 0;
        for (int i = 0; i < beats; ++i) {
            BeatWithTraffic();
            const AllocationCount count;
            engine->OnHeartBeat();
            made += count.Made();
        }
        return made;
    }

private:
    unsigned int m_second = 0;
};

TEST_F(SteadyHeartbeat, WouldBeSeenToAllocate)
{
    const AllocationCount count;
    void* volatile memory = std::malloc(100);
    EXPECT_EQ(1U, count.Made());
    EXPECT_GE(count.Held(), 100);
    std::free(memory);
    EXPECT_EQ(1U, count.Made());
    EXPECT_EQ(0, count.Held());
}

TEST_F(SteadyHeartbeat, AllocatesNothing)
{
    CountingListener listener;
    engine->RegisterCallbackEvent(&listener);
    ConnectMany();
    AllocationsOf(20);
    listener.heard = 0;

    EXPECT_EQ(0U, AllocationsOf(60));
    EXPECT_EQ(60 * 3, listener.heard) << "each second, each type";
    EXPECT_GT(Total(ADSL).ullDL, 0U);
}

TEST_F(SteadyHeartbeat, AllocatesNothingInTheSystemsZone)
{
    unsetenv("TZ");
    ConnectMany();
    AllocationsOf(20);

    EXPECT_EQ(0U, AllocationsOf(60));
}

TEST_F(SteadyHeartbeat, AllocatesNothingToReadTheCounters)
{
    ConnectMany();
    AllocationsOf(5);
    std::vector<nis::SNAPSHOT> increments;
    for (int i = 0; i < 10; ++i) {
        BeatWithTraffic();
        const AllocationCount count;
        engine->GetIncrement(increments);
        device->SnapShotPool().GiveBack(increments);
        if (i > 2) {
            EXPECT_EQ(0U, count.Made());
        }
    }
}

TEST_F(SteadyHeartbeat, AllocatesNothingWhileNothingIsConnected)
{
    AllocationsOf(2);

    EXPECT_EQ(0U, AllocationsOf(60));
}

TEST_F(SteadyHeartbeat, PollsWithOneLookAtTheClockAndNoAllocation)
{
    ConnectMany();
    ASSERT_TRUE(TestClock::Beat());
    ASSERT_TRUE(TestClock::Beat());
    const int tables = nettest::FakePlatform::IfTableReads();
    const auto reads = TestClock::Reads();
    const AllocationCount count;
    for (int i = 0; i < 19; ++i) {
        ASSERT_TRUE(TestClock::Poll());
    }

    EXPECT_EQ(0U, count.Made());
    EXPECT_EQ(reads + 19, TestClock::Reads());
    EXPECT_EQ(tables, nettest::FakePlatform::IfTableReads());
}

}  // namespace
