#include <unistd.h>

#include <array>
#include <string>
#include <string_view>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Format.h"
#include "host/Screen.h"
#include "host/Table.h"
#include "host/TrafficType.h"

namespace netinfo {
namespace {

struct Period
{
    std::string name;  ///< in the document
    std::string label;
};

std::string TableOf(const Json& report, Units units)
{
    const std::array<Period, 5> periods{{{"today", "today"},
                                         {"week", "this week"},
                                         {"month", "this month"},
                                         {"year", "this year"},
                                         {"since_reset", "since reset"}}};
    Table table({{"TYPE"},
                 {"PERIOD"},
                 {"FROM", Table::Align::Left, Table::Narrow::LeaveOut},
                 {"DOWN", Table::Align::Right},
                 {"UP", Table::Align::Right},
                 {"TOTAL", Table::Align::Right},
                 {"TIME", Table::Align::Right, Table::Narrow::LeaveOut}});
    for (const Json& json : report.at("types")) {
        const auto type = FindTrafficType(json.at("type").get<std::string>());
        for (const Period& period : periods) {
            const Json& figures = json.at(period.name);
            const auto start = figures.at("start").get<unsigned long long>();
            const auto downloaded = figures.at("downloaded").get<unsigned long long>();
            const auto uploaded = figures.at("uploaded").get<unsigned long long>();
            table.Add({std::string(type && &period == &periods.front() ? type->label : ""), period.label,
                       start != 0 ? FormatMoment(start) : "-", FormatBytes(downloaded, units),
                       FormatBytes(uploaded, units), FormatBytes(downloaded + uploaded, units),
                       FormatDuration(figures.at("seconds").get<unsigned long long>())});
        }
    }
    table.Fit(MostColumns(STDOUT_FILENO));
    return table.Text();
}

}  // namespace

int ReportCommand(const CommonOptions& options)
{
    return AskAndPrint(options, Purpose::Read, {"GET", "/v1/report"},
                       [&](const Json& report) { return TableOf(report, options.style.units); });
}

}  // namespace netinfo
