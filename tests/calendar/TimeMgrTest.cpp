#include "calendar/TimeMgr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <ctime>
#include <thread>

#include "tests/calendar/Moments.h"
#include "tests/support/TestClock.h"

namespace {

using nettest::DAY;
using nettest::HOUR;
using nettest::Moment;
using nettest::TestClock;
using nettest::Zone;

constexpr char CENTRAL_EUROPE[] = "CET-1CEST,M3.5.0,M10.5.0/3";

/// Of the last year that a broken-down time can hold, in UTC.
constexpr long LAST_SECOND = 67768036191676799;

/// A moment of Central European winter or summer time. In 2026 the clocks change on 29 March and 25 October.
long Winter(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    return Moment(1 * HOUR, year, month, day, hour, minute, second);
}

long Summer(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    return Moment(2 * HOUR, year, month, day, hour, minute, second);
}

class TimeMgr : public testing::Test
{
protected:
    TimeMgr() { TestClock::Reset(Winter(2026, 1, 14, 12)); }

    Zone m_zone{CENTRAL_EUROPE};
};

TEST_F(TimeMgr, TimeIsTheClocksSecond)
{
    TestClock::Reset(1163635200);

    EXPECT_EQ(CTimeMgr::GetTime(), 1163635200);
}

TEST_F(TimeMgr, TimeStringIsPlainDecimalSeconds)
{
    TestClock::Reset(1163635200);
    EXPECT_EQ(CTimeMgr::GetTimeString(), "1163635200");

    TestClock::Reset(0);
    EXPECT_EQ(CTimeMgr::GetTimeString(), "0");
}

TEST_F(TimeMgr, TimeStringHasNoSignEvenBefore1970)
{
    TestClock::FreezeTime(-5);

    EXPECT_EQ(CTimeMgr::GetTimeString(), "18446744073709551611");
}

TEST_F(TimeMgr, ComparesMomentsByTheGivenFormat)
{
    const long ten = Winter(2026, 1, 14, 10);
    const long eleven = Winter(2026, 1, 14, 11);

    EXPECT_FALSE(CTimeMgr::CompareFormatedTime("%H", ten, eleven));
    EXPECT_TRUE(CTimeMgr::CompareFormatedTime("%d", ten, eleven));
    EXPECT_TRUE(CTimeMgr::CompareFormatedTime("", ten, eleven));
}

TEST_F(TimeMgr, NothingIsTheSameInANullFormat)
{
    EXPECT_FALSE(CTimeMgr::CompareFormatedTime(nullptr, 1000, 1000));
}

TEST_F(TimeMgr, AFormatThatIsTooLongIsComparedByWhatFits)
{
    EXPECT_TRUE(CTimeMgr::CompareFormatedTime("always the same text", 0, 5 * DAY));
    EXPECT_TRUE(CTimeMgr::CompareFormatedTime("%Y-%m-%d %H:%M:%S", 1000, 1000));
    EXPECT_FALSE(
        CTimeMgr::CompareFormatedTime("%m-%d, at %H:%M:%S", Winter(2026, 1, 14), Winter(2026, 1, 15)));
}

TEST_F(TimeMgr, ADayLastsFromMidnightToOneSecondBeforeTheNext)
{
    EXPECT_TRUE(CTimeMgr::SameDay(Winter(2026, 1, 14, 0, 0, 0), Winter(2026, 1, 14, 23, 59, 59)));
    EXPECT_FALSE(CTimeMgr::SameDay(Winter(2026, 1, 14, 23, 59, 59), Winter(2026, 1, 15, 0, 0, 0)));
    EXPECT_FALSE(CTimeMgr::SameDay(Winter(2026, 1, 14, 12), Winter(2026, 1, 14, 12) + DAY));
}

TEST_F(TimeMgr, ADayIsTheLocalOne)
{
    const long lateInLondon = Winter(2026, 1, 15, 0, 30);

    EXPECT_TRUE(CTimeMgr::SameDay(lateInLondon, Winter(2026, 1, 15, 20)));

    Zone::Set("GMT0");
    EXPECT_FALSE(CTimeMgr::SameDay(lateInLondon, Winter(2026, 1, 15, 20)));
}

TEST_F(TimeMgr, ADayOf23Or25HoursIsOneDay)
{
    EXPECT_TRUE(CTimeMgr::SameDay(Winter(2026, 3, 29, 0, 0, 0), Summer(2026, 3, 29, 23, 59, 59)));
    EXPECT_FALSE(CTimeMgr::SameDay(Winter(2026, 3, 29, 0, 0, 0), Winter(2026, 3, 29) + 23 * HOUR));
    EXPECT_TRUE(CTimeMgr::SameDay(Summer(2026, 10, 25, 0, 0, 0), Summer(2026, 10, 25) + 25 * HOUR - 1));
    EXPECT_FALSE(CTimeMgr::SameDay(Summer(2026, 10, 25, 0, 0, 0), Summer(2026, 10, 25) + 25 * HOUR));
}

TEST_F(TimeMgr, AWeekRunsFromMondayToSunday)
{
    const long monday = Winter(2026, 1, 12, 0, 0, 0);
    const long sunday = Winter(2026, 1, 18, 23, 59, 59);

    EXPECT_TRUE(CTimeMgr::SameWeek(monday, sunday));
    EXPECT_FALSE(CTimeMgr::SameWeek(sunday, sunday + 1));
    EXPECT_FALSE(CTimeMgr::SameWeek(monday - 1, monday));
}

TEST_F(TimeMgr, AWeekIsSplitByNewYear)
{
    const long wednesday = Winter(2025, 12, 31, 12);
    const long thursday = Winter(2026, 1, 1, 12);

    EXPECT_FALSE(CTimeMgr::SameWeek(wednesday, thursday));
    EXPECT_TRUE(CTimeMgr::SameWeek(thursday, Winter(2026, 1, 4, 12)));
    EXPECT_TRUE(CTimeMgr::SameWeek(wednesday, Winter(2025, 12, 29, 12)));
}

TEST_F(TimeMgr, TheSameWeekOfAnotherYearIsAnotherWeek)
{
    EXPECT_FALSE(CTimeMgr::SameWeek(Winter(2026, 2, 4), Winter(2025, 2, 5)));
}

TEST_F(TimeMgr, AMonthRunsFromItsFirstToItsLastSecond)
{
    EXPECT_TRUE(CTimeMgr::SameMonth(Winter(2026, 2, 1), Winter(2026, 2, 28, 23, 59, 59)));
    EXPECT_FALSE(CTimeMgr::SameMonth(Winter(2026, 2, 28, 23, 59, 59), Winter(2026, 3, 1)));
    EXPECT_FALSE(CTimeMgr::SameMonth(Winter(2026, 2, 1), Winter(2025, 2, 1)));
}

TEST_F(TimeMgr, AYearRunsFromItsFirstToItsLastSecond)
{
    EXPECT_TRUE(CTimeMgr::SameYear(Winter(2026, 1, 1), Winter(2026, 12, 31, 23, 59, 59)));
    EXPECT_FALSE(CTimeMgr::SameYear(Winter(2025, 12, 31, 23, 59, 59), Winter(2026, 1, 1)));
}

TEST_F(TimeMgr, AWeekPeriodEndsAtTheMidnightSevenDaysLater)
{
    const long start = Winter(2026, 1, 14, 15, 30);

    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(start, start - 1));
    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(start, 0));
    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(start, start));
    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(start, Winter(2026, 1, 14, 23, 59, 59)));
    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(start, Winter(2026, 1, 20, 23, 59, 59)));
    EXPECT_FALSE(CTimeMgr::SamePeriodWeek(start, Winter(2026, 1, 21)));
    EXPECT_FALSE(CTimeMgr::SamePeriodWeek(start, Winter(2036, 1, 14)));
}

