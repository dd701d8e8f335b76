#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace netinfo {

/// Days and periods of local time.
///
/// Threads: any, where the time zone is not changed meanwhile.
/// Units:   moments are seconds since 1970-01-01 00:00 UTC; days are local dates.

using Date = std::chrono::year_month_day;

enum class Period
{
    Hour,
    Day,
    Week,
    Month,
    Year
};

/// On which days weeks and months begin.
struct PeriodStarts
{
    unsigned weekday = 0;   ///< 0 Sunday ... 6 Saturday
    unsigned monthDay = 1;  ///< 1 ... 28

    bool operator==(const PeriodStarts&) const = default;
};

/// A time as local clocks show it.
struct ClockTime
{
    Date day{};
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;

    bool operator==(const ClockTime&) const = default;
};

/// What local clocks show at `moment`.
ClockTime ShownAt(long long moment);
/// The moment at which local clocks show `time`, the earlier of two; none if they skip it.
std::optional<long long> MomentShowing(const ClockTime& time);

/// The first moment of the day; of the next one if clocks skip the whole of it.
long long StartOf(Date day);
/// The day that many days later, or earlier.
Date Plus(Date day, int days);
/// "2024-05-01".
std::string DateText(Date day);

/// The first day of the period (a day or longer) in which `day` lies, and of those before and after it.
Date FirstDayOf(Period period, Date day, const PeriodStarts& starts);
Date FirstDayBefore(Period period, Date firstDay, const PeriodStarts& starts);
Date FirstDayAfter(Period period, Date firstDay, const PeriodStarts& starts);

}  // namespace netinfo
