#include "host/ControlSocket.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "host/Format.h"
#include "host/RuntimeDirectory.h"
#include "platform/files/Descriptor.h"

namespace netinfo {

const std::size_t LONGEST_SOCKET_PATH = sizeof(sockaddr_un::sun_path) - 1;

namespace {

constexpr int WAITING_CONNECTIONS = 16;
constexpr mode_t FOR_OTHERS = 077;

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());  // the terminator is there already
    return address;
}

const sockaddr* Generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

Failure Cannot(const std::string& path, const std::string& reason)
{
    return {fmt::format("the control socket {} cannot be made: {}", Printable(path), reason)};
}

/// Makes our folder in the runtime directory, open to nobody else.
std::optional<Failure> MakePrivate(const std::string& folder)
{
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return Cannot(folder, std::strerror(errno));
    struct stat status
    {};
    const std::string name = folder.substr(0, folder.size() - 1);  // with the '/' a link would be followed
    if (lstat(name.c_str(), &status) != 0) return Cannot(folder, std::strerror(errno));
    if (!S_ISDIR(status.st_mode)) return Cannot(folder, "it is not a directory");
    if (status.st_uid != geteuid()) return Cannot(folder, "the directory belongs to another user");
    if ((status.st_mode & FOR_OTHERS) != 0 && chmod(folder.c_str(), 0700) != 0)
        return Cannot(folder, std::strerror(errno));
    return std::nullopt;
}

enum class Place
{
    Free,
    Taken  ///< somebody listens
};

/// Makes room for a socket at `path`, where a service that was killed may have left its own.
Result<Place> MakeRoom(const std::string& path)
{
    if (path.size() > LONGEST_SOCKET_PATH) {
        return Cannot(path, fmt::format("its name is longer than the {} bytes that a socket's can have",
                                        LONGEST_SOCKET_PATH));
    }
    struct stat status
    {};
    if (lstat(path.c_str(), &status) != 0)
        return errno == ENOENT ? Result<Place>(Place::Free) : Cannot(path, std::strerror(errno));
    if (!S_ISSOCK(status.st_mode)) return Cannot(path, "something that is no socket has its name");
    if (status.st_uid != geteuid()) return Cannot(path, "the socket of another user has its name");

    const ConnectedSocket other = ConnectTo(path);
    const Descriptor connection(other.descriptor);
    if (other.error != ECONNREFUSED) return Place::Taken;  // also one on which too many wait
    if (unlink(path.c_str()) != 0 && errno != ENOENT) return Cannot(path, std::strerror(errno));
    return Place::Free;
}

}  // namespace

Result<ControlSocket> ControlSocket::Listen(const std::string& dataDirectory)
{
    std::string folder = RuntimeDirectory();
    if (!folder.empty()) {
        folder += "netinfo/";
        if (const auto failure = MakePrivate(folder)) return *failure;
    }
    if (folder.size() + std::strlen("control.sock") > LONGEST_SOCKET_PATH) folder.clear();
    const bool shared = !folder.empty();
    if (!shared) folder = dataDirectory;

    // Of two services that find a dead one's socket, the second must not remove the first one's.
    const ::Descriptor turn(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!turn.IsOpen() || flock(turn.Get(), LOCK_EX) != 0) return Cannot(folder, std::strerror(errno));

    std::string path = folder + "control.sock";
    auto place = MakeRoom(path);
    if (place && *place == Place::Taken && shared) {
        struct stat status
        {};
        if (stat(dataDirectory.c_str(), &status) != 0) return Cannot(path, std::strerror(errno));
        path = fmt::format("{}control-{:x}-{:x}.sock", folder, status.st_dev, status.st_ino);
        place = MakeRoom(path);
    }
    if (!place) return place.Error();
    if (*place == Place::Taken) return Cannot(path, "another process listens on it");

    ::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = AddressOf(path);
    if (!listener.IsOpen()) return Cannot(path, std::strerror(errno));
    if (fchmod(listener.Get(), 0600) != 0) return Cannot(path, std::strerror(errno));  // of the name to be
    if (bind(listener.Get(), Generic(address), sizeof address) != 0)
        return Cannot(path, std::strerror(errno));
    struct stat status
    {};
    if (lstat(path.c_str(), &status) != 0) return Cannot(path, std::strerror(errno));

    ControlSocket result;
    result.m_descriptor = listener.Release();
    result.m_path = path;
    result.m_device = status.st_dev;
    result.m_inode = status.st_ino;
    if (listen(result.m_descriptor, WAITING_CONNECTIONS) != 0) return Cannot(path, std::strerror(errno));
    return result;
}

ControlSocket::ControlSocket(ControlSocket&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)),
      m_path(std::move(other.m_path)),
      m_device(other.m_device),
      m_inode(other.m_inode)
{}

ControlSocket& ControlSocket::operator=(ControlSocket&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_path, other.m_path);
    std::swap(m_device, other.m_device);
    std::swap(m_inode, other.m_inode);
    return *this;
}

ControlSocket::~ControlSocket()
{
    if (m_descriptor < 0) return;
    struct stat status
    {};
    const bool ours =
        lstat(m_path.c_str(), &status) == 0 && status.st_dev == m_device && status.st_ino == m_inode;
    if (ours) unlink(m_path.c_str());
    close(m_descriptor);
}

ConnectedSocket ConnectTo(const std::string& path)
{
    if (path.size() > LONGEST_SOCKET_PATH) return {-1, ENAMETOOLONG};
    const sockaddr_un address = AddressOf(path);
    Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!connection.IsOpen()) return {-1, errno};
    if (connect(connection.Get(), Generic(address), sizeof address) != 0) return {-1, errno};
    return {connection.Release(), 0};
}

Result<Peer> PeerOf(int descriptor)
{
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        return Failure{
            fmt::format("the system does not tell who is at the other end of the control socket: {}",
                        std::strerror(errno))};
    return Peer{credentials.pid, credentials.uid};
}

}  // namespace netinfo
