#include "platform/common/Directories.h"

#include <dlfcn.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

namespace netinfo {
namespace {

std::string Variable(const char* name)
{
    const char* value = secure_getenv(name);
    return value ? value : "";
}

std::string WithSlash(std::string path)
{
    if (!path.empty() && path.back() != '/') path += '/';
    return path;
}

bool IsAbsolute(const std::string& path) { return path.starts_with('/'); }

/// The home directory, ending with '/'; empty if there is none.
std::string HomeDirectory()
{
    if (const std::string home = Variable("HOME"); IsAbsolute(home)) return WithSlash(home);

    constexpr std::size_t ENOUGH = std::size_t{1} << 20;
    std::vector<char> memory(1024);
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    while ((error = getpwuid_r(geteuid(), &entry, memory.data(), memory.size(), &found)) == ERANGE) {
        if (memory.size() >= ENOUGH) break;
        memory.resize(memory.size() * 2);
    }
    if (error != 0 || !found || !found->pw_dir || !IsAbsolute(found->pw_dir)) return {};
    return WithSlash(found->pw_dir);
}

/// Our folder in the base directory that `variable` names, or in `customary` under the home directory.
std::string OurFolder(const char* variable, const char* customary)
{
    if (const std::string base = Variable(variable); IsAbsolute(base)) return WithSlash(base) + "netinfo/";

    const std::string home = HomeDirectory();
    if (home.empty()) return {};
    return home + customary + "/netinfo/";
}

/// The folder of the file that this code was loaded from.
std::string LoadedFrom()
{
    static const char anchor = 0;  // an address of ours that no program can replace
    Dl_info info{};
    if (dladdr(&anchor, &info) == 0 || !info.dli_fname) return {};
    std::error_code error;
    const std::filesystem::path library = std::filesystem::absolute(info.dli_fname, error);
    if (error) return {};
    return WithSlash(library.parent_path());
}

}  // namespace

std::string UserDataDirectory()
{
    if (const std::string own = Variable("NETINFO_DATA_DIR"); !own.empty()) return WithSlash(own);
    return OurFolder("XDG_DATA_HOME", ".local/share");
}

std::string ConfigDirectory()
{
    if (const std::string own = Variable("NETINFO_CONFIG_DIR"); !own.empty()) return WithSlash(own);
    return OurFolder("XDG_CONFIG_HOME", ".config");
}

std::string StateDirectory() { return OurFolder("XDG_STATE_HOME", ".local/state"); }

std::string ModuleDirectory()
{
    if (const std::string own = Variable("NETINFO_MODULE_DIR"); !own.empty()) return WithSlash(own);

    // Asked for once: a path that the loader knows relative to the working directory must not move with it.
    static const std::string* const folder = new std::string(LoadedFrom());
    return *folder;
}

bool MakeDirectory(const std::string& path)
{
    struct stat status
    {};
    if (stat(path.c_str(), &status) == 0) return S_ISDIR(status.st_mode);

    for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        mkdir(path.substr(0, end).c_str(), S_IRWXU);  // most of them exist; the last look tells
    }
    mkdir(path.c_str(), S_IRWXU);
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace netinfo
