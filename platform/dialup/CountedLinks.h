#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "platform/common/Export.h"
#include "platform/dialup/ByteCounters.h"

/// Which of the machine's links are counted, for the host: it reports the same links as devices that the
/// plug-in's counters (OSDialup.h) speak of, under the same device names.
///
/// A device name is "/" + link name + "/" + incarnation number + "/", in printable ASCII. One name stands for
/// one run of counters that never falls: a link whose counters start anew gets a new name, and so do the
/// links that are summed up with it. A name that is gone never comes back.
///
/// Threads:   any thread; calls are serialised inside.
/// Ownership: everything returned is the caller's.
/// Errors:    nothing throws; a kernel that cannot be read gives the empty result and changes nothing.
namespace netinfo {

/// What a link's traffic is counted as.
enum class ConnectionType : int
{
    DialUp = 0,
    Wifi = 1,
    Adsl = 4
};

/// A link that is up and counted.
struct CountedLink
{
    int index;               ///< the kernel's number of the link
    std::string linkName;    ///< the kernel's name, such as "wlan0"; any bytes but '/' and blanks
    std::string deviceName;  ///< such as "/wlan0/3/"
    std::string alias;       ///< the text an administrator gave the link; may be empty
    ConnectionType type;
    bool ruled;  ///< the type comes from a rule in the settings, section "links"
};

/// Any link of the machine, counted or not.
struct LinkState
{
    int index;                           ///< the kernel's number of the link
    std::string linkName;                ///< the kernel's name
    std::string deviceName;              ///< empty unless the link is up and counted
    std::string alias;                   ///< may be empty
    bool up;                             ///< up, and with a carrier
    std::optional<ConnectionType> type;  ///< none: the link is not counted, for `reason`
    bool ruled;                          ///< a rule in the settings says what the link is, or to ignore it
    std::string reason;                  ///< why the link is not counted, a short text; empty if it is
};

/// What the plug-in was last handed of a counted link.
struct HandedLink
{
    int index;               ///< the kernel's number of the link
    std::string linkName;    ///< the kernel's name
    std::string deviceName;  ///< such as "/wlan0/3/"
    std::string alias;       ///< may be empty
    ConnectionType type;
    std::array<unsigned char, 6> address;        ///< of the hardware; zeros if it has none of six bytes
    std::optional<unsigned int> carrierChanges;  ///< how often the carrier came or went, if the kernel says
    ByteCounters origin;                         ///< the kernel's count that is handed out as 1
    ByteCounters handed;                         ///< the kernel's count as last handed out
};

/// What the plug-in was handed for its last sample, all of one moment.
struct HandedCounters
{
    /// Which hand-out this was: it rises with each, also with one that failed and left `links` as it was. 0:
    /// there was none yet. Between two readings of the same number the plug-in was handed nothing.
    unsigned long long number = 0;
    /// In the order in which the plug-in takes them: rows before dial-up connections, each oldest first. The
    /// first of a type gives the plug-in's sum of that type its name.
    std::vector<HandedLink> links;
};

/// Looks at links, routes and rules anew and returns the links that are up and counted, oldest incarnation
/// first, which is also the order of the plug-in's rows. Nothing if the kernel could not be read. [any
/// thread]
NETINFO_PLATFORM_API std::optional<std::vector<CountedLink>> ReadCountedLinks();

/// Does the same and returns every link, in the kernel's order; empty if the kernel could not be read.
/// A link that is down has the type it would be counted as. [any thread]
NETINFO_PLATFORM_API std::vector<LinkState> ReadAllLinks();

/// A number that changes whenever a device name comes or goes, for whichever reader it was noticed. Makes no
/// system call and takes no lock. It moves only when somebody reads: the plug-in does once a second while
/// anything is connected; before that the host's own reads find the links that came up. [any thread]
NETINFO_PLATFORM_API unsigned long long LinkGeneration();

/// The kernel's counters behind the plug-in's figures. Asks the kernel nothing; number 0 and no links if
/// memory ran out. [any thread]
NETINFO_PLATFORM_API HandedCounters ReadHandedCounters();

}  // namespace netinfo
