#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dialup/CountedLinks.h"
#include "platform/dialup/KernelLinks.h"

/// Which links are counted, as what, and which of stacked links stands for the others, so that no byte is
/// counted twice. docs/counters.md tells the rules at length.
///
/// Threads: pure functions, any thread.
/// Errors:  none; text that says nothing known counts as if it were not there.
namespace netinfo {

/// What a user's rule says of a link.
enum class Ruling
{
    DialUp,
    Wifi,
    Adsl,
    Ignore
};

/// "dial-up", "wifi", "adsl" or "ignore", in any case; nothing for other text.
std::optional<Ruling> ParseRuling(std::string_view text);

/// What the device tree says of a link beyond rtnetlink.
struct LinkFacts
{
    bool wireless = false;                ///< a wireless LAN adapter
    bool wwan = false;                    ///< a mobile-broadband modem
    std::vector<std::string> lowerNames;  ///< links that it is stacked on
};

/// Everything but the links themselves that decides what is counted.
struct Surroundings
{
    std::map<int, LinkFacts> facts;       ///< by link index
    std::vector<int> defaultRouteLinks;   ///< indexes of links
    std::vector<std::string> pppoeLinks;  ///< names of links that carry a PPPoE session
    std::map<std::string, Ruling> rules;  ///< by link name
};

/// What was found about one link.
struct Verdict
{
    std::optional<ConnectionType> type;  ///< none: it is not counted
    bool dialUp = false;                 ///< counted as a dial-up connection, not as an interface row
    bool ruled = false;                  ///< a rule decided
    std::string reason;                  ///< why it is not counted; empty if it is
};

/// One verdict for each link, in their order. A link that is down has the type it would be counted as and
/// takes the bytes of no other.
std::vector<Verdict> JudgeLinks(std::span<const KernelLink> links, const Surroundings& surroundings);

}  // namespace netinfo
