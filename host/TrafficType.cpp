#include "host/TrafficType.h"

#include <fmt/format.h>

#include "host/Format.h"

namespace netinfo {

std::optional<TrafficType> FindTrafficType(std::string_view name)
{
    const std::string wanted = LowerCase(name);
    for (const TrafficType& type : TRAFFIC_TYPES) {
        if (type.name == wanted) return type;
    }
    return std::nullopt;
}

std::string UnknownTrafficType(std::string_view name)
{
    return fmt::format("'{}' is no connection type: dial-up, wifi or adsl", Printable(name));
}

std::string_view TrafficTypeName(int code)
{
    for (const TrafficType& type : TRAFFIC_TYPES) {
        if (type.code == code) return type.name;
    }
    return "unknown";
}

}  // namespace netinfo
