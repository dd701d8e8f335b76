#include "platform/dialup/LinkRules.h"

#include <algorithm>
#include <array>
#include <string>
#include <tuple>
#include <utility>

#include <linux/if.h>
#include <linux/if_arp.h>

namespace netinfo {
namespace {

/// Virtual kinds without an unseen way out: their bytes stay in the machine, or leave by ports, lower links
/// or peers that the kernel names.
constexpr std::array<std::string_view, 8> kKindsWithoutUnseenPath = {"bond", "bridge", "dummy", "netkit",
                                                                     "team", "veth",   "vrf",   "vxcan"};

bool Contains(const auto& container, const auto& value)
{
    return std::find(container.begin(), container.end(), value) != container.end();
}

/// The value under `key`, if there is one.
template <class Map, class Key>
std::optional<typename Map::mapped_type> Find(const Map& map, const Key& key)
{
    const auto found = map.find(key);
    if (found == map.end()) return std::nullopt;
    return found->second;
}

bool IsPpp(const KernelLink& link) { return link.hardwareType == ARPHRD_PPP || link.kind == "ppp"; }

bool IsHardware(const KernelLink& link) { return link.hardwareType == ARPHRD_ETHER && link.kind.empty(); }

/// A tunnel or the like: what it sends goes out again through some other link, and nothing says which.
bool IsTunnel(const KernelLink& link)
{
    if (link.lowerElsewhere) return false;  // it goes out in a namespace whose links are not counted here
    if (!link.kind.empty()) return !Contains(kKindsWithoutUnseenPath, link.kind);

    switch (link.hardwareType) {
        case ARPHRD_TUNNEL:
        case ARPHRD_TUNNEL6:
        case ARPHRD_SIT:
        case ARPHRD_IPGRE:
        case ARPHRD_IP6GRE:
        case ARPHRD_NONE:
            return true;
        default:
            return false;
    }
}

ConnectionType TypeOf(Ruling ruling)
{
    switch (ruling) {
        case Ruling::Wifi:
            return ConnectionType::Wifi;
        case Ruling::Adsl:
            return ConnectionType::Adsl;
        case Ruling::DialUp:
        case Ruling::Ignore:
            break;
    }
    return ConnectionType::DialUp;
}

/// Judges all links of one moment. Links are spoken of by their place in the list.
class Judge
{
public:
    Judge(std::span<const KernelLink> links, const Surroundings& surroundings)
        : m_links(links), m_surroundings(surroundings)
    {
        for (std::size_t i = 0; i < links.size(); ++i) {
            m_byIndex[links[i].index] = i;
            m_byName[links[i].name] = i;
        }
        FindStacks();
    }

    std::vector<Verdict> Run()
    {
        std::vector<Verdict> verdicts;
        for (const KernelLink& link : m_links) {
            verdicts.push_back(JudgeAlone(link));
        }
        std::vector<Candidate> counted;
        for (const Candidate& candidate : CandidatesInOrder(verdicts)) {
            Verdict& verdict = verdicts[candidate.link];
            verdict.reason = WhyNotBeside(counted, candidate);
            if (verdict.reason.empty()) {
                counted.push_back(candidate);
            } else {
                verdict.type.reset();
            }
        }
        return verdicts;
    }

private:
    /// A link that is up and would be counted if it were alone.
    struct Candidate
    {
        std::size_t link = 0;
        std::vector<std::size_t> below;  ///< every link that carries its bytes, however far down; sorted
        bool ruled = false;
        bool underSession = false;  ///< carries a PPPoE session of a PPP link that would be counted
        bool unseen = false;        ///< its bytes go out again, and nothing says where
    };

    Verdict JudgeAlone(const KernelLink& link) const
    {
        Verdict verdict;
        if ((link.flags & IFF_LOOPBACK) != 0 || link.hardwareType == ARPHRD_LOOPBACK) {
            verdict.reason = "loopback";
            return verdict;
        }
        const LinkFacts& facts = FactsOf(link);
        verdict.dialUp =
            IsPpp(link) || link.hardwareType == ARPHRD_RAWIP || link.kind == "wwan" || facts.wwan;
        const auto rule = m_surroundings.rules.find(link.name);
        verdict.ruled = rule != m_surroundings.rules.end();
        if (verdict.ruled && rule->second == Ruling::Ignore) {
            verdict.reason = "ignored by a rule";
        } else if (!link.counters) {
            verdict.reason = "the kernel counts no bytes for it";
        } else if (verdict.ruled) {
            verdict.type = TypeOf(rule->second);
        } else if (verdict.dialUp) {
            verdict.type = ConnectionType::DialUp;
        } else if ((facts.wireless && link.hardwareType == ARPHRD_ETHER) || link.kind == "virt_wifi") {
            verdict.type = ConnectionType::Wifi;
        } else if (IsHardware(link) || Contains(m_surroundings.defaultRouteLinks, link.index)) {
            verdict.type = ConnectionType::Adsl;
        } else {
            verdict.reason = "neither hardware nor on the default route";
        }
        return verdict;
    }

