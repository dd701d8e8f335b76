// The period questions against a model that knows nothing of the C library: it walks day by day and knows
// when the clocks change from rules of its own.

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "calendar/TimeMgr.h"
#include "tests/calendar/Moments.h"
#include "tests/support/TestClock.h"

namespace {

using nettest::DAY;
using nettest::HOUR;
using nettest::TestClock;

constexpr int FIRST_YEAR = 2005;
constexpr int YEARS = 30;

/// The n-th Sunday of a month, 5 being the last, at which the clocks change.
struct Change
{
    int month;
    int sunday;
    long standardTime;  ///< seconds after midnight, by the clock that knows no summer time
};

struct ZoneRules
{
    const char* name;
    const char* tz;
    long standard;  ///< seconds ahead of UTC
    long summer;
    Change toSummer;
    Change toStandard;
};

void PrintTo(const ZoneRules& zone, std::ostream* out) { *out << zone.name; }

const ZoneRules ZONES[] = {
    {"CentralEurope", "CET-1CEST,M3.5.0,M10.5.0/3", HOUR, 2 * HOUR, {3, 5, 2 * HOUR}, {10, 5, 2 * HOUR}},
    {"Sydney", "AEST-10AEDT,M10.1.0,M4.1.0/3", 10 * HOUR, 11 * HOUR, {10, 1, 2 * HOUR}, {4, 1, 2 * HOUR}},
    {"LordHowe",
     "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0",
     21 * HOUR / 2,
     11 * HOUR,
     {10, 1, 2 * HOUR},
     {4, 1, 3 * HOUR / 2}},
};

struct Date
{
    int year, month, day, weekday;
};

/// Every day of the years under test and some around them, each made from the one before.
class Calendar
{
public:
    Calendar()
    {
        Date date{FIRST_YEAR - 1, 1, 1, 4};  // a Thursday
        while (date.year <= FIRST_YEAR + YEARS) {
            m_days.push_back(date);
            date.weekday = (date.weekday + 1) % 7;
            if (++date.day <= DaysIn(date.year, date.month)) continue;
            date.day = 1;
            if (++date.month <= 12) continue;
            date.month = 1;
            ++date.year;
        }
    }

    const Date& operator[](int index) const { return m_days[static_cast<std::size_t>(index)]; }
    int IndexOfFirst(int year) const
    {
        int index = 0;
        while ((*this)[index].year < year)
            ++index;
        return index;
    }
    /// The first of the month that is `months` months after the one of `index`.
    int MonthStart(int index, int months) const
    {
        index -= (*this)[index].day - 1;
        for (; months < 0; ++months)
            index -= (*this)[index - 1].day;
        for (; months > 0; --months)
            index += DaysIn((*this)[index].year, (*this)[index].month);
        return index;
    }
    int Sunday(int year, const Change& change) const
    {
        int index = MonthStart(IndexOfFirst(year), change.month - 1);
        while ((*this)[index].weekday != 0)
            ++index;
        index += 7 * (change.sunday - 1);
        return (*this)[index].month == change.month ? index : index - 7;
    }

private:
    static int DaysIn(int year, int month)
    {
        if (month == 2) return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
        return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
    }

    std::vector<Date> m_days;
};

class TimeMgrModel : public testing::TestWithParam<ZoneRules>
{
protected:
    TimeMgrModel()
    {
        for (int year = FIRST_YEAR - 1; year <= FIRST_YEAR + YEARS; ++year) {
            m_toSummer.push_back(Standard(m_calendar.Sunday(year, Zone().toSummer), Zone().toSummer));
            m_toStandard.push_back(Standard(m_calendar.Sunday(year, Zone().toStandard), Zone().toStandard));
        }
    }

