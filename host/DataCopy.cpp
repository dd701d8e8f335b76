#include "host/DataCopy.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/Format.h"
#include "host/RuntimeDirectory.h"

namespace netinfo {
namespace {

constexpr const char* VARIABLE = "NETINFO_DATA_DIR";

}  // namespace

DataCopy::DataCopy(std::string directory) : m_directory(std::move(directory))
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
        sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, &m_signals);

    const char* const value = std::getenv(VARIABLE);
    m_wasSet = value != nullptr;
    if (value) m_variable = value;
    setenv(VARIABLE, m_directory.c_str(), 1);
}

DataCopy::~DataCopy()
{
    if (m_wasSet) {
        setenv(VARIABLE, m_variable.c_str(), 1);
    } else {
        unsetenv(VARIABLE);
    }
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
    pthread_sigmask(SIG_SETMASK, &m_signals, nullptr);
}

Result<std::unique_ptr<DataCopy>> DataCopy::Make(const std::string& directory)
{
    std::error_code error;
    std::string place = RuntimeDirectory();
    if (place.empty()) place = std::filesystem::temp_directory_path(error).string() + "/";
    std::string name = place + "netinfo-XXXXXX";
    if (!error && !mkdtemp(name.data())) error.assign(errno, std::generic_category());
    if (error) {
        return Failure{fmt::format("no directory for a copy of the data can be made in {}: {}",
                                   Printable(place), error.message())};
    }
    std::unique_ptr<DataCopy> copy(new DataCopy(name + "/"));
    const std::string original = directory + "NetInfo.dat";
    std::filesystem::copy_file(original, copy->Directory() + "NetInfo.dat", error);
    if (!error || error == std::errc::no_such_file_or_directory) return copy;
    return Failure{fmt::format("{} cannot be copied: {}", Printable(original), error.message())};
}

}  // namespace netinfo
