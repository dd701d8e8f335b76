#include "platform/dialup/LinkFacts.h"

#include <charconv>
#include <set>

namespace netinfo {
namespace {

/// Takes the text up to the next of these characters off the front of `rest`, and that character with it.
std::string_view Take(std::string_view& rest, std::string_view ends)
{
    const std::string_view taken = rest.substr(0, rest.find_first_of(ends));
    rest.remove_prefix(taken.size() < rest.size() ? taken.size() + 1 : taken.size());
    return taken;
}

/// Takes the next word off the front of a line; empty if there is none.
std::string_view TakeWord(std::string_view& line)
{
    std::string_view word;
    while (word.empty() && !line.empty()) {
        word = Take(line, " \t");
    }
    return word;
}

}  // namespace

Uevent ParseUevent(std::string_view text)
{
    Uevent uevent;
    while (!text.empty()) {
        std::string_view value = Take(text, "\n");
        const std::string_view key = Take(value, "=");
        if (key == "DEVTYPE") uevent.deviceType = value;
        if (key == "IFINDEX") std::from_chars(value.data(), value.data() + value.size(), uevent.index);
    }
    return uevent;
}

std::vector<std::string> ParsePppoeSessions(std::string_view text)
{
    std::set<std::string> links;
    Take(text, "\n");  // headings
    while (!text.empty()) {
        std::string_view line = Take(text, "\n");
        TakeWord(line);  // the session
        TakeWord(line);  // the far end's address
        const std::string_view link = TakeWord(line);
        if (!link.empty()) links.emplace(link);
    }
    return {links.begin(), links.end()};
}

}  // namespace netinfo
