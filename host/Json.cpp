#include "host/Json.h"

namespace netinfo {

std::string OneLine(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string Indented(const Json& json)
{
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace netinfo