TEST_F(TimeMgr, AMonthPeriodEndsAtTheMidnightOneMonthLater)
{
    struct Case
    {
        long start, end;
    };
    const Case cases[] = {
        {Winter(2026, 1, 14, 15), Winter(2026, 2, 14)}, {Winter(2026, 12, 5), Winter(2027, 1, 5)},
        {Winter(2026, 1, 31), Winter(2026, 3, 3)},  // 31 February
        {Winter(2028, 1, 31), Winter(2028, 3, 2)},  // 31 February of a leap year
        {Winter(2026, 1, 30), Winter(2026, 3, 2)},  // 30 February
        {Winter(2026, 1, 29), Winter(2026, 3, 1)},  // 29 February
        {Winter(2028, 1, 29), Winter(2028, 2, 29)},     {Summer(2026, 5, 31), Summer(2026, 7, 1)},  // 31 June
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.start);
        EXPECT_TRUE(CTimeMgr::SamePeriodMonth(c.start, c.start - 1));
        EXPECT_TRUE(CTimeMgr::SamePeriodMonth(c.start, c.start));
        EXPECT_TRUE(CTimeMgr::SamePeriodMonth(c.start, c.end - 1));
        EXPECT_FALSE(CTimeMgr::SamePeriodMonth(c.start, c.end));
    }
}

