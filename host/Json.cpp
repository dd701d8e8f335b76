#include "host/Json.h"

#include <algorithm>

namespace netinfo {
namespace {

constexpr int DEEPEST = 16;

/// How deep the brackets of a text are nested, whether it is JSON or not.
int Depth(std::string_view text)
{
    int depth = 0;
    int deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') inString = !inString;
        if (inString && c == '\\') ++i;
        if (inString) continue;
        if (c == '[' || c == '{') deepest = std::max(deepest, ++depth);
        if (c == ']' || c == '}') --depth;
    }
    return deepest;
}

}  // namespace

std::string OneLine(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string Indented(const Json& json)
{
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::optional<Json> ParseJson(std::string_view text)
{
    // Measured first: a parser that is asked at every value takes a time that grows with the square of a
    // list.
    if (Depth(text) > DEEPEST) return std::nullopt;
    auto json = Json::parse(text, nullptr, false);
    if (json.is_discarded()) return std::nullopt;
    return json;
}

}  // namespace netinfo
