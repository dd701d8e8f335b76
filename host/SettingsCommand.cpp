#include <unistd.h>

#include <string>
#include <utility>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Format.h"
#include "host/Output.h"
#include "host/Screen.h"
#include "host/Table.h"

namespace netinfo {
namespace {

void TellProblem(const Json& setting)
{
    if (setting.is_object() && setting.contains("problem"))
        Complain(Printable(setting["problem"].get<std::string>()));
}

std::string TableOf(const Json& settings)
{
    Table table({{"SETTING"}, {"VALUE", Table::Align::Left, Table::Narrow::Shorten}, {""}});
    for (const Json& setting : settings) {
        table.Add({Printable(setting.at("key").get<std::string>()),
                   Printable(setting.at("value").get<std::string>()),
                   setting.at("default").get<bool>() ? "(default)" : ""});
    }
    table.Fit(MostColumns(STDOUT_FILENO));
    return table.Text();
}

/// Asks, tells on standard error what is wrong with stored settings, and prints the answer.
int AskAndShow(const ControlRequest& request, bool json)
{
    const auto answerer = Answerer::Open("", Purpose::Stored);
    if (!answerer) return Fail(answerer.Error());
    const auto answer = (*answerer)->Ask(request);
    if (!answer) return Fail(answer.Error());
    const bool all = answer->contains("settings");
    for (const Json& setting : all ? answer->at("settings") : Json::array({*answer}))
        TellProblem(setting);
    return PrintAnswer(*answer, json, [all](const Json& document) {
        return all ? TableOf(document.at("settings"))
                   : Printable(document.at("value").get<std::string>()) + "\n";
    });
}

}  // namespace

int ListSettingsCommand(bool json) { return AskAndShow({"GET", "/v1/settings"}, json); }

int GetSettingCommand(const std::string& key, bool json)
{
    return AskAndShow({"GET", "/v1/settings", {{"key", key}}}, json);
}

int SetSettingCommand(const std::string& key, const std::string& value, bool json)
{
    Json body;
    body["key"] = key;
    body["value"] = value;
    return AskAndShow({"PUT", "/v1/settings", {}, std::move(body)}, json);
}

}  // namespace netinfo
