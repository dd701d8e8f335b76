#include "host/ParseTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>

#include "host/Format.h"

namespace netinfo {
namespace {

struct LocalTime
{
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    bool dateOnly = false;
};

/// Takes exactly `count` digits and, if there is one, the separator after them off the front of `text`.
template <typename Number>
bool TakeDigits(std::string_view& text, std::size_t count, Number& number)
{
    unsigned long long parsed = 0;
    if (text.size() < count) return false;
    if (!ParseDigits(text.substr(0, count), parsed)) return false;
    number = static_cast<Number>(parsed);
    text.remove_prefix(count);
    return true;
}

bool TakeCharacter(std::string_view& text, std::string_view oneOf)
{
    if (text.empty()) return false;
    if (oneOf.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

/// The fields of "YYYY-MM-DD", "YYYY-MM-DD HH:MM" or "YYYY-MM-DD HH:MM:SS"; their ranges are not checked.
std::optional<LocalTime> ReadFields(std::string_view text)
{
    LocalTime fields;
    if (!TakeDigits(text, 4, fields.year)) return std::nullopt;
    if (!TakeCharacter(text, "-")) return std::nullopt;
    if (!TakeDigits(text, 2, fields.month)) return std::nullopt;
    if (!TakeCharacter(text, "-")) return std::nullopt;
    if (!TakeDigits(text, 2, fields.day)) return std::nullopt;
    fields.dateOnly = text.empty();
    if (fields.dateOnly) return fields;

    if (!TakeCharacter(text, " T")) return std::nullopt;
    if (!TakeDigits(text, 2, fields.hour)) return std::nullopt;
    if (!TakeCharacter(text, ":")) return std::nullopt;
    if (!TakeDigits(text, 2, fields.minute)) return std::nullopt;
    if (text.empty()) return fields;

    if (!TakeCharacter(text, ":")) return std::nullopt;
    if (!TakeDigits(text, 2, fields.second)) return std::nullopt;
    if (!text.empty()) return std::nullopt;
    return fields;
}

bool InRange(const LocalTime& fields)
{
    const std::chrono::year_month_day date{std::chrono::year(fields.year), std::chrono::month(fields.month),
                                           std::chrono::day(fields.day)};
    if (!date.ok()) return false;
    return fields.hour < 24 && fields.minute < 60 && fields.second < 60;
}

/// The moment at which local clocks show `fields`, the earlier of two; nothing if they never do.
std::optional<std::time_t> MomentOfFields(const LocalTime& fields)
{
    std::optional<std::time_t> earliest;
    for (const int daylightSaving : {1, 0}) {
        std::tm local{};
        local.tm_year = fields.year - 1900;
        local.tm_mon = static_cast<int>(fields.month) - 1;
        local.tm_mday = static_cast<int>(fields.day);
        local.tm_hour = static_cast<int>(fields.hour);
        local.tm_min = static_cast<int>(fields.minute);
        local.tm_sec = static_cast<int>(fields.second);
        local.tm_isdst = daylightSaving;
        const std::time_t moment = std::mktime(&local);

        std::tm shown{};
        if (!localtime_r(&moment, &shown)) continue;
        if (shown.tm_year != fields.year - 1900) continue;
        if (shown.tm_mon != static_cast<int>(fields.month) - 1) continue;
        if (shown.tm_mday != static_cast<int>(fields.day)) continue;
        if (shown.tm_hour != static_cast<int>(fields.hour)) continue;
        if (shown.tm_min != static_cast<int>(fields.minute)) continue;
        if (shown.tm_sec != static_cast<int>(fields.second)) continue;
        earliest = earliest ? std::min(*earliest, moment) : moment;
    }
    return earliest;
}

/// Seconds of "30m", "12h", "7d" or "4w"; nothing for any other text.
std::optional<unsigned long long> ReadSpan(std::string_view text)
{
    constexpr std::size_t MOST_DIGITS = 9;  // keeps every product inside 64 bits
    if (text.size() < 2 || text.size() > MOST_DIGITS + 1) return std::nullopt;

    unsigned long long count = 0;
    if (!ParseDigits(text.substr(0, text.size() - 1), count)) return std::nullopt;
    switch (text.back()) {
        case 'm':
            return count * 60;
        case 'h':
            return count * 3600;
        case 'd':
            return count * 86400;
        case 'w':
            return count * 7 * 86400;
        default:
            return std::nullopt;
    }
}

Failure Refuse(std::string_view text, std::string_view reason)
{
    return {fmt::format("'{}' {}", Printable(text), reason), EXIT_USAGE};
}

}  // namespace

Result<unsigned long long> ParseSince(std::string_view text, unsigned long long now)
{
    if (const auto span = ReadSpan(text)) {
        if (*span > now) return Refuse(text, "goes back beyond 1970");
        return now - *span;
    }

    auto fields = ReadFields(text);
    if (!fields) {
        return Refuse(text,
                      "is not a date (2024-05-01), a date and time ('2024-05-01 12:30') or a span (7d)");
    }
    if (!InRange(*fields)) return Refuse(text, "is not a date that exists");
    if (fields->year < 1970) return Refuse(text, "lies before 1970");

    auto moment = MomentOfFields(*fields);
    // Where clocks go forward at midnight, the day begins at one.
    for (; !moment && fields->dateOnly && fields->hour < 3; ++fields->hour)
        moment = MomentOfFields({fields->year, fields->month, fields->day, fields->hour + 1, 0, 0, false});
    if (!moment) return Refuse(text, "is a time that the clocks skipped that day");
    if (*moment < 0) return Refuse(text, "lies before 1970");
    if (static_cast<unsigned long long>(*moment) > now) return Refuse(text, "lies in the future");
    return static_cast<unsigned long long>(*moment);
}

}  // namespace netinfo
