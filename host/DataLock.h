#pragma once

#include <string>

#include "host/Result.h"

namespace netinfo {

/// The right to write a data directory. One process at a time has it; the file "netinfo.lock" in the
/// directory holds that process's id as decimal text.
///
/// The system takes the lock back when the process ends, however it ends. The file itself stays: removing it
/// would let two processes lock two files of the same name.
class DataLock
{
public:
    /// Takes the lock on `directory` (which ends with '/'). Fails, naming the holder, when another process
    /// has it, and when the directory cannot be written.
    static Result<DataLock> Take(const std::string& directory);

    DataLock(DataLock&& other) noexcept;
    DataLock& operator=(DataLock&& other) noexcept;
    ~DataLock();

private:
    explicit DataLock(int descriptor) : m_descriptor(descriptor) {}

    int m_descriptor;  ///< owned; -1 once moved from
};

}  // namespace netinfo
