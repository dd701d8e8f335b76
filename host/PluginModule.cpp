#include "host/PluginModule.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <array>
#include <exception>
#include <filesystem>
#include <system_error>

#include "host/Format.h"

namespace netinfo {
namespace {

std::string LoadError()
{
    const char* const text = dlerror();
    return Printable(text ? text : "unknown reason");
}

/// A path that the loader does not look for in its own folders.
std::string WithFolder(const std::string& path)
{
    return path.find('/') == std::string::npos ? "./" + path : path;
}

}  // namespace

Result<std::unique_ptr<PluginModule>> PluginModule::Load(const std::string& path, IPluginContainer& container)
{
    std::unique_ptr<PluginModule> module(new PluginModule);
    // The code stays mapped after dlclose: should the sampling thread hang in the system while the engine is
    // destroyed, it must not come back to nothing.
    module->m_handle = dlopen(WithFolder(path).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!module->m_handle) return Failure{fmt::format("the module cannot be loaded: {}", LoadError())};

    std::string problem;
    try {
        problem = module->Start(container);
    } catch (const std::exception& exception) {
        problem = fmt::format("throws while it starts: {}", Printable(exception.what()));
    } catch (...) {
        problem = "throws while it starts";
    }
    if (!problem.empty()) return Failure{fmt::format("the module {} {}", Printable(path), problem)};
    return module;
}

/// What is wrong with the module; empty once everything is there.
std::string PluginModule::Start(IPluginContainer& container)
{
    const auto create = reinterpret_cast<CreateFunction>(dlsym(m_handle, "CreatePlugin"));
    const auto release = reinterpret_cast<ReleaseFunction>(dlsym(m_handle, "ReleasePlugin"));
    if (!create) return "is no plug-in: it has no CreatePlugin";
    if (!release) return "is no plug-in: it has no ReleasePlugin";

    m_release = release;
    m_plugin = create();
    if (!m_plugin) return "makes no plug-in";
    m_plugin->SetPluginContainer(&container);
    if (!m_plugin->Init()) return "cannot be started";

    m_traffic = static_cast<INetInfoService*>(Query(NETINFO_INTERFACE_SERVICE));
    m_records = static_cast<INetInfoRecord*>(Query(NETINFO_INTERFACE_RECORD));
    if (!m_traffic) return "offers no traffic service";
    if (!m_records) return "offers no record service";
    return {};
}

IBaseInterface* PluginModule::Query(int number)
{
    IBaseInterface* service = nullptr;
    if (!m_plugin->QueryInterface(number, &service)) return nullptr;
    return service;
}

PluginModule::~PluginModule()
{
    // Each step is tried whatever became of the one before it.
    try {
        if (m_plugin) m_plugin->OnDestroy();
    } catch (...) {
        m_traffic = nullptr;
    }
    try {
        if (m_release) m_release();
    } catch (...) {
        m_plugin = nullptr;
    }
    if (m_handle) dlclose(m_handle);
}

std::string PluginModule::DefaultPath()
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const fs::path root = program.parent_path().parent_path();
    const std::array<fs::path, 3> folders{root / NETINFO_LIBDIR, root / "lib/netinfo",
                                          root / "lib64/netinfo"};
    for (const fs::path& folder : folders) {
        const fs::path module = folder / "NetInfoSrvPlugin.so";
        if (fs::exists(module, error)) return module;
    }
    return folders.front() / "NetInfoSrvPlugin.so";
}

}  // namespace netinfo
