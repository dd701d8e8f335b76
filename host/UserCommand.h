#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace netinfo {

/// Runs commands of the user's beside the host and never waits for them.
///
/// A command gets a session of its own, so that no signal meant for the host reaches it, every signal as it
/// is by default, nothing to read, and standard error for all that it says. It may outlive the host.
///
/// Threads: one.
class UserCommand
{
public:
    using Variables = std::vector<std::pair<std::string, std::string>>;

    /// Has the shell execute `command`, with `variables` in its environment. What went wrong, if it did not
    /// start.
    std::optional<std::string> Start(const std::string& command, const Variables& variables);
    /// Takes note of the commands that have ended: what to tell of those that failed.
    std::vector<std::string> Reap();

private:
    std::vector<pid_t> m_running;
};

}  // namespace netinfo
