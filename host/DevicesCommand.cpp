#include <string>
#include <vector>

#include "host/Commands.h"
#include "host/Format.h"
#include "host/Json.h"
#include "host/Output.h"
#include "host/Table.h"
#include "host/TrafficType.h"
#include "platform/dialup/CountedLinks.h"

namespace netinfo {
namespace {

std::string Counted(const LinkState& link)
{
    if (!link.type) return "no: " + Printable(link.reason);
    return link.up ? "yes" : "when up";
}

std::string TypeLabel(const LinkState& link)
{
    if (!link.type) return "-";
    for (const TrafficType& type : TRAFFIC_TYPES) {
        if (type.code == static_cast<int>(*link.type)) return std::string(type.label);
    }
    return "-";
}

Json JsonOf(const LinkState& link)
{
    return {{"index", link.index},
            {"link", link.linkName},
            {"alias", link.alias},
            {"up", link.up},
            {"type", link.type ? Json(TrafficTypeName(static_cast<int>(*link.type))) : Json()},
            {"counted", link.type && link.up},
            {"ruled", link.ruled},
            {"reason", link.reason}};
}

}  // namespace

int DevicesCommand(bool json)
{
    const std::vector<LinkState> links = ReadAllLinks();
    if (links.empty()) return Fail({"the system does not tell its links"});  // there is always a loopback

    Json list = Json::array();
    Table table({{"LINK"}, {"STATE"}, {"TYPE"}, {"COUNTED"}, {"RULE"}, {"ALIAS"}});
    for (const LinkState& link : links) {
        list.push_back(JsonOf(link));
        table.Add({Printable(link.linkName), link.up ? "up" : "down", TypeLabel(link), Counted(link),
                   link.ruled ? "settings" : "-", Printable(link.alias)});
    }
    return Print(json ? Indented({{"links", std::move(list)}}) : table.Text());
}

}  // namespace netinfo
