#include <unistd.h>

#include <ctime>
#include <optional>

#include "host/Commands.h"
#include "host/Json.h"
#include "host/Limit.h"
#include "host/Output.h"
#include "host/Screen.h"
#include "host/Settings.h"
#include "host/StartChecks.h"
#include "platform/common/Directories.h"

namespace netinfo {
namespace {

/// 0, or the exit code after saying that the settings cannot be read.
int CheckFiles()
{
    const auto failure = CheckSettingsFiles(ConfigDirectory(), ModuleDirectory());
    return failure ? Fail(*failure) : EXIT_DONE;
}

int ShowLimit(const std::optional<Limit>& limit, bool json)
{
    if (!limit) {
        if (json) return Print(Indented({{"limit", nullptr}}));
        return Print("There is no limit. Set one: netinfo limit set 20GB --per month\n");
    }
    const auto ledger = UsageLedger::OpenForReading(UserDataDirectory());
    if (!ledger) return Fail(ledger.Error());
    const auto status = EvaluateLimit(*limit, **ledger, ReadPeriodStarts(), std::time(nullptr));
    if (!status) return Fail(status.Error());
    return Print(json ? Indented(LimitJson(*status))
                      : LimitText(*status, SizeOfTerminal(STDOUT_FILENO).columns));
}

}  // namespace

int ShowLimitCommand(bool json)
{
    if (const int code = CheckFiles(); code != EXIT_DONE) return code;
    const auto limit = ReadLimit();
    if (!limit) return Fail(limit.Error());
    return ShowLimit(*limit, json);
}

int SetLimitCommand(const LimitWords& words, bool json)
{
    const auto limit = ParseLimit(words);
    if (!limit) return Fail(limit.Error());
    if (const int code = CheckFiles(); code != EXIT_DONE) return code;
    if (const auto failure = StoreLimit(*limit)) return Fail(*failure);
    return ShowLimit(*limit, json);
}

int ClearLimitCommand(bool json)
{
    if (const int code = CheckFiles(); code != EXIT_DONE) return code;
    if (const auto failure = ClearLimit()) return Fail(*failure);
    return ShowLimit(std::nullopt, json);
}

}  // namespace netinfo