    /// In the order in which links win over those they share bytes with: ruled before others, tunnels last,
    /// PPP before the carrier of its session, lower before upper.
    std::vector<Candidate> CandidatesInOrder(const std::vector<Verdict>& verdicts) const
    {
        std::vector<Candidate> candidates;
        std::vector<bool> underSession(m_links.size());
        for (std::size_t i = 0; i < m_links.size(); ++i) {
            if (!verdicts[i].type || !IsUp(m_links[i])) continue;

            const auto leavesUnseen = [&](std::size_t l) {
                return m_lower[l].empty() && !verdicts[l].dialUp && IsTunnel(m_links[l]);
            };
            Candidate candidate{i, Below(i), verdicts[i].ruled};
            candidate.unseen =
                leavesUnseen(i) || std::any_of(candidate.below.begin(), candidate.below.end(), leavesUnseen);
            if (IsPpp(m_links[i])) {
                for (const std::size_t carrier : candidate.below) {
                    underSession[carrier] = true;
                }
            }
            candidates.push_back(std::move(candidate));
        }
        for (Candidate& candidate : candidates) {
            candidate.underSession = !candidate.ruled && underSession[candidate.link];
        }

        const auto rank = [&](const Candidate& c) {
            return std::tuple(!c.ruled, c.unseen, c.underSession, c.below.size(), m_links[c.link].index);
        };
        std::sort(candidates.begin(), candidates.end(),
                  [&](const Candidate& a, const Candidate& b) { return rank(a) < rank(b); });
        return candidates;
    }

    /// Why `candidate` cannot be counted beside those that are; empty if it can.
    std::string WhyNotBeside(const std::vector<Candidate>& counted, const Candidate& candidate) const
    {
        for (const Candidate& other : counted) {
            const std::string& name = m_links[other.link].name;
            if (std::binary_search(candidate.below.begin(), candidate.below.end(), other.link)) {
                return "its bytes are counted at " + name;
            }
            if (std::binary_search(other.below.begin(), other.below.end(), candidate.link)) {
                return "it carries the bytes of " + name + ", which is counted";
            }
            if (candidate.ruled) continue;
            if (candidate.unseen) return "its bytes may travel over " + name + ", which is counted";
            if (other.unseen) return "it may carry the bytes of " + name + ", which is counted";
        }
        return {};
    }

    /// Finds for every link those directly below it.
    void FindStacks()
    {
        m_lower.resize(m_links.size());
        std::map<std::size_t, std::vector<std::size_t>> portsOf;
        for (std::size_t i = 0; i < m_links.size(); ++i) {
            const KernelLink& link = m_links[i];
            if (const auto lower = Find(m_byIndex, link.lowerIndex); lower && !link.lowerElsewhere) {
                m_lower[i].push_back(*lower);
            }
            for (const std::string& name : FactsOf(link).lowerNames) {
                if (const auto lower = Find(m_byName, name)) m_lower[i].push_back(*lower);
            }
            if (IsPpp(link)) {
                for (const std::string& name : m_surroundings.pppoeLinks) {
                    if (const auto carrier = Find(m_byName, name)) m_lower[i].push_back(*carrier);
                }
            }
            if (const auto master = Find(m_byIndex, link.masterIndex)) {
                m_lower[*master].push_back(i);
                portsOf[*master].push_back(i);
            }
        }
        // What a guest or a container sends into a bridge leaves the machine through the bridge's hardware.
        for (const auto& [master, ports] : portsOf) {
            if (m_links[master].kind != "bridge" && m_links[master].kind != "openvswitch") continue;

            std::vector<std::size_t> hardware;
            std::copy_if(ports.begin(), ports.end(), std::back_inserter(hardware),
                         [&](std::size_t port) { return m_links[port].kind.empty(); });
            for (const std::size_t port : ports) {
                if (m_links[port].kind.empty()) continue;
                m_lower[port].insert(m_lower[port].end(), hardware.begin(), hardware.end());
            }
        }
    }

    /// Every link below `link`, however far down, itself left out; sorted.
    std::vector<std::size_t> Below(std::size_t link) const
    {
        std::vector<bool> seen(m_links.size());
        seen[link] = true;
        std::vector<std::size_t> found;
        for (std::vector<std::size_t> open{link}; !open.empty();) {
            const std::size_t current = open.back();
            open.pop_back();
            for (const std::size_t lower : m_lower[current]) {
                if (seen[lower]) continue;
                seen[lower] = true;
                found.push_back(lower);
                open.push_back(lower);
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    const LinkFacts& FactsOf(const KernelLink& link) const
    {
        static const LinkFacts none;
        const auto found = m_surroundings.facts.find(link.index);
        return found == m_surroundings.facts.end() ? none : found->second;
    }

    std::span<const KernelLink> m_links;
    const Surroundings& m_surroundings;
    std::map<int, std::size_t> m_byIndex;
    std::map<std::string_view, std::size_t> m_byName;
    std::vector<std::vector<std::size_t>> m_lower;  ///< for each link those directly below it
};

}  // namespace

std::optional<Ruling> ParseRuling(std::string_view text)
{
    static constexpr std::array<std::pair<std::string_view, Ruling>, 4> kWords = {{
        {"dial-up", Ruling::DialUp},
        {"wifi", Ruling::Wifi},
        {"adsl", Ruling::Adsl},
        {"ignore", Ruling::Ignore},
    }};
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    for (const auto& [word, ruling] : kWords) {
        if (std::equal(text.begin(), text.end(), word.begin(), word.end(),
                       [&](char a, char b) { return lower(a) == b; })) {
            return ruling;
        }
    }
    return std::nullopt;
}

std::vector<Verdict> JudgeLinks(std::span<const KernelLink> links, const Surroundings& surroundings)
{
    return Judge(links, surroundings).Run();
}

}  // namespace netinfo
