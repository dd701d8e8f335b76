#include "host/SpeedHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "host/Format.h"

using netinfo::Fastest;
using netinfo::SpeedGraph;
using netinfo::SpeedHistory;
using netinfo::Speeds;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned long long MOMENT = 1'714'557'603;

std::vector<unsigned> Down(const SpeedHistory& history, std::size_t count = 5)
{
    return history.Last(count, &Speeds::down);
}

}  // namespace

TEST(SpeedHistory, KeepsTheLatestSpeedsOfBothDirections)
{
    SpeedHistory history;
    for (unsigned i = 0; i < 4; ++i)
        history.Note(MOMENT + i, {10 + i, 20 + i});

    EXPECT_THAT(history.Last(3, &Speeds::down), ElementsAre(11, 12, 13));
    EXPECT_THAT(history.Last(9, &Speeds::up), ElementsAre(20, 21, 22, 23));
    EXPECT_THAT(history.Last(0, &Speeds::up), IsEmpty());
}

TEST(SpeedHistory, HasOneSpeedForASecondHoweverOftenItIsNoted)
{
    SpeedHistory history;
    history.Note(MOMENT, {1, 1});
    history.Note(MOMENT, {2, 2});
    history.Note(MOMENT + 1, {3, 3});
    history.Note(MOMENT + 1, {4, 4});

    EXPECT_THAT(Down(history), ElementsAre(2, 4));
}

TEST(SpeedHistory, CountsSecondsThatWereLeftOutAsStill)
{
    SpeedHistory history;
    history.Note(MOMENT, {1, 1});
    history.Note(MOMENT + 3, {2, 2});

    EXPECT_THAT(Down(history), ElementsAre(1, 0, 0, 2));
}

TEST(SpeedHistory, GoesOnWhenTheClockWentBackOrFarAhead)
{
    SpeedHistory history;
    history.Note(MOMENT, {1, 1});
    history.Note(MOMENT - 3600, {2, 2});
    history.Note(MOMENT - 3599, {3, 3});
    EXPECT_THAT(Down(history), ElementsAre(1, 2, 3));

    history.Note(std::numeric_limits<unsigned long long>::max(), {4, 4});
    EXPECT_THAT(Down(history), ElementsAre(0, 0, 0, 0, 4));
}

TEST(SpeedHistory, IsNoLongerThanTheWidestGraph)
{
    SpeedHistory history;
    for (unsigned i = 0; i < 3 * SpeedHistory::MOST; ++i)
        history.Note(MOMENT + i, {i, i});

    EXPECT_EQ(Down(history, 1'000'000).size(), SpeedHistory::MOST);
    EXPECT_EQ(Down(history).back(), 3 * SpeedHistory::MOST - 1);
}

TEST(SpeedHistory, KnowsWhetherAnythingMoved)
{
    SpeedHistory history;
    EXPECT_TRUE(history.Still(5));
    history.Note(MOMENT, {0, 1});
    EXPECT_FALSE(history.Still(5));
    history.Note(MOMENT + 5, {0, 0});
    EXPECT_TRUE(history.Still(5));
    EXPECT_FALSE(history.Still(6));
}

TEST(SpeedGraph, FillsItsHeightWithTheFastest)
{
    EXPECT_THAT(SpeedGraph({0, 10, 20, 30, 40, 50, 60, 70, 80}, 9, 1, true), ElementsAre(" ▁▂▃▄▅▆▇█"));
    EXPECT_THAT(SpeedGraph({0, 10, 20, 30}, 4, 1, false), ElementsAre(" .:|"));
}

TEST(SpeedGraph, StacksItsLinesFromTheBottom)
{
    EXPECT_THAT(SpeedGraph({4, 8, 12, 16}, 4, 2, true), ElementsAre("  ▄█", "▄███"));
    EXPECT_THAT(SpeedGraph({2, 3, 4, 6}, 4, 2, false), ElementsAre("  .|", ":|||"));
}

TEST(SpeedGraph, HasTheLatestAtTheRight)
{
    EXPECT_THAT(SpeedGraph({8}, 3, 1, true), ElementsAre("  █"));
    EXPECT_THAT(SpeedGraph({8, 0, 4, 8}, 2, 1, true), ElementsAre("▄█"));
    EXPECT_THAT(SpeedGraph({800, 1, 2}, 2, 1, true), ElementsAre("▄█")) << "what is not shown sets no scale";
}

TEST(SpeedGraph, ShowsALittleOfWhateverMoved)
{
    EXPECT_THAT(SpeedGraph({1, 1'000'000, 0}, 3, 1, true), ElementsAre("▁█ "));
    EXPECT_THAT(SpeedGraph({1, 1'000'000, 0}, 3, 2, false), ElementsAre(" | ", ".| "));
}

TEST(SpeedGraph, IsEmptyWithoutTrafficOrRoom)
{
    EXPECT_THAT(SpeedGraph({}, 3, 2, true), ElementsAre("   ", "   "));
    EXPECT_THAT(SpeedGraph({0, 0}, 3, 1, true), ElementsAre("   "));
    EXPECT_THAT(SpeedGraph({1, 2}, 0, 1, true), ElementsAre(""));
    EXPECT_THAT(SpeedGraph({1, 2}, 3, 0, true), IsEmpty());
}

TEST(SpeedGraph, IsAsWideAndHighAsAskedForEverySpeed)
{
    const unsigned most = std::numeric_limits<unsigned>::max();
    const std::vector<unsigned> speeds{0, 1, 2, most / 3, most / 2, most - 1, most};
    for (const bool unicode : {true, false}) {
        for (std::size_t columns = 0; columns < 12; ++columns) {
            for (std::size_t rows = 0; rows < 6; ++rows) {
                const auto lines = SpeedGraph(speeds, columns, rows, unicode);
                EXPECT_EQ(lines.size(), rows);
                for (const std::string& line : lines)
                    EXPECT_EQ(netinfo::Width(line), columns) << line;
            }
        }
    }
}

TEST(Fastest, IsTheLargestOrNothing)
{
    EXPECT_EQ(Fastest({}), 0U);
    EXPECT_EQ(Fastest({3, 7, 5}), 7U);
}
