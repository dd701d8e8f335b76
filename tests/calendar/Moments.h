#pragma once

#include <time.h>

#include <chrono>
#include <cstdlib>
#include <string>

/// Moments written as the dates they are, independent of the C library's calendar.
namespace nettest {

inline constexpr long HOUR = 3600;
inline constexpr long DAY = 24 * HOUR;

/// Days from 1970-01-01 to a date.
inline long DayNumber(int year, int month, int day)
{
    using namespace std::chrono;
    const sys_days date = std::chrono::year(year) / std::chrono::month(static_cast<unsigned>(month)) / 1;
    return date.time_since_epoch().count() + day - 1;
}

/// A local time of day where the clocks are `ahead` seconds ahead of UTC.
inline long Moment(long ahead, int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    return DayNumber(year, month, day) * DAY + hour * HOUR + minute * 60L + second - ahead;
}

/// The process's time zone for the length of a test.
class Zone
{
public:
    explicit Zone(const char* tz)
    {
        if (const char* const before = std::getenv("TZ")) m_before = before;
        Set(tz);
    }
    ~Zone() { Set(m_before.c_str()); }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

    static void Set(const char* tz)
    {
        setenv("TZ", tz, 1);
        tzset();
    }

private:
    std::string m_before;
};

}  // namespace nettest