TEST_F(TimeMgr, AMonthPeriodOf31JanuaryHasThe2ndOfMarch)
{
    EXPECT_TRUE(CTimeMgr::SamePeriodMonth(Winter(2026, 1, 31), Winter(2026, 3, 2, 12)));
    EXPECT_FALSE(CTimeMgr::SamePeriodMonth(Winter(2026, 1, 31), Winter(2026, 3, 3)));
}

TEST_F(TimeMgr, APeriodThatBeganInWinterEndsAnHourAfterASummerMidnight)
{
    const long end = Summer(2026, 4, 1, 1);  // 00:00 by the winter clock

    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(Winter(2026, 3, 25, 8), end - 1));
    EXPECT_FALSE(CTimeMgr::SamePeriodWeek(Winter(2026, 3, 25, 8), end));
    EXPECT_TRUE(CTimeMgr::SamePeriodMonth(Winter(2026, 3, 1, 8), end - 1));
    EXPECT_FALSE(CTimeMgr::SamePeriodMonth(Winter(2026, 3, 1, 8), end));
}

TEST_F(TimeMgr, APeriodThatBeganInSummerEndsAnHourBeforeAWinterMidnight)
{
    const long end = Winter(2026, 10, 31, 23);  // 00:00 by the summer clock

    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(Summer(2026, 10, 25, 1), end - 1));
    EXPECT_FALSE(CTimeMgr::SamePeriodWeek(Summer(2026, 10, 25, 1), end));
    EXPECT_TRUE(CTimeMgr::SamePeriodMonth(Summer(2026, 10, 1, 1), end - 1));
    EXPECT_FALSE(CTimeMgr::SamePeriodMonth(Summer(2026, 10, 1, 1), end));
}

TEST_F(TimeMgr, MonthsBetweenMomentsAreCountedByTheCalendar)
{
    struct Case
    {
        long a, b;
        int months;
    };
    const Case cases[] = {
        {Winter(2025, 12, 15), Winter(2026, 1, 1), 1},
        {Winter(2026, 1, 1), Winter(2026, 1, 31, 23, 59, 59), 0},
        {Winter(2026, 1, 31, 23, 59, 59), Winter(2026, 2, 1), 1},
        {Winter(2026, 1, 5), Summer(2026, 9, 5), 8},
        {Winter(2024, 11, 30), Winter(2026, 2, 1), 15},
        {Winter(1999, 12, 31), Winter(2026, 1, 1), 26 * 12 + 1},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.a);
        EXPECT_EQ(CTimeMgr::DiscrepantMonth(c.a, c.b), c.months);
        EXPECT_EQ(CTimeMgr::DiscrepantMonth(c.b, c.a), c.months);
    }
}

TEST_F(TimeMgr, TodayBeganAtLocalMidnight)
{
    for (const long now :
         {Winter(2026, 1, 14), Winter(2026, 1, 14, 0, 0, 1), Winter(2026, 1, 14, 23, 59, 59)}) {
        TestClock::Reset(now);
        EXPECT_EQ(CTimeMgr::GetTodayDate(), Winter(2026, 1, 14));
    }
}

