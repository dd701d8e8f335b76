#include "host/StartChecks.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/Format.h"

namespace netinfo {
namespace {

std::optional<Failure> CheckReadable(const std::string& path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0 && errno == ENOENT) return std::nullopt;

    char byte = 0;
    const bool readable = file >= 0 && read(file, &byte, 1) >= 0;
    const int error = errno;
    if (file >= 0) close(file);
    if (readable) return std::nullopt;
    return Failure{fmt::format("{} cannot be read: {}", Printable(path), std::strerror(error))};
}

}  // namespace

std::optional<Failure> CheckFiles(const std::string& dataDirectory, const std::string& configDirectory,
                                  const std::string& moduleDirectory)
{
    const std::array<std::string, 4> paths{
        dataDirectory + "NetInfo.dat", configDirectory + "DataUsageLimit.ini",
        moduleDirectory + "DataUsageLimit.ini", moduleDirectory + "SysSetting.xml"};
    for (const std::string& path : paths) {
        if (auto failure = CheckReadable(path)) return failure;
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
