#include "platform/dialup/LinkFacts.h"

#include <charconv>
#include <set>
#include <sstream>

namespace netinfo {

Uevent ParseUevent(std::string_view text)
{
    Uevent uevent;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) continue;

        const std::string value = line.substr(equals + 1);
        if (line.starts_with("DEVTYPE=")) uevent.deviceType = value;
        if (line.starts_with("IFINDEX="))
            std::from_chars(value.data(), value.data() + value.size(), uevent.index);
    }
    return uevent;
}

std::vector<std::string> ParsePppoeSessions(std::string_view text)
{
    std::set<std::string> links;
    std::istringstream lines{std::string(text)};
    std::string line;
    std::getline(lines, line);  // headings
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string id;
        std::string address;
        std::string link;
        if (words >> id >> address >> link) links.insert(link);
    }
    return {links.begin(), links.end()};
}

}  // namespace netinfo
