#include <unistd.h>

#include <ctime>

#include "host/Commands.h"
#include "host/Json.h"
#include "host/Output.h"
#include "host/Screen.h"
#include "host/Settings.h"
#include "host/StartChecks.h"
#include "host/UsageReport.h"
#include "platform/common/Directories.h"

namespace netinfo {

int UsageCommand(const UsageWords& words, UsageOutput output)
{
    const long long now = std::time(nullptr);
    const auto query = ParseUsageQuery(words, now);
    if (!query) return Fail(query.Error());
    if (const auto failure = CheckSettingsFiles(ConfigDirectory(), ModuleDirectory())) return Fail(*failure);
    const auto ledger = UsageLedger::OpenForReading(UserDataDirectory());
    if (!ledger) return Fail(ledger.Error());
    const auto report = MakeUsageReport(**ledger, *query, ReadPeriodStarts(), now);
    if (!report) return Fail(report.Error());

    switch (output) {
        case UsageOutput::AsTable:
            return Print(UsageTable(*report, SizeOfTerminal(STDOUT_FILENO).columns));
        case UsageOutput::AsJson:
            return Print(Indented(UsageJson(*report)));
        case UsageOutput::AsCsv:
            return Print(UsageCsv(*report));
    }
    return EXIT_FAILED;
}

}  // namespace netinfo