TEST_F(TimeMgr, TodaysMidnightGoesByTheClockOfNowOnADayOfChange)
{
    TestClock::Reset(Winter(2026, 3, 29, 1, 59, 59));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Winter(2026, 3, 29));
    TestClock::Reset(Summer(2026, 3, 29, 3));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Winter(2026, 3, 28, 23));

    TestClock::Reset(Summer(2026, 10, 25, 2, 59, 59));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Summer(2026, 10, 25));
    TestClock::Reset(Winter(2026, 10, 25, 2));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Summer(2026, 10, 25, 1));
}

TEST_F(TimeMgr, AWeekBeginsOnTheLatestSuchWeekday)
{
    TestClock::Reset(Winter(2026, 1, 12, 9));  // Monday
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(1), Winter(2026, 1, 12));

    TestClock::Reset(Winter(2026, 1, 18, 9));  // Sunday
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(1), Winter(2026, 1, 12));
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(0), Winter(2026, 1, 18));

    TestClock::Reset(Winter(2026, 1, 1, 9));  // Thursday
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(5), Winter(2025, 12, 26));
}

TEST_F(TimeMgr, AWeekdayOutsideTheWeekIsCountedOn)
{
    TestClock::Reset(Winter(2026, 1, 18, 9));  // Sunday

    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(7), Winter(2026, 1, 18));
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(8), Winter(2026, 1, 19));
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(17), Winter(2026, 1, 28));
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(-1), Winter(2026, 1, 17));
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(-8), Winter(2026, 1, 10));
}

TEST_F(TimeMgr, AMonthBeginsOnTheLatestDayOfThatNumber)
{
    struct Case
    {
        long now;
        int day;
        long start;
    };
    const Case cases[] = {
        {Winter(2026, 1, 1), 0, Winter(2026, 1, 1)},
        {Winter(2026, 1, 31, 23, 59, 59), 0, Winter(2026, 1, 1)},
        {Winter(2026, 2, 15), 14, Winter(2026, 2, 15)},
        {Winter(2026, 2, 28), 14, Winter(2026, 2, 15)},
        {Winter(2026, 2, 14, 23, 59, 59), 14, Winter(2026, 1, 15)},
        {Winter(2026, 1, 3), 14, Winter(2025, 12, 15)},
        {Winter(2026, 3, 1), 29, Winter(2026, 3, 2)},   // 30 February
        {Winter(2028, 3, 1), 29, Winter(2028, 3, 1)},   // 30 February of a leap year
        {Summer(2026, 5, 10), 30, Summer(2026, 5, 1)},  // 31 April
        {Summer(2026, 5, 31), 30, Summer(2026, 5, 31)},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.now);
        TestClock::Reset(c.now);
        EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(c.day), c.start);
    }
}

TEST_F(TimeMgr, ADayOutsideTheMonthIsCountedOn)
{
    TestClock::Reset(Winter(2026, 1, 14, 9));

    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(-1), Winter(2025, 12, 31));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(-32), Winter(2025, 11, 30));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(31), Winter(2026, 1, 1));  // 32 December
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(365), Winter(2026, 12, 1));
}

TEST_F(TimeMgr, ThreeMonthsBackKeepsTheDayOfTheMonth)
{
    struct Case
    {
        long now, back;
    };
    const Case cases[] = {
        {Winter(2026, 3, 14, 9), Winter(2025, 12, 14)},
        {Winter(2026, 1, 14, 9), Summer(2025, 10, 14, 1)},  // by the winter clock
        {Summer(2026, 5, 31, 9), Winter(2026, 3, 2, 23)},   // 31 February, by the summer clock
        {Summer(2028, 5, 31, 9), Winter(2028, 3, 1, 23)},   // and in a leap year
        {Summer(2026, 7, 31, 9), Summer(2026, 5, 1)},       // 31 April
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.now);
        TestClock::Reset(c.now);
        EXPECT_EQ(CTimeMgr::GetBeforeNowTreeMonthlyTime(), c.back);
    }
}

TEST_F(TimeMgr, StartsAcrossAChangeOfTheClocksKeepTheClockOfNow)
{
    TestClock::Reset(Summer(2026, 4, 1, 9));  // Wednesday after the change to summer time
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(4), Winter(2026, 3, 25, 23));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(14), Winter(2026, 3, 14, 23));
    EXPECT_EQ(CTimeMgr::GetBeforeNowTreeMonthlyTime(), Winter(2025, 12, 31, 23));

    TestClock::Reset(Winter(2026, 10, 28, 9));  // Wednesday after the change to winter time
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(4), Summer(2026, 10, 22, 1));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(14), Summer(2026, 10, 15, 1));
    EXPECT_EQ(CTimeMgr::GetBeforeNowTreeMonthlyTime(), Summer(2026, 7, 28, 1));
}

