#include "platform/dialup/Netlink.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace netinfo {
namespace {

constexpr int kAttempts = 5;
constexpr std::size_t kLargestRoom = std::size_t{1} << 20;
constexpr timeval kAnswerTime = {2, 0};  ///< the kernel answers at once; only a broken one is waited for

/// A dump may go well if it is asked for once more.
bool WorthAnotherTry(int error)
{
    return error == EINTR || error == ENOBUFS || error == ENOSPC || error == EBUSY || error == EPROTO;
}

/// A dump ends with a message that may carry an error: the links before it are not all there are.
int OnDone(const nlmsghdr* message, void* /*data*/)
{
    int error = 0;
    if (mnl_nlmsg_get_payload_len(message) >= sizeof(error)) {
        std::memcpy(&error, mnl_nlmsg_get_payload(message), sizeof(error));
    }
    if (error >= 0) return MNL_CB_STOP;

    errno = -error;
    return MNL_CB_ERROR;
}

int OnError(const nlmsghdr* message, void* /*data*/)
{
    nlmsgerr answer{};
    if (mnl_nlmsg_get_payload_len(message) < sizeof(answer)) {
        errno = EPROTO;
        return MNL_CB_ERROR;
    }
    std::memcpy(&answer, mnl_nlmsg_get_payload(message), sizeof(answer));
    errno = answer.error < 0 ? -answer.error : EPROTO;
    return MNL_CB_ERROR;
}

/// A head of zeros asks for everything of every family.
void PutHead(nlmsghdr* request, unsigned short type, int link)
{
    if (type == RTM_GETSTATS) {
        auto* const head =
            static_cast<if_stats_msg*>(mnl_nlmsg_put_extra_header(request, sizeof(if_stats_msg)));
        head->filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
        return;
    }
    if (type == RTM_GETLINK) {
        static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(request, sizeof(ifinfomsg)))->ifi_index = link;
        return;
    }
    mnl_nlmsg_put_extra_header(request, sizeof(rtmsg));
}

/// Whether something got in between this part of a dump and the one before. The library would end there, and
/// what is left of the answer is worth reading: the marks are taken off.
bool TakeOffInterruptions(std::byte* part, std::size_t length)
{
    bool interrupted = false;
    int rest = static_cast<int>(length);
    for (auto* message = reinterpret_cast<nlmsghdr*>(part); mnl_nlmsg_ok(message, rest);
         message = mnl_nlmsg_next(message, &rest)) {
        interrupted = interrupted || (message->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
        message->nlmsg_flags &= static_cast<unsigned short>(~NLM_F_DUMP_INTR);
    }
    return interrupted;
}

/// The kernel does not know the question, or does not let this process ask it.
bool Refused(int error)
{
    return error == EOPNOTSUPP || error == EINVAL || error == EPERM || error == EACCES;
}

}  // namespace

void Netlink::Close::operator()(mnl_socket* socket) const { mnl_socket_close(socket); }

int Netlink::Dump(unsigned short type, Bytes& messages)
{
    int error = 0;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::size_t kept = 0;
        error = Exchange({type, {}}, kept);
        messages = {m_messages.get(), kept};
        if (error == 0) return 0;
        if (error == ENOSPC && m_room < kLargestRoom) m_room *= 2;
        if (!WorthAnotherTry(error)) break;
    }
    return error;
}

int Netlink::AskForEach(std::span<const int> links, Bytes& messages)
{
    std::size_t kept = 0;
    for (const int link : links) {
        const int error = Exchange({RTM_GETLINK, link}, kept);
        if (error != 0 && error != ENODEV) return error;
    }
    messages = {m_messages.get(), kept};
    m_linksChanged = true;
    return 0;
}

int Netlink::DumpStatistics(StatisticsReader& reader)
{
    if (m_statisticsRefused) return EOPNOTSUPP;

    const int error = Exchange({RTM_GETSTATS, {}}, 0, [&](Bytes part) {
        reader.Read(part);
        return std::size_t{0};
    });
    m_statisticsRefused = Refused(error);
    if (error != 0) return error;
    return m_linksChanged ? ESTALE : 0;
}

