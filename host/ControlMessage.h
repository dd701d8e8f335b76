#pragma once

#include <map>
#include <string>

#include "host/Json.h"
#include "host/Result.h"

namespace netinfo {

/// The header in which a client may name its directory of the settings, so that a service with other settings
/// does not answer.
inline constexpr const char* SETTINGS_HEADER = "Netinfo-Settings";

/// What a command asks of the process that owns the data. docs/control-interface.md lists what there is.
struct ControlRequest
{
    std::string method;                          ///< GET, POST, PUT or DELETE
    std::string path;                            ///< such as "/v1/status"
    std::map<std::string, std::string> query{};  ///< parameters, decoded
    Json body{};                                 ///< null: none
};

/// What it is answered: the document that was asked for, or "error" and "exit_code".
struct ControlAnswer
{
    int status = 200;  ///< of HTTP
    Json document{};
    std::string allowed{};  ///< with status 405: the methods that the path takes
};

/// The answer to a request that failed. A `status` of 0 is the customary one of the failure.
ControlAnswer RefusedAnswer(const Failure& failure, int status = 0);
/// The document of an answer, or the failure that it tells of.
Result<Json> DocumentOf(ControlAnswer answer);

}  // namespace netinfo
