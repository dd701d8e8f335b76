#include "host/ControlMessage.h"

#include <utility>

namespace netinfo {

ControlAnswer RefusedAnswer(const Failure& failure, int status)
{
    constexpr int BAD_REQUEST = 400;
    constexpr int SERVER_ERROR = 500;
    if (status == 0) status = failure.exitCode == EXIT_USAGE ? BAD_REQUEST : SERVER_ERROR;
    return {status, {{"error", failure.message}, {"exit_code", failure.exitCode}}};
}

Result<Json> DocumentOf(ControlAnswer answer)
{
    if (answer.status == 200) return std::move(answer.document);
    const Json& document = answer.document;
    if (!document.is_object() || !document.contains("error") || !document["error"].is_string())
        return Failure{"the service answers with an error that is not understood"};
    const bool usage = document.value("exit_code", Json()) == Json(EXIT_USAGE);
    return Failure{document["error"].get<std::string>(), usage ? EXIT_USAGE : EXIT_FAILED};
}

}  // namespace netinfo