/// Keeps the answer behind what is `kept` already.
int Netlink::Exchange(const Question& question, std::size_t& kept)
{
    return Exchange(question, kept, [&](Bytes part) { return kept += NLMSG_ALIGN(part.size()); });
}

/// Hands each part of the answer to `take`, which tells how many bytes of the parts so far it still needs;
/// `kept` is what is needed of earlier answers.
template <class Take>
int Netlink::Exchange(const Question& question, std::size_t kept, Take take)
{
    int error = Open();
    if (error == 0) error = Ask(question);
    if (error == 0) error = Receive(question, kept, take);
    if (error != 0) m_socket.reset();  // what is left of the answer goes with it
    return error;
}

int Netlink::Open()
{
    if (m_socket && m_owner == getpid()) return 0;

    m_linksChanged = true;
    m_socket.reset(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
    if (!m_socket) return errno;
    if (mnl_socket_bind(m_socket.get(), RTMGRP_LINK, MNL_SOCKET_AUTOPID) < 0) return errno;
    setsockopt(mnl_socket_get_fd(m_socket.get()), SOL_SOCKET, SO_RCVTIMEO, &kAnswerTime, sizeof(kAnswerTime));
    m_owner = getpid();
    return 0;
}

int Netlink::Ask(const Question& question)
{
    alignas(nlmsghdr) std::array<char, 64> request{};
    nlmsghdr* const header = mnl_nlmsg_put_header(request.data());
    header->nlmsg_type = question.type;
    header->nlmsg_flags = question.link ? NLM_F_REQUEST : NLM_F_REQUEST | NLM_F_DUMP;
    header->nlmsg_seq = ++m_sequence;
    PutHead(header, question.type, question.link.value_or(0));
    // Without an address it goes to the kernel.
    return send(mnl_socket_get_fd(m_socket.get()), header, header->nlmsg_len, 0) < 0 ? errno : 0;
}

template <class Take>
int Netlink::Receive(const Question& question, std::size_t kept, Take take)
{
    std::array<mnl_cb_t, NLMSG_MIN_TYPE> control{};
    control[NLMSG_ERROR] = OnError;
    control[NLMSG_DONE] = OnDone;
    const unsigned int port = mnl_socket_get_portid(m_socket.get());
    bool begun = false;
    bool interrupted = false;
    for (;;) {
        std::size_t length = 0;
        if (const int error = ReceivePart(kept, length); error != 0) return error;

        std::byte* const part = m_messages.get() + kept;
        const auto* const header = reinterpret_cast<const nlmsghdr*>(part);
        if (header->nlmsg_pid != port || header->nlmsg_seq != m_sequence) {
            m_linksChanged = true;
            continue;
        }
        // What changed before the answer was begun is in it.
        if (!begun && question.type == RTM_GETLINK) m_linksChanged = false;
        begun = true;

        interrupted |= TakeOffInterruptions(part, length);
        const int result =
            mnl_cb_run2(part, length, m_sequence, port, nullptr, nullptr, control.data(), control.size());
        if (result < 0) return errno;
        kept = take({part, length});
        const bool isLast = question.link || result == MNL_CB_STOP;
        if (isLast) return interrupted ? EINTR : 0;
    }
}

/// Receives whole messages behind those that are kept.
int Netlink::ReceivePart(std::size_t kept, std::size_t& length)
{
    MakeRoom(kept);
    const std::size_t room = m_capacity - kept;
    ssize_t received = 0;
    do {
        received = recv(mnl_socket_get_fd(m_socket.get()), m_messages.get() + kept, room, MSG_TRUNC);
    } while (received < 0 && errno == EINTR);  // a signal
    if (received < 0) return errno;

    length = static_cast<std::size_t>(received);
    if (length > room) return ENOSPC;
    return length < sizeof(nlmsghdr) ? EPROTO : 0;
}

/// Makes room for another receive behind what is kept.
void Netlink::MakeRoom(std::size_t kept)
{
    if (m_capacity >= kept + m_room) return;

    const std::size_t capacity = 2 * kept + m_room;
    std::unique_ptr<std::byte[]> messages(
        new std::byte[capacity]);  // not filled: unused memory costs nothing
    if (kept != 0) std::memcpy(messages.get(), m_messages.get(), kept);
    m_messages = std::move(messages);
    m_capacity = capacity;
}

}  // namespace netinfo
