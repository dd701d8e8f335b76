#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What the kernel's text files say of links.
///
/// Threads: pure functions, any thread.
/// Errors:  none; text that is not understood says nothing.
namespace netinfo {

/// The lines of a link's "uevent" file that matter.
struct Uevent
{
    int index = 0;           ///< of the link; 0: not told
    std::string deviceType;  ///< such as "wlan" or "wwan"; empty for plain Ethernet
};

Uevent ParseUevent(std::string_view text);

/// The names of the links that carry PPPoE sessions, each once, from the kernel's session table: a line of
/// headings, then a line for each session whose third word is the link.
std::vector<std::string> ParsePppoeSessions(std::string_view text);

}  // namespace netinfo
