#pragma once

#include <sys/types.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nettest {

/// A system call that a traced process is about to make.
struct SystemCall
{
    long number = -1;  ///< SYS_...
    std::array<unsigned long, 6> arguments{};
    pid_t thread = 0;

    /// The name of a call that works on files; any other call's number.
    std::string Name() const;
    bool WorksOnFiles() const;
    /// The text at the address that is argument `index`, in the traced process; nothing if there is none.
    std::optional<std::string> Text(std::size_t index) const;
};

/// What is to happen to a system call.
struct Fault
{
    enum class Kind
    {
        KillBefore,  ///< SIGKILL before the call does anything
        KillAfter,   ///< SIGKILL once it has done its work
        Fail,        ///< it does nothing and reports `error`
        Shorten      ///< a read or write of at least two bytes does half of it
    };
    Kind kind;
    int error = 0;  ///< errno
};

/// How a traced process ended.
struct TracedEnd
{
    std::vector<SystemCall> calls;  ///< all that were begun, in order
    int status = 0;                 ///< the exit code, or minus the signal
};

/// Sees each system call before it is made, with its index from 0, and says what is to happen to it.
using OnSystemCall = std::function<std::optional<Fault>(const SystemCall&, std::size_t index)>;

/// Whether processes can be traced here and their calls be changed; false, with the reason, if not.
bool CanTraceSystemCalls(std::string& reason);

/// Does `work` in a child process, from whose first system call in `work` to its end every one is shown to
/// `onCall`. The child has a copy of this process's memory and one thread; it ends after `work` without
/// destroying anything. `work`'s result is its exit code.
TracedEnd TraceWork(const std::function<int()>& work, const OnSystemCall& onCall);

/// Runs a program with this test's environment and shows the system calls of all its threads and children to
/// `onCall`; the result is about the first process.
TracedEnd TraceProgram(const std::vector<std::string>& words, const OnSystemCall& onCall);

}  // namespace nettest
