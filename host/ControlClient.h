#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>

#include "host/ControlMessage.h"
#include "host/Result.h"

namespace netinfo {

/// How long a command waits for the service.
struct ClientPatience
{
    std::chrono::milliseconds start{500};     ///< for one that has the lock to listen
    std::chrono::milliseconds answer{3'000};  ///< for the answer to a request
};

/// Asks the service that owns a data directory.
///
/// Threads:   one.
/// Ownership: owns its connection, which serves one request after the other.
/// Errors:    a service that cannot be reached, is another user's or not that of the data directory, does not
///            answer in time, ends meanwhile or answers what is not understood is a failure with one line
///            that names the mend. Of a request that changes something it is then not known whether it was
///            done.
class ControlClient
{
public:
    /// The service of `dataDirectory` (which ends with '/'); null: nobody has its lock, so none runs. A
    /// process that has the lock and does not listen is a failure.
    static Result<std::unique_ptr<ControlClient>> Find(const std::string& dataDirectory,
                                                       ClientPatience patience = {});
    /// The service that listens on `socketPath`, which has to be the process of that number.
    static Result<std::unique_ptr<ControlClient>> Connect(const std::string& socketPath, pid_t process,
                                                          ClientPatience patience = {});
    ~ControlClient();
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;

    /// The document that the service answers with.
    Result<Json> Ask(const ControlRequest& request);
    /// The service's process.
    pid_t Process() const;

private:
    struct State;

    explicit ControlClient(std::unique_ptr<State> state);

    std::unique_ptr<State> m_state;
};

}  // namespace netinfo
