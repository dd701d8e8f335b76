#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/dialup/LinkMonitor.h"
#include "platform/dialup/Netlink.h"

namespace netinfo {

/// The links of this machine: rtnetlink, the device tree under /sys/class/net, the kernel's table of PPPoE
/// sessions and the user's rules in the settings, section "links".
///
/// Where the device tree shows another network namespace than rtnetlink, its word is not taken.
///
/// Threads: one at a time.
class SystemLinks : public LinkSource
{
public:
    /// The kernel's files.
    struct Files
    {
        std::string deviceTree = "/sys/class/net";
        std::string pppoeSessions = "/proc/thread-self/net/pppoe";
    };

    SystemLinks() = default;
    explicit SystemLinks(Files files) : m_files(std::move(files)) {}

    int ReadLinks(std::vector<KernelLink>& links) override;
    int ReadCounters(std::vector<ByteCounters>& counters) override;
    int ReadSurroundings(const std::vector<KernelLink>& links, Surroundings& surroundings) override;
    std::chrono::milliseconds Now() override;

private:
    Files m_files;
    Netlink m_netlink;
    std::vector<int> m_indexes;  ///< of the links that were read last; none if that failed
};

}  // namespace netinfo
