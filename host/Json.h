#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace netinfo {

/// JSON as the commands print it, members in the order in which they were added.
using Json = nlohmann::ordered_json;

/// On one line, or indented; with a line end. Texts that are not UTF-8 get the replacement character in the
/// place of what is wrong.
std::string OneLine(const Json& json);
std::string Indented(const Json& json);

}  // namespace netinfo
