#include <array>
#include <string>
#include <string_view>

#include "host/Commands.h"
#include "host/Format.h"
#include "host/Json.h"
#include "host/OneShot.h"
#include "host/Table.h"
#include "host/TrafficType.h"

namespace netinfo {
namespace {

struct Period
{
    std::string_view name;   ///< in JSON
    std::string_view label;  ///< in the table
    void (INetInfoService::*report)(nis::REPORT&, int);
};

constexpr std::array<Period, 5> PERIODS{{
    {"today", "today", &INetInfoService::GetTodayReport},
    {"week", "this week", &INetInfoService::GetThisWeekReport},
    {"month", "this month", &INetInfoService::GetThisMonthReport},
    {"year", "this year", &INetInfoService::GetThisYearReport},
    {"since_reset", "since reset", &INetInfoService::GetSinceReport},
}};

nis::REPORT Ask(INetInfoService& traffic, const Period& period, const TrafficType& type)
{
    nis::REPORT report;  // stays zero where the plug-in has nothing
    (traffic.*period.report)(report, type.code);
    return report;
}

std::string TableOf(INetInfoService& traffic)
{
    Table table({{"TYPE"},
                 {"PERIOD"},
                 {"FROM"},
                 {"DOWN", Table::Align::Right},
                 {"UP", Table::Align::Right},
                 {"TOTAL", Table::Align::Right},
                 {"TIME", Table::Align::Right}});
    for (const TrafficType& type : TRAFFIC_TYPES) {
        for (const Period& period : PERIODS) {
            const nis::REPORT report = Ask(traffic, period, type);
            const unsigned long long start = MomentOf(report.tmStart);
            table.Add({std::string(&period == &PERIODS.front() ? type.label : ""), std::string(period.label),
                       start != 0 ? FormatMoment(start) : "-", FormatBytes(report.ullDownloaded),
                       FormatBytes(report.ullUploaded),
                       FormatBytes(report.ullDownloaded + report.ullUploaded),
                       FormatDuration(report.ullTime)});
        }
    }
    return table.Text();
}

std::string JsonOf(INetInfoService& traffic)
{
    Json types = Json::array();
    for (const TrafficType& type : TRAFFIC_TYPES) {
        Json json;
        json["type"] = type.name;
        for (const Period& period : PERIODS) {
            const nis::REPORT report = Ask(traffic, period, type);
            json[std::string(period.name)] = {{"start", MomentOf(report.tmStart)},
                                              {"downloaded", report.ullDownloaded},
                                              {"uploaded", report.ullUploaded},
                                              {"seconds", report.ullTime}};
        }
        types.push_back(std::move(json));
    }
    return Indented({{"types", std::move(types)}});
}

}  // namespace

int ReportCommand(const CommonOptions& options)
{
    return RunOnce(options, Purpose::Read, [&](Session& session) -> Result<std::string> {
        return options.json ? JsonOf(session.Traffic()) : TableOf(session.Traffic());
    });
}

}  // namespace netinfo
