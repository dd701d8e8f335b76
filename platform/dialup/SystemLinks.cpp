#include "platform/dialup/SystemLinks.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <linux/rtnetlink.h>

#include "platform/common/GlobalFunction.h"
#include "platform/dialup/LinkFacts.h"

namespace netinfo {
namespace {

constexpr int kUtf8 = 65001;
constexpr int kLongestLinkName = 15;
constexpr int kLongestRuling = 16;

/// The whole of one of the kernel's text files; empty if it is not there.
std::string ReadText(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The names in a directory that begin with `prefix`, without it. The standard library's own walk would end
/// the program where memory runs out.
std::vector<std::string> NamesBehind(const std::string& prefix, const std::string& directory)
{
    struct Close
    {
        void operator()(DIR* listing) const { closedir(listing); }
    };
    const std::unique_ptr<DIR, Close> listing(opendir(directory.c_str()));
    std::vector<std::string> names;
    if (!listing) return names;

    while (const dirent* const entry = readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (name.starts_with(prefix)) names.push_back(name.substr(prefix.size()));
    }
    return names;
}

LinkFacts ReadFacts(const KernelLink& link, const std::string& deviceTree)
{
    const std::string directory = deviceTree + "/" + link.name;
    const Uevent uevent = ParseUevent(ReadText(directory + "/uevent"));
    if (uevent.index != link.index) return {};  // a namesake in another namespace

    LinkFacts facts;
    facts.wireless = uevent.deviceType == "wlan" || access((directory + "/phy80211").c_str(), F_OK) == 0;
    facts.wwan = uevent.deviceType == "wwan";
    facts.lowerNames = NamesBehind("lower_", directory);
    return facts;
}

/// What the user's settings say of the link.
std::optional<Ruling> ReadRule(const std::string& linkName)
{
    static constexpr std::array<unsigned short, 6> kSection = {'l', 'i', 'n', 'k', 's', 0};
    std::array<unsigned short, kLongestLinkName + 2> key{};
    CGlobalFunction::MultiByteToWideChar(linkName.c_str(), key.data(), kLongestLinkName, kUtf8);

    // One unit more than the longest word, so that a longer text is not cut down to a word.
    std::array<unsigned short, kLongestRuling + 1> value{};
    const int length = CGlobalFunction::GetSetting(kSection.data(), key.data(), value.data(), kLongestRuling);
    std::string text;
    for (int i = 0; i < length && i < kLongestRuling; ++i) {
        const unsigned short unit = value[static_cast<std::size_t>(i)];
        text += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return ParseRuling(text);
}

/// Adds those links of an interrupted dump that are not in `indexes`. False if it cannot be understood: then
/// there may be links that nobody knows of.
bool AddLinks(Bytes interrupted, std::vector<int>& indexes)
{
    const auto links = ParseLinks(interrupted);
    if (!links || links->empty()) return false;

    for (const KernelLink& link : *links) {
        indexes.push_back(link.index);
    }
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    return true;
}

}  // namespace

int SystemLinks::ReadLinks(std::vector<KernelLink>& links)
{
    std::vector<int> indexes = std::exchange(m_indexes, {});
    Bytes messages;
    int error = m_netlink.Dump(RTM_GETLINK, messages);
    if (error == EINTR && AddLinks(messages, indexes)) error = m_netlink.AskForEach(indexes, messages);
    if (error != 0) return error;

    auto parsed = ParseLinks(messages);
    if (!parsed) return EBADMSG;

    links = std::move(*parsed);
    m_indexes.reserve(links.size());
    for (const KernelLink& link : links) {
        m_indexes.push_back(link.index);
    }
    return 0;
}

int SystemLinks::ReadCounters(std::vector<ByteCounters>& counters)
{
    if (m_indexes.empty()) return ESTALE;
    StatisticsReader reader(m_indexes, counters);
    if (const int error = m_netlink.DumpStatistics(reader); error != 0) return error;
    return reader.IsWhole() ? 0 : ESTALE;
}

int SystemLinks::ReadSurroundings(const std::vector<KernelLink>& links, Surroundings& surroundings)
{
    Bytes messages;
    if (const int error = m_netlink.Dump(RTM_GETROUTE, messages); error != 0) return error;

    auto routes = ParseDefaultRoutes(messages);
    if (!routes) return EBADMSG;

    surroundings.defaultRouteLinks = std::move(*routes);
    surroundings.pppoeLinks = ParsePppoeSessions(ReadText(m_files.pppoeSessions));
    for (const KernelLink& link : links) {
        surroundings.facts[link.index] = ReadFacts(link, m_files.deviceTree);
        if (const auto rule = ReadRule(link.name)) surroundings.rules[link.name] = *rule;
    }
    return 0;
}

std::chrono::milliseconds SystemLinks::Now()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace netinfo
