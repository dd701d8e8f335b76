#include "host/LocalCalendar.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

namespace netinfo {
namespace {

constexpr std::chrono::days WEEK{7};
constexpr unsigned HOURS = 24;

Date DayOf(const std::tm& local)
{
    return {std::chrono::year(local.tm_year + 1900),
            std::chrono::month(static_cast<unsigned>(local.tm_mon) + 1),
            std::chrono::day(static_cast<unsigned>(local.tm_mday))};
}

Date FirstOfMonth(Date day, unsigned monthDay)
{
    return day.year() / day.month() / std::chrono::day(monthDay);
}

}  // namespace

ClockTime ShownAt(long long moment)
{
    const std::time_t seconds = moment;
    std::tm local{};
    localtime_r(&seconds, &local);
    return {DayOf(local), static_cast<unsigned>(local.tm_hour), static_cast<unsigned>(local.tm_min),
            static_cast<unsigned>(local.tm_sec)};
}

std::optional<long long> MomentShowing(const ClockTime& time)
{
    std::optional<long long> earliest;
    for (const int daylightSaving : {1, 0}) {
        std::tm local{};
        local.tm_year = static_cast<int>(time.day.year()) - 1900;
        local.tm_mon = static_cast<int>(static_cast<unsigned>(time.day.month())) - 1;
        local.tm_mday = static_cast<int>(static_cast<unsigned>(time.day.day()));
        local.tm_hour = static_cast<int>(time.hour);
        local.tm_min = static_cast<int>(time.minute);
        local.tm_sec = static_cast<int>(time.second);
        local.tm_isdst = daylightSaving;
        const long long moment = std::mktime(&local);
        if (ShownAt(moment) != time) continue;
        earliest = earliest ? std::min(*earliest, moment) : moment;
    }
    return earliest;
}

long long StartOf(Date day)
{
    // Where clocks go forward at midnight, the day begins at one; a day may even be left out.
    while (true) {
        for (unsigned hour = 0; hour < HOURS; ++hour) {
            if (const auto moment = MomentShowing({day, hour})) return *moment;
        }
        day = Plus(day, 1);
    }
}

Date Plus(Date day, int days) { return std::chrono::sys_days(day) + std::chrono::days(days); }

std::string DateText(Date day)
{
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                       static_cast<unsigned>(day.day()));
}

Date FirstDayOf(Period period, Date day, const PeriodStarts& starts)
{
    switch (period) {
        case Period::Hour:
        case Period::Day:
            return day;
        case Period::Week: {
            const std::chrono::weekday first(starts.weekday);
            return std::chrono::sys_days(day) - (std::chrono::weekday(day) - first);
        }
        case Period::Month: {
            const Date first = FirstOfMonth(day, starts.monthDay);
            return first <= day ? first : first - std::chrono::months(1);
        }
        case Period::Year:
            return day.year() / 1 / 1;
    }
    return day;
}

Date FirstDayBefore(Period period, Date firstDay, const PeriodStarts& starts)
{
    return FirstDayOf(period, Plus(firstDay, -1), starts);
}

Date FirstDayAfter(Period period, Date firstDay, const PeriodStarts& /*starts*/)
{
    switch (period) {
        case Period::Hour:
        case Period::Day:
            return Plus(firstDay, 1);
        case Period::Week:
            return std::chrono::sys_days(firstDay) + WEEK;
        case Period::Month:
            return firstDay + std::chrono::months(1);
        case Period::Year:
            return firstDay + std::chrono::years(1);
    }
    return firstDay;
}

}  // namespace netinfo
