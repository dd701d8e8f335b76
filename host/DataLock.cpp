#include "host/DataLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "host/Format.h"
#include "platform/files/Planted.h"

namespace netinfo {
namespace {

Failure CannotWrite(const std::string& directory, int error)
{
    return {
        fmt::format("the data directory {} cannot be written: {}; make it writable or set NETINFO_DATA_DIR",
                    Printable(directory), std::strerror(error))};
}

/// What the lock file says; nothing while its owner has not written it yet.
LockHolder ReadHolder(int descriptor)
{
    std::array<char, 256> buffer{};
    const ssize_t length = pread(descriptor, buffer.data(), buffer.size(), 0);
    const std::string_view text(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));

    LockHolder holder;
    unsigned long long number = 0;
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (!ParseDigits(text.substr(0, digits), number) || number > std::numeric_limits<pid_t>::max()) return {};
    holder.process = static_cast<pid_t>(number);
    const std::string_view rest = text.substr(digits);
    if (rest.starts_with('\n') && rest.size() > 2 && rest.ends_with('\n'))
        holder.socketPath = rest.substr(1, rest.size() - 2);
    return holder;
}

/// One lock for all of the file, which goes with the descriptor, not with the process.
struct flock WholeFile(short kind)
{
    struct flock lock
    {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    return lock;
}

/// Puts `text` in the place of what the file says, which readers never see empty meanwhile. 0, or the error
/// number of the system.
int Rewrite(int descriptor, const std::string& text)
{
    if (pwrite(descriptor, text.data(), text.size(), 0) < 0) return errno;
    if (ftruncate(descriptor, static_cast<off_t>(text.size())) != 0) return errno;
    return 0;
}

}  // namespace

Result<DataLock> DataLock::Take(const std::string& directory)
{
    // The figures are saved by replacing their file, which takes the right to write the directory.
    if (faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        return CannotWrite(directory, errno);
    }
    const std::string path = directory + "netinfo.lock";
    if (IsPlanted(path)) return CannotWrite(directory, EACCES);  // its content would go
    DataLock lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (lock.m_descriptor < 0) return CannotWrite(directory, errno);

    struct flock all = WholeFile(F_WRLCK);
    if (fcntl(lock.m_descriptor, F_OFD_SETLK, &all) != 0) {
        if (errno != EAGAIN && errno != EACCES) return CannotWrite(directory, errno);
        return InUse(directory, ReadHolder(lock.m_descriptor));
    }
    // First of all nothing, for the last owner's socket must not be taken for ours.
    if (ftruncate(lock.m_descriptor, 0) != 0) return CannotWrite(directory, errno);
    if (const int error = Rewrite(lock.m_descriptor, fmt::format("{}\n", getpid())))
        return CannotWrite(directory, error);
    return lock;
}

std::optional<Failure> DataLock::Announce(const std::string& socketPath)
{
    std::string text = fmt::format("{}\n", getpid());
    if (!socketPath.empty()) text += socketPath + "\n";
    if (const int error = Rewrite(m_descriptor, text))
        return Failure{fmt::format("the lock file cannot be written: {}", std::strerror(error))};
    return std::nullopt;
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

Result<std::optional<LockHolder>> FindLockHolder(const std::string& directory)
{
    const std::string path = directory + "netinfo.lock";
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0 && (errno == ENOENT || errno == ENOTDIR)) return std::optional<LockHolder>();
    if (file < 0) return Failure{fmt::format("{} cannot be read: {}", Printable(path), std::strerror(errno))};

    struct flock all = WholeFile(F_RDLCK);
    const bool asked = fcntl(file, F_OFD_GETLK, &all) == 0;
    const int error = errno;
    std::optional<LockHolder> holder;
    if (asked && all.l_type == F_WRLCK) holder = ReadHolder(file);
    close(file);
    if (!asked) return Failure{fmt::format("{} cannot be read: {}", Printable(path), std::strerror(error))};
    return holder;
}

Failure InUse(const std::string& directory, const LockHolder& holder)
{
    return {fmt::format("the data in {} is in use by {}", Printable(directory),
                        holder.process == 0 ? "another process" : fmt::format("process {}", holder.process))};
}

}  // namespace netinfo
