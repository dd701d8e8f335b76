#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>

#include "calendar/TimeMgr.h"

namespace {

constexpr long HOUR = 60L * 60;
constexpr long DAY = 24 * HOUR;
constexpr long NOON =
    1'774'180'800;  // Sunday 22 March 2026, 12:00 UTC, a week before Europe changes its clocks

/// Asks a day of every moment around it, closely where it begins and ends.
void ExpectSameAnswers(long day)
{
    const CLocalDay local(day);
    for (long moment = day - 6 * DAY; moment < day + 6 * DAY; moment += 1'709)
        ASSERT_EQ(local.Has(moment), CTimeMgr::SameDay(moment, day)) << day << ' ' << moment;
    for (long quarter = day - 2 * DAY; quarter < day + 2 * DAY; quarter += 15 * 60) {
        const long near = quarter - quarter % (15 * 60);
        for (const long off : {-61L, -60L, -1L, 0L, 1L, 59L, 60L})
            ASSERT_EQ(local.Has(near + off), CTimeMgr::SameDay(near + off, day)) << day << ' ' << near + off;
    }
    for (const long moment : {LONG_MIN, -DAY, -1L, 0L, 1L, DAY, 253'402'300'799L, 253'402'300'800L, LONG_MAX})
        ASSERT_EQ(local.Has(moment), CTimeMgr::SameDay(moment, day)) << day << ' ' << moment;
}

}  // namespace

TEST(LocalDay, AnswersLikeSameDayInEveryKindOfZone)
{
    struct Case
    {
        const char* zone;
        const char* why;
    };
    const Case cases[] = {
        {"UTC0", "no change ever"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", "the clocks change at night"},
        {"NST3:30NDT2:30,M3.4.0/0:01,M11.1.0/0:01", "they change back to a minute of the day before"},
        {"AAA-14BBB12,M3.4.0/12,M11.1.0/12", "a day is left out, another comes twice"},
        {"AAA12", "far west"},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.why);
        ASSERT_EQ(setenv("TZ", row.zone, 1), 0);
        for (long day = NOON - 4 * DAY; day <= NOON + 12 * DAY; day += 29 * HOUR)
            ExpectSameAnswers(day);
        for (long day = NOON + 215 * DAY; day <= NOON + 226 * DAY; day += 29 * HOUR)
            ExpectSameAnswers(day);
    }
}

TEST(LocalDay, AnswersLikeSameDayForMomentsWithoutAnOrdinaryDate)
{
    for (const long day : {LONG_MIN, -5L, 0L, 253'402'300'799L, 253'402'300'800L + 40 * DAY, LONG_MAX}) {
        const CLocalDay local(day);
        for (const long moment :
             {LONG_MIN, -DAY, -5L, -1L, 0L, 5 * DAY, 253'402'300'799L, 253'402'300'800L + 41 * DAY, LONG_MAX})
            EXPECT_EQ(local.Has(moment), CTimeMgr::SameDay(moment, day)) << day << ' ' << moment;
    }
}
