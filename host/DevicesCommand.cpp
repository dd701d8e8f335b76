#include <unistd.h>

#include <string>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Format.h"
#include "host/Screen.h"
#include "host/Table.h"
#include "host/TrafficType.h"

namespace netinfo {
namespace {

std::string Counted(const Json& link)
{
    if (link.at("type").is_null()) return "no: " + Printable(link.at("reason").get<std::string>());
    return link.at("up").get<bool>() ? "yes" : "when up";
}

std::string TypeLabel(const Json& link)
{
    if (link.at("type").is_null()) return "-";
    const auto type = FindTrafficType(link["type"].get<std::string>());
    return type ? std::string(type->label) : "-";
}

}  // namespace

int DevicesCommand(bool json)
{
    const CommonOptions options{.modulePath = {}, .json = json, .style = {}};
    return AskAndPrint(options, Purpose::Stored, {"GET", "/v1/devices"}, [](const Json& devices) {
        Table table({{"LINK"},
                     {"STATE"},
                     {"TYPE"},
                     {"COUNTED", Table::Align::Left, Table::Narrow::Shorten},
                     {"RULE", Table::Align::Left, Table::Narrow::LeaveOut},
                     {"ALIAS", Table::Align::Left, Table::Narrow::LeaveOut}});
        for (const Json& link : devices.at("links")) {
            table.Add({Printable(link.at("link").get<std::string>()),
                       link.at("up").get<bool>() ? "up" : "down", TypeLabel(link), Counted(link),
                       link.at("ruled").get<bool>() ? "settings" : "-",
                       Printable(link.at("alias").get<std::string>())});
        }
        table.Fit(MostColumns(STDOUT_FILENO));
        return table.Text();
    });
}

}  // namespace netinfo
