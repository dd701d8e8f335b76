#pragma once

#include <string>
#include <vector>

#include "host/Limit.h"
#include "host/StatusDisplay.h"
#include "host/Style.h"
#include "host/UsageReport.h"

namespace netinfo {

/// What every command is told.
struct CommonOptions
{
    std::string modulePath;  ///< empty: the module that belongs to this program
    bool json = false;       ///< for programs instead of for people
    Style style;             ///< for people
};

/// The commands, one source file for each. All return the exit code and have said on standard error what went
/// wrong; what they throw comes from the module.
///
/// Threads: the main thread, before there is any other.

/// What people ask first: links, speeds, usage, limit. Changes nothing, and needs no module.
int SummaryCommand(const CommonOptions& options);

/// Shows what a service counts, as it counts; without a service it counts itself, like `RunCommand`.
int LiveCommand(const CommonOptions& options, RunOutput output);

/// Runs the plug-in on the machine's links and shows its figures, until a signal or the end of the terminal.
/// Tells a service manager when it counts and when it ends.
int RunCommand(const CommonOptions& options, RunOutput output);

/// The totals of every type and period.
int ReportCommand(const CommonOptions& options);
/// The traffic of the connections that ended since a moment, which people write as `ParseSince` reads it.
int HistoryCommand(const CommonOptions& options, const std::string& since);

/// The connection records, or the last one.
int RecordsCommand(const CommonOptions& options, bool last);
/// Removes the records that `words` name, after asking unless `yes`.
int RemoveRecordsCommand(const CommonOptions& options, const std::vector<std::string>& words, bool yes);
/// Sets the totals of the type of that name to zero, after asking unless `yes`.
int ResetCommand(const CommonOptions& options, const std::string& name, bool yes);

/// The settings. They need no plug-in, and a running one hears of a change by itself.
int ListSettingsCommand(bool json);
int GetSettingCommand(const std::string& key, bool json);
int SetSettingCommand(const std::string& key, const std::string& value, bool json);

/// What the usage ledger has, as `words` ask for it.
enum class UsageOutput
{
    AsTable,
    AsJson,
    AsCsv
};
int UsageCommand(const UsageWords& words, UsageOutput output, const Style& style);

/// The limit: how it stands, a new one, none.
int ShowLimitCommand(const CommonOptions& options);
int SetLimitCommand(const LimitWords& words, const CommonOptions& options);
int ClearLimitCommand(const CommonOptions& options);

/// Every link of the machine, and what it is counted as or why it is not.
int DevicesCommand(bool json);

}  // namespace netinfo
