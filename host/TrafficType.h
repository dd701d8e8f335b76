#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace netinfo {

/// A connection type as the plug-in numbers it, with the names that people and programs use for it.
struct TrafficType
{
    int code;
    std::string_view name;   ///< on the command line, in settings and in JSON
    std::string_view label;  ///< in tables
};

/// Every type that is counted, in the order in which they are shown.
inline constexpr std::array<TrafficType, 3> TRAFFIC_TYPES{{
    {0, "dial-up", "Dial-up"},
    {1, "wifi", "WiFi"},
    {4, "adsl", "ADSL"},
}};

/// The type of that name, whatever its case; nothing for any other text.
std::optional<TrafficType> FindTrafficType(std::string_view name);

/// What to say to who gave another name.
std::string UnknownTrafficType(std::string_view name);

/// The name of the type with that code; "unknown" for any other number.
std::string_view TrafficTypeName(int code);

}  // namespace netinfo
