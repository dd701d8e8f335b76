#include "host/ServiceManager.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/Format.h"

namespace netinfo {
namespace {

std::string Problem(std::string_view name, std::string_view reason)
{
    return fmt::format("the service manager at {} cannot be told: {}", Printable(name), reason);
}

}  // namespace

std::optional<std::string> TellServiceManager(std::string_view state)
{
    const char* const variable = secure_getenv("NOTIFY_SOCKET");
    if (!variable || *variable == '\0') return std::nullopt;

    const std::string_view name = variable;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.front() != '/' && name.front() != '@') return Problem(name, "it is neither a path nor a name");
    if (name.size() >= sizeof address.sun_path) return Problem(name, "the name is too long");
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name.front() == '@')
        address.sun_path[0] = '\0';  // a name begins with it and ends where it is said to
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());

    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return Problem(name, std::strerror(errno));
    const ssize_t sent = sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&address), length);
    const int error = errno;
    close(descriptor);
    if (sent < 0) return Problem(name, std::strerror(error));
    return std::nullopt;
}

}  // namespace netinfo
