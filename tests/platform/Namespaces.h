#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_packet.h>
#include <linux/if_tun.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "platform/dialup/KernelLinks.h"

namespace nettest {

/// A network namespace of its own, empty but for its loopback, that goes when the object does. Its links send
/// nothing by themselves.
class Namespace
{
public:
    Namespace() : m_outside(Open())
    {
        if (unshare(CLONE_NEWNET) != 0) {
            m_error = errno;
            return;
        }
        m_inside = Open();
        for (const char* const links : {"all", "default"}) {
            std::ofstream("/proc/sys/net/ipv6/conf/" + std::string(links) + "/disable_ipv6") << 1;
        }
        setns(m_outside, CLONE_NEWNET);
    }
    ~Namespace()
    {
        close(m_outside);
        if (m_inside >= 0) close(m_inside);
    }
    Namespace(const Namespace&) = delete;
    Namespace& operator=(const Namespace&) = delete;

    /// 0, or why there is no namespace.
    int Error() const { return m_error; }

    /// Calls `action` with this thread in the namespace.
    void Do(const std::function<void()>& action) const
    {
        const int before = Open();
        setns(m_inside, CLONE_NEWNET);
        action();
        setns(before, CLONE_NEWNET);
        close(before);
    }

    /// Runs `ip` with these arguments in the namespace; false if it says no.
    bool Ip(const std::string& arguments) const
    {
        int status = -1;
        Do([&] { status = std::system(("ip " + arguments).c_str()); });
        return status == 0;
    }

    /// Sends so many bytes in frames of at most `frame` bytes out of a link; nobody listens to them.
    void Send(const std::string& link, std::size_t bytes, std::size_t frame = 1'000) const
    {
        Do([&] {
            const int socket = ::socket(AF_PACKET, SOCK_RAW, 0);
            ifreq request{};
            link.copy(request.ifr_name, IFNAMSIZ - 1);
            ASSERT_EQ(0, ioctl(socket, SIOCGIFINDEX, &request)) << link;
            sockaddr_ll to{};
            to.sll_family = AF_PACKET;
            to.sll_ifindex = request.ifr_ifindex;
            std::vector<unsigned char> data(frame);
            data[12] = 0x88;  // an EtherType for experiments
            data[13] = 0xB5;
            while (bytes > 0) {
                const std::size_t length =
                    bytes < 2 * frame && bytes > frame ? bytes / 2 : std::min(bytes, frame);
                const ssize_t sent = sendto(socket, data.data(), length, 0,
                                            reinterpret_cast<const sockaddr*>(&to), sizeof(to));
                if (sent < 0 && (errno == ENOBUFS || errno == EINTR)) continue;
                ASSERT_EQ(static_cast<ssize_t>(length), sent) << std::strerror(errno);
                bytes -= length;
            }
            close(socket);
        });
    }

    /// The kernel's counters of a link, read from its table for people.
    netinfo::ByteCounters Counters(const std::string& link) const
    {
        netinfo::ByteCounters counters;
        Do([&] {
            std::ifstream table("/proc/thread-self/net/dev");
            for (std::string line; std::getline(table, line);) {
                const std::size_t colon = line.find(':');
                if (colon == std::string::npos) continue;
                if (line.substr(line.find_first_not_of(' '), colon - line.find_first_not_of(' ')) != link)
                    continue;

                std::istringstream numbers(line.substr(colon + 1));
                std::vector<unsigned long long> columns;
                for (unsigned long long number = 0; numbers >> number;) {
                    columns.push_back(number);
                }
                counters = {columns.at(0), columns.at(8)};
            }
        });
        return counters;
    }

private:
    static int Open() { return open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC); }

    int m_outside;
    int m_inside = -1;
    int m_error = 0;
};

/// Hears what the kernel announces about the links of a namespace, from its own making on. A carrier that
/// comes or goes is announced by a worker of the kernel's, in its own time.
class LinkNews
{
public:
    explicit LinkNews(const Namespace& where)
    {
        where.Do([&] { m_socket = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE); });
        sockaddr_nl links{};
        links.nl_family = AF_NETLINK;
        links.nl_groups = RTMGRP_LINK;
        bind(m_socket, reinterpret_cast<const sockaddr*>(&links), sizeof links);
        const timeval limit{10, 0};
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~LinkNews() { close(m_socket); }
    LinkNews(const LinkNews&) = delete;
    LinkNews& operator=(const LinkNews&) = delete;

    /// Waits for the news that a link is up, or that it is not; false if that takes ten seconds.
    bool Await(const std::string& name, bool up)
    {
        std::vector<std::byte> news(65'536);
        for (;;) {
            const ssize_t length = recv(m_socket, news.data(), news.size(), 0);
            if (length < 0) return false;
            const auto links =
                netinfo::ParseLinks(netinfo::Bytes(news.data(), static_cast<std::size_t>(length)));
            for (const netinfo::KernelLink& link : links.value()) {
                if (link.name == name && netinfo::IsUp(link) == up) return true;
            }
        }
    }

private:
    int m_socket = -1;
};

/// A tunnel whose far end is this program, so that its links type and its traffic are the test's choice. It
/// is down at first and goes with the object.
class Tunnel
{
public:
    Tunnel(const Namespace& where, const std::string& name, unsigned short hardwareType = ARPHRD_NONE)
    {
        where.Do([&] {
            m_tunnel = open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK);
            ifreq request{};
            name.copy(request.ifr_name, IFNAMSIZ - 1);
            request.ifr_flags = IFF_TUN | IFF_NO_PI;
            if (m_tunnel >= 0 && ioctl(m_tunnel, TUNSETIFF, &request) == 0 &&
                ioctl(m_tunnel, TUNSETLINK, hardwareType) == 0) {
                return;
            }
            if (m_tunnel >= 0) close(m_tunnel);
            m_tunnel = -1;
        });
    }
    ~Tunnel()
    {
        if (m_tunnel >= 0) close(m_tunnel);
    }
    Tunnel(const Tunnel&) = delete;
    Tunnel& operator=(const Tunnel&) = delete;

    bool IsOpen() const { return m_tunnel >= 0; }

    /// Lets the link receive one packet of so many bytes that is for nobody.
    void Receive(std::size_t bytes)
    {
        std::vector<unsigned char> packet(bytes);
        packet[0] = 0x45;  // IPv4
        ASSERT_EQ(static_cast<ssize_t>(bytes), write(m_tunnel, packet.data(), bytes)) << std::strerror(errno);
    }

private:
    int m_tunnel = -1;
};

}  // namespace nettest
