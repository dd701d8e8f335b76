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
#include <type_traits>
#include <utility>

#include "platform/common/JMutex.h"
#include "platform/common/NimbString.h"
#include "platform/files/FileStamp.h"

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

/// What the C library takes for the zone where TZ names none.
constexpr const char* SYSTEM_ZONE = "/etc/localtime";

/// A date that `mktime` was asked for in the present zone. A heartbeat asks for the same few again and again,
/// and the C library takes its time to answer: where TZ is not set, it looks at the zone's file.
struct KNOWN_DATE
{
    std::tm local{};
    std::time_t moment = -1;
    bool bKnown = false;
};

/// A moment that `localtime_r` was asked for in the present zone; for the same reason.
struct KNOWN_MOMENT
{
    std::time_t moment = 0;
    std::tm local{};
    bool bKnown = false;
};

/// The zone that the C library was last told to read, and what is known in it.
struct ZONE
{
    std::array<char, 128> szName{};  ///< the value of TZ; a longer one is taken for a new one each time
    bool bNamed = false;             ///< TZ was set
    std::time_t tmLooked = -1;  ///< second in which SYSTEM_ZONE was last looked at; -1: not since TZ was set
    std::optional<FileStamp> file;  ///< of SYSTEM_ZONE then
    std::array<KNOWN_DATE, 16> aDate{};
    std::size_t nNextDate = 0;  ///< where the next one goes
    std::array<KNOWN_MOMENT, 8> aMoment{};
    std::size_t nNextMoment = 0;  ///< where the next one goes
};
static_assert(std::is_trivially_destructible_v<ZONE>);

ZONE& Zone() NETINFO_REQUIRES(CalendarLock())
{
    static ZONE s_zone;
    return s_zone;
}

/// Whether TZ names another zone than when it was last asked, or none and the system's was exchanged. That is
/// looked up on the disk, so once a second at most.
bool ZoneChanged(ZONE& zone)
{
    if (const char* const pszName = std::getenv("TZ")) {
        if (zone.bNamed && std::strcmp(zone.szName.data(), pszName) == 0) return false;
        zone.bNamed = true;
        zone.tmLooked = -1;
        zone.szName.fill(0);
        std::strncpy(zone.szName.data(), pszName, zone.szName.size() - 1);
        return true;
    }
    const bool bBefore = !zone.bNamed && zone.tmLooked != -1;
    const std::time_t tmNow = std::time(nullptr);
    if (bBefore && zone.tmLooked == tmNow) return false;

    const std::optional<FileStamp> file = FileStamp::Of(SYSTEM_ZONE);
    const bool bSame = bBefore && file == zone.file;
    zone.bNamed = false;
    zone.tmLooked = tmNow;
    zone.file = file;
    return !bSame;
}

/// The right to ask the C library's calendar, in the zone that is set now.
class NETINFO_SCOPED_CAPABILITY CalendarTurn
{
public:
    CalendarTurn() NETINFO_ACQUIRE(CalendarLock())
    {
        CalendarLock().Lock();
        ZONE& zone = Zone();
        if (!ZoneChanged(zone)) return;
        tzset();
        zone.aDate.fill({});
        zone.aMoment.fill({});
    }
    ~CalendarTurn() NETINFO_RELEASE() { CalendarLock().Unlock(); }
    CalendarTurn(const CalendarTurn&) = delete;
    CalendarTurn& operator=(const CalendarTurn&) = delete;
};

