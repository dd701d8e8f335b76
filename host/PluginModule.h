#pragma once

#include <memory>
#include <string>

#include "host/Result.h"
#include "plugin/HostInterfaces.h"
#include "plugin/Interfaces.h"

namespace netinfo {

/// The plug-in, from the loading of its module to its end.
///
/// Threads:   one host thread. The plug-in samples on a thread of its own as long as the object lives.
/// Ownership: owns the plug-in object; the container is borrowed and has to outlive this object. The services
///            are the plug-in's and end with it.
/// Errors:    a module that cannot be loaded, that lacks an entry point or a service, or that throws on the
///            way, is a failure of `Load`; nothing of it stays behind.
class PluginModule
{
public:
    /// Loads `path`, hands the plug-in its container, starts it and obtains both services.
    static Result<std::unique_ptr<PluginModule>> Load(const std::string& path, IPluginContainer& container);
    /// Destroys the engine (the figures are saved on the way), then the plug-in, then closes the module.
    ~PluginModule();
    PluginModule(const PluginModule&) = delete;
    PluginModule& operator=(const PluginModule&) = delete;

    INetInfoService& Traffic() { return *m_traffic; }
    INetInfoRecord& Records() { return *m_records; }

    /// Where the module is expected: beside the program as installed, or as built.
    static std::string DefaultPath();

private:
    using CreateFunction = IBasePlugin* (*)();
    using ReleaseFunction = void (*)();

    PluginModule() = default;
    std::string Start(IPluginContainer& container);
    IBaseInterface* Query(int number);

    void* m_handle = nullptr;              ///< owned; of dlopen
    ReleaseFunction m_release = nullptr;   ///< set once the plug-in object may exist
    IBasePlugin* m_plugin = nullptr;       ///< ended through `m_release`
    INetInfoService* m_traffic = nullptr;  ///< the plug-in's
    INetInfoRecord* m_records = nullptr;   ///< the plug-in's
};

}  // namespace netinfo
