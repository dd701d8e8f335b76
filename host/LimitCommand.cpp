#include <unistd.h>

#include <string>
#include <utility>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Limit.h"
#include "host/Screen.h"

namespace netinfo {
namespace {

int AskAndShow(const CommonOptions& options, const ControlRequest& request)
{
    return AskAndPrint(options, Purpose::Stored, request, [&](const Json& document) -> std::string {
        if (document.at("limit").is_null()) return "There is no limit. Set one: netinfo limit set 20GB\n";
        return LimitText(LimitFrom(document), SizeOfTerminal(STDOUT_FILENO).columns, options.style);
    });
}

}  // namespace

int ShowLimitCommand(const CommonOptions& options) { return AskAndShow(options, {"GET", "/v1/limit"}); }

int SetLimitCommand(const LimitWords& words, const CommonOptions& options)
{
    Json body;
    for (const auto& [name, word] : {std::pair<std::string, std::string>{"amount", words.amount},
                                     {"per", words.per},
                                     {"warn", words.warn},
                                     {"type", words.type}}) {
        if (!word.empty()) body[name] = word;
    }
    return AskAndShow(options, {"PUT", "/v1/limit", {}, std::move(body)});
}

int ClearLimitCommand(const CommonOptions& options) { return AskAndShow(options, {"DELETE", "/v1/limit"}); }

}  // namespace netinfo
