#include "platform/files/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/files/Descriptor.h"

namespace {

namespace fs = std::filesystem;

/// Calls again what a signal has interrupted.
template <typename Call>
auto Retry(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// A file of a name not used before, mode 0600; gone again unless it took another file's place.
class NewFile
{
public:
    explicit NewFile(std::string pattern)
        : m_path(std::move(pattern)), m_file(mkostemp(m_path.data(), O_CLOEXEC)), m_remains(m_file.IsOpen())
    {}
    ~NewFile()
    {
        if (!m_remains) return;
        const int reason = errno;
        unlink(m_path.c_str());
        errno = reason;
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool IsOpen() const { return m_file.IsOpen(); }

    bool TakeOwnershipAndMode(const struct stat& model)
    {
        struct stat own = {};
        if (fstat(m_file.Get(), &own) != 0) return false;
        const bool same = own.st_uid == model.st_uid && own.st_gid == model.st_gid;
        if (!same && fchown(m_file.Get(), model.st_uid, model.st_gid) != 0) return false;
        return fchmod(m_file.Get(), model.st_mode & 07777) == 0;
    }

    bool Write(std::string_view content)
    {
        while (!content.empty()) {
            const auto written = Retry([&] { return write(m_file.Get(), content.data(), content.size()); });
            if (written <= 0) return false;
            content.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }

    bool Flush()
    {
        return Retry([&] { return fsync(m_file.Get()); }) == 0 && m_file.Close();
    }

    bool MoveTo(const fs::path& target)
    {
        if (rename(m_path.c_str(), target.c_str()) != 0) return false;
        m_remains = false;
        return true;
    }

private:
    std::string m_path;
    Descriptor m_file;
    bool m_remains;
};

/// Where `path` leads in the end, which need not exist; nothing for links in a circle.
std::optional<fs::path> FollowLinks(fs::path path)
{
    constexpr int MOST_LINKS = 40;  // as many as the kernel follows

    std::error_code error;
    for (int link = 0; link < MOST_LINKS; ++link) {
        if (!fs::is_symlink(fs::symlink_status(path, error))) return path;
        const fs::path target = fs::read_symlink(path, error);
        if (error) return std::nullopt;
        path = path.parent_path() / target;
    }
    return std::nullopt;
}

/// Puts the entries of a directory on disk. Some file systems have no such operation, and need none.
bool FlushDirectory(const Descriptor& directory)
{
    return Retry([&] { return fsync(directory.Get()); }) == 0 || errno == EINVAL;
}

}  // namespace

std::optional<std::string> ReadFileWhole(const std::string& path, std::size_t limit)
{
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen()) return std::nullopt;

    struct stat status = {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > limit) return std::nullopt;

    std::string content(size, '\0');
    for (std::size_t done = 0; done < size;) {
        const auto got = Retry([&] { return read(file.Get(), content.data() + done, size - done); });
        if (got <= 0) return std::nullopt;
        done += static_cast<std::size_t>(got);
    }
    return content;
}

bool ReplaceFileWhole(const std::string& path, std::string_view content)
{
    const std::optional<fs::path> target = FollowLinks(path);
    errno = target ? EINVAL : ELOOP;
    if (!target || !target->has_filename()) return false;

    // Opened for writing, but not written: what may not be written may not be replaced either.
    const Descriptor old(open(target->c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!old.IsOpen() && errno != ENOENT) return false;
    struct stat status = {};
    if (old.IsOpen() && fstat(old.Get(), &status) != 0) return false;
    errno = EINVAL;
    if (old.IsOpen() && !S_ISREG(status.st_mode)) return false;

    const fs::path folder = target->has_parent_path() ? target->parent_path() : fs::path(".");
    const Descriptor directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.IsOpen()) return false;

    constexpr std::size_t MOST_OF_NAME = 200;  // leaves room for the suffix in a file name of 255 bytes
    NewFile beside(folder / (target->filename().string().substr(0, MOST_OF_NAME) + ".new-XXXXXX"));
    if (!beside.IsOpen()) return false;
    if (old.IsOpen() && !beside.TakeOwnershipAndMode(status)) return false;
    if (!beside.Write(content) || !beside.Flush()) return false;
    if (!beside.MoveTo(*target)) return false;
    return FlushDirectory(directory);
}
