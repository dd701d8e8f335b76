#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace netinfo {

/// What a service manager wants to hear of a service that it has started.
inline constexpr std::string_view SERVICE_READY = "READY=1";
inline constexpr std::string_view SERVICE_STOPPING = "STOPPING=1";

/// Sends `state` to the service manager that the variable NOTIFY_SOCKET names: the path of a datagram socket,
/// or
/// "@" and a name without a place in the file system. Does nothing where there is no such variable, which is
/// how a program knows that nobody waits for it.
///
/// Threads: any, as long as none changes the environment.
/// Errors:  the reason why the state could not be sent, as text for people; nothing is tried again.
std::optional<std::string> TellServiceManager(std::string_view state);

}  // namespace netinfo
