#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "calendar/TimeMgr.h"
#include "tests/sampling/EngineFixture.h"

// Years of heartbeats, in zones whose clocks do what clocks may: the engine, the tracker and the store
// at work on the heartbeat's own thread, and beside them plain sums of what has to count when. The clock is
// set wrong and right again, and the machine sleeps, at random.

namespace {

using nettest::FakePlatform;
using nettest::TestClock;

struct Bytes
{
    unsigned long long received = 0;
    unsigned long long sent = 0;

    void Add(const Bytes& other)
    {
        received += other.received;
        sent += other.sent;
    }
    /// A total never falls below zero.
    void TakeOut(const Bytes& other)
    {
        received -= std::min(received, other.received);
        sent -= std::min(sent, other.sent);
    }
    bool operator==(const Bytes&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Bytes& bytes)
{
    return out << bytes.received << " received, " << bytes.sent << " sent";
}

std::tm Local(long moment)
{
    std::tm date{};
    localtime_r(&moment, &date);
    return date;
}
bool InOneYear(long a, long b) { return Local(a).tm_year == Local(b).tm_year; }
bool OnOneDay(long a, long b) { return InOneYear(a, b) && Local(a).tm_yday == Local(b).tm_yday; }

struct Record
{
    long end = 0;
    Bytes traffic;
};

/// What a dial-up connection's totals have to be: sums of increments, each under the rules by which it
/// counts.
class Sums
{
public:
    void BeginRecord(long now) { m_records.push_back({now, {}}); }

    void Count(long now, const Bytes& increment)
    {
        since.Add(increment);
        if (!OnOneDay(m_dayMark, now)) today = {};
        today.Add(increment);
        if (!InOneYear(m_yearMark, now)) year = {};
        year.Add(increment);
        const long weekStart = CTimeMgr::GetBeforeNowWeekTime(0);
        CountInPeriod(week, m_weekMark, weekStart, CTimeMgr::SamePeriodWeek(m_weekMark, weekStart),
                      increment);
        const long monthStart = CTimeMgr::GetBeforeNowMonthlyTime(0);
        CountInPeriod(month, m_monthMark, monthStart, CTimeMgr::SamePeriodMonth(m_monthMark, monthStart),
                      increment);

        m_records.back().end = now;
        m_records.back().traffic.Add(increment);
        if (!OnOneDay(m_dayMark, now)) m_dayMark = now;
        if (!InOneYear(m_yearMark, now)) m_yearMark = now;
        m_weekMark = weekStart;
        m_monthMark = monthStart;
    }

    Bytes today;
    Bytes week;
    Bytes month;
    Bytes year;
    Bytes since;

private:
    /// `mark` is the period's start as of the last heartbeat, `start` as of this one.
    void CountInPeriod(Bytes& total, long mark, long start, bool same, const Bytes& increment) const
    {
        const long midnight = CTimeMgr::GetTodayDate();
        if (mark > midnight) {  // the clock went back behind the start
            total = increment;
            return;
        }
        if (OnOneDay(mark, start)) {
            total.Add(increment);
            return;
        }
        if (start > midnight) {
            total = {};
            return;
        }
        if (start > mark && !same) {
            total = increment;
            return;
        }
        // To the totals it looks as if the user had moved the start day.
        for (const Record& record : m_records) {
            const bool between = (start <= record.end && record.end < mark) ||
                                 (mark <= record.end && record.end <= start) || record.end == mark;
            if (between) start > mark ? total.TakeOut(record.traffic) : total.Add(record.traffic);
        }
        total.Add(increment);
    }

    std::vector<Record> m_records;
    long m_dayMark = 0;
    long m_weekMark = 0;
    long m_monthMark = 0;
    long m_yearMark = 0;
};

struct Zone
{
    const char* name;  ///< as the test is called
    const char* zone;
    long start;  ///< seconds since 1970
};

void PrintTo(const Zone& zone, std::ostream* out) { *out << zone.zone; }

class OddClocks : public EngineFixture, public testing::WithParamInterface<Zone>
{
protected:
    static constexpr long HOUR = 3600;
    static constexpr long DAY = 24 * HOUR;

