#include <unistd.h>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Output.h"
#include "host/Screen.h"
#include "host/UsageReport.h"

namespace netinfo {

int UsageCommand(const UsageWords& words, UsageOutput output, const Style& style)
{
    ControlRequest request{"GET", "/v1/usage"};
    for (const auto& [name, word] : {std::pair<std::string, std::string>{"by", words.by},
                                     {"from", words.from},
                                     {"to", words.to},
                                     {"last", words.last},
                                     {"type", words.type},
                                     {"top", words.top}}) {
        if (!word.empty()) request.query[name] = word;
    }
    const CommonOptions options{.modulePath = {}, .json = output == UsageOutput::AsJson, .style = style};
    return AskAndPrint(options, Purpose::Stored, request, [&](const Json& document) {
        const UsageReport report = UsageFrom(document);
        if (output == UsageOutput::AsCsv) return UsageCsv(report);
        return UsageTable(report, SizeOfTerminal(STDOUT_FILENO).columns, style);
    });
}

}  // namespace netinfo
