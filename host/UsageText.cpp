#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "host/Format.h"
#include "host/Table.h"
#include "host/TrafficType.h"
#include "host/UsageReport.h"

// A report for people and for programs.

namespace netinfo {
namespace {

constexpr std::size_t LEAST_BAR = 8;   // columns
constexpr std::size_t MOST_BAR = 40;   // columns
constexpr std::size_t WITH_TIME = 72;  // columns from which on the connected time is shown

struct Heading
{
    std::string_view table;
    std::string_view member;  ///< in JSON and CSV
};

Heading HeadingOf(UsageBy by)
{
    switch (by) {
        case UsageBy::Hour:
            return {"HOUR", "hour"};
        case UsageBy::Day:
            return {"DAY", "day"};
        case UsageBy::Week:
            return {"WEEK FROM", "week"};
        case UsageBy::Month:
            return {"MONTH", "month"};
        case UsageBy::Year:
            return {"YEAR", "year"};
        case UsageBy::Type:
            return {"TYPE", "type"};
        case UsageBy::Profile:
            return {"PROFILE", "profile"};
    }
    return {};
}

constexpr std::array<UsageBy, 7> ALL{UsageBy::Hour, UsageBy::Day,  UsageBy::Week,   UsageBy::Month,
                                     UsageBy::Year, UsageBy::Type, UsageBy::Profile};

bool ByTime(UsageBy by) { return by != UsageBy::Type && by != UsageBy::Profile; }

unsigned long long Share(unsigned long long part, unsigned long long whole, std::size_t columns)
{
    if (whole == 0) return 0;
    const double share = static_cast<double>(part) / static_cast<double>(whole);
    return static_cast<unsigned long long>(std::llround(share * static_cast<double>(columns)));
}

/// A bar as long as the figures' part of the largest: the download, then the upload.
std::string Bar(const UsageFigures& figures, unsigned long long largest, std::size_t columns, bool unicode)
{
    const std::string_view down = unicode ? "█" : "#";
    const std::string_view up = unicode ? "░" : "-";
    const unsigned long long total = figures.Total();
    if (total == 0) return {};
    const auto length = std::max<std::size_t>(Share(total, largest, columns), 1);
    const std::size_t upload = Share(figures.uploaded, total, length);
    std::string bar;
    for (std::size_t i = 0; i < length; ++i)
        bar += i < length - upload ? down : up;
    return bar;
}

std::vector<std::string> Cells(const std::string& name, const UsageFigures& figures, bool withMark,
                               bool withTime, Units units)
{
    std::string total = FormatBytes(figures.Total(), units);
    if (withMark) total += figures.Recovered() != 0 ? " *" : "  ";
    std::vector<std::string> cells{name, FormatBytes(figures.downloaded, units),
                                   FormatBytes(figures.uploaded, units), std::move(total)};
    if (withTime) cells.push_back(FormatDuration(figures.seconds));
    return cells;
}

std::optional<long long> MomentFrom(const Json& json)
{
    if (json.is_null()) return std::nullopt;
    return json.get<long long>();
}

template <class Value>
Json OrNull(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json(nullptr);
}

std::string CsvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace

Json UsageFiguresJson(const UsageFigures& figures)
{
    return {{"downloaded", figures.downloaded},
            {"uploaded", figures.uploaded},
            {"total", figures.Total()},
            {"seconds", figures.seconds},
            {"recovered",
             {{"downloaded", figures.recoveredDownloaded}, {"uploaded", figures.recoveredUploaded}}}};
}

UsageFigures UsageFiguresFrom(const Json& json)
{
    UsageFigures figures;
    json.at("downloaded").get_to(figures.downloaded);
    json.at("uploaded").get_to(figures.uploaded);
    json.at("seconds").get_to(figures.seconds);
    json.at("recovered").at("downloaded").get_to(figures.recoveredDownloaded);
    json.at("recovered").at("uploaded").get_to(figures.recoveredUploaded);
    return figures;
}

std::string UsageTable(const UsageReport& report, std::size_t columns, const Style& style)
{
    if (report.lines.empty()) return "No traffic is recorded for this time.\n";

    const bool withMark = report.total.Recovered() != 0;
    const bool withTime = columns >= WITH_TIME;
    std::vector<Table::Column> headings{{std::string(HeadingOf(report.by).table)},
                                        {"DOWN", Table::Align::Right},
                                        {"UP", Table::Align::Right},
                                        {withMark ? "TOTAL  " : "TOTAL", Table::Align::Right}};
    if (withTime) headings.push_back({"TIME", Table::Align::Right});
    Table table(std::move(headings));

    unsigned long long largest = 0;
    for (const UsageLine& line : report.lines) {
        largest = std::max(largest, line.figures.Total());
        const std::string name = line.name.empty() ? "(unknown)" : Printable(line.name);
        table.Add(Cells(Shorten(name, columns / 3), line.figures, withMark, withTime, style.units));
    }
    table.Add(Cells("total", report.total, withMark, withTime, style.units));

    std::vector<std::string> lines = table.Lines();
    std::size_t width = 0;
    for (const std::string& line : lines)
        width = std::max(width, Width(line));
    const std::size_t room = columns > width + 2 ? std::min(columns - width - 2, MOST_BAR) : 0;
    for (std::size_t i = 0; room >= LEAST_BAR && i < report.lines.size(); ++i) {
        const std::string bar = Bar(report.lines[i].figures, largest, room, style.unicode);
        if (!bar.empty()) lines[i + 1] = PadRight(lines[i + 1], width + 2) + bar;
    }

    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    if (withMark) {
        text += fmt::format("* {} recovered: it passed while nobody counted\n",
                            FormatBytes(report.total.Recovered(), style.units));
    }
    return text;
}

Json UsageJson(const UsageReport& report)
{
    const std::string member(HeadingOf(report.by).member);
    Json json;
    json["by"] = member;
    json["type"] = report.type ? Json(TrafficTypeName(*report.type)) : Json(nullptr);
    json["from"] = OrNull(report.from);
    json["to"] = OrNull(report.to);
    json["lines"] = Json::array();
    for (const UsageLine& line : report.lines) {
        Json entry;
        entry[member] = line.name;
        if (ByTime(report.by)) {
            entry["start"] = line.start;
            entry["end"] = line.end;
        }
        entry.update(UsageFiguresJson(line.figures));
        json["lines"].push_back(std::move(entry));
    }
    json["total"] = UsageFiguresJson(report.total);
    return json;
}

UsageReport UsageFrom(const Json& document)
{
    UsageReport report;
    const auto member = document.at("by").get<std::string>();
    for (const UsageBy by : ALL) {
        if (HeadingOf(by).member == member) report.by = by;
    }
    if (!document.at("type").is_null()) {
        const auto type = FindTrafficType(document["type"].get<std::string>());
        if (type) report.type = type->code;
    }
    report.from = MomentFrom(document.at("from"));
    report.to = MomentFrom(document.at("to"));
    for (const Json& json : document.at("lines")) {
        UsageLine line;
        json.at(member).get_to(line.name);
        if (ByTime(report.by)) {
            json.at("start").get_to(line.start);
            json.at("end").get_to(line.end);
        }
        line.figures = UsageFiguresFrom(json);
        report.lines.push_back(std::move(line));
    }
    report.total = UsageFiguresFrom(document.at("total"));
    return report;
}

std::string UsageCsv(const UsageReport& report)
{
    std::string text =
        fmt::format("{},downloaded,uploaded,total,seconds,recovered_downloaded,recovered_uploaded\r\n",
                    HeadingOf(report.by).member);
    for (const UsageLine& line : report.lines) {
        const UsageFigures& figures = line.figures;
        text += fmt::format("{},{},{},{},{},{},{}\r\n", CsvField(line.name), figures.downloaded,
                            figures.uploaded, figures.Total(), figures.seconds, figures.recoveredDownloaded,
                            figures.recoveredUploaded);
    }
    return text;
}

}  // namespace netinfo
