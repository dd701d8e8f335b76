#include "host/TrafficType.h"

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

std::string_view TrafficTypeName(int code)
{
    for (const TrafficType& type : TRAFFIC_TYPES) {
        if (type.code == code) return type.name;
    }
    return "unknown";
}

}  // namespace netinfo
