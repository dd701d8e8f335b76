#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "host/ControlMessage.h"
#include "host/ControlSocket.h"
#include "host/Result.h"

namespace netinfo {

/// How much a client may ask of the service, and for how long.
struct ControlLimits
{
    unsigned connections = 16;                   ///< at a time; more wait
    std::size_t body = std::size_t{64} * 1024;   ///< bytes of a request's body
    std::chrono::milliseconds patience{10'000};  ///< for a request to come in and its answer to go out
};

/// Serves the control interface to this user's other processes: HTTP over a Unix-domain socket. It has no
/// thread and never waits; the host's loop lets it run when its descriptor is readable or its timeout is
/// over.
///
/// Threads:   one, on which `answer` is called, from inside `Run` only.
/// Ownership: owns the socket and the connections.
/// Errors:    a client that is slow, silent, gone, or another user's costs nothing but its own connection.
///            What `answer` throws is answered with status 500.
class ControlServer
{
public:
    using Answer = std::function<ControlAnswer(const ControlRequest&)>;

    static Result<std::unique_ptr<ControlServer>> Start(ControlSocket socket, Answer answer,
                                                        ControlLimits limits = {});
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    /// The path of the socket.
    const std::string& Path() const;
    /// Becomes readable when there is something to do.
    int Descriptor() const;
    /// After how many milliseconds `Run` has to be called at the latest; -1: only for the descriptor.
    int Timeout() const;
    /// Does what can be done now.
    void Run();

private:
    struct State;

    explicit ControlServer(std::unique_ptr<State> state);

    std::unique_ptr<State> m_state;
};

}  // namespace netinfo
