#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/Commands.h"
#include "host/ControlMessage.h"
#include "host/Result.h"

namespace netinfo {

class ControlClient;

/// What a command needs for its answers where no service runs.
enum class Purpose
{
    Stored,  ///< files alone; also while a process that does not listen has the data
    Read,    ///< the plug-in, on a copy of the data
    Change   ///< the plug-in on the data itself; what it changed has to reach the disk
};

/// Who answers a command's requests: the service that owns the data directory, or else this process, by the
/// same routes. The plug-in is loaded for the first request that needs it, without siblings, so that nothing
/// is counted meanwhile.
///
/// Threads:   the main thread, before there is any other.
/// Errors:    a service that cannot be asked is a failure: what it has counted is not in the files yet. What
///            the plug-in throws passes through.
class Answerer
{
public:
    /// An empty `modulePath` means the module that belongs to this program.
    static Result<std::unique_ptr<Answerer>> Open(const std::string& modulePath, Purpose purpose);
    ~Answerer();
    Answerer(const Answerer&) = delete;
    Answerer& operator=(const Answerer&) = delete;

    Result<Json> Ask(const ControlRequest& request);
    /// True if a service answers.
    bool HasService() const { return m_client != nullptr; }
    /// Ends the plug-in if it was loaded; a failure if a change did not reach the disk.
    std::optional<Failure> End();

private:
    class Here;

    Answerer(const std::string& modulePath, Purpose purpose, std::unique_ptr<ControlClient> client);

    std::unique_ptr<ControlClient> m_client;  ///< null: this process answers
    std::unique_ptr<Here> m_here;
};

/// An answer as the text for people.
using AsText = std::function<std::string(const Json&)>;

/// Prints the document as JSON, or as text. The command's exit code.
int PrintAnswer(const Json& document, bool json, const AsText& asText);
/// Asks one question, ends the plug-in, and prints the answer. The command's exit code.
int AskAndPrint(const CommonOptions& options, Purpose purpose, const ControlRequest& request,
                const AsText& asText);

}  // namespace netinfo
