#include "host/UsageReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

#include "host/AddUp.h"
#include "host/Format.h"
#include "host/ParseTime.h"
#include "host/TrafficType.h"

namespace netinfo {
namespace {

constexpr long long HOUR = 3600;                // seconds
constexpr long long BEGINNING = 0;              // the first moment that a ledger can hold
constexpr long long ETERNITY = 253402300800LL;  // the first moment of the year 10000, UTC
constexpr unsigned long long MOST_LINES = 100'000;

/// How traffic can be put together.
struct Grouping
{
    UsageBy by;
    std::string_view name;
    std::optional<Period> period;  ///< none: not by time
    unsigned periods;              ///< shown where nothing is said; 0: all
};

constexpr std::array<Grouping, 7> GROUPINGS{{
    {UsageBy::Hour, "hour", Period::Hour, 24},
    {UsageBy::Day, "day", Period::Day, 30},
    {UsageBy::Week, "week", Period::Week, 12},
    {UsageBy::Month, "month", Period::Month, 12},
    {UsageBy::Year, "year", Period::Year, 0},
    {UsageBy::Type, "type", std::nullopt, 0},
    {UsageBy::Profile, "profile", std::nullopt, 0},
}};

const Grouping& GroupingOf(UsageBy by) { return GROUPINGS.at(static_cast<std::size_t>(by)); }

std::string HourText(long long moment)
{
    const ClockTime time = ShownAt(moment);
    return fmt::format("{} {:02}:{:02}", DateText(time.day), time.hour, time.minute);
}

/// Periods of one kind as lines of a report.
class Periods
{
public:
    Periods(Period period, const PeriodStarts& starts) : m_period(period), m_starts(starts) {}

    /// The line of the period that `moment` lies in.
    UsageLine LineOf(long long moment) const
    {
        if (m_period != Period::Hour) return LineOf(FirstDayOf(m_period, ShownAt(moment).day, m_starts));
        const long long start = moment - moment % HOUR;
        return {start, start + HOUR, HourText(start), {}};
    }

    /// The first moment of the period that is `count` periods before that of `moment`.
    long long StartBefore(long long moment, unsigned count) const
    {
        if (m_period == Period::Hour) return LineOf(moment).start - HOUR * count;
        Date first = FirstDayOf(m_period, ShownAt(moment).day, m_starts);
        for (; count > 0 && static_cast<int>(first.year()) >= 1970; --count)
            first = FirstDayBefore(m_period, first, m_starts);
        return StartOf(first);
    }

private:
    UsageLine LineOf(Date first) const
    {
        return {StartOf(first), StartOf(FirstDayAfter(m_period, first, m_starts)), Name(first), {}};
    }

    std::string Name(Date first) const
    {
        std::string date = DateText(first);
        if (m_period == Period::Year) return date.substr(0, 4);
        if (m_period == Period::Month && m_starts.monthDay == 1) return date.substr(0, 7);
        return date;
    }

