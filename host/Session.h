#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/DataLock.h"
#include "host/PluginModule.h"
#include "host/Result.h"

namespace netinfo {

/// The plug-in at work on the user's data: the lock on the data directory, the checks, the module.
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

    INetInfoService& Traffic() { return m_module->Traffic(); }
    INetInfoRecord& Records() { return m_module->Records(); }

    /// Ends the plug-in, which saves on its way; a failure if nothing reached the disk. The services are gone
    /// afterwards.
    std::optional<Failure> End();

private:
    Session(std::string directory, DataLock lock, std::unique_ptr<PluginModule> module)
        : m_directory(std::move(directory)), m_lock(std::move(lock)), m_module(std::move(module))
    {}

    std::string m_directory;                 ///< of the data, ends with '/'
    DataLock m_lock;                         ///< given back after the module has saved
    std::unique_ptr<PluginModule> m_module;  ///< null once the session has ended
};

}  // namespace netinfo
