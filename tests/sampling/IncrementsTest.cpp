#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/sampling/EngineFixture.h"

namespace {

using nettest::FakePlatform;
using nettest::Narrow;
using nettest::TestClock;

constexpr unsigned int FULL = 4'294'967'295;  // reads as 0

struct Increment : EngineFixture
{
    /// One WiFi connection whose phase began with these counters.
    void Begin(unsigned int received, unsigned int sent)
    {
        Connect("wlan0", WIFI, received, sent);
        Beat();
        FakePlatform::ClearTraces();
    }
    /// What the next heartbeat makes of these counters, `seconds` later.
    nis::SNAPSHOT After(int seconds, unsigned int received, unsigned int sent)
    {
        TestClock::AdvanceSeconds(seconds);
        Count("wlan0", received, sent);
        return TheIncrement();
    }
    static std::vector<std::string> Traced()
    {
        std::vector<std::string> texts;
        for (const auto& trace : FakePlatform::Traces()) {
            EXPECT_EQ(trace.level, 2);
            EXPECT_EQ(trace.module, "NetInfoPlugin");
            texts.push_back(trace.text);
        }
        return texts;
    }
};

using Texts = std::vector<std::string>;

TEST_F(Increment, IsNothingAtTheFirstHeartBeatOfAConnection)
{
    Connect("wlan0", WIFI, 1000, 500);
    Beat();

    const nis::SNAPSHOT total = Total(WIFI);
    EXPECT_EQ(total.ullDL, 0U);
    EXPECT_EQ(total.ullUL, 0U);
    EXPECT_EQ(total.ulDLSpeed, 0U);
    EXPECT_EQ(total.ulULSpeed, 0U);
    EXPECT_EQ(total.clkTime, START + 1);
    EXPECT_EQ(Since(WIFI).ullDownloaded, 0U);
    EXPECT_EQ(Records(), 1);
}

TEST_F(Increment, DividesTheBytesByTheSeconds)
{
    Begin(1000, 500);

    const nis::SNAPSHOT increment = After(2, 1000 + 10'240, 500 + 2'048);

    EXPECT_EQ(increment.nDevice, WIFI);
    EXPECT_EQ(Narrow(increment.strName), "wlan0");
    EXPECT_EQ(increment.ullDL, 10'240U);
    EXPECT_EQ(increment.ulDLSpeed, 5'120U);
    EXPECT_EQ(increment.ulMaxDLSpeed, 5'120U);
    EXPECT_EQ(increment.ullUL, 2'048U);
    EXPECT_EQ(increment.ulULSpeed, 1'024U);
    EXPECT_EQ(increment.ulMaxULSpeed, 1'024U);
    EXPECT_EQ(increment.ulConnectTime, 0U);
    EXPECT_EQ(increment.ulReserved, 0U);
    EXPECT_EQ(increment.clkTime, START + 3);
    EXPECT_EQ(Traced(), Texts{});
}

TEST_F(Increment, IsTakenFromTheTotalOfTheLastHeartBeat)
{
    Begin(1000, 500);
    Count("wlan0", 1100, 510);
    Beat();

    const nis::SNAPSHOT increment = After(1, 1150, 515);

    EXPECT_EQ(increment.ullDL, 50U);
    EXPECT_EQ(increment.ullUL, 5U);
}

TEST_F(Increment, ChangesNothingByBeingAsked)
{
    Begin(1000, 500);
    After(1, 1100, 510);

    const nis::SNAPSHOT again = TheIncrement();

    EXPECT_EQ(again.ullDL, 100U);
    EXPECT_EQ(again.ullUL, 10U);
}

TEST_F(Increment, FollowsACounterThroughItsWrap)
{
    struct
    {
        unsigned int last, next;
        unsigned long long bytes;
    } const cases[] = {
        {4'294'967'000, 100, 395},                  // 100 + 4294967295 - 4294967000
        {4'294'967'290, 1, 6},                      //
        {4'294'967'290, 209'715'194, 209'715'199},  // the largest step that counts as a wrap
        {4'294'967'290, 209'715'195, 0},            // one more is a counter that started anew
        {300'000'000, 1'000, 0},                    //
        {1'001, 1'000, 0},                          // one byte back
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.last);
        SCOPED_TRACE(c.next);
        known.clear();
        rows.clear();
        Stop();
        Start();
        Begin(c.last, c.last);

        const nis::SNAPSHOT increment = After(1, c.next, c.next);

        EXPECT_EQ(increment.ullDL, c.bytes);
        EXPECT_EQ(increment.ullUL, c.bytes);
    }
}

TEST_F(Increment, TracesAnUploadCounterThatWentBack)
{
    Begin(1'000, 300'000'000);

    After(1, 1'000, 1'000);

    EXPECT_EQ(Traced(), (Texts{"stNewSnapShot.ullUL < stLastSnapShot.ullUL",
                               "stNewSnapShot.ullDL="
                               "stNewSnapShot.ullUL=000003e8 : 00000000"
                               ", stLastSnapShot.ullUL=11e1a300 : 00000000"
                               ",stDiff.ullUL=00000000 : 00000000"}));
}

TEST_F(Increment, TracesADownloadCounterThatWentBack)
{
    Begin(4'294'967'000, 1'000);

    After(1, 100, 1'000);

    EXPECT_EQ(Traced(), (Texts{"stNewSnapShot.ullDL < stLastSnapShot.ullDL",
                               "stNewSnapShot.ullDL="
                               "stNewSnapShot.ullDL=00000064 : 00000000"
                               ", stLastSnapShot.ullDL=fffffed8 : 00000000"
                               ",stDiff.ullDL=0000018b : 00000000"}));
}

TEST_F(Increment, FoldsWideCountersAndTracesThemAsRead)
{
    known.push_back({.name = "modem0", .type = DIALUP});
    connections.SetDevices(known);
    constexpr unsigned long long WIDE = 5ULL << 32;  // folds to 5
    FakePlatform::SetDialups({{.handle = 1, .name = "modem0", .received = WIDE + 995, .sent = 7}});
    Report("modem0", "profile", 1);
    Beat();
    FakePlatform::ClearTraces();

    FakePlatform::SetDialupCounters("modem0", WIDE + 1'995, 8);
    EXPECT_EQ(TheIncrement().ullDL, 1'000U);
    EXPECT_EQ(Traced(), Texts{});

    FakePlatform::SetDialupCounters("modem0", WIDE + 100, 8);
    EXPECT_EQ(TheIncrement().ullDL, 0U);
    EXPECT_EQ(Traced().at(1),
              "stNewSnapShot.ullDL="
              "stNewSnapShot.ullDL=00000064 : 00000005"
              ", stLastSnapShot.ullDL=000003e8 : 00000000"
              ",stDiff.ullDL=00000000 : 00000000");
}

TEST_F(Increment, IsZeroForADirectionThatReadsZero)
{
    Begin(1000, 500);

    nis::SNAPSHOT increment = After(1, 0, 600);
    EXPECT_EQ(increment.ullDL, 0U);
    EXPECT_EQ(increment.ullUL, 100U);
    EXPECT_EQ(Traced(), Texts{"newSnapShot.ullDL is 0"});

    FakePlatform::ClearTraces();
    increment = After(1, 1200, 0);
    EXPECT_EQ(increment.ullDL, 200U);
    EXPECT_EQ(increment.ullUL, 0U);
    EXPECT_EQ(Traced(), Texts{"newSnapShot.ullUL is 0"});
}

TEST_F(Increment, TakesAFullCounterForOneThatReadsZero)
{
    Begin(1000, 500);

    const nis::SNAPSHOT increment = After(1, FULL, FULL);

    EXPECT_EQ(increment.ullDL, 0U);
    EXPECT_EQ(increment.ullUL, 0U);
    EXPECT_EQ(Traced(), (Texts{"newSnapShot.ullDL is 0", "newSnapShot.ullUL is 0"}));
}

TEST_F(Increment, CountsOnFromAFullCounterAsFromZero)
{
    Begin(FULL, FULL);

    const nis::SNAPSHOT increment = After(1, 10, 20);

    EXPECT_EQ(increment.ullDL, 10U);
    EXPECT_EQ(increment.ullUL, 20U);
}

TEST_F(Increment, KeepsNameAndTypeOfAConnectionThatReadsZeroBothWays)
{
    Begin(1000, 500);

    const nis::SNAPSHOT increment = After(1, 0, 0);

    EXPECT_EQ(increment.nDevice, WIFI);
    EXPECT_EQ(Narrow(increment.strName), "wlan0");
    EXPECT_EQ(increment.ullDL, 0U);
    EXPECT_EQ(increment.ullUL, 0U);
    EXPECT_EQ(increment.ulMaxDLSpeed, 0U);
    EXPECT_NE(increment.clkTime, getclock());  // the tracker's own stamp
    EXPECT_EQ(Traced(), Texts{"stNewSnapShot == 0"});
}

TEST_F(Increment, CountsOnOverASampleThatReadsZeroBothWays)
{
    Begin(1000, 500);
    Count("wlan0", 0, 0);
    Beat();
    EXPECT_EQ(Records(), 1);  // the same connection

    Count("wlan0", 1400, 600);
    Beat();

    EXPECT_EQ(Total(WIFI).ullDL, 400U);
    EXPECT_EQ(Total(WIFI).ullUL, 100U);
}

TEST_F(Increment, TakesItsBasesAnewForAsLongAsOneReadsZero)
{
    Connect("wlan0", WIFI, 1000, 0);
    Beat();
    EXPECT_EQ(FakePlatform::TraceCount("pBaseSnapShot == 0"), 1);
    EXPECT_EQ(FakePlatform::TraceCount("newSnapShot.ullUL is 0"), 0);  // nor was it anything before

    Count("wlan0", 1500, 0);
    Beat();
    Count("wlan0", 1600, 10);
    Beat();
    EXPECT_EQ(FakePlatform::TraceCount("pBaseSnapShot == 0"), 3);
    EXPECT_EQ(Total(WIFI).ullDL, 0U);

    Count("wlan0", 1700, 30);
    Beat();
    EXPECT_EQ(FakePlatform::TraceCount("pBaseSnapShot == 0"), 3);
    EXPECT_EQ(Total(WIFI).ullDL, 100U);
    EXPECT_EQ(Total(WIFI).ullUL, 20U);
}

TEST_F(Increment, TakesItsBasesAnewWhenFewerConnectionsAreLeft)
{
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 2000, 0);
    Beat();
    Disconnect("wlan0");

    Beat();
    EXPECT_EQ(Total(ADSL).ullDL, 0U);

    Count("adsl0", 2100, 7);
    Beat();
    Count("adsl0", 2200, 9);
    Beat();
    EXPECT_EQ(Total(ADSL).ullDL, 100U);
    EXPECT_EQ(Total(ADSL).ullUL, 2U);
}

TEST_F(Increment, OfAConnectionThatComesUpLaterIsAllItHasCounted)
{
    Begin(1000, 500);
    Connect("adsl0", ADSL, 70, 30);
    TestClock::AdvanceSeconds(1);

    const auto increments = Increments();

    ASSERT_EQ(increments.size(), 2U);
    EXPECT_EQ(increments[1].nDevice, ADSL);
    EXPECT_EQ(increments[1].ullDL, 70U);
    EXPECT_EQ(increments[1].ullUL, 30U);
    EXPECT_EQ(increments[1].ulDLSpeed, 0U);  // over all seconds since 1970
}

TEST_F(Increment, PeaksAtTheLargerOfTwoNeighbouringSpeeds)
{
    Begin(1000, 1000);
    unsigned int counter = 1000;
    std::vector<unsigned int> peaks;
    for (const unsigned int speed : {700U, 300U, 200U}) {
        counter += speed;
        Count("wlan0", counter, counter);
        Beat();
        EXPECT_EQ(Total(WIFI).ulDLSpeed, speed);
        EXPECT_EQ(Total(WIFI).ulMaxULSpeed, Total(WIFI).ulMaxDLSpeed);
        peaks.push_back(Total(WIFI).ulMaxDLSpeed);
    }
    EXPECT_EQ(peaks, (std::vector<unsigned int>{700, 700, 300}));
}

TEST_F(Increment, HasNoSpeedWithinOneSecond)
{
    Begin(1000, 500);

    const nis::SNAPSHOT increment = After(0, 2000, 600);

    EXPECT_EQ(increment.ullDL, 1000U);
    EXPECT_EQ(increment.ulDLSpeed, 0U);
    EXPECT_EQ(increment.ulULSpeed, 0U);
}

TEST_F(Increment, HasNoSpeedWhenTheClockWentBack)
{
    Begin(1000, 500);

    const nis::SNAPSHOT increment = After(-10, 2000, 600);

    EXPECT_EQ(increment.ullDL, 1000U);
    EXPECT_EQ(increment.ulDLSpeed, 0U);
}

TEST_F(Increment, TracesASpeedBeyondTheLimitAndKeepsIt)
{
    Begin(1000, 1000);

    nis::SNAPSHOT increment = After(1, 1000 + 524'287'999, 1000);
    EXPECT_EQ(increment.ulDLSpeed, 524'287'999U);
    EXPECT_EQ(Traced(), Texts{});

    increment = After(0, 1256, 1000 + 524'288'000);
    EXPECT_EQ(increment.ulULSpeed, 524'288'000U);
    EXPECT_EQ(Traced(), Texts{"stNewSnapShot.ullDL="
                              "stNewSnapShot.ullUL=1f4003e8 : 00000000"
                              ", stLastSnapShot.ullUL=000003e8 : 00000000"
                              ",stDiff.ullUL=1f400000 : 00000000"
                              "clkInterval=1"
                              "ulULSpeed=1f400000"
                              "stNewSnapShot.ullDL=000004e8 : 00000000"
                              ", stLastSnapShot.ullDL=000003e8 : 00000000"
                              ",stDiff.ullDL=00000100 : 00000000"
                              "ulDLSpeed=00000100"});
}

TEST_F(Increment, ComesForEveryConnection)
{
    Connect("wlan0", WIFI, 1000, 500);
    Connect("adsl0", ADSL, 2000, 600);
    Beat();
    Count("wlan0", 1010, 501);
    Count("adsl0", 2020, 602);
    TestClock::AdvanceSeconds(1);

    const auto increments = Increments();

    ASSERT_EQ(increments.size(), 2U);
    EXPECT_EQ(increments[0].nDevice, WIFI);
    EXPECT_EQ(increments[0].ullDL, 10U);
    EXPECT_EQ(increments[1].nDevice, ADSL);
    EXPECT_EQ(increments[1].ullDL, 20U);
}

TEST_F(Increment, IsAppendedToWhatIsThere)
{
    Begin(1000, 500);
    std::vector<nis::SNAPSHOT> increments(1);

    engine->GetIncrement(increments);

    ASSERT_EQ(increments.size(), 2U);
    EXPECT_EQ(increments[0].nDevice, -1);
    EXPECT_EQ(increments[1].nDevice, WIFI);
}

TEST_F(Increment, DoesNotComeFromATrackerThatFailsOrIsMissing)
{
    Begin(1000, 500);
    FakePlatform::FailIfTable(true);
    EXPECT_TRUE(Increments().empty());

    Stop();
    CStatistic alone(nullptr);
    std::vector<nis::SNAPSHOT> increments;
    alone.GetIncrement(increments);
    EXPECT_TRUE(increments.empty());
}

}  // namespace
