#include "host/LocalCalendar.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace {

using namespace netinfo;
using std::chrono::day;
using std::chrono::month;
using std::chrono::year;

constexpr long long kHour = 3600;

Date On(int y, unsigned m, unsigned d) { return {year(y), month(m), day(d)}; }

void LiveIn(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* kIndia = "IST-5:30";
constexpr const char* kChatham = "CHAST-12:45CHADT,M9.5.0/2:45,M4.1.0/3:45";
constexpr const char* kMidnight = "BRT3BRST,M10.3.0/0,M2.3.0/0";  // the clocks change at midnight

TEST(LocalCalendar, ShowsWhatLocalClocksShow)
{
    EXPECT_EQ((ClockTime{On(2024, 5, 1), 12, 0, 0}), ShownAt(1'714'557'600));
    EXPECT_EQ((ClockTime{On(1970, 1, 1), 1, 0, 0}), ShownAt(0));
    LiveIn(kIndia);
    EXPECT_EQ((ClockTime{On(2024, 5, 1), 15, 30, 0}), ShownAt(1'714'557'600));
}

TEST(LocalCalendar, FindsTheEarlierOfTwoTimesAndNoneThatIsSkipped)
{
    EXPECT_EQ(1'714'557'600, MomentShowing({On(2024, 5, 1), 12}));
    EXPECT_EQ(std::nullopt, MomentShowing({On(2024, 3, 31), 2, 30}));
    const auto first = MomentShowing({On(2024, 10, 27), 2, 30});
    ASSERT_TRUE(first);
    EXPECT_EQ(ShownAt(*first), ShownAt(*first + kHour));
    EXPECT_NE(ShownAt(*first), ShownAt(*first - kHour));
}

TEST(LocalCalendar, KnowsDaysOf23And25Hours)
{
    const auto hours = [](Date date) { return (StartOf(Plus(date, 1)) - StartOf(date)) / kHour; };
    EXPECT_EQ(24, hours(On(2024, 3, 30)));
    EXPECT_EQ(23, hours(On(2024, 3, 31)));
    EXPECT_EQ(25, hours(On(2024, 10, 27)));
    LiveIn(kMidnight);
    EXPECT_EQ(23, hours(On(2024, 10, 20)));
    EXPECT_EQ(25, hours(On(2024, 2, 17)));
}

TEST(LocalCalendar, BeginsADayWithoutMidnightAtItsFirstMoment)
{
    LiveIn(kMidnight);
    EXPECT_EQ((ClockTime{On(2024, 10, 20), 1, 0, 0}), ShownAt(StartOf(On(2024, 10, 20))));
    EXPECT_EQ((ClockTime{On(2024, 10, 19), 23, 59, 59}), ShownAt(StartOf(On(2024, 10, 20)) - 1));
}

TEST(LocalCalendar, BeginsADayThatIsLeftOutWithTheNext)
{
    LiveIn("Pacific/Apia");
    if (ShownAt(1'325'239'200).hour == ShownAt(0).hour) GTEST_SKIP() << "no time zone data here";
    EXPECT_EQ(StartOf(On(2011, 12, 31)), StartOf(On(2011, 12, 30)));
}

TEST(LocalCalendar, PutsEveryMomentIntoItsDay)
{
    for (const char* const zone : {kBerlin, kIndia, kChatham, kMidnight, "UTC0", "<+14>-14", "<-12>12"}) {
        SCOPED_TRACE(zone);
        LiveIn(zone);
        for (long long moment = 1'704'000'000; moment < 1'704'000'000 + 400 * 24 * kHour;
             moment += 4 * kHour - 1) {
            const Date date = ShownAt(moment).day;
            ASSERT_LE(StartOf(date), moment);
            ASSERT_GT(StartOf(Plus(date, 1)), moment);
        }
    }
}

TEST(LocalCalendar, BeginsPeriodsWhereTheUserSays)
{
    struct Case
    {
        Period period;
        PeriodStarts starts;
        Date date, first;
    };
    const std::vector<Case> cases = {
        {Period::Day, {}, On(2024, 5, 1), On(2024, 5, 1)},
        {Period::Week, {0, 1}, On(2024, 5, 1), On(2024, 4, 28)},   // Wednesday; from Sunday
        {Period::Week, {0, 1}, On(2024, 4, 28), On(2024, 4, 28)},  // the day itself
        {Period::Week, {1, 1}, On(2024, 4, 28), On(2024, 4, 22)},  // Sunday; from Monday
        {Period::Week, {3, 1}, On(2024, 5, 1), On(2024, 5, 1)},
        {Period::Week, {4, 1}, On(2024, 5, 1), On(2024, 4, 25)},
        {Period::Week, {1, 1}, On(2025, 1, 1), On(2024, 12, 30)},  // over the end of the year
        {Period::Month, {0, 1}, On(2024, 5, 31), On(2024, 5, 1)},
        {Period::Month, {0, 15}, On(2024, 5, 14), On(2024, 4, 15)},
        {Period::Month, {0, 15}, On(2024, 5, 15), On(2024, 5, 15)},
        {Period::Month, {0, 15}, On(2025, 1, 14), On(2024, 12, 15)},
        {Period::Month, {0, 28}, On(2023, 3, 1), On(2023, 2, 28)},
        {Period::Year, {3, 15}, On(2024, 1, 1), On(2024, 1, 1)},
        {Period::Year, {3, 15}, On(2024, 12, 31), On(2024, 1, 1)},
    };
    for (const auto& [period, starts, date, first] : cases) {
        SCOPED_TRACE(DateText(date));
        EXPECT_EQ(DateText(first), DateText(FirstDayOf(period, date, starts)));
        const Date next = FirstDayAfter(period, first, starts);
        EXPECT_LT(first, next);
        EXPECT_EQ(next, FirstDayOf(period, next, starts));
        EXPECT_EQ(first, FirstDayOf(period, Plus(next, -1), starts));
        EXPECT_EQ(first, FirstDayBefore(period, next, starts));
    }
}

}  // namespace