    const ZoneRules& Zone() const { return GetParam(); }
    /// Midnight of a day by a clock that is `ahead` seconds ahead of UTC.
    long Midnight(int index, long ahead) const { return m_firstDay * DAY + index * DAY - ahead; }
    long Standard(int index, const Change& change) const
    {
        return Midnight(index, Zone().standard) + change.standardTime;
    }
    /// How far the clocks are ahead of UTC at `moment` in the year of `index`.
    long AheadAt(long moment, int index) const
    {
        const auto year = static_cast<std::size_t>(m_calendar[index].year - (FIRST_YEAR - 1));
        const bool afterSpring = moment >= m_toSummer[year];
        const bool beforeAutumn = moment < m_toStandard[year];
        const bool north = m_toSummer[year] < m_toStandard[year];
        const bool summer = north ? afterSpring && beforeAutumn : afterSpring || beforeAutumn;
        return summer ? Zone().summer : Zone().standard;
    }

    const Calendar m_calendar;
    const long m_firstDay = nettest::DayNumber(FIRST_YEAR - 1, 1, 1);
    std::vector<long> m_toSummer;    ///< moments, one a year
    std::vector<long> m_toStandard;  ///< likewise
    nettest::Zone m_zone{GetParam().tz};
};

TEST_P(TimeMgrModel, AgreesOnEveryDayOfThirtyYears)
{
    std::mt19937 random(20260114);
    const auto upTo = [&random](int last) {
        return static_cast<int>(random() % (static_cast<unsigned>(last) + 1));
    };

    const int end = m_calendar.IndexOfFirst(FIRST_YEAR + YEARS);
    for (int today = m_calendar.IndexOfFirst(FIRST_YEAR); today < end; ++today) {
        const Date& date = m_calendar[today];
        SCOPED_TRACE(std::to_string(date.year) + "-" + std::to_string(date.month) + "-" +
                     std::to_string(date.day));

        // A moment of the day that the clocks of the zone show once only: 04:00 to 23:59:59.
        const long noon = Midnight(today, Zone().standard) + 12 * HOUR;
        const long ahead = AheadAt(noon, today);
        const long now = Midnight(today, ahead) + 4 * HOUR + upTo(static_cast<int>(20 * HOUR) - 1);
        TestClock::Set(now);
        ASSERT_EQ(CTimeMgr::GetTodayDate(), Midnight(today, ahead));

        for (int back = 0; back < 7; ++back) {
            const int weekday = m_calendar[today - back].weekday;
            ASSERT_EQ(CTimeMgr::GetBeforeNowWeekTime(weekday), Midnight(today - back, ahead)) << weekday;
        }

        const int day = upTo(30);
        const int monthStart = m_calendar.MonthStart(today, date.day > day ? 0 : -1) + day;
        ASSERT_EQ(CTimeMgr::GetBeforeNowMonthlyTime(day), Midnight(monthStart, ahead)) << day;

        const int threeMonthsBack = m_calendar.MonthStart(today, -3) + date.day - 1;
        ASSERT_EQ(CTimeMgr::GetBeforeNowTreeMonthlyTime(), Midnight(threeMonthsBack, ahead));

        const long weekEnd = Midnight(today + 7, ahead);
        ASSERT_TRUE(CTimeMgr::SamePeriodWeek(now, weekEnd - 1));
        ASSERT_FALSE(CTimeMgr::SamePeriodWeek(now, weekEnd));

        const long monthEnd = Midnight(m_calendar.MonthStart(today, 1) + date.day - 1, ahead);
        ASSERT_TRUE(CTimeMgr::SamePeriodMonth(now, monthEnd - 1));
        ASSERT_FALSE(CTimeMgr::SamePeriodMonth(now, monthEnd));

        const long first = Midnight(today, AheadAt(noon - 12 * HOUR, today));
        ASSERT_TRUE(CTimeMgr::SameDay(first, now));
        ASSERT_FALSE(CTimeMgr::SameDay(first - 1, now));
        ASSERT_EQ(CTimeMgr::SameWeek(first - 1, now),
                  date.weekday != 1 && (date.month != 1 || date.day != 1));
        ASSERT_EQ(CTimeMgr::SameMonth(first - 1, now), date.day != 1);
        ASSERT_EQ(CTimeMgr::DiscrepantMonth(first - 1, now), date.day == 1 ? 1 : 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Zones, TimeMgrModel, testing::ValuesIn(ZONES),
                         [](const auto& zone) { return std::string(zone.param.name); });

}  // namespace
