#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "host/Format.h"
#include "host/Table.h"
#include "host/TrafficType.h"
#include "host/UsageReport.h"

// A report for people and for programs.

namespace netinfo {
namespace {

constexpr std::size_t LEAST_BAR = 8;    // columns
constexpr std::size_t MOST_BAR = 40;    // columns
constexpr std::size_t WITH_TIME = 72;   // columns from which on the connected time is shown
constexpr std::string_view DOWN = "█";  // one column of a bar
constexpr std::string_view UP = "░";

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

bool ByTime(UsageBy by) { return by != UsageBy::Type && by != UsageBy::Profile; }

unsigned long long Share(unsigned long long part, unsigned long long whole, std::size_t columns)
{
    if (whole == 0) return 0;
    const double share = static_cast<double>(part) / static_cast<double>(whole);
    return static_cast<unsigned long long>(std::llround(share * static_cast<double>(columns)));
}

/// A bar as long as the figures' part of the largest: the download, then the upload.
std::string Bar(const UsageFigures& figures, unsigned long long largest, std::size_t columns)
{
    const unsigned long long total = figures.Total();
    if (total == 0) return {};
    const auto length = std::max<std::size_t>(Share(total, largest, columns), 1);
    const std::size_t upload = Share(figures.uploaded, total, length);
    std::string bar;
    for (std::size_t i = 0; i < length; ++i)
        bar += i < length - upload ? DOWN : UP;
    return bar;
}

std::vector<std::string> Cells(const std::string& name, const UsageFigures& figures, bool withMark,
                               bool withTime)
{
    std::string total = FormatBytes(figures.Total());
    if (withMark) total += figures.Recovered() != 0 ? " *" : "  ";
    std::vector<std::string> cells{name, FormatBytes(figures.downloaded), FormatBytes(figures.uploaded),
                                   std::move(total)};
    if (withTime) cells.push_back(FormatDuration(figures.seconds));
    return cells;
}

/// The text of a table as its lines.
std::vector<std::string> LinesOf(const Table& table)
{
    std::vector<std::string> lines;
    const std::string text = table.Text();
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

Json FiguresJson(const UsageFigures& figures)
{
    return {{"downloaded", figures.downloaded},
            {"uploaded", figures.uploaded},
            {"total", figures.Total()},
            {"seconds", figures.seconds},
            {"recovered",
             {{"downloaded", figures.recoveredDownloaded}, {"uploaded", figures.recoveredUploaded}}}};
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

std::string UsageTable(const UsageReport& report, std::size_t columns)
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
        table.Add(Cells(Shorten(name, columns / 3), line.figures, withMark, withTime));
    }
    table.Add(Cells("total", report.total, withMark, withTime));

    std::vector<std::string> lines = LinesOf(table);
    std::size_t width = 0;
    for (const std::string& line : lines)
        width = std::max(width, Width(line));
    const std::size_t room = columns > width + 2 ? std::min(columns - width - 2, MOST_BAR) : 0;
    for (std::size_t i = 0; room >= LEAST_BAR && i < report.lines.size(); ++i) {
        const std::string bar = Bar(report.lines[i].figures, largest, room);
        if (!bar.empty()) lines[i + 1] = PadRight(lines[i + 1], width + 2) + bar;
    }

    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    if (withMark) {
        text += fmt::format("* {} of it passed while nobody counted, and was recovered from the links\n",
                            FormatBytes(report.total.Recovered()));
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
        entry.update(FiguresJson(line.figures));
        json["lines"].push_back(std::move(entry));
    }
    json["total"] = FiguresJson(report.total);
    return json;
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