TEST_F(TimeMgr, TheClockOfNowIsKeptInTheSouthToo)
{
    Zone::Set("AEST-10AEDT,M10.1.0,M4.1.0/3");  // summer time ends on 5 April 2026, begins on 4 October
    const long standard = 10 * HOUR;
    const long summer = 11 * HOUR;

    TestClock::Reset(Moment(standard, 2026, 4, 7, 9));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Moment(standard, 2026, 4, 7));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(0), Moment(summer, 2026, 4, 1, 1));
    EXPECT_EQ(CTimeMgr::GetBeforeNowTreeMonthlyTime(), Moment(summer, 2026, 1, 7, 1));

    TestClock::Reset(Moment(summer, 2026, 10, 7, 9));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Moment(summer, 2026, 10, 7));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(0), Moment(standard, 2026, 9, 30, 23));
    EXPECT_EQ(CTimeMgr::GetBeforeNowTreeMonthlyTime(), Moment(standard, 2026, 7, 6, 23));
}

TEST_F(TimeMgr, HalfHoursOfOffsetAndOfSummerTimeCountAsHalfHours)
{
    Zone::Set("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0");
    const long standard = 10 * HOUR + HOUR / 2;
    const long summer = 11 * HOUR;

    EXPECT_TRUE(CTimeMgr::SameDay(Moment(standard, 2026, 7, 7), Moment(standard, 2026, 7, 7, 23, 59, 59)));
    EXPECT_FALSE(CTimeMgr::SameDay(Moment(standard, 2026, 7, 7) - 1, Moment(standard, 2026, 7, 7)));

    TestClock::Reset(Moment(standard, 2026, 4, 7, 9));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Moment(standard, 2026, 4, 7));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(0), Moment(summer, 2026, 4, 1, 0, 30));

    TestClock::Reset(Moment(summer, 2026, 10, 7, 9));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Moment(summer, 2026, 10, 7));
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(0), Moment(standard, 2026, 9, 30, 23, 30));
}

TEST_F(TimeMgr, FollowsAZoneThatChangesWhileRunning)
{
    ASSERT_TRUE(CTimeMgr::SameDay(Winter(2026, 1, 14, 12), Winter(2026, 1, 14, 20)));

    setenv("TZ", "IST-5:30", 1);

    EXPECT_FALSE(CTimeMgr::SameDay(Winter(2026, 1, 14, 12), Winter(2026, 1, 14, 20)));
    EXPECT_EQ(CTimeMgr::GetTodayDate(), Moment(5 * HOUR + HOUR / 2, 2026, 1, 14));
}

TEST_F(TimeMgr, FollowsAZoneThatIsNamedOrNotWhileRunning)
{
    const auto todayInTheSystemsZone = [] {
        const std::time_t now = CTimeMgr::GetTime();
        std::tm local{};
        localtime_r(&now, &local);
        local.tm_hour = local.tm_min = local.tm_sec = 0;
        return static_cast<long>(std::mktime(&local));
    };
    const std::string zone = std::getenv("TZ");
    const long named = CTimeMgr::GetTodayDate();

    for (int i = 0; i < 3; ++i) {
        unsetenv("TZ");
        EXPECT_EQ(CTimeMgr::GetTodayDate(), todayInTheSystemsZone());
        TestClock::AdvanceSeconds(1);
        EXPECT_EQ(CTimeMgr::GetTodayDate(), todayInTheSystemsZone());

        setenv("TZ", "IST-5:30", 1);
        EXPECT_EQ(CTimeMgr::GetTodayDate(), Moment(5 * HOUR + HOUR / 2, 2026, 1, 14));
        setenv("TZ", zone.c_str(), 1);
        EXPECT_EQ(CTimeMgr::GetTodayDate(), named);
    }
}

