#include <unistd.h>

#include <ctime>
#include <string>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Format.h"
#include "host/Output.h"
#include "host/ParseTime.h"
#include "host/Screen.h"
#include "host/Table.h"

namespace netinfo {

int HistoryCommand(const CommonOptions& options, const std::string& since)
{
    // Dates are those of the user's time zone, which need not be the service's.
    const auto from = ParseSince(since, static_cast<unsigned long long>(std::time(nullptr)));
    if (!from) return Fail(from.Error());

    const ControlRequest request{"GET", "/v1/history", {{"since", std::to_string(*from)}}};
    return AskAndPrint(options, Purpose::Read, request, [&](const Json& history) {
        const auto downloaded = history.at("downloaded").get<unsigned long long>();
        const auto uploaded = history.at("uploaded").get<unsigned long long>();
        Table table({{"SINCE"},
                     {"DOWN", Table::Align::Right},
                     {"UP", Table::Align::Right},
                     {"TOTAL", Table::Align::Right},
                     {"TIME", Table::Align::Right, Table::Narrow::LeaveOut}});
        const Units units = options.style.units;
        table.Add({FormatMoment(history.at("since").get<unsigned long long>()),
                   FormatBytes(downloaded, units), FormatBytes(uploaded, units),
                   FormatBytes(downloaded + uploaded, units),
                   FormatDuration(history.at("seconds").get<unsigned long long>())});
        table.Fit(MostColumns(STDOUT_FILENO));
        return table.Text();
    });
}

}  // namespace netinfo
