#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace netinfo {

/// JSON as the commands print it, members in the order in which they were added.
using Json = nlohmann::ordered_json;

/// On one line, or indented; with a line end. Texts that are not UTF-8 get the replacement character in the
/// place of what is wrong.
std::string OneLine(const Json& json);
std::string Indented(const Json& json);

/// The JSON that `text` is; nothing for any other text, nor for one nested deeper than any of ours.
std::optional<Json> ParseJson(std::string_view text);

}  // namespace netinfo
