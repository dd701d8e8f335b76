#include "host/DataLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "host/Format.h"

namespace netinfo {
namespace {

Failure CannotWrite(const std::string& directory, int error)
{
    return {fmt::format("the data directory {} cannot be written: {}", Printable(directory),
                        std::strerror(error))};
}

/// The process id that the lock file holds; empty while its owner has not written it yet.
std::string ReadHolder(int descriptor)
{
    std::array<char, 32> buffer{};
    const ssize_t length = pread(descriptor, buffer.data(), buffer.size(), 0);
    if (length <= 0) return {};

    std::string text(buffer.data(), static_cast<std::size_t>(length));
    text.resize(text.find_first_not_of("0123456789") == std::string::npos
                    ? text.size()
                    : text.find_first_not_of("0123456789"));
    return text;
}

}  // namespace

Result<DataLock> DataLock::Take(const std::string& directory)
{
    // The figures are saved by replacing their file, which takes the right to write the directory.
    if (faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        return CannotWrite(directory, errno);
    }
    const std::string path = directory + "netinfo.lock";
    DataLock lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (lock.m_descriptor < 0) return CannotWrite(directory, errno);

    if (flock(lock.m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) return CannotWrite(directory, errno);
        const std::string holder = ReadHolder(lock.m_descriptor);
        return Failure{fmt::format("the data in {} is in use by {}", Printable(directory),
                                   holder.empty() ? "another process" : "process " + holder)};
    }
    const std::string text = fmt::format("{}\n", getpid());
    if (ftruncate(lock.m_descriptor, 0) != 0) return CannotWrite(directory, errno);
    if (pwrite(lock.m_descriptor, text.data(), text.size(), 0) < 0) return CannotWrite(directory, errno);
    return lock;
}

DataLock::DataLock(DataLock&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

DataLock& DataLock::operator=(DataLock&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

DataLock::~DataLock()
{
    if (m_descriptor >= 0) close(m_descriptor);
}

}  // namespace netinfo
