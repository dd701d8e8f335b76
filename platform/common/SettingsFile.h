#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace netinfo {

/// Milliseconds of a clock that never goes back.
long long MonotonicMilliseconds();

/// A file of settings in INI form: UTF-8, names compared without regard to ASCII case. People edit it by hand
/// while the program runs.
///
/// Threads: every function may be called from any thread. Programs that share the file take turns.
/// Errors:  a file that cannot be read, or is no text, has no settings and is never written over; that is
///          traced once at level 2, until it can be read again.
class SettingsFile
{
public:
    /// Says what time it is, in milliseconds that never go back.
    using Clock = std::function<long long()>;

    /// Looks for a changed file at most once in this time.
    static constexpr long long LOOK_EVERY = 1000;  // milliseconds

    /// The file need not exist; nothing is read yet. An empty path stands for a file that never exists.
    explicit SettingsFile(std::string path, Clock clock = MonotonicMilliseconds);
    ~SettingsFile();
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;

    /// The value of `key` in `section`, without the blanks around it; nothing if there is none.
    std::optional<std::string> Get(const std::string& section, const std::string& key);

    /// Stores `value`, on disk and at once for `Get`. What else is in the file at this moment stays, comments
    /// included where they stand before a section or a key. Makes the directory with mode 0700 and the file
    /// with 0600. False, changing nothing, if it cannot be written or if such a name or value, with a line
    /// break or blanks around it, would not read back the same.
    bool Set(const std::string& section, const std::string& key, const std::string& value);

private:
    struct Content;
    struct State;

    std::string LookAgain();
    std::string Store(const std::string& section, const std::string& key, const std::string& value);

    const std::string m_path;
    const Clock m_clock;
    std::mutex m_mutex;                   ///< guards all below
    std::unique_ptr<State> m_pState;      ///< of the file when it was last read
    std::optional<long long> m_lookedAt;  ///< milliseconds
    bool m_complained = false;            ///< since the file could last be read
};

}  // namespace netinfo
