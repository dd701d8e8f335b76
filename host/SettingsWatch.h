#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/files/FileStamp.h"

namespace netinfo {

/// Tells once a second whether the settings may have changed, without reading them.
///
/// Threads: one at a time.
/// Errors:  a file that is not there is a file like any other, until it is there.
class SettingsWatch
{
public:
    /// So many calls after a change still tell of it: the platform looks at its files once a second at most,
    /// and may have looked just before.
    static constexpr int ECHOES = 2;

    explicit SettingsWatch(std::vector<std::string> paths) : m_paths(std::move(paths)), m_files(Look()) {}

    /// True if a file is another one, or was written, since the last call or one of the `ECHOES` before.
    bool Changed();

private:
    /// Nothing for a path where there is no file.
    std::vector<std::optional<FileStamp>> Look() const;

    std::vector<std::string> m_paths;
    std::vector<std::optional<FileStamp>> m_files;  ///< one for each path
    int m_echoes = 0;                               ///< still to come
};

}  // namespace netinfo
