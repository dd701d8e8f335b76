#include <fmt/format.h>

#include <ctime>
#include <string>

#include "host/Commands.h"
#include "host/Format.h"
#include "host/Json.h"
#include "host/OneShot.h"
#include "host/Output.h"
#include "host/ParseTime.h"
#include "host/Table.h"

namespace netinfo {

int HistoryCommand(const CommonOptions& options, const std::string& since)
{
    const auto from = ParseSince(since, static_cast<unsigned long long>(std::time(nullptr)));
    if (!from) return Fail(from.Error());

    return RunOnce(options, Purpose::Read, [&](Session& session) -> Result<std::string> {
        nis::REPORT report;
        session.Traffic().GetSpecHistroryData(report, *from);
        if (options.json) {
            return Indented({{"since", *from},
                             {"downloaded", report.ullDownloaded},
                             {"uploaded", report.ullUploaded},
                             {"seconds", report.ullTime}});
        }
        Table table({{"SINCE"},
                     {"DOWN", Table::Align::Right},
                     {"UP", Table::Align::Right},
                     {"TOTAL", Table::Align::Right},
                     {"TIME", Table::Align::Right}});
        table.Add({FormatMoment(*from), FormatBytes(report.ullDownloaded), FormatBytes(report.ullUploaded),
                   FormatBytes(report.ullDownloaded + report.ullUploaded), FormatDuration(report.ullTime)});
        return table.Text();
    });
}

}  // namespace netinfo
