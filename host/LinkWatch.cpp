#include "host/LinkWatch.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace netinfo {
namespace {

constexpr unsigned GROUPS = RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

}  // namespace

LinkWatch::LinkWatch() : m_socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK))
{
    if (!m_socket) return;
    if (mnl_socket_bind(m_socket, GROUPS, MNL_SOCKET_AUTOPID) == 0) return;
    mnl_socket_close(m_socket);
    m_socket = nullptr;
}

LinkWatch::~LinkWatch()
{
    if (m_socket) mnl_socket_close(m_socket);
}

int LinkWatch::Descriptor() const { return m_socket ? mnl_socket_get_fd(m_socket) : -1; }

void LinkWatch::Drain()
{
    if (!m_socket) return;
    std::array<char, 32768> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the kernel
    while (true) {
        if (mnl_socket_recvfrom(m_socket, buffer.data(), buffer.size()) >= 0) continue;
        if (errno == ENOBUFS || errno == EINTR || errno == ENOSPC) continue;  // dropped, or cut: go on
        return;
    }
}

}  // namespace netinfo
