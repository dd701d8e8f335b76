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

std::string Bar(const LimitStatus& status, std::size_t columns, const Style& style)
{
    const std::string_view full = style.unicode ? "█" : "#";
    const std::string_view empty = style.unicode ? "░" : "-";
    const Mark mark = status.Reached() ? Mark::Red : status.Warned() ? Mark::Yellow : Mark::Green;
    const double share = static_cast<double>(status.used) / static_cast<double>(status.limit.bytes);
    const auto length =
        static_cast<std::size_t>(std::lround(std::min(share, 1.0) * static_cast<double>(columns)));
    std::string bar;
    for (std::size_t i = 0; i < columns; ++i)
        bar += i < length ? full : empty;
    return fmt::format("[{}]", Marked(bar, mark, style.colour));
}

unsigned long long WarnAt(const Limit& limit)
{
    return limit.bytes / 100 * limit.warnPercent + limit.bytes % 100 * limit.warnPercent / 100;
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
            return Wrong(UnknownTrafficType(words.type));
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
    status.warnAt = WarnAt(limit);
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

std::string LimitText(const LimitStatus& status, std::size_t columns, const Style& style)
{
    const Limit& limit = status.limit;
    const std::string used = fmt::format("{}, {} %", FormatBytes(status.used, style.units), status.percent);
    const std::size_t room = columns > 40 ? std::min(columns - 40, MOST_BAR) : 0;

    std::string text = fmt::format(
        "Limit     {} per {}, {}; warning at {} %\n", Printable(limit.amount), LimitPeriodName(limit.per),
        limit.type ? TrafficTypeName(*limit.type) : "all connections", limit.warnPercent);
    text += fmt::format("Period    {} to {}\n", DateText(status.firstDay), DateText(status.lastDay));
    text += room < LEAST_BAR ? fmt::format("Used      {}\n", used)
                             : fmt::format("Used      {} {}\n", PadRight(used, 24), Bar(status, room, style));
    text += fmt::format("Left      {}, {}\n", FormatBytes(status.left, style.units), Days(status.daysLeft));
    if (!status.forecast) return text + "Forecast  not yet\n";
    text += fmt::format("Forecast  {} by the end of the {}\n", FormatBytes(*status.forecast, style.units),
                        LimitPeriodName(limit.per));
    if (status.Reached()) return text + "Reached   already\n";
    if (!status.reachedAt) return text;
    return text + fmt::format("Reached   {} at this pace\n",
                              FormatMoment(static_cast<unsigned long long>(*status.reachedAt)).substr(0, 16));
}

std::string LimitSummary(const LimitStatus& status, std::size_t columns, const Style& style)
{
    const Limit& limit = status.limit;
    const std::string type = limit.type ? fmt::format(", {}", TrafficTypeName(*limit.type)) : "";
    const std::string rest = fmt::format("{} %; {} left, {}", status.percent,
                                         FormatBytes(status.left, style.units), Days(status.daysLeft));
    const std::size_t taken = Width(rest) + 10;  // with the margin, the brackets and a space
    const std::size_t room = columns > taken ? std::min(columns - taken, MOST_BAR) : 0;
    const std::string bar = room < LEAST_BAR ? "" : Bar(status, room, style) + " ";
    return fmt::format("Limit  {} of {} per {}{}\n       {}{}\n", FormatBytes(status.used, style.units),
                       Printable(limit.amount), LimitPeriodName(limit.per), type, bar, rest);
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

LimitStatus LimitFrom(const Json& document)
{
    const Json& limit = document.at("limit");
    LimitStatus status;
    limit.at("amount").get_to(status.limit.amount);
    limit.at("bytes").get_to(status.limit.bytes);
    if (const auto per = FindPeriod(limit.at("per").get<std::string>())) status.limit.per = *per;
    limit.at("warn_percent").get_to(status.limit.warnPercent);
    if (!limit.at("type").is_null()) {
        const auto type = FindTrafficType(limit["type"].get<std::string>());
        if (type) status.limit.type = type->code;
    }
    document.at("start").get_to(status.start);
    document.at("end").get_to(status.end);
    status.firstDay = ShownAt(status.start).day;
    status.lastDay = ShownAt(status.end - 1).day;
    document.at("used").get_to(status.used);
    document.at("percent").get_to(status.percent);
    document.at("left").get_to(status.left);
    document.at("days_left").get_to(status.daysLeft);
    status.warnAt = WarnAt(status.limit);
    const Json& forecast = document.at("forecast");
    if (!forecast.is_null()) status.forecast = forecast.get<unsigned long long>();
    const Json& reached = document.at("reached_at");
    if (!reached.is_null()) status.reachedAt = reached.get<long long>();
    return status;
}

}  // namespace netinfo
