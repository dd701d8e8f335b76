#include <fmt/format.h>

#include <string>

#include "host/Commands.h"
#include "host/Format.h"
#include "host/Json.h"
#include "host/OneShot.h"
#include "host/Output.h"
#include "host/TrafficType.h"

namespace netinfo {

int ResetCommand(const CommonOptions& options, const std::string& name, bool yes)
{
    const auto type = FindTrafficType(name);
    if (!type) {
        return Fail(
            {fmt::format("'{}' is no connection type: dial-up, wifi or adsl", Printable(name)), EXIT_USAGE});
    }
    return RunOnce(options, Purpose::Change, [&](Session& session) -> Result<std::string> {
        const std::string question = fmt::format(
            "Reset every total of {} to zero, and remove all connection records but the last?", type->label);
        if (!yes && !Confirm(question)) return Failure{"nothing was reset"};

        session.Traffic().Reset(type->code);
        if (options.json) return Indented({{"reset", type->name}});
        return fmt::format("{} was reset\n", type->label);
    });
}

}  // namespace netinfo
