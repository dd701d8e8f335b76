#include "host/ParseTime.h"

#include <fmt/format.h>

#include <chrono>
#include <optional>

#include "host/Format.h"
#include "host/LocalCalendar.h"

namespace netinfo {
namespace {

/// What a text says of local time; not every number of it needs to exist.
struct Fields
{
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    bool dateOnly = false;

    Date CalendarDate() const
    {
        return {std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    }
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
std::optional<Fields> ReadFields(std::string_view text)
{
    Fields fields;
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

bool InRange(const Fields& fields)
{
    return fields.CalendarDate().ok() && fields.hour < 24 && fields.minute < 60 && fields.second < 60;
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

/// A local date or date and time, as far as the calendar has them.
Result<Fields> ReadDate(std::string_view text)
{
    const auto fields = ReadFields(text);
    if (!fields) {
        return Refuse(text,
                      "is not a date (2024-05-01), a date and time ('2024-05-01 12:30') or a span (7d)");
    }
    if (!InRange(*fields)) return Refuse(text, "is not a date that exists");
    if (fields->year < 1970) return Refuse(text, "lies before 1970");
    return *fields;
}

Result<unsigned long long> GoBack(std::string_view text, unsigned long long span, unsigned long long now)
{
    if (span > now) return Refuse(text, "goes back beyond 1970");
    return now - span;
}

Result<unsigned long long> MomentOfDate(std::string_view text, const Fields& fields)
{
    auto moment = MomentShowing({fields.CalendarDate(), fields.hour, fields.minute, fields.second});
    // Where clocks go forward at midnight, the day begins at one.
    for (unsigned hour = 1; !moment && fields.dateOnly && hour <= 3; ++hour)
        moment = MomentShowing({fields.CalendarDate(), hour});
    if (!moment) return Refuse(text, "is a time that the clocks skipped that day");
    if (*moment < 0) return Refuse(text, "lies before 1970");
    return static_cast<unsigned long long>(*moment);
}

}  // namespace

Result<unsigned long long> ParseSince(std::string_view text, unsigned long long now)
{
    if (const auto span = ReadSpan(text)) return GoBack(text, *span, now);
    const auto fields = ReadDate(text);
    if (!fields) return fields.Error();
    auto moment = MomentOfDate(text, *fields);
    if (moment && *moment > now) return Refuse(text, "lies in the future");
    return moment;
}

Result<unsigned long long> ParseUntil(std::string_view text, unsigned long long now)
{
    if (const auto span = ReadSpan(text)) return GoBack(text, *span, now);
    const auto fields = ReadDate(text);
    if (!fields) return fields.Error();
    auto moment = MomentOfDate(text, *fields);
    if (!moment || !fields->dateOnly) return moment;
    return static_cast<unsigned long long>(StartOf(Plus(fields->CalendarDate(), 1)));
}

}  // namespace netinfo