    const Period m_period;
    const PeriodStarts m_starts;
};

/// One line for each period from the first that has traffic on; the present one is the last, or a later one
/// that has traffic.
std::vector<UsageLine> LinesByTime(const std::vector<UsageRow>& rows, const Periods& periods, long long end)
{
    std::vector<UsageLine> lines;
    for (const UsageRow& row : rows) {  // ascending
        while (lines.empty() || row.hour >= lines.back().end) {
            const bool follows = !lines.empty() && row.hour < end;
            lines.push_back(periods.LineOf(follows ? lines.back().end : row.hour));
        }
        AddTo(lines.back().figures, row);
    }
    while (!lines.empty() && lines.back().end < end)
        lines.push_back(periods.LineOf(lines.back().end));
    return lines;
}

std::vector<UsageLine> LinesByName(const std::vector<UsageRow>& rows, bool byType)
{
    std::map<std::string, UsageLine> named;
    for (const UsageRow& row : rows) {
        const std::string name = byType ? std::string(TrafficTypeName(row.type)) : row.profile;
        UsageLine& line = named[name];
        line.name = name;
        AddTo(line.figures, row);
    }
    std::vector<UsageLine> lines;
    lines.reserve(named.size());
    for (auto& [name, line] : named)
        lines.push_back(std::move(line));
    return lines;
}

void SortByTraffic(std::vector<UsageLine>& lines)
{
    std::stable_sort(lines.begin(), lines.end(), [](const UsageLine& left, const UsageLine& right) {
        return left.figures.Total() > right.figures.Total();
    });
}

Failure Wrong(std::string message) { return {std::move(message), EXIT_USAGE}; }

Result<unsigned> ParseCount(std::string_view option, const std::string& word)
{
    unsigned long long count = 0;
    if (!ParseDigits(word, count) || count == 0 || count > MOST_LINES)
        return Wrong(
            fmt::format("{} takes a number from 1 to {}, not '{}'", option, MOST_LINES, Printable(word)));
    return static_cast<unsigned>(count);
}

}  // namespace

void AddTo(UsageFigures& figures, const UsageRow& row)
{
    AddUpTo(figures.downloaded, row.downloaded);
    AddUpTo(figures.uploaded, row.uploaded);
    AddUpTo(figures.seconds, row.seconds);
    if (!row.recovered) return;
    AddUpTo(figures.recoveredDownloaded, row.downloaded);
    AddUpTo(figures.recoveredUploaded, row.uploaded);
}

Result<UsageQuery> ParseUsageQuery(const UsageWords& words, long long now)
{
    const auto moment = static_cast<unsigned long long>(std::max(now, 0LL));
    UsageQuery query;
    if (!words.by.empty()) {
        const std::string by = LowerCase(words.by);
        const auto found = std::find_if(GROUPINGS.begin(), GROUPINGS.end(),
                                        [&](const Grouping& grouping) { return grouping.name == by; });
        if (found == GROUPINGS.end()) {
            return Wrong(fmt::format("--by takes hour, day, week, month, year, type or profile, not '{}'",
                                     Printable(words.by)));
        }
        query.by = found->by;
    }
    if (!words.from.empty()) {
        const auto from = ParseSince(words.from, moment);
        if (!from) return from.Error();
        query.from = static_cast<long long>(*from);
    }
    if (!words.to.empty()) {
        const auto to = ParseUntil(words.to, moment);
        if (!to) return to.Error();
        query.to = static_cast<long long>(*to);
    }
    if (query.from && query.to && *query.from >= *query.to) {
        return Wrong(
            fmt::format("the time from '{}' to '{}' is empty", Printable(words.from), Printable(words.to)));
    }
    if (!words.last.empty()) {
        if (query.from || query.to) return Wrong("--last counts back from now: not with --from or --to");
        if (!GroupingOf(query.by).period) {
            return Wrong(
                "--last counts hours, days, weeks, months or years: say which with --by, "
                "or use --from");
        }
        const auto last = ParseCount("--last", words.last);
        if (!last) return last.Error();
        query.last = *last;
    }
    if (!words.type.empty()) {
        const auto type = FindTrafficType(words.type);
        if (!type) {
            return Wrong(UnknownTrafficType(words.type));
        }
        query.type = type->code;
    }
    if (!words.top.empty()) {
        const auto top = ParseCount("--top", words.top);
        if (!top) return top.Error();
        query.top = *top;
    }
    return query;
}

Result<UsageReport> MakeUsageReport(const UsageLedger& ledger, const UsageQuery& query,
                                    const PeriodStarts& starts, long long now)
{
    const Grouping& grouping = GroupingOf(query.by);
    const Periods periods(grouping.period.value_or(Period::Day), starts);

    UsageReport report;
    report.by = query.by;
    report.type = query.type;
    report.from = query.from;
    report.to = query.to;
    const unsigned last = query.last.value_or(query.from || query.to ? 0 : grouping.periods);
    if (last != 0) report.from = std::max(periods.StartBefore(now, last - 1), BEGINNING);

    auto rows = ledger.Read(report.from.value_or(BEGINNING), report.to.value_or(ETERNITY));
    if (!rows) return rows.Error();
    if (query.type) std::erase_if(*rows, [&](const UsageRow& row) { return row.type != *query.type; });

    for (const UsageRow& row : *rows)
        AddTo(report.total, row);
    if (grouping.period) {
        report.lines = LinesByTime(*rows, periods, std::min(report.to.value_or(ETERNITY), now + 1));
    } else {
        report.lines = LinesByName(*rows, query.by == UsageBy::Type);
        SortByTraffic(report.lines);
    }
    if (query.top) {
        SortByTraffic(report.lines);
        report.lines.resize(std::min<std::size_t>(report.lines.size(), *query.top));
    }
    return report;
}

Result<UsageFigures> SumUsage(const UsageLedger& ledger, long long from, long long to,
                              std::optional<int> type)
{
    const auto rows = ledger.Read(from, to);
    if (!rows) return rows.Error();
    UsageFigures figures;
    for (const UsageRow& row : *rows) {
        if (!type || row.type == *type) AddTo(figures, row);
    }
    return figures;
}

}  // namespace netinfo