    void SetUp() override
    {
        Stop();
        setenv("TZ", GetParam().zone, 1);
        tzset();
        if (std::string(tzname[0]) == GetParam().zone) GTEST_SKIP() << "this system does not know the zone";
        TestClock::Reset(GetParam().start);
        m_stamp = GetParam().start;
        Start();
        Connect("modem", DIALUP, 0, 0);
        Connect("wlan", WIFI, 0, 0);
        Move(1'000, 500, 90'000, 70'000);
    }

    /// One pass of the heartbeat; whether it called the engine: it does once in every second that differs
    /// from the last one, but after a clock that went back it takes the new time first.
    bool Poll()
    {
        EXPECT_TRUE(TestClock::Poll());
        const long now = TestClock::Now();
        const bool heard = now > m_stamp;
        m_stamp = now;
        return heard;
    }

    void Move(unsigned modemReceived, unsigned modemSent, unsigned wlanReceived, unsigned wlanSent)
    {
        m_modem.Add({modemReceived, modemSent});
        m_wlan.Add({wlanReceived, wlanSent});
        Count("modem", static_cast<unsigned>(m_modem.received), static_cast<unsigned>(m_modem.sent));
        Count("wlan", static_cast<unsigned>(m_wlan.received), static_cast<unsigned>(m_wlan.sent));
    }

    void Heartbeat()
    {
        if (!Poll()) return;
        if (!m_connected) {  // the first one of the phase takes the counters as they stand
            m_connected = true;
            m_modemBefore = m_modem;
            m_wlanBefore = m_wlan;
            m_sums.BeginRecord(TestClock::Now());
            m_sums.BeginRecord(TestClock::Now());
        }
        Bytes increment = m_modem;
        increment.TakeOut(m_modemBefore);
        m_sums.Count(TestClock::Now(), increment);
        increment = m_wlan;
        increment.TakeOut(m_wlanBefore);
        m_wlanSince.Add(increment);
        m_modemBefore = m_modem;
        m_wlanBefore = m_wlan;
        ExpectReports();
    }

    Bytes Ask(void (CStatistic::*report)(nis::REPORT&, int), int type)
    {
        nis::REPORT figures;
        (engine.get()->*report)(figures, type);
        return {figures.ullDownloaded, figures.ullUploaded};
    }

    void ExpectReports()
    {
        EXPECT_EQ(Ask(&CStatistic::GetTodayReport, DIALUP), m_sums.today);
        EXPECT_EQ(Ask(&CStatistic::GetThisWeekReport, DIALUP), m_sums.week);
        EXPECT_EQ(Ask(&CStatistic::GetThisMonthReport, DIALUP), m_sums.month);
        EXPECT_EQ(Ask(&CStatistic::GetThisYearReport, DIALUP), m_sums.year);
        EXPECT_EQ(Ask(&CStatistic::GetSinceReport, DIALUP), m_sums.since);
        EXPECT_EQ(Ask(&CStatistic::GetSinceReport, WIFI), m_wlanSince);
    }

    /// The machine sleeps; the links are there again when it wakes up.
    void Suspend(long seconds)
    {
        deviceManager.FirePower(0);
        TestClock::AdvanceSeconds(1);
        if (Poll()) m_connected = false;
        TestClock::AdvanceSeconds(seconds);
        deviceManager.FirePower(1);
        TestClock::AdvanceSeconds(1);
        if (Poll()) m_connected = false;  // nothing is connected before the links say so
        Report("modem", "profile", 1);
        Report("wlan", "profile", 1);
    }

    unsigned Pick(unsigned count) { return static_cast<unsigned>(m_random() % count); }

    void SetClock()
    {
        static constexpr std::array JUMPS{1L, 59L, HOUR, DAY, 40 * DAY, 366 * DAY, 1000 * DAY};
        const long jump = JUMPS[Pick(JUMPS.size())];
        const bool back = TestClock::Now() > GetParam().start + 1200 * DAY ||
                          (TestClock::Now() > GetParam().start - 1200 * DAY && Pick(2) == 0);
        TestClock::AdvanceSeconds(back ? -jump : jump);
    }

    Sums m_sums;
    Bytes m_wlanSince;
    Bytes m_modem;  ///< on the counters
    Bytes m_wlan;
    Bytes m_modemBefore;  ///< as of the last heartbeat
    Bytes m_wlanBefore;
    bool m_connected = false;
    long m_stamp = 0;  ///< the second that the heartbeat saw last
    std::mt19937 m_random{42};
};

TEST_P(OddClocks, CountEveryByteOnceInTwoYears)
{
    constexpr int HOURS = 2 * 366 * 24;
    constexpr int STEP = 5;  // hours: over the days it meets every hour of the day
    for (int hour = 0; hour < HOURS && !HasFailure(); hour += STEP) {
        SCOPED_TRACE(hour);
        TestClock::AdvanceSeconds(STEP * HOUR);
        Move(Pick(50'000), Pick(4'000), Pick(20'000), Pick(9'000));
        Heartbeat();
    }
    EXPECT_GT(m_sums.since.received, HOURS / STEP * 20'000U);
    EXPECT_LT(m_sums.year.received, m_sums.since.received) << "there was a new year";
}

TEST_P(OddClocks, CountEveryByteOnceWhileTheClockIsSetAndTheMachineSleeps)
{
    for (int step = 0; step < 2'000 && !HasFailure(); ++step) {
        SCOPED_TRACE(step);
        const unsigned event = Pick(60);
        if (event == 0) SetClock();
        if (event == 1) Suspend(Pick(5 * DAY));
        TestClock::AdvanceSeconds(Pick(4) == 0 ? 1 : Pick(3 * HOUR));
        Move(Pick(50'000), Pick(4'000), Pick(20'000), Pick(9'000));
        Heartbeat();
    }
    EXPECT_GT(m_sums.since.received, 2'000 * 20'000U);

    // And a restart finds what was counted.
    Stop();
    Start();
    EXPECT_EQ(Ask(&CStatistic::GetSinceReport, DIALUP), m_sums.since);
    EXPECT_EQ(Ask(&CStatistic::GetSinceReport, WIFI), m_wlanSince);
}

constexpr long JANUARY_2025 = 1'735'700'000;
constexpr long JANUARY_2017 = 1'483'240'000;
constexpr long JULY_2011 = 1'309'500'000;

INSTANTIATE_TEST_SUITE_P(In, OddClocks,
                         testing::Values(Zone{"TheNorth", "Europe/Berlin", JANUARY_2025},
                                         Zone{"TheWest", "America/New_York", JANUARY_2025},
                                         Zone{"HalfAnHourOfSummerTime", "Australia/Lord_Howe", JANUARY_2025},
                                         Zone{"ThreeQuartersOfAnHour", "Pacific/Chatham", JANUARY_2025},
                                         Zone{"AYearThatSkipsMidnights", "America/Sao_Paulo", JANUARY_2017},
                                         Zone{"AChangeAtMidnight", "Asia/Beirut", JANUARY_2025},
                                         Zone{"ADayThatWasSkipped", "Pacific/Apia", JULY_2011},
                                         Zone{"NoZoneAtAll", "UTC0", JANUARY_2025}),
                         [](const auto& zone) { return std::string(zone.param.name); });

}  // namespace
