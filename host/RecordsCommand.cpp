#include <fmt/format.h>

#include <string>
#include <vector>

#include "host/Commands.h"
#include "host/Json.h"
#include "host/OneShot.h"
#include "host/Output.h"
#include "host/RecordIndexes.h"
#include "host/RecordList.h"

namespace netinfo {
namespace {

std::string Counted(std::size_t count) { return count == 1 ? "1 record" : fmt::format("{} records", count); }

}  // namespace

int RecordsCommand(const CommonOptions& options, bool last)
{
    return RunOnce(options, Purpose::Read, [&](Session& session) -> Result<std::string> {
        const auto records = last ? ReadLastRecord(session.Records()) : ReadRecords(session.Records());
        return options.json ? RecordJson(records) : RecordTable(records);
    });
}

int RemoveRecordsCommand(const CommonOptions& options, const std::vector<std::string>& words, bool yes)
{
    const auto wanted = RecordIndexes::Parse(words);
    if (!wanted) return Fail(wanted.Error());

    return RunOnce(options, Purpose::Change, [&](Session& session) -> Result<std::string> {
        INetInfoRecord& records = session.Records();
        const auto indexes = wanted->Among(CountRecords(records));
        if (!indexes) return indexes.Error();
        if (!yes && !Confirm(fmt::format("Remove {} for good?", Counted(indexes->size())))) {
            return Failure{"nothing was removed"};
        }
        bool accepted = records.BeginRemoveRecord();
        for (const int index : *indexes)
            accepted = records.RemoveRecord(index) && accepted;
        if (!records.EndRemoveRecord() || !accepted) return Failure{"the plug-in did not remove the records"};

        if (options.json) return Indented({{"removed", *indexes}});
        return fmt::format("{} removed\n", Counted(indexes->size()));
    });
}

}  // namespace netinfo
