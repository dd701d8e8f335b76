#include "platform/common/ReplaceFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace netinfo {
namespace {

/// What `path` leads to when it is a symbolic link, or a chain of them; the end may not exist yet.
std::optional<std::string> FollowLinks(std::filesystem::path path)
{
    constexpr int LONGEST_CHAIN = 40;  // as the kernel has it
    for (int i = 0; i < LONGEST_CHAIN; ++i) {
        std::error_code error;
        const std::filesystem::path target = std::filesystem::read_symlink(path, error);
        if (error) return path.string();
        path = path.parent_path() / target;
    }
    return std::nullopt;
}

bool WriteAll(int descriptor, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(descriptor, content.data(), content.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// Gives the file the owner and mode of the one that it will replace.
bool TakeOver(int descriptor, const struct stat& previous)
{
    mode_t mode = previous.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    const bool kept = fchown(descriptor, previous.st_uid, previous.st_gid) == 0 ||
                      fchown(descriptor, static_cast<uid_t>(-1), previous.st_gid) == 0;
    if (!kept) mode &= static_cast<mode_t>(~S_IRWXG);  // what was for that group is not for ours
    return fchmod(descriptor, mode) == 0;
}

}  // namespace

Descriptor::~Descriptor()
{
    if (m_descriptor >= 0) close(m_descriptor);
}

std::optional<struct stat> ReplaceFile(const std::string& path, std::string_view content)
{
    const std::optional<std::string> target = FollowLinks(path);
    if (!target) {
        errno = ELOOP;
        return std::nullopt;
    }
    std::string temporary = *target + ".XXXXXX";
    const Descriptor file(mkostemp(temporary.data(), O_CLOEXEC));  // with mode 0600
    if (!file) return std::nullopt;

    struct stat previous
    {};
    struct stat written
    {};
    const bool replaced = (stat(target->c_str(), &previous) != 0 || TakeOver(file.Get(), previous)) &&
                          WriteAll(file.Get(), content) && fsync(file.Get()) == 0 &&
                          std::rename(temporary.c_str(), target->c_str()) == 0 &&
                          fstat(file.Get(), &written) == 0;
    if (!replaced) {
        const int error = errno;
        unlink(temporary.c_str());
        errno = error;
        return std::nullopt;
    }
    const std::string directory = std::filesystem::path(*target).parent_path();
    const Descriptor entry(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (entry) fsync(entry.Get());  // the rename itself; a file system that cannot has done it already
    return written;
}

}  // namespace netinfo
