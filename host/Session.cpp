#include "host/Session.h"

#include <fmt/format.h>

#include <cerrno>
#include <set>
#include <utility>

#include "host/Format.h"
#include "host/Output.h"
#include "host/Settings.h"
#include "host/StartChecks.h"
#include "platform/common/Directories.h"
#include "platform/files/FileStamp.h"

namespace netinfo {
namespace {

Failure CannotMake(const std::string& directory)
{
    return {fmt::format("the data directory {} cannot be made; set NETINFO_DATA_DIR to another one",
                        Printable(directory))};
}

}  // namespace

Failure NoDataDirectory() { return {"there is no data directory: neither HOME nor NETINFO_DATA_DIR is set"}; }

Result<std::unique_ptr<Session>> Session::Open(const std::string& modulePath, IPluginContainer& container)
{
    const std::string directory = UserDataDirectory();
    if (directory.empty()) return NoDataDirectory();
    if (!MakeDirectory(directory)) return CannotMake(directory);
    auto lock = DataLock::Take(directory);
    if (!lock) return lock.Error();
    if (auto failure = CheckDataFiles(directory, ModuleDirectory())) return *failure;

    std::unique_ptr<Session> session(new Session(directory, std::move(*lock), nullptr));
    if (auto failure = session->Load(modulePath, container)) return *failure;
    return session;
}

Result<std::unique_ptr<Session>> Session::OpenForReading(const std::string& modulePath,
                                                         IPluginContainer& container)
{
    const std::string directory = UserDataDirectory();
    if (directory.empty()) return NoDataDirectory();
    struct stat status
    {};
    if (stat(directory.c_str(), &status) != 0 && errno != ENOENT) return CannotMake(directory);
    if (auto failure = CheckDataFiles(directory, ModuleDirectory())) return *failure;
    auto copy = DataCopy::Make(directory);
    if (!copy) return copy.Error();

    std::unique_ptr<Session> session(new Session(directory, std::nullopt, std::move(*copy)));
    if (auto failure = session->Load(modulePath, container)) return *failure;
    return session;
}

std::optional<Failure> Session::Load(const std::string& modulePath, IPluginContainer& container)
{
    if (auto failure = CheckSettingsFiles(ConfigDirectory(), ModuleDirectory())) return failure;

    for (const Setting& setting : ReadSettings()) {
        if (!setting.problem.empty()) Complain(setting.problem);
    }

    const std::string& directory = m_copy ? m_copy->Directory() : m_directory;
    const std::set<std::string> before = SetAsideFiles(directory);
    auto module =
        PluginModule::Load(modulePath.empty() ? PluginModule::DefaultPath() : modulePath, container);
    if (!module) return module.Error();
    m_module = std::move(*module);
    for (const std::string& file : SetAsideFiles(directory)) {
        if (before.count(file) != 0) continue;
        Complain(m_copy ? "NetInfo.dat is damaged; netinfo run will set it aside and begin a new one"
                        : fmt::format("NetInfo.dat was damaged; it is kept as {}", Printable(file)));
    }
    return std::nullopt;
}

std::optional<Failure> Session::End()
{
    const std::string path = m_directory + "NetInfo.dat";
    const auto before = FileStamp::Of(path.c_str());
    m_module.reset();
    const bool isSaved = FileStamp::Of(path.c_str()) != before;  // each save puts a new file in its place
    if (m_copy || isSaved) return std::nullopt;
    return Failure{fmt::format("the figures could not be saved in {}", Printable(path))};
}

}  // namespace netinfo
