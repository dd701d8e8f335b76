#include "platform/dialup/SystemLinks.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
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
std::string ReadText(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

LinkFacts ReadFacts(const KernelLink& link)
{
    const std::filesystem::path directory = std::filesystem::path("/sys/class/net") / link.name;
    const Uevent uevent = ParseUevent(ReadText(directory / "uevent"));
    LinkFacts facts;
    if (uevent.index != link.index) return facts;  // a namesake in another namespace

    std::error_code error;
    facts.wireless = uevent.deviceType == "wlan" || std::filesystem::exists(directory / "phy80211", error);
    facts.wwan = uevent.deviceType == "wwan";
    constexpr std::string_view kLower = "lower_";
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.starts_with(kLower)) facts.lowerNames.push_back(name.substr(kLower.size()));
    }
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

}  // namespace

int SystemLinks::ReadLinks(std::vector<KernelLink>& links)
{
    if (const int error = m_netlink.Dump(RTM_GETLINK, m_messages); error != 0) return error;

    auto parsed = ParseLinks(m_messages);
    if (!parsed) return EBADMSG;

    links = std::move(*parsed);
    return 0;
}

int SystemLinks::ReadSurroundings(const std::vector<KernelLink>& links, Surroundings& surroundings)
{
    if (const int error = m_netlink.Dump(RTM_GETROUTE, m_messages); error != 0) return error;

    auto routes = ParseDefaultRoutes(m_messages);
    if (!routes) return EBADMSG;

    surroundings.defaultRouteLinks = std::move(*routes);
    surroundings.pppoeLinks = ParsePppoeSessions(ReadText("/proc/thread-self/net/pppoe"));
    for (const KernelLink& link : links) {
        surroundings.facts[link.index] = ReadFacts(link);
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
