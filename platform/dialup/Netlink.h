#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>

#include <sys/types.h>

#include "platform/dialup/KernelLinks.h"

struct mnl_socket;

namespace netinfo {

/// Asks the kernel's rtnetlink for dumps, and hears from it on the way that links have changed.
///
/// One socket is opened at the first question and kept; it is closed on exec, and a forked child opens one of
/// its own. It speaks of the network namespace that the asking thread was in when it was opened. The kernel
/// tells it of every change to a link, in the one order in which it also answers: whatever has changed before
/// the end of an answer was made is read before that end. So news costs no question of its own.
///
/// Threads:   one at a time.
/// Ownership: the messages of a dump are lent until the next one.
/// Errors:    0, or an error number of the system.
class Netlink
{
public:
    /// Lends the messages of one whole, consistent dump of `type` (RTM_GETLINK, RTM_GETROUTE) for all address
    /// families, as the kernel sent them. A dump that was interrupted or overran is asked for again a few
    /// times. EINTR if changes got in between the parts of each of them: then `messages` are of the last one,
    /// in which something may be missing or said twice. After another error they say nothing.
    int Dump(unsigned short type, Bytes& messages);

    /// Lends the kernel's message about each of `links` by its index, asked for one by one, which nothing can
    /// interrupt. A link that is gone has none. As changes may get in between, the next statistics are
    /// ESTALE. After an error `messages` says nothing.
    int AskForEach(std::span<const int> links, Bytes& messages);

    /// Gives `reader` one dump of the 64-bit statistics of all links (RTM_GETSTATS). ESTALE if any link has
    /// changed since the last dump of links was begun, or may have: then what that dump said may not hold any
    /// more. Asked for once; EOPNOTSUPP, without asking, from a kernel that has refused. After an error the
    /// reader may have read a part.
    int DumpStatistics(StatisticsReader& reader);

private:
    struct Close
    {
        void operator()(mnl_socket* socket) const;
    };

    /// `link` is the index of the only one that is asked about.
    struct Question
    {
        unsigned short type = 0;
        std::optional<int> link;
    };

    int Open();
    int Exchange(const Question& question, std::size_t& kept);
    template <class Take>
    int Exchange(const Question& question, std::size_t kept, Take take);
    int Ask(const Question& question);
    template <class Take>
    int Receive(const Question& question, std::size_t kept, Take take);
    int ReceivePart(std::size_t kept, std::size_t& length);
    void MakeRoom(std::size_t kept);

    std::unique_ptr<mnl_socket, Close> m_socket;
    pid_t m_owner = 0;            ///< the process that opened the socket
    unsigned int m_sequence = 0;  ///< of the last request
    bool m_linksChanged = true;   ///< since the last dump of links was begun, as far as was heard
    bool m_statisticsRefused = false;
    std::unique_ptr<std::byte[]> m_messages;  ///< a whole answer, so far
    std::size_t m_capacity = 0;               ///< of m_messages
    /// For one receive, at least. The kernel sends no more at a time, but for a single larger message.
    std::size_t m_room = std::size_t{32} * 1024;
};

}  // namespace netinfo
