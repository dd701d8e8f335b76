#pragma once

#include <csignal>
#include <memory>
#include <string>

#include "host/Result.h"

namespace netinfo {

/// A copy of the data file for a plug-in that is only asked for its figures: it saves when it ends, sets a
/// damaged file aside, and must do neither to the user's data. As long as the copy is there, the process has
/// it for its data directory; the signals that would end the process wait until it is gone.
///
/// Threads:   made and ended on the main thread, while the process has no other.
/// Ownership: owns a directory of its own, which goes with it.
class DataCopy
{
public:
    /// `directory` ends with '/'; it may be missing, and so may the data file in it.
    static Result<std::unique_ptr<DataCopy>> Make(const std::string& directory);
    ~DataCopy();
    DataCopy(const DataCopy&) = delete;
    DataCopy& operator=(const DataCopy&) = delete;

    /// The copy's directory, ending with '/'.
    const std::string& Directory() const { return m_directory; }

private:
    explicit DataCopy(std::string directory);

    const std::string m_directory;
    std::string m_variable;  ///< as it was
    bool m_wasSet = false;   ///< the variable was there at all
    sigset_t m_signals{};    ///< the mask as it was
};

}  // namespace netinfo
