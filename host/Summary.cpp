#include "host/Summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "host/Format.h"
#include "host/Table.h"

namespace netinfo {
namespace {

constexpr std::size_t LEAST_COLUMNS = 60;  // of a terminal

struct PeriodNames
{
    Period period;
    std::string_view name;   ///< in JSON
    std::string_view label;  ///< in the table
};

constexpr std::array<PeriodNames, 3> PERIODS{{
    {Period::Day, "today", "TODAY"},
    {Period::Week, "week", "THIS WEEK"},
    {Period::Month, "month", "THIS MONTH"},
}};

constexpr std::string_view FIRST_STEPS =
    "\n"
    "Then ask:\n"
    "  netinfo                   what the links do now, and what was used\n"
    "  netinfo live              the speeds of the last minutes\n"
    "  netinfo usage             what each day has used\n"
    "  netinfo limit set 20GB    be warned before a month has used that much\n"
    "  netinfo help              every command\n";

std::string_view Beginning(const Summary& summary)
{
    if (summary.counting) return "counting; for the last minutes: netinfo live";
    if (summary.counted) return "Nothing is counting; to start: netinfo run";
    return "Nothing was counted yet; to start: netinfo run";
}

void Append(std::string& text, const Table& table, const Style& style)
{
    const std::vector<std::string> lines = table.Lines();
    text += "\n" + Marked(lines.front(), Mark::Bold, style.colour) + "\n";
    for (std::size_t i = 1; i < lines.size(); ++i)
        text += lines[i] + "\n";
}

Table LinkTable(const Summary& summary, std::size_t columns, const Style& style)
{
    std::vector<Table::Column> headings{
        {"TYPE"}, {"STATE"}, {"LINK", Table::Align::Left, Table::Narrow::Shorten}};
    if (summary.counting) {
        headings.push_back({"DOWN", Table::Align::Right});
        headings.push_back({"UP", Table::Align::Right});
    }
    Table table(std::move(headings));
    for (const TypeStatus& status : summary.types) {
        std::vector<std::string> cells{std::string(status.type.label), std::string(StateName(status)),
                                       LinkNames(status)};
        if (summary.counting) {
            cells.push_back(FormatSpeed(status.downSpeed, style.units));
            cells.push_back(FormatSpeed(status.upSpeed, style.units));
        }
        table.Add(std::move(cells));
    }
    table.Fit(std::max(columns, LEAST_COLUMNS));
    return table;
}

Table PeriodTable(const Summary& summary, const Style& style)
{
    std::vector<Table::Column> headings{{"USED"}};
    std::vector<std::string> since{"since"};
    std::vector<std::string> total{"total"};
    for (std::size_t i = 0; i < PERIODS.size(); ++i) {
        const SummaryPeriod& period = summary.periods[i];
        headings.push_back({std::string(PERIODS[i].label), Table::Align::Right});
        since.push_back(DateText(ShownAt(period.start).day));
        total.push_back(FormatBytes(period.total.Total(), style.units));
    }
    Table table(std::move(headings));
    table.Add(std::move(since));
    for (std::size_t type = 0; type < TRAFFIC_TYPES.size(); ++type) {
        std::vector<std::string> cells{std::string(TRAFFIC_TYPES[type].label)};
        for (const SummaryPeriod& period : summary.periods)
            cells.push_back(FormatBytes(period.types[type].Total(), style.units));
        table.Add(std::move(cells));
    }
    table.Add(std::move(total));
    return table;
}

void Add(SummaryPeriod& period, const UsageRow& row)
{
    if (row.hour < period.start || row.hour >= period.end) return;
    AddTo(period.total, row);
    for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
        if (TRAFFIC_TYPES[i].code == row.type) AddTo(period.types[i], row);
    }
}

}  // namespace

