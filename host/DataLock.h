#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/Result.h"

namespace netinfo {

/// The right to write a data directory. One process at a time has it; the file "netinfo.lock" in the
/// directory holds that process's id as decimal text, and on the next line the path of the control socket if
/// the process listens on one.
///
/// The system takes the lock back when the process ends, however it ends. The file itself stays: removing it
/// would let two processes lock two files of the same name.
class DataLock
{
public:
    /// Takes the lock on `directory` (which ends with '/'). Fails, naming the holder, when another process
    /// has it, and when the directory cannot be written.
    static Result<DataLock> Take(const std::string& directory);

    /// Tells the other processes on which socket this one listens; empty: on none any more.
    std::optional<Failure> Announce(const std::string& socketPath);

    DataLock(DataLock&& other) noexcept;
    DataLock& operator=(DataLock&& other) noexcept;
    ~DataLock();

private:
    explicit DataLock(int descriptor) : m_descriptor(descriptor) {}

    int m_descriptor;  ///< owned; -1 once moved from
};

/// The process that has the lock on a data directory.
struct LockHolder
{
    pid_t process = 0;       ///< 0: it has not told yet
    std::string socketPath;  ///< empty: it listens on none, or has not told yet
};

/// Who has the lock on `directory` (which ends with '/'); none: nobody. Changes nothing, nor is it ever in
/// the way of a process that takes the lock.
Result<std::optional<LockHolder>> FindLockHolder(const std::string& directory);

/// "the data in <directory> is in use by process 4711".
Failure InUse(const std::string& directory, const LockHolder& holder);

}  // namespace netinfo
