#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <sys/types.h>

struct mnl_socket;

namespace netinfo {

/// Asks the kernel's rtnetlink for dumps.
///
/// One socket is opened at the first question and kept; it is closed on exec, and a forked child opens one of
/// its own. It speaks of the network namespace that the asking thread was in when it was opened.
///
/// Threads: one at a time.
/// Errors:  0, or an error number of the system.
class Netlink
{
public:
    /// Fills `messages` with the messages of one whole, consistent dump of `type` (RTM_GETLINK, RTM_GETROUTE)
    /// for all address families, as the kernel sent them. A dump that was interrupted or overran is asked for
    /// again a few times. After an error `messages` says nothing.
    int Dump(unsigned short type, std::vector<std::byte>& messages);

private:
    struct Close
    {
        void operator()(mnl_socket* socket) const;
    };

    int Open();
    int DumpOnce(unsigned short type, std::vector<std::byte>& messages);

    std::unique_ptr<mnl_socket, Close> m_socket;
    pid_t m_owner = 0;              ///< the process that opened the socket
    unsigned int m_sequence = 0;    ///< of the last request
    std::vector<std::byte> m_part;  ///< one receive; grows with the largest message
};

}  // namespace netinfo
