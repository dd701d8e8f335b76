#include "platform/files/WholeFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include "platform/files/Descriptor.h"
#include "platform/files/Planted.h"

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

/// A descriptor, or -1.
int Open(const fs::path& path, int flags)
{
    return Retry([&] { return open(path.c_str(), flags | O_CLOEXEC); });
}

constexpr std::string_view RANDOM = "XXXXXX";  // what mkostemp replaces by letters and digits

/// The beginning of the names under which new content for `target` is written.
std::string NewFilePrefix(const fs::path& target)
{
    constexpr std::size_t MOST_OF_NAME = 200;  // leaves room for the suffix in a file name of 255 bytes
    return target.filename().string().substr(0, MOST_OF_NAME) + ".new~";
}

/// Removes the file at `path` unless it is none or somebody is writing it.
void RemoveUnlocked(const fs::path& path)
{
    const Descriptor file(Open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK));
    struct stat facts = {};
    if (!file.IsOpen() || fstat(file.Get(), &facts) != 0 || !S_ISREG(facts.st_mode)) return;
    if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0) unlink(path.c_str());
}

struct CloseFolder
{
    void operator()(DIR* folder) const { closedir(folder); }
};

/// Removes the new files of `prefix` that processes have left behind which were killed while they wrote.
void RemoveLeftovers(const fs::path& folder, const std::string& prefix)
{
    const auto isLetterOrDigit = [](unsigned char c) { return std::isalnum(c) != 0; };
    // The standard library's directory iterator would end the process where memory runs out.
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder.c_str()));
    while (const dirent* const entry = entries ? readdir(entries.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (name.size() != prefix.size() + RANDOM.size() || !name.starts_with(prefix)) continue;
        if (!std::all_of(name.end() - RANDOM.size(), name.end(), isLetterOrDigit)) continue;
        RemoveUnlocked(folder / name);
    }
}

/// A file of a name not used before, mode 0600; gone again unless it took another file's place. It is locked
/// as long as it is open, which tells it from one that was left behind.
class NewFile
{
public:
    explicit NewFile(const std::string& prefix)
    {
        do {
            m_path = prefix + std::string(RANDOM);
            m_file.emplace(mkostemp(m_path.data(), O_CLOEXEC));
            if (!IsOpen()) return;
            Retry([&] { return flock(m_file->Get(), LOCK_EX); });  // without locks nothing is removed either
        } while (WasRemoved());
        m_remains = true;
    }
    ~NewFile()
    {
        if (!m_remains) return;
        const int reason = errno;
        unlink(m_path.c_str());
        errno = reason;
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool IsOpen() const { return m_file->IsOpen(); }

    bool TakeOwnershipAndMode(const struct stat& model)
    {
        struct stat own = {};
        if (fstat(m_file->Get(), &own) != 0) return false;
        const bool same = own.st_uid == model.st_uid && own.st_gid == model.st_gid;
        if (!same && fchown(m_file->Get(), model.st_uid, model.st_gid) != 0) return false;
        return fchmod(m_file->Get(), model.st_mode & 07777) == 0;
    }

    bool Write(std::string_view content)
    {
        while (!content.empty()) {
            const auto written = Retry([&] { return write(m_file->Get(), content.data(), content.size()); });
            if (written <= 0) return false;
            content.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }

    bool Flush()
    {
        return Retry([&] { return fsync(m_file->Get()); }) == 0;
    }

    bool MoveTo(const fs::path& target)
    {
        if (rename(m_path.c_str(), target.c_str()) != 0) return false;
        m_remains = false;
        return true;
    }

private:
    /// True if somebody took the file for left behind before it was locked.
    bool WasRemoved() const
    {
        struct stat own = {};
        return fstat(m_file->Get(), &own) == 0 && own.st_nlink == 0;
    }

    std::string m_path;
    std::optional<Descriptor> m_file;  ///< set by the constructor
    bool m_remains = false;
};

/// Where `path` leads in the end, which need not exist. Nothing, with the reason in `errno`, for links in a
/// circle and for what another user may have put there.
std::optional<fs::path> FollowLinks(fs::path path)
{
    constexpr int MOST_LINKS = 40;  // as many as the kernel follows

    std::error_code error;
    for (int link = 0; link < MOST_LINKS; ++link) {
        if (IsPlanted(path)) {
            errno = EACCES;
            return std::nullopt;
        }
        if (!fs::is_symlink(fs::symlink_status(path, error))) return path;
        const fs::path target = fs::read_symlink(path, error);
        if (error) {
            errno = error.value();
            return std::nullopt;
        }
        path = path.parent_path() / target;
    }
    errno = ELOOP;
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
    std::string content;
    const auto room = [&content](std::size_t size) {
        content.resize(size);
        return content.data();
    };
    if (!ReadFileWhole(path, limit, room)) return std::nullopt;
    return content;
}

bool ReadFileWhole(const std::string& path, std::size_t limit, const std::function<char*(std::size_t)>& room)
{
    const Descriptor file(Open(path, O_RDONLY | O_NONBLOCK));
    if (!file.IsOpen()) return false;

    struct stat status = {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > limit) return false;

    char* const content = room(size);
    for (std::size_t done = 0; done < size;) {
        const auto got = Retry([&] { return read(file.Get(), content + done, size - done); });
        if (got <= 0) return false;
        done += static_cast<std::size_t>(got);
    }
    return true;
}

bool ReplaceFileWhole(const std::string& path, std::string_view content)
{
    return ReplaceFileWhole(path, {content});
}

bool ReplaceFileWhole(const std::string& path, std::initializer_list<std::string_view> pieces)
{
    const std::optional<fs::path> target = FollowLinks(path);
    if (!target) return false;
    errno = EINVAL;
    if (!target->has_filename()) return false;

    // Opened for writing, but not written: what may not be written may not be replaced either.
    const Descriptor old(Open(*target, O_WRONLY | O_NOFOLLOW | O_NONBLOCK));
    if (!old.IsOpen() && errno != ENOENT) return false;
    struct stat status = {};
    if (old.IsOpen() && fstat(old.Get(), &status) != 0) return false;
    errno = EINVAL;
    if (old.IsOpen() && !S_ISREG(status.st_mode)) return false;

    const fs::path folder = target->has_parent_path() ? target->parent_path() : fs::path(".");
    const Descriptor directory(Open(folder, O_RDONLY | O_DIRECTORY));
    if (!directory.IsOpen()) return false;

    const std::string prefix = NewFilePrefix(*target);
    RemoveLeftovers(folder, prefix);
    NewFile beside(folder / prefix);
    if (!beside.IsOpen()) return false;
    if (old.IsOpen() && !beside.TakeOwnershipAndMode(status)) return false;
    for (const std::string_view piece : pieces)
        if (!beside.Write(piece)) return false;
    if (!beside.Flush()) return false;
    if (!beside.MoveTo(*target)) return false;
    return FlushDirectory(directory);
}
