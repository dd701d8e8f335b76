#include <fmt/format.h>

#include <string>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Output.h"
#include "host/TrafficType.h"

namespace netinfo {

int ResetCommand(const CommonOptions& options, const std::string& name, bool yes)
{
    const auto type = FindTrafficType(name);
    if (!type) return Fail({UnknownTrafficType(name), EXIT_USAGE});
    const std::string question = fmt::format(
        "Reset every total of {} to zero, and remove all connection records but the last?", type->label);
    if (!yes && !Confirm(question)) return Fail({"nothing was reset"});

    Json body;
    body["type"] = type->name;
    return AskAndPrint(options, Purpose::Change, {"POST", "/v1/reset", {}, std::move(body)},
                       [&](const Json&) { return fmt::format("{} was reset\n", type->label); });
}

}  // namespace netinfo