TEST_F(TimeMgr, KnowsItsWayInAZoneWithALongName)
{
    const std::string rules = ",M3.5.0/02:00:00,M10.5.0/03:00:00";
    const std::string name = "<" + std::string(150, 'A') + ">";
    for (const int hours : {1, 5, 1}) {
        setenv("TZ", (name + "-" + std::to_string(hours) + name + rules).c_str(), 1);
        EXPECT_EQ(CTimeMgr::GetTodayDate(), Moment(hours * HOUR, 2026, 1, 14));
    }
}

TEST_F(TimeMgr, MomentsWithoutALocalDateAreNoDayOfOurs)
{
    for (const long wild : {LONG_MAX, LONG_MIN, LONG_MAX / 2, LONG_MIN / 2}) {
        SCOPED_TRACE(wild);
        const long now = CTimeMgr::GetTime();

        EXPECT_TRUE(CTimeMgr::SameDay(wild, wild));
        EXPECT_FALSE(CTimeMgr::SameDay(wild, now));
        EXPECT_FALSE(CTimeMgr::SameDay(now, wild));
        EXPECT_FALSE(CTimeMgr::SameWeek(wild, now));
        EXPECT_FALSE(CTimeMgr::SameMonth(wild, now));
        EXPECT_FALSE(CTimeMgr::SameYear(wild, now));
        EXPECT_EQ(CTimeMgr::DiscrepantMonth(wild, wild), 0);
        EXPECT_EQ(CTimeMgr::DiscrepantMonth(now, wild), 2026 * 12 + 1);
    }
}

TEST_F(TimeMgr, DaysAndYearsAreComparedByTheirTextWhateverTheYear)
{
    using nettest::Moment;
    for (const int year : {-10'000, -1, 0, 1, 999, 1'000, 1'969, 1'970, 2'026, 9'999, 10'000, 30'000}) {
        const long newYear = Moment(0, year, 1, 1);
        for (const long a : {newYear - 1, newYear, newYear + nettest::DAY}) {
            for (const long b : {a - 1, a, a + 1, a + nettest::DAY, a + 365 * nettest::DAY, 0L}) {
                EXPECT_EQ(CTimeMgr::SameDay(a, b), CTimeMgr::CompareFormatedTime("%Y-%m-%d", a, b))
                    << a << ' ' << b;
                EXPECT_EQ(CTimeMgr::SameYear(a, b), CTimeMgr::CompareFormatedTime("%Y", a, b))
                    << a << ' ' << b;
            }
        }
    }
}

TEST_F(TimeMgr, APeriodThatBeginsBeforeEveryDateIsOver)
{
    const long now = CTimeMgr::GetTime();

    EXPECT_FALSE(CTimeMgr::SamePeriodWeek(LONG_MIN, now));
    EXPECT_FALSE(CTimeMgr::SamePeriodMonth(LONG_MIN, 0));
    EXPECT_TRUE(CTimeMgr::SamePeriodMonth(LONG_MIN, -now));
    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(LONG_MAX, now));
}

TEST_F(TimeMgr, APeriodHasTheDayItBeginsOnWhateverItsEnd)
{
    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(LONG_MAX, LONG_MAX));
    EXPECT_TRUE(CTimeMgr::SamePeriodMonth(LONG_MAX - 1, LONG_MAX));
}

TEST_F(TimeMgr, ADateBeyondTheLastYearIsNoMoment)
{
    Zone::Set("UTC0");
    TestClock::FreezeTime(LAST_SECOND);

    EXPECT_EQ(CTimeMgr::GetTodayDate(), LAST_SECOND + 1 - DAY);
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(100), 0);
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(100), 0);
}

TEST_F(TimeMgr, MonthsBetweenTheEndsOfTheCalendarFillTheResult)
{
    Zone::Set("UTC0");

    EXPECT_EQ(CTimeMgr::DiscrepantMonth(0, LAST_SECOND), INT_MAX);
}

TEST_F(TimeMgr, AClockWithoutALocalDateHasNoStarts)
{
    for (const long wild : {LONG_MAX, LONG_MIN}) {
        TestClock::FreezeTime(wild);

        EXPECT_EQ(CTimeMgr::GetTodayDate(), 0);
        EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(1), 0);
        EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(1), 0);
        EXPECT_EQ(CTimeMgr::GetBeforeNowTreeMonthlyTime(), 0);
    }
}

