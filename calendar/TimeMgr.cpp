#include "calendar/TimeMgr.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <optional>
#include <utility>

#include "platform/common/JMutex.h"
#include "platform/common/NimbString.h"

namespace {

/// The one lock around the C library's calendar. Never destroyed, so that a thread that is still counting
/// while the process ends finds it whole.
JMutex& CalendarLock()
{
    alignas(JMutex) static std::byte storage[sizeof(JMutex)];
    static JMutex& mtx = *new (storage) JMutex;
    if (!mtx.IsInitialized()) mtx.Init();
    return mtx;
}

/// What `localtime` would answer, without the one result that it shares with the rest of the process; nothing
/// for a moment without a local date.
std::optional<std::tm> LocalTime(std::time_t moment) NETINFO_REQUIRES(CalendarLock())
{
    tzset();
    std::tm local;
    if (!localtime_r(&moment, &local)) return std::nullopt;
    return local;
}

/// Local time of `moment` with the clock put back to 00:00:00. The daylight-saving flag stays that of
/// `moment`.
std::optional<std::tm> MidnightOf(std::time_t moment) NETINFO_REQUIRES(CalendarLock())
{
    auto local = LocalTime(moment);
    if (local) local->tm_hour = local->tm_min = local->tm_sec = 0;
    return local;
}

/// 0 for a date that is no moment.
long MomentOf(std::tm local) NETINFO_REQUIRES(CalendarLock())
{
    const std::time_t moment = std::mktime(&local);
    return moment == -1 ? 0 : moment;
}

/// Ten characters and a terminator, which is missing where a format asked for more.
using DateText = std::array<char, 11>;

/// All zero for a moment without a local date.
DateText Format(const char* fmt, long moment) NETINFO_REQUIRES(CalendarLock())
{
    DateText text{};
    if (const auto local = LocalTime(moment)) std::strftime(text.data(), text.size(), fmt, &*local);
    return text;
}

/// Months from the beginning of the year 0, counted from 1; 0 for a moment without a local date.
long long MonthNumber(long moment) NETINFO_REQUIRES(CalendarLock())
{
    const auto local = LocalTime(moment);
    if (!local) return 0;
    return (local->tm_year + 1900LL) * 12 + local->tm_mon + 1;
}

/// Whether `t` is before the end of the period that begins on `start`'s day.
bool SamePeriod(long start, long t, int months, int days)
{
    if (start > t) return true;
    if (CTimeMgr::SameDay(start, t)) return true;

    const JMutexLock lock(CalendarLock());
    auto end = MidnightOf(start);
    if (!end) return 0 > t;
    end->tm_mon += months;
    end->tm_mday += days;
    return MomentOf(*end) > t;
}

}  // namespace

long CTimeMgr::GetTime() { return std::time(nullptr); }

std::string CTimeMgr::GetTimeString()
{
    char text[65] = {};
    _ui64toa(static_cast<unsigned long long>(std::time(nullptr)), text, 10);
    return text;
}

bool CTimeMgr::CompareFormatedTime(const char* fmt, long a, long b)
{
    if (!fmt) return false;

    const JMutexLock lock(CalendarLock());
    const DateText textA = Format(fmt, a);
    const DateText textB = Format(fmt, b);
    return std::strncmp(textA.data(), textB.data(), textA.size()) == 0;
}

bool CTimeMgr::SameDay(long a, long b) { return CompareFormatedTime("%Y-%m-%d", a, b); }

bool CTimeMgr::SameWeek(long a, long b) { return CompareFormatedTime("%Y-%W", a, b); }

bool CTimeMgr::SameMonth(long a, long b) { return CompareFormatedTime("%Y-%m", a, b); }

bool CTimeMgr::SameYear(long a, long b) { return CompareFormatedTime("%Y", a, b); }

bool CTimeMgr::SamePeriodWeek(long start, long t) { return SamePeriod(start, t, 0, 7); }

bool CTimeMgr::SamePeriodMonth(long start, long t) { return SamePeriod(start, t, 1, 0); }

int CTimeMgr::DiscrepantMonth(long a, long b)
{
    const JMutexLock lock(CalendarLock());
    const long long months = std::abs(MonthNumber(a) - MonthNumber(b));
    return static_cast<int>(std::min<long long>(months, INT_MAX));
}

long CTimeMgr::GetTodayDate()
{
    const JMutexLock lock(CalendarLock());
    const auto today = MidnightOf(std::time(nullptr));
    return today ? MomentOf(*today) : 0;
}

long CTimeMgr::GetBeforeNowWeekTime(int weekday)
{
    const JMutexLock lock(CalendarLock());
    auto date = MidnightOf(std::time(nullptr));
    if (!date) return 0;

    const long long back = static_cast<long long>(date->tm_wday) - weekday;
    const long long day = date->tm_mday - back - (back < 0 ? 7 : 0);
    if (!std::in_range<int>(day)) return 0;
    date->tm_mday = static_cast<int>(day);
    return MomentOf(*date);
}

long CTimeMgr::GetBeforeNowMonthlyTime(int day)
{
    const JMutexLock lock(CalendarLock());
    auto date = MidnightOf(std::time(nullptr));
    if (!date || day == INT_MAX) return 0;

    if (date->tm_mday < day + 1) --date->tm_mon;
    date->tm_mday = day + 1;
    return MomentOf(*date);
}

long CTimeMgr::GetBeforeNowTreeMonthlyTime()
{
    const JMutexLock lock(CalendarLock());
    auto date = MidnightOf(std::time(nullptr));
    if (!date) return 0;

    date->tm_mon -= 3;
    return MomentOf(*date);
}
