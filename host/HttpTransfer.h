#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace netinfo {

/// One HTTP request over a Unix-domain socket.
struct HttpRequest
{
    std::string socketPath;
    std::string method;
    std::string path;
    std::map<std::string, std::string> query{};  ///< not escaped
    std::string body{};                          ///< empty: none
    std::vector<std::string> headers{};          ///< "Name: value"
    std::chrono::milliseconds patience{};        ///< for all of it
    /// Whether anything may be said to whoever is at the other end of the connection.
    std::function<bool(int descriptor)> trusts{};
};

struct HttpOutcome
{
    enum class Kind
    {
        Answered,
        Unreachable,  ///< nobody listens
        Untrusted,    ///< by the request
        TimedOut,
        CutShort,       ///< the connection ended before the answer did
        NotUnderstood,  ///< it is no HTTP, or too long
        NoMemory
    };
    Kind kind = Kind::NotUnderstood;
    int status = 0;    ///< of HTTP
    std::string body;  ///< of the answer
};

/// Does one request after the other, over one connection while the other end keeps it open. It is in a module
/// of its own, NetInfoClient.so: what it needs for HTTP would be several megabytes of libraries in the memory
/// of a service that never asks anybody.
///
/// Threads: one. Ownership: owns its connection.
class HttpTransfer
{
public:
    virtual ~HttpTransfer() = default;
    virtual HttpOutcome Perform(const HttpRequest& request) = 0;
};

/// What the module exports under the name NewHttpTransfer; null: there is no memory.
using NewHttpTransferFunction = HttpTransfer* (*)();

}  // namespace netinfo