Result<Summary> MakeSummary(const UsageLedger& ledger, std::vector<TypeStatus> types, bool counting,
                            const std::optional<Limit>& limit, const PeriodStarts& starts, long long now)
{
    Summary summary;
    summary.time = now;
    summary.counting = counting;
    summary.types = std::move(types);

    const Date today = ShownAt(now).day;
    long long first = now;
    long long end = now;
    for (std::size_t i = 0; i < PERIODS.size(); ++i) {
        SummaryPeriod& period = summary.periods[i];
        const Date firstDay = FirstDayOf(PERIODS[i].period, today, starts);
        period.period = PERIODS[i].period;
        period.start = StartOf(firstDay);
        period.end = StartOf(FirstDayAfter(PERIODS[i].period, firstDay, starts));
        first = std::min(first, period.start);
        end = std::max(end, period.end);
    }
    const auto rows = ledger.Read(first, end);
    if (!rows) return rows.Error();
    for (const UsageRow& row : *rows) {
        for (SummaryPeriod& period : summary.periods)
            Add(period, row);
    }
    const auto firstHour = ledger.FirstHour();
    if (!firstHour) return firstHour.Error();
    summary.counted = firstHour->has_value();

    if (!limit) return summary;
    const auto status = EvaluateLimit(*limit, ledger, starts, now);
    if (!status) return status.Error();
    summary.limit = *status;
    return summary;
}

std::string SummaryText(const Summary& summary, std::size_t columns, const Style& style)
{
    std::string text = fmt::format(
        "netinfo  {}\n{}\n", FormatMoment(static_cast<unsigned long long>(summary.time)), Beginning(summary));
    Append(text, LinkTable(summary, columns, style), style);
    if (summary.counting || summary.counted) Append(text, PeriodTable(summary, style), style);
    if (summary.limit) text += "\n" + LimitSummary(*summary.limit, columns, style);
    if (!summary.counting && !summary.counted) text += FIRST_STEPS;
    return text;
}

Json SummaryJson(const Summary& summary)
{
    Json json;
    json["time"] = summary.time;
    json["counting"] = summary.counting;
    json["counted"] = summary.counted;
    json["types"] = Json::array();
    for (const TypeStatus& status : summary.types) {
        json["types"].push_back(
            {{"type", status.type.name},
             {"connected", status.connected},
             {"links", status.links},
             {"download_speed", summary.counting ? Json(status.downSpeed) : Json(nullptr)},
             {"upload_speed", summary.counting ? Json(status.upSpeed) : Json(nullptr)}});
    }
    for (std::size_t i = 0; i < PERIODS.size(); ++i) {
        const SummaryPeriod& period = summary.periods[i];
        Json& used = json["used"][std::string(PERIODS[i].name)];
        used["start"] = period.start;
        used["end"] = period.end;
        for (std::size_t type = 0; type < TRAFFIC_TYPES.size(); ++type)
            used[std::string(TRAFFIC_TYPES[type].name)] = UsageFiguresJson(period.types[type]);
        used["total"] = UsageFiguresJson(period.total);
    }
    json["limit"] = summary.limit ? LimitJson(*summary.limit) : Json(nullptr);
    return json;
}

Summary SummaryFrom(const Json& document)
{
    Summary summary;
    document.at("time").get_to(summary.time);
    document.at("counting").get_to(summary.counting);
    document.at("counted").get_to(summary.counted);
    for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
        const Json& type = document.at("types").at(i);
        TypeStatus& status = summary.types.emplace_back();
        status.type = TRAFFIC_TYPES[i];
        type.at("connected").get_to(status.connected);
        type.at("links").get_to(status.links);
        if (!summary.counting) continue;
        type.at("download_speed").get_to(status.downSpeed);
        type.at("upload_speed").get_to(status.upSpeed);
    }
    for (std::size_t i = 0; i < PERIODS.size(); ++i) {
        const Json& used = document.at("used").at(std::string(PERIODS[i].name));
        SummaryPeriod& period = summary.periods[i];
        period.period = PERIODS[i].period;
        used.at("start").get_to(period.start);
        used.at("end").get_to(period.end);
        for (std::size_t type = 0; type < TRAFFIC_TYPES.size(); ++type)
            period.types[type] = UsageFiguresFrom(used.at(std::string(TRAFFIC_TYPES[type].name)));
        period.total = UsageFiguresFrom(used.at("total"));
    }
    if (const Json& limit = document.at("limit"); !limit.is_null()) summary.limit = LimitFrom(limit);
    return summary;
}

}  // namespace netinfo