TEST_F(TimeMgr, AMidnightOneSecondBefore1970CountsAsFailedAndIs0)
{
    Zone::Set("ONE-0:00:01");
    TestClock::Reset(0);

    EXPECT_EQ(CTimeMgr::GetTodayDate(), 0);
    EXPECT_TRUE(CTimeMgr::SamePeriodWeek(-1 - 7 * DAY, -1));
    EXPECT_FALSE(CTimeMgr::SamePeriodWeek(-1 - 7 * DAY, 0));
}

TEST_F(TimeMgr, WeekdaysAtTheLimitsAreCountedExactlyOrNotAtAll)
{
    TestClock::Reset(Winter(2026, 1, 14, 9));  // a Wednesday: the day of the month may exceed an int above
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(INT_MAX), 0);
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(INT_MIN), Winter(2026, 1, 14) + (INT_MIN - 3L) * DAY);

    TestClock::Reset(Winter(2026, 1, 2, 9));  // a Friday: it may exceed an int below
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(INT_MAX), Winter(2026, 1, 2) + (INT_MAX - 5L - 7) * DAY);
    EXPECT_EQ(CTimeMgr::GetBeforeNowWeekTime(INT_MIN), 0);
}

TEST_F(TimeMgr, DaysAtTheLimitsAreCountedExactlyOrNotAtAll)
{
    TestClock::Reset(Winter(2026, 1, 14, 9));

    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(INT_MAX), 0);
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(INT_MAX - 1), Winter(2025, 12, 1) + (INT_MAX - 1L) * DAY);
    EXPECT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(INT_MIN), Winter(2026, 1, 1) + INT_MIN * DAY);
}

TEST_F(TimeMgr, LeavesTheHostsOwnLocalTimeAlone)
{
    const std::time_t moment = Summer(2001, 9, 9, 3, 46, 40);
    const std::tm* const hosts = std::localtime(&moment);

    CTimeMgr::SameWeek(0, DAY);
    CTimeMgr::SamePeriodMonth(0, 400 * DAY);
    CTimeMgr::DiscrepantMonth(0, 400 * DAY);
    CTimeMgr::GetTodayDate();
    CTimeMgr::GetBeforeNowWeekTime(1);
    CTimeMgr::GetBeforeNowMonthlyTime(1);
    CTimeMgr::GetBeforeNowTreeMonthlyTime();

    EXPECT_EQ(hosts->tm_year, 101);
    EXPECT_EQ(hosts->tm_mon, 8);
    EXPECT_EQ(hosts->tm_mday, 9);
    EXPECT_EQ(hosts->tm_hour, 3);
    EXPECT_EQ(hosts->tm_min, 46);
    EXPECT_EQ(hosts->tm_sec, 40);
}

TEST_F(TimeMgr, AnswersStayRightWhileManyThreadsAndTheHostAsk)
{
    TestClock::Reset(Winter(2026, 1, 14, 9));
    std::atomic<int> wrong{0};
    const auto ask = [&wrong] {
        for (int i = 0; i < 2000; ++i) {
            const long day = Winter(2026, 1, 1) + i % 14 * DAY;
            if (!CTimeMgr::SameDay(day, day + DAY - 1)) ++wrong;
            if (CTimeMgr::SamePeriodWeek(day, day + 7 * DAY)) ++wrong;
            if (CTimeMgr::DiscrepantMonth(day, day + 31 * DAY) != 1) ++wrong;
            if (CTimeMgr::GetTodayDate() != Winter(2026, 1, 14)) ++wrong;
            if (CTimeMgr::GetBeforeNowWeekTime(1) != Winter(2026, 1, 12)) ++wrong;
        }
    };
    std::atomic<bool> done{false};
    std::thread host([&done] {
        for (std::time_t moment = 0; !done; moment += 86413)
            std::localtime(&moment);
    });

    std::thread others[] = {std::thread(ask), std::thread(ask), std::thread(ask)};
    for (std::thread& other : others)
        other.join();
    done = true;
    host.join();

    EXPECT_EQ(wrong, 0);
}

}  // namespace
