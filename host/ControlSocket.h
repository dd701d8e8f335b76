#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "host/Result.h"

namespace netinfo {

/// The Unix-domain socket on which the service of one data directory listens.
///
/// It is "control.sock" in $XDG_RUNTIME_DIR/netinfo/. If the service of another data directory has that
/// name, it is "control-<device>-<inode>.sock" beside it, by the numbers of the data directory. Without a
/// runtime directory of this user's own it is "control.sock" in the data directory. Nobody but the user may
/// connect: the socket has mode 0600, its directory 0700.
///
/// Threads:   one.
/// Ownership: owns the descriptor and the name; the name goes with the object, unless somebody else's socket
///            has it by then.
/// Errors:    a name that is too long for a socket, a directory that cannot be made, and anything in the
///            name's place but a socket of ours that nobody listens on, are failures of `Listen`.
class ControlSocket
{
public:
    /// `dataDirectory` ends with '/', exists, and belongs to this process by its lock.
    static Result<ControlSocket> Listen(const std::string& dataDirectory);

    ControlSocket(ControlSocket&& other) noexcept;
    ControlSocket& operator=(ControlSocket&& other) noexcept;
    ~ControlSocket();

    const std::string& Path() const { return m_path; }
    int Descriptor() const { return m_descriptor; }

private:
    ControlSocket() = default;

    int m_descriptor = -1;  ///< owned; -1 once moved from
    std::string m_path;
    dev_t m_device = 0;  ///< of the name, as made
    ino_t m_inode = 0;   ///< of the name, as made
};

/// The longest path that a socket can have, in bytes.
extern const std::size_t LONGEST_SOCKET_PATH;

/// The process at the other end of a connection, as of its beginning.
struct Peer
{
    pid_t process = 0;  ///< 0: not visible from here
    uid_t user = 0;
};

/// Connects to the socket at `path` without waiting. The descriptor is the caller's.
struct ConnectedSocket
{
    int descriptor = -1;  ///< -1: not connected
    int error = 0;        ///< why not
};
ConnectedSocket ConnectTo(const std::string& path);

/// Who is at the other end; a failure if the system does not tell.
Result<Peer> PeerOf(int descriptor);

}  // namespace netinfo
