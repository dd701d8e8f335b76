#include "host/Limit.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "host/ByteAmount.h"
#include "host/Format.h"
#include "host/StoredSetting.h"
#include "host/TrafficType.h"
#include "host/UsageReport.h"

namespace netinfo {
namespace {

constexpr std::string_view SECTION = "limit";
constexpr long long LEAST_PACE = 3600;  // seconds: a shorter time tells nothing of a period
constexpr std::size_t MOST_BAR = 40;    // columns
constexpr std::size_t LEAST_BAR = 10;   // columns

constexpr std::array<std::pair<Period, std::string_view>, 3> PERIODS{
    {{Period::Month, "month"}, {Period::Week, "week"}, {Period::Day, "day"}}};

std::optional<Period> FindPeriod(std::string_view name)
{
    for (const auto& [period, known] : PERIODS) {
        if (known == name) return period;
    }
    return std::nullopt;
}

Failure Wrong(std::string message) { return {std::move(message), EXIT_USAGE}; }

/// "80%" or "80".
std::optional<unsigned> ReadPercent(std::string_view text)
{
    if (text.ends_with('%')) text.remove_suffix(1);
    unsigned long long percent = 0;
    if (!ParseDigits(text, percent) || percent < 1 || percent > 100) return std::nullopt;
    return static_cast<unsigned>(percent);
}

/// A number of bytes that may be beyond what fits.
unsigned long long Bytes(double bytes)
{
    constexpr auto most = std::numeric_limits<unsigned long long>::max();
    return bytes >= static_cast<double>(most) ? most : static_cast<unsigned long long>(bytes);
}

std::string Bar(const LimitStatus& status, std::size_t columns)
{
    const double share = static_cast<double>(status.used) / static_cast<double>(status.limit.bytes);
    const auto length =
        static_cast<std::size_t>(std::lround(std::min(share, 1.0) * static_cast<double>(columns)));
    std::string bar = "[";
    for (std::size_t i = 0; i < columns; ++i)
        bar += i < length ? "█" : "░";
    return bar + "]";
}

std::string Days(unsigned days) { return fmt::format("{} {}", days, days == 1 ? "day" : "days"); }

}  // namespace

std::string_view LimitPeriodName(Period period)
{
    for (const auto& [known, name] : PERIODS) {
        if (known == period) return name;
    }
    return "";
}

Result<Limit> ParseLimit(const LimitWords& words)
{
    const auto bytes = ParseByteAmount(words.amount);
    if (!bytes) return bytes.Error();
    Limit limit;
    limit.amount = words.amount;
    limit.bytes = *bytes;
    if (!words.per.empty()) {
        const auto period = FindPeriod(LowerCase(words.per));
        if (!period)
            return Wrong(fmt::format("a limit is per month, week or day, not '{}'", Printable(words.per)));
        limit.per = *period;
    }
    if (!words.warn.empty()) {
        const auto percent = ReadPercent(words.warn);
        if (!percent) {
            return Wrong(
                fmt::format("the warning comes at 1% to 100% of a limit, not '{}'", Printable(words.warn)));
        }
        limit.warnPercent = *percent;
    }
    if (!words.type.empty()) {
        const auto type = FindTrafficType(words.type);
        if (!type) {
            return Wrong(
                fmt::format("'{}' is no connection type: dial-up, wifi or adsl", Printable(words.type)));
        }
        limit.type = type->code;
    }
    return limit;
}

Result<std::optional<Limit>> ReadLimit()
{
    const LimitWords words{ReadStored(SECTION, "amount"), ReadStored(SECTION, "per"),
                           ReadStored(SECTION, "warn"), ReadStored(SECTION, "type")};
    if (words.amount.empty()) return std::optional<Limit>();
    const auto limit = ParseLimit(words);
    if (limit) return std::optional<Limit>(*limit);
    return Failure{fmt::format("the limit in the settings is not understood: {}", limit.Error().message)};
}

std::optional<Failure> StoreLimit(const Limit& limit)
{
    // The amount last: with it the limit is there.
    const std::array<std::pair<std::string_view, std::string>, 4> values{{
        {"per", std::string(LimitPeriodName(limit.per))},
        {"warn", std::to_string(limit.warnPercent)},
        {"type", limit.type ? std::string(TrafficTypeName(*limit.type)) : ""},
        {"amount", limit.amount},
    }};
    for (const auto& [key, value] : values) {
        if (auto failure = WriteStored(SECTION, key, value)) return failure;
    }
    return std::nullopt;
}

std::optional<Failure> ClearLimit()
{
    for (const std::string_view key : {"amount", "per", "warn", "type"}) {
        if (ReadStored(SECTION, key).empty()) continue;
        if (auto failure = WriteStored(SECTION, key, "")) return failure;
    }
    return std::nullopt;
}

std::string ReadLimitCommand() { return ReadStored(SECTION, "command"); }

LimitStatus EvaluateLimit(const Limit& limit, unsigned long long used, std::optional<long long> firstHour,
                          const PeriodStarts& starts, long long now)
{
    const Date today = ShownAt(now).day;
    LimitStatus status;
    status.limit = limit;
    status.firstDay = FirstDayOf(limit.per, today, starts);
    const Date nextFirst = FirstDayAfter(limit.per, status.firstDay, starts);
    status.lastDay = Plus(nextFirst, -1);
    status.start = StartOf(status.firstDay);
    status.end = StartOf(nextFirst);
    status.used = used;
    status.left = limit.bytes - std::min(used, limit.bytes);
    status.warnAt = limit.bytes / 100 * limit.warnPercent + limit.bytes % 100 * limit.warnPercent / 100;
    status.percent = static_cast<unsigned long long>(static_cast<long double>(used) * 100 /
                                                     static_cast<long double>(limit.bytes));
    status.daysLeft =
        static_cast<unsigned>((std::chrono::sys_days(nextFirst) - std::chrono::sys_days(today)).count());

    const long long since = std::max(status.start, firstHour.value_or(status.start));
    if (now - since < LEAST_PACE) return status;
    const double pace = static_cast<double>(used) / static_cast<double>(now - since);
    status.forecast = Bytes(static_cast<double>(used) + pace * static_cast<double>(status.end - now));
    if (status.Reached() || *status.forecast < limit.bytes) return status;
    const double wait = std::ceil(static_cast<double>(status.left) / pace);
    status.reachedAt = std::min(now + static_cast<long long>(wait), status.end - 1);
    return status;
}

Result<LimitStatus> EvaluateLimit(const Limit& limit, const UsageLedger& ledger, const PeriodStarts& starts,
                                  long long now)
{
    const LimitStatus period = EvaluateLimit(limit, 0, std::nullopt, starts, now);
    const auto figures = SumUsage(ledger, period.start, period.end, limit.type);
    if (!figures) return figures.Error();
    const auto firstHour = ledger.FirstHour();
    if (!firstHour) return firstHour.Error();
    return EvaluateLimit(limit, figures->Total(), *firstHour, starts, now);
}

std::string LimitText(const LimitStatus& status, std::size_t columns)
{
    const Limit& limit = status.limit;
    const std::string used = fmt::format("{}, {} %", FormatBytes(status.used), status.percent);
    const std::size_t room = columns > 40 ? std::min(columns - 40, MOST_BAR) : 0;

    std::string text = fmt::format(
        "Limit     {} per {}, {}; warning at {} %\n", Printable(limit.amount), LimitPeriodName(limit.per),
        limit.type ? TrafficTypeName(*limit.type) : "all connections", limit.warnPercent);
    text += fmt::format("Period    {} to {}\n", DateText(status.firstDay), DateText(status.lastDay));
    text += room < LEAST_BAR ? fmt::format("Used      {}\n", used)
                             : fmt::format("Used      {} {}\n", PadRight(used, 24), Bar(status, room));
    text += fmt::format("Left      {}, {}\n", FormatBytes(status.left), Days(status.daysLeft));
    if (!status.forecast) return text + "Forecast  not yet\n";
    text += fmt::format("Forecast  {} by the end of the {}", FormatBytes(*status.forecast),
                        LimitPeriodName(limit.per));
    if (status.Reached()) return text + "; the limit is reached\n";
    if (!status.reachedAt) return text + "\n";
    return text + fmt::format("; the limit is reached on {}\n",
                              FormatMoment(static_cast<unsigned long long>(*status.reachedAt)).substr(0, 16));
}

Json LimitJson(const LimitStatus& status)
{
    const Limit& limit = status.limit;
    Json json;
    json["limit"] = {{"amount", limit.amount},
                     {"bytes", limit.bytes},
                     {"per", LimitPeriodName(limit.per)},
                     {"warn_percent", limit.warnPercent},
                     {"type", limit.type ? Json(TrafficTypeName(*limit.type)) : Json(nullptr)}};
    json["start"] = status.start;
    json["end"] = status.end;
    json["used"] = status.used;
    json["percent"] = status.percent;
    json["left"] = status.left;
    json["days_left"] = status.daysLeft;
    json["warned"] = status.Warned();
    json["reached"] = status.Reached();
    json["forecast"] = status.forecast ? Json(*status.forecast) : Json(nullptr);
    json["reached_at"] = status.reachedAt ? Json(*status.reachedAt) : Json(nullptr);
    return json;
}

}  // namespace netinfo
