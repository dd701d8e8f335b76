#include "platform/dialup/Netlink.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace netinfo {
namespace {

constexpr int kAttempts = 5;
constexpr std::size_t kFirstPart = std::size_t{32} * 1024;  ///< what the kernel sends at most at a time, but
constexpr std::size_t kLargestPart = std::size_t{1} << 20;  ///< for a single larger message
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

int OnMessage(const nlmsghdr* message, void* data)
{
    auto& messages = *static_cast<std::vector<std::byte>*>(data);
    const auto* const bytes = reinterpret_cast<const std::byte*>(message);
    messages.insert(messages.end(), bytes, bytes + message->nlmsg_len);
    messages.resize((messages.size() + NLMSG_ALIGNTO - 1) / NLMSG_ALIGNTO * NLMSG_ALIGNTO);
    return MNL_CB_OK;
}

}  // namespace

void Netlink::Close::operator()(mnl_socket* socket) const { mnl_socket_close(socket); }

int Netlink::Dump(unsigned short type, std::vector<std::byte>& messages)
{
    int error = 0;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        messages.clear();
        error = DumpOnce(type, messages);
        if (error == 0) return 0;

        m_socket.reset();  // what is left of the answer goes with it
        if (error == ENOSPC && m_part.size() < kLargestPart) m_part.resize(2 * m_part.size());
        if (!WorthAnotherTry(error)) break;
    }
    return error;
}

int Netlink::Open()
{
    if (m_socket && m_owner == getpid()) return 0;

    m_socket.reset(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
    if (!m_socket) return errno;
    if (mnl_socket_bind(m_socket.get(), 0, MNL_SOCKET_AUTOPID) < 0) {
        const int error = errno;
        m_socket.reset();
        return error;
    }
    setsockopt(mnl_socket_get_fd(m_socket.get()), SOL_SOCKET, SO_RCVTIMEO, &kAnswerTime, sizeof(kAnswerTime));
    m_owner = getpid();
    if (m_part.empty()) m_part.resize(kFirstPart);
    return 0;
}

int Netlink::DumpOnce(unsigned short type, std::vector<std::byte>& messages)
{
    if (const int error = Open(); error != 0) return error;

    alignas(nlmsghdr) std::array<char, 64> request{};
    nlmsghdr* const header = mnl_nlmsg_put_header(request.data());
    header->nlmsg_type = type;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    header->nlmsg_seq = ++m_sequence;
    // A head of zeros asks for everything of every family.
    mnl_nlmsg_put_extra_header(header, type == RTM_GETLINK ? sizeof(ifinfomsg) : sizeof(rtmsg));
    if (mnl_socket_sendto(m_socket.get(), header, header->nlmsg_len) < 0) return errno;

    std::array<mnl_cb_t, NLMSG_MIN_TYPE> control{};
    control[NLMSG_ERROR] = OnError;
    control[NLMSG_DONE] = OnDone;
    const unsigned int port = mnl_socket_get_portid(m_socket.get());
    for (;;) {
        const ssize_t length = mnl_socket_recvfrom(m_socket.get(), m_part.data(), m_part.size());
        if (length < 0 && errno == EINTR) continue;  // a signal
        if (length < 0) return errno;

        const int result = mnl_cb_run2(m_part.data(), static_cast<std::size_t>(length), m_sequence, port,
                                       OnMessage, &messages, control.data(), control.size());
        if (result < 0) return errno;
        if (result == MNL_CB_STOP) return 0;
    }
}

}  // namespace netinfo
