#include <fmt/format.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Output.h"
#include "host/RecordIndexes.h"
#include "host/RecordList.h"
#include "host/Screen.h"

namespace netinfo {
namespace {

std::string Counted(std::size_t count) { return count == 1 ? "1 record" : fmt::format("{} records", count); }

/// The answer to the removal of the records that `wanted` names.
Result<Json> Remove(Answerer& answerer, const RecordIndexes& wanted, bool yes)
{
    const auto records = answerer.Ask({"GET", "/v1/records"});
    if (!records) return records.Error();
    const auto count = static_cast<int>(records->value("records", Json::array()).size());
    const auto indexes = wanted.Among(count);
    if (!indexes) return indexes.Error();
    if (!yes && !Confirm(fmt::format("Remove {} for good?", Counted(indexes->size()))))
        return Failure{"nothing was removed"};

    // An index means what the user saw only as long as there are as many.
    Json body;
    body["indexes"] = *indexes;
    body["count"] = count;
    return answerer.Ask({"POST", "/v1/records/remove", {}, std::move(body)});
}

}  // namespace

int RecordsCommand(const CommonOptions& options, bool last)
{
    ControlRequest request{"GET", "/v1/records"};
    if (last) request.query.emplace("last", "1");
    return AskAndPrint(options, Purpose::Read, request, [&](const Json& records) {
        return RecordTable(RecordsFrom(records), options.style.units, MostColumns(STDOUT_FILENO));
    });
}

int RemoveRecordsCommand(const CommonOptions& options, const std::vector<std::string>& words, bool yes)
{
    const auto wanted = RecordIndexes::Parse(words);
    if (!wanted) return Fail(wanted.Error());

    const auto answerer = Answerer::Open(options.modulePath, Purpose::Change);
    if (!answerer) return Fail(answerer.Error());
    const auto removed = Remove(**answerer, *wanted, yes);
    const auto unsaved = (*answerer)->End();
    if (!removed) return Fail(removed.Error());
    if (unsaved) return Fail(*unsaved);
    return PrintAnswer(*removed, options.json, [](const Json& document) {
        return fmt::format("{} removed\n", Counted(document.at("removed").size()));
    });
}

}  // namespace netinfo