/// What `localtime` would answer, without the one result that it shares with the rest of the process; nothing
/// for a moment without a local date.
std::optional<std::tm> LocalTime(std::time_t moment) NETINFO_REQUIRES(CalendarLock())
{
    ZONE& zone = Zone();
    const auto isAsked = [moment](const KNOWN_MOMENT& each) { return each.bKnown && each.moment == moment; };
    const auto known = std::find_if(zone.aMoment.begin(), zone.aMoment.end(), isAsked);
    if (known != zone.aMoment.end()) return known->local;

    std::tm local;
    if (!localtime_r(&moment, &local)) return std::nullopt;
    zone.aMoment[zone.nNextMoment] = {moment, local, true};
    zone.nNextMoment = (zone.nNextMoment + 1) % zone.aMoment.size();
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

/// Equal in everything that `mktime` reads.
bool SameDate(const std::tm& a, const std::tm& b)
{
    return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
           a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec && a.tm_isdst == b.tm_isdst;
}

/// 0 for a date that is no moment.
long MomentOf(std::tm local) NETINFO_REQUIRES(CalendarLock())
{
    ZONE& zone = Zone();
    const auto known = std::find_if(zone.aDate.begin(), zone.aDate.end(), [&local](const KNOWN_DATE& date) {
        return date.bKnown && SameDate(date.local, local);
    });
    if (known != zone.aDate.end()) return known->moment;

    KNOWN_DATE& date = zone.aDate[zone.nNextDate];
    zone.nNextDate = (zone.nNextDate + 1) % zone.aDate.size();
    date.local = local;
    const std::time_t moment = std::mktime(&local);
    date.moment = moment == -1 ? 0 : moment;
    date.bKnown = true;
    return date.moment;
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

bool SameText(const char* fmt, long a, long b) NETINFO_REQUIRES(CalendarLock())
{
    const DateText textA = Format(fmt, a);
    const DateText textB = Format(fmt, b);
    return std::strncmp(textA.data(), textB.data(), textA.size()) == 0;
}

/// What `SameText` answers. `same` compares two dates as the texts would; it is asked where both years have
/// the four digits for which the text is made, which is quicker.
template <typename Same>
bool SameDates(const char* fmt, long a, long b, Same same) NETINFO_REQUIRES(CalendarLock())
{
    const auto hasUsualYear = [](const std::tm& date) {
        return date.tm_year >= 1000 - 1900 && date.tm_year <= 9999 - 1900;
    };
    const auto dateA = LocalTime(a);
    const auto dateB = LocalTime(b);
    if (dateA && dateB && hasUsualYear(*dateA) && hasUsualYear(*dateB)) return same(*dateA, *dateB);
    return SameText(fmt, a, b);
}

bool OnSameDay(long a, long b) NETINFO_REQUIRES(CalendarLock())
{
    return SameDates("%Y-%m-%d", a, b, [](const std::tm& dateA, const std::tm& dateB) {
        return dateA.tm_year == dateB.tm_year && dateA.tm_yday == dateB.tm_yday;
    });
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

    const CalendarTurn turn;
    if (OnSameDay(start, t)) return true;
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

    const CalendarTurn turn;
    return SameText(fmt, a, b);
}

bool CTimeMgr::SameDay(long a, long b)
{
    const CalendarTurn turn;
    return OnSameDay(a, b);
}

bool CTimeMgr::SameWeek(long a, long b) { return CompareFormatedTime("%Y-%W", a, b); }

bool CTimeMgr::SameMonth(long a, long b) { return CompareFormatedTime("%Y-%m", a, b); }

bool CTimeMgr::SameYear(long a, long b)
{
    const CalendarTurn turn;
    return SameDates("%Y", a, b, [](const std::tm& dateA, const std::tm& dateB) {
        return dateA.tm_year == dateB.tm_year;
    });
}

bool CTimeMgr::SamePeriodWeek(long start, long t) { return SamePeriod(start, t, 0, 7); }

bool CTimeMgr::SamePeriodMonth(long start, long t) { return SamePeriod(start, t, 1, 0); }

int CTimeMgr::DiscrepantMonth(long a, long b)
{
    const CalendarTurn turn;
    const long long months = std::abs(MonthNumber(a) - MonthNumber(b));
    return static_cast<int>(std::min<long long>(months, INT_MAX));
}

long CTimeMgr::GetTodayDate()
{
    const CalendarTurn turn;
    const auto today = MidnightOf(std::time(nullptr));
    return today ? MomentOf(*today) : 0;
}

long CTimeMgr::GetBeforeNowWeekTime(int weekday)
{
    const CalendarTurn turn;
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
    const CalendarTurn turn;
    auto date = MidnightOf(std::time(nullptr));
    if (!date || day == INT_MAX) return 0;

    if (date->tm_mday < day + 1) --date->tm_mon;
    date->tm_mday = day + 1;
    return MomentOf(*date);
}

long CTimeMgr::GetBeforeNowTreeMonthlyTime()
{
    const CalendarTurn turn;
    auto date = MidnightOf(std::time(nullptr));
    if (!date) return 0;

    date->tm_mon -= 3;
    return MomentOf(*date);
}

CLocalDay::CLocalDay(long moment) : m_moment(moment)
{
    constexpr long DAY = 24L * 60 * 60;           // seconds
    constexpr long LAST_USUAL = 253'370'764'800;  // the year 9999
    constexpr int AROUND = 3;                     // days

    m_isUsual = moment >= 0 && moment < LAST_USUAL;
    if (!m_isUsual) return;

    const CalendarTurn turn;
    const auto local = LocalTime(moment);
    if (!local) return;
    const long from = moment - (local->tm_hour * 60L + local->tm_min) * 60 - local->tm_sec;
    for (int day = -AROUND; day <= AROUND + 1; ++day) {
        const auto midnight = LocalTime(from + day * DAY);
        if (!midnight || midnight->tm_gmtoff != local->tm_gmtoff) return;  // the clocks are changed
    }
    m_from = from;
    m_to = from + DAY;
    m_certainFrom = from - AROUND * DAY;
    m_certainTo = m_to + AROUND * DAY;
}
