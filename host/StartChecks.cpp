#include "host/StartChecks.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "host/Format.h"

namespace netinfo {
namespace {

Failure CannotRead(const std::string& path, const std::string& reason)
{
    return {fmt::format("{} cannot be read: {}", Printable(path), reason)};
}

std::optional<Failure> CheckReadable(const std::string& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0 && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
    if (file < 0) return CannotRead(path, std::strerror(errno));

    struct stat status
    {};
    char byte = 0;
    const bool regular = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    const bool readable = read(file, &byte, 1) >= 0;
    const int error = errno;
    close(file);
    if (!regular) return CannotRead(path, "not a regular file");
    if (!readable) return CannotRead(path, std::strerror(error));
    return std::nullopt;
}

/// A settings file that is no text has no settings for the plug-in, so it is as good as unreadable.
std::optional<Failure> CheckText(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (text.find('\0') != std::string::npos) return CannotRead(path, "not a text file");
    return std::nullopt;
}

}  // namespace

std::optional<Failure> CheckDataFiles(const std::string& dataDirectory, const std::string& moduleDirectory)
{
    if (auto failure = CheckReadable(dataDirectory + "NetInfo.dat")) return failure;
    return CheckReadable(moduleDirectory + "SysSetting.xml");
}

std::optional<Failure> CheckSettingsFiles(const std::string& configDirectory,
                                          const std::string& moduleDirectory)
{
    for (const std::string& directory : {configDirectory, moduleDirectory}) {
        const std::string path = directory + "DataUsageLimit.ini";
        if (auto failure = CheckReadable(path)) return failure;
        if (auto failure = CheckText(path)) return failure;
    }
    return std::nullopt;
}

std::set<std::string> SetAsideFiles(const std::string& dataDirectory)
{
    std::set<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(dataDirectory, error)) {
        if (entry.path().filename().string().starts_with("NetInfo.dat.bad-")) files.insert(entry.path());
    }
    return files;
}

}  // namespace netinfo
