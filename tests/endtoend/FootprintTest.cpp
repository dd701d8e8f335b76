#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "tests/support/SystemCalls.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

// What a user's day with the program leaves on the disk: nothing outside its directories, and there nothing
// that other users can read. Every system call of every process is watched.

namespace {

using nettest::SystemCall;
namespace fs = std::filesystem;

/// Which arguments of a call name what it makes, changes or removes: the text, and the directory it is
/// relative to, or -1 for the working directory.
struct Named
{
    std::size_t text;
    int folder;
};

std::optional<Named> Changes(const SystemCall& call)
{
    const auto changes = [](unsigned long flags) {
        return (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0;
    };
    const std::string name = call.Name();
    if (name == "openat") return changes(call.arguments[2]) ? std::optional<Named>({1, 0}) : std::nullopt;
    if (name == "open") return changes(call.arguments[1]) ? std::optional<Named>({0, -1}) : std::nullopt;
    static const std::set<std::string> ONE = {"creat", "mkdir", "mknod",    "unlink",
                                              "chmod", "chown", "truncate", "rename"};
    if (ONE.count(name) != 0) return Named{name == "rename" ? 1U : 0U, -1};
    static const std::set<std::string> ONE_AT = {"mkdirat", "mknodat", "unlinkat", "fchmodat", "fchownat"};
    if (ONE_AT.count(name) != 0) return Named{1, 0};
    if (name == "link" || name == "symlink") return Named{1, -1};
    if (name == "renameat" || name == "renameat2" || name == "linkat") return Named{3, 2};
    if (name == "symlinkat") return Named{2, 1};
    return std::nullopt;
}

class Footprint : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string reason;
        if (!nettest::CanTraceSystemCalls(reason)) GTEST_SKIP() << reason;
        umask(0);  // the modes are the program's own
        setenv("HOME", m_directory.File("home").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", m_directory.File("runtime").c_str(), 1);
        for (const char* const variable :
             {"NETINFO_DATA_DIR", "NETINFO_CONFIG_DIR", "NETINFO_MODULE_DIR", "NETINFO_TRACE_FILE",
              "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"})
            unsetenv(variable);
        setenv("NETINFO_TRACE_LEVEL", "4", 1);
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // leaks are looked for by tracing, too
        ASSERT_EQ(mkdir(m_directory.File("home").c_str(), 0700), 0);
        ASSERT_EQ(mkdir(m_directory.File("runtime").c_str(), 0700), 0);
        ASSERT_EQ(mkdir(m_directory.File("work").c_str(), 0700), 0);
        fs::current_path(m_directory.File("work"));
    }

    /// Where the call's text leads, absolute.
    static std::string PathOf(const SystemCall& call, const Named& named)
    {
        const std::string text = call.Text(named.text).value_or("(none)");
        if (text.starts_with('/')) return fs::path(text).lexically_normal();
        const int folder = named.folder < 0
                               ? AT_FDCWD
                               : static_cast<int>(call.arguments[static_cast<std::size_t>(named.folder)]);
        const std::string process = "/proc/" + std::to_string(call.thread);
        std::error_code error;
        const fs::path base = fs::read_symlink(
            folder == AT_FDCWD ? process + "/cwd" : process + "/fd/" + std::to_string(folder), error);
        return (base / text).lexically_normal();
    }

    nettest::TempDir m_directory;
};

}  // namespace

TEST_F(Footprint, IsInTheUsersDirectoriesAndForTheUserAlone)
{
    const std::string day =
        "set -e\n"
        "$0 settings set week-start monday\n"
        "$0 settings set checkpoint 1\n"
        "$0 limit set 20GB\n"
        "timeout --signal TERM 3 $0 run --json || true\n"
        "$0 report\n"
        "$0 usage\n"
        "$0 records\n"
        "$0 reset wifi --yes\n"
        "$0 devices\n";
    std::set<std::string> changed;
    const nettest::TracedEnd end = nettest::TraceProgram({"/bin/sh", "-c", day, NETINFO_PROGRAM},
                                                         [&](const SystemCall& call, std::size_t) {
                                                             if (const auto named = Changes(call))
                                                                 changed.insert(PathOf(call, *named));
                                                             return std::optional<nettest::Fault>();
                                                         });
    EXPECT_EQ(end.status, 0);

    const std::string home = m_directory.File("home/");
    const std::set<std::string> own = {home + ".local/share/netinfo", home + ".config/netinfo",
                                       home + ".local/state/netinfo"};
    for (const std::string& path : changed) {
        if (path.starts_with("/dev/") || path.starts_with("/proc/")) continue;
        if (fs::path(path).filename().string().starts_with("tsan.rodata.")) continue;  // the sanitizer's own
        bool allowed =
            path.starts_with(m_directory.File("runtime/netinfo"));  // the socket, short-lived copies
        for (const std::string& folder : own)                       // below it, or on the way to it
            allowed = allowed || path.starts_with(folder + "/") || folder.starts_with(path);
        EXPECT_TRUE(allowed) << path;
    }
    EXPECT_TRUE(fs::is_empty(m_directory.File("work")));
    for (const auto& entry : fs::directory_iterator(m_directory.File("runtime")))
        EXPECT_EQ(entry.path().filename(), "netinfo");

    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(home)) {
        struct stat status = {};
        ASSERT_EQ(lstat(entry.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, entry.is_directory() ? 0700U : 0600U) << entry.path();
        if (!entry.is_directory()) names.insert(entry.path().filename());
    }
    EXPECT_EQ(names.count("NetInfo.dat"), 1U);
    EXPECT_EQ(names.count("usage.db"), 1U);
    EXPECT_EQ(names.count("DataUsageLimit.ini"), 1U);
    EXPECT_EQ(names.count("trace.log"), 1U);
}
