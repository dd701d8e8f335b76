#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/DataCopy.h"
#include "host/DataLock.h"
#include "host/PluginModule.h"
#include "host/Result.h"

namespace netinfo {

/// What is said where the environment names no data directory.
Failure NoDataDirectory();

/// The plug-in at work on the user's data: the lock on the data directory, the checks, the module. One that
/// is only to read works on a copy, needs no lock, and changes nothing.
///
/// Threads:   one host thread.
/// Ownership: the container is borrowed and has to outlive the session. The end of the session saves the
///            figures and gives the lock back.
/// Errors:    whatever keeps the plug-in from working on good data is a failure of `Open`. What the user has
///            to know but can go on with is told on standard error.
class Session
{
public:
    /// An empty `modulePath` means the module that belongs to this program.
    static Result<std::unique_ptr<Session>> Open(const std::string& modulePath, IPluginContainer& container);
    static Result<std::unique_ptr<Session>> OpenForReading(const std::string& modulePath,
                                                           IPluginContainer& container);

    INetInfoService& Traffic() { return m_module->Traffic(); }
    INetInfoRecord& Records() { return m_module->Records(); }

    const std::string& Directory() const { return m_directory; }
    /// Tells other processes on which socket this one listens; empty: on none any more.
    std::optional<Failure> Announce(const std::string& socketPath) { return m_lock->Announce(socketPath); }

    /// Ends the plug-in, which saves on its way; a failure if nothing reached the disk that should have. The
    /// services are gone afterwards.
    std::optional<Failure> End();

private:
    Session(std::string directory, std::optional<DataLock> lock, std::unique_ptr<DataCopy> copy)
        : m_directory(std::move(directory)), m_lock(std::move(lock)), m_copy(std::move(copy))
    {}
    std::optional<Failure> Load(const std::string& modulePath, IPluginContainer& container);

    std::string m_directory;                 ///< of the data, ends with '/'
    std::optional<DataLock> m_lock;          ///< given back after the module has saved; none: only to read
    std::unique_ptr<DataCopy> m_copy;        ///< what the module has instead of the data; null: the data
    std::unique_ptr<PluginModule> m_module;  ///< null once the session has ended
};

}  // namespace netinfo
