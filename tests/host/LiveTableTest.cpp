#include "host/LiveTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "host/Format.h"

using netinfo::LiveTable;
using netinfo::SpeedHistories;
using netinfo::TRAFFIC_TYPES;
using netinfo::TypeStatus;
using netinfo::Units;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr unsigned long long MOMENT = 1'714'557'603;

std::vector<TypeStatus> Statuses(const std::vector<bool>& connected)
{
    std::vector<TypeStatus> statuses(connected.size());
    for (std::size_t i = 0; i < connected.size(); ++i) {
        statuses[i].type = TRAFFIC_TYPES.at(i);
        statuses[i].connected = connected[i];
    }
    return statuses;
}

/// WiFi that got faster for ten seconds.
SpeedHistories Rising()
{
    SpeedHistories histories;
    for (unsigned i = 0; i <= 8; ++i)
        histories[1].Note(MOMENT + i, {i * 1024, i % 2 * 512});
    return histories;
}

std::string Joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

}  // namespace

TEST(LiveTable, HasAGraphForEachDirectionBelowTheTable)
{
    const auto lines = LiveTable(Statuses({false, true, false}), Rising(), MOMENT,
                                 {.columns = 60, .lines = 16, .hint = "Ctrl-C ends the view"});

    ASSERT_EQ(lines.size(), 16U);
    EXPECT_EQ(lines[0], "netinfo  2024-05-01 12:00:03  Ctrl-C ends the view");
    EXPECT_THAT(lines[12], testing::StartsWith("Up since reset"));
    EXPECT_EQ(lines[13], "");
    EXPECT_EQ(lines[14], "WiFi     down                           ▁▂▃▄▅▆▇█  8.00 KiB/s");
    EXPECT_EQ(lines[15], "         up                             █ █ █ █      512 B/s");
}

TEST(LiveTable, HasNoGraphWhereNothingIsConnectedAndNothingMoved)
{
    const auto lines = LiveTable(Statuses({false, false, false}), {}, MOMENT, {.lines = 50});
    EXPECT_EQ(lines.size(), 13U);
}

TEST(LiveTable, KeepsTheGraphOfAConnectionThatEndedAsLongAsItShows)
{
    SpeedHistories histories = Rising();
    EXPECT_THAT(Joined(LiveTable(Statuses({false, false, false}), histories, MOMENT, {})),
                HasSubstr("WiFi     down"));
    histories[1].Note(MOMENT + 80, {0, 0});  // 54 columns of graph
    EXPECT_THAT(Joined(LiveTable(Statuses({false, false, false}), histories, MOMENT, {})),
                Not(HasSubstr("WiFi     down")));
}

TEST(LiveTable, GivesTheLinesThatAreLeftToTheGraphs)
{
    const auto high = LiveTable(Statuses({false, true, false}), Rising(), MOMENT, {.lines = 23});
    EXPECT_EQ(high.size(), 13U + 1 + 2 * 4);
    EXPECT_THAT(high[14], testing::StartsWith("WiFi     down "));
    EXPECT_THAT(high[18], testing::StartsWith("         up "));

    const auto all = LiveTable(Statuses({true, true, true}), Rising(), MOMENT, {.lines = 23});
    EXPECT_EQ(all.size(), 13U + 1 + 6);
}

TEST(LiveTable, GivesUpTheLeastOfTheTableForTheGraphs)
{
    const std::string text = Joined(LiveTable(Statuses({true, true, true}), Rising(), MOMENT, {.lines = 13}));
    EXPECT_THAT(text, HasSubstr("ADSL     down"));
    for (const char* const label : {"State", "Link", "Down ", "Up "})
        EXPECT_THAT(text, HasSubstr(label));
    for (const char* const label : {"Peak", "Downloaded", "Time", "since reset"})
        EXPECT_THAT(text, Not(HasSubstr(label)));

    const std::string table =
        Joined(LiveTable(Statuses({true, true, true}), Rising(), MOMENT, {.lines = 12}));
    EXPECT_THAT(table, Not(HasSubstr("ADSL     down")));
    EXPECT_THAT(table, HasSubstr("Down since reset"));
}

TEST(LiveTable, NeverLeavesItsLinesAndColumns)
{
    SpeedHistories histories;
    for (netinfo::SpeedHistory& history : histories) {
        for (unsigned i = 0; i < 1000; ++i)
            history.Note(MOMENT + i, {std::numeric_limits<unsigned>::max() - i, i});
    }
    for (const Units units : {Units::Iec, Units::Si, Units::Bytes}) {
        for (const std::size_t columns : {60U, 80U, 200U, 5000U}) {
            for (std::size_t lines = 2; lines < 60; ++lines) {
                const auto table = LiveTable(Statuses({true, true, true}), histories, MOMENT,
                                             {.columns = columns, .lines = lines, .style = {.units = units}});
                EXPECT_LE(table.size(), lines);
                for (const std::string& line : table)
                    EXPECT_LE(netinfo::Width(line), columns) << line;
            }
        }
    }
}

TEST(LiveTable, DrawsInAsciiAndInColourWhenAsked)
{
    const auto draw = [](bool colour, bool unicode) {
        return Joined(LiveTable(Statuses({false, true, false}), Rising(), MOMENT,
                                {.lines = 16, .style = {.colour = colour, .unicode = unicode}}));
    };
    EXPECT_THAT(draw(false, false), HasSubstr("...:::||"));
    EXPECT_THAT(draw(false, false), Not(HasSubstr("█")));
    EXPECT_THAT(draw(false, true), Not(HasSubstr("\033")));
    EXPECT_THAT(draw(true, true), HasSubstr("▇█\033[0m"));
}
