#include "host/Session.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <set>
#include <utility>

#include "host/Format.h"
#include "host/Output.h"
#include "host/Settings.h"
#include "host/StartChecks.h"
#include "platform/common/Directories.h"

namespace netinfo {
namespace {

/// Tells one saved file from the next: each save puts a new file in the place of the last.
struct FileStamp
{
    ino_t inode = 0;
    long long changed = 0;  ///< nanoseconds since 1970; 0: there is no file

    bool operator==(const FileStamp&) const = default;
};

FileStamp StampOf(const std::string& path)
{
    struct stat status
    {};
    if (stat(path.c_str(), &status) != 0) return {};
    return {status.st_ino, status.st_ctim.tv_sec * 1'000'000'000LL + status.st_ctim.tv_nsec};
}

}  // namespace

Result<std::unique_ptr<Session>> Session::Open(const std::string& modulePath, IPluginContainer& container)
{
    const std::string directory = UserDataDirectory();
    if (directory.empty())
        return Failure{"there is no data directory: neither HOME nor NETINFO_DATA_DIR is set"};
    if (!MakeDirectory(directory)) {
        return Failure{fmt::format("the data directory {} cannot be made", Printable(directory))};
    }
    auto lock = DataLock::Take(directory);
    if (!lock) return lock.Error();
    if (auto failure = CheckDataFiles(directory, ModuleDirectory())) return *failure;
    if (auto failure = CheckSettingsFiles(ConfigDirectory(), ModuleDirectory())) return *failure;

    for (const Setting& setting : ReadSettings()) {
        if (!setting.problem.empty()) Complain(setting.problem);
    }

    const std::set<std::string> before = SetAsideFiles(directory);
    auto module =
        PluginModule::Load(modulePath.empty() ? PluginModule::DefaultPath() : modulePath, container);
    if (!module) return module.Error();
    for (const std::string& file : SetAsideFiles(directory)) {
        if (before.count(file) != 0) continue;
        Complain(fmt::format("NetInfo.dat was damaged; it is kept as {}", Printable(file)));
    }
    return std::unique_ptr<Session>(new Session(directory, std::move(*lock), std::move(*module)));
}

std::optional<Failure> Session::End()
{
    const std::string path = m_directory + "NetInfo.dat";
    const FileStamp before = StampOf(path);
    m_module.reset();
    if (StampOf(path) != before) return std::nullopt;
    return Failure{fmt::format("the figures could not be saved in {}", Printable(path))};
}

}  // namespace netinfo
