#include "platform/files/WholeFile.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <vector>

#include "tests/support/TempDir.h"

using nettest::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

namespace {

/// Failures to come: for each system call the `errno` values of its next calls, 0 for one that goes through.
std::map<std::string, std::vector<int>> g_script;  // NOLINT(cert-err58-cpp)
/// The system calls seen since the script was set.
std::vector<std::string> g_calls;  // NOLINT(cert-err58-cpp)
bool g_armed = false;
std::size_t g_mostPerWrite = SIZE_MAX;  ///< bytes that one write takes
std::function<void(int)> g_onWrite;     ///< hears the descriptor of each write; NOLINT(cert-err58-cpp)

/// Whether this call is to fail, with errno set.
bool Fails(const char* call)
{
    if (!g_armed) return false;
    g_calls.emplace_back(call);
    std::vector<int>& coming = g_script[call];
    if (coming.empty()) return false;
    const int error = coming.front();
    coming.erase(coming.begin());
    errno = error;
    return error != 0;
}

template <typename Function>
Function* Real(Function*, const char* name)
{
    static_assert(sizeof(Function*) == sizeof(void*));
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Runs `call` with the system calls scripted.
template <typename Call>
auto WithScript(std::map<std::string, std::vector<int>> script, Call call)
{
    g_script = std::move(script);
    g_calls.clear();
    g_armed = true;
    auto result = call();
    g_armed = false;
    return result;
}

}  // namespace

// These stand in front of the C library's for the whole program.
extern "C" {

int mkostemp(char* pattern, int flags)
{
    return Fails("mkostemp") ? -1 : Real(&mkostemp, "mkostemp")(pattern, flags);
}

int fchown(int fd, uid_t uid, gid_t gid) noexcept
{
    return Fails("fchown") ? -1 : Real(&fchown, "fchown")(fd, uid, gid);
}

int fchmod(int fd, mode_t mode) noexcept { return Fails("fchmod") ? -1 : Real(&fchmod, "fchmod")(fd, mode); }

ssize_t read(int fd, void* buffer, size_t size)
{
    return Fails("read") ? -1 : Real(&read, "read")(fd, buffer, size);
}

ssize_t write(int fd, const void* data, size_t size)
{
    if (Fails("write")) return -1;
    if (g_armed && g_onWrite) g_onWrite(fd);
    return Real(&write, "write")(fd, data, g_armed ? std::min(size, g_mostPerWrite) : size);
}

int fsync(int fd) { return Fails("fsync") ? -1 : Real(&fsync, "fsync")(fd); }

int rename(const char* from, const char* to) noexcept
{
    return Fails("rename") ? -1 : Real(&rename, "rename")(from, to);
}

}  // extern "C"

namespace {

void WriteFile(const std::string& path, std::string_view content, mode_t mode = 0644)
{
    std::ofstream(path, std::ios::binary) << content;
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

std::string ContentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

struct stat StatusOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t ModeOf(const std::string& path) { return StatusOf(path).st_mode & 07777U; }

std::vector<std::string> NamesIn(const std::string& path)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(path))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

/// As long as it lives, files are accessed as a user who owns nothing, where the test runs as root.
class AsNobody
{
public:
    AsNobody()
    {
        if (geteuid() == 0) m_changed = seteuid(NOBODY) == 0;
    }
    ~AsNobody()
    {
        if (m_changed && seteuid(0) != 0) std::abort();
    }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

private:
    static constexpr uid_t NOBODY = 65534;
    bool m_changed = false;
};

}  // namespace

// --- Reading

TEST(ReadFileWhole, GivesEveryByte)
{
    const TempDir dir;
    const std::string content("a\0\r\n\xFF", 5);
    WriteFile(dir.File("f"), content);

    EXPECT_EQ(ReadFileWhole(dir.File("f"), 5), content);

    WriteFile(dir.File("f"), "");
    EXPECT_EQ(ReadFileWhole(dir.File("f"), 5), "");
}

TEST(ReadFileWhole, RefusesAFileAboveTheLimit)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "123456");

    EXPECT_EQ(ReadFileWhole(dir.File("f"), 5), std::nullopt);
    EXPECT_EQ(ReadFileWhole(dir.File("f"), 6), "123456");
}

TEST(ReadFileWhole, GivesNothingForWhatIsNoFile)
{
    const TempDir dir;
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0600), 0);
    fs::create_symlink("nowhere", dir.File("dangling"));
    fs::create_symlink("circle", dir.File("circle"));

    EXPECT_EQ(ReadFileWhole("", 5), std::nullopt);
    EXPECT_EQ(ReadFileWhole(dir.Path(), 5), std::nullopt);
    EXPECT_EQ(ReadFileWhole(dir.File("none"), 5), std::nullopt);
    EXPECT_EQ(ReadFileWhole(dir.File("pipe"), 5), std::nullopt);  // and does not wait for a writer
    EXPECT_EQ(ReadFileWhole(dir.File("dangling"), 5), std::nullopt);
    EXPECT_EQ(ReadFileWhole(dir.File("circle"), 5), std::nullopt);
}

TEST(ReadFileWhole, GivesNothingForAFileThatMayNotBeRead)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "x", 0200);
    ASSERT_EQ(chmod(dir.Path().c_str(), 0755), 0);

    const AsNobody nobody;
    EXPECT_EQ(ReadFileWhole(dir.File("f"), 5), std::nullopt);
}

TEST(ReadFileWhole, ReadsOnAfterASignal)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "content");

    const auto content =
        WithScript({{"read", {EINTR, EINTR}}}, [&] { return ReadFileWhole(dir.File("f"), 99); });

    EXPECT_EQ(content, "content");
}

TEST(ReadFileWhole, GivesNothingWhenReadingFails)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "content");

    const auto content = WithScript({{"read", {EIO}}}, [&] { return ReadFileWhole(dir.File("f"), 99); });

    EXPECT_EQ(content, std::nullopt);
}

// --- Replacing

TEST(ReplaceFileWhole, MakesANewFileForItsOwnerOnly)
{
    const TempDir dir;
    const std::string content("a\0\r\n\xFF", 5);
    const mode_t mask = umask(0);

    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), content));

    umask(mask);
    EXPECT_EQ(ContentOf(dir.File("f")), content);
    EXPECT_EQ(ModeOf(dir.File("f")), 0600U);
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, KeepsTheModeOfAnExistingFile)
{
    const TempDir dir;
    for (const mode_t mode : {0640U, 0666U, 0600U, 0755U}) {
        SCOPED_TRACE(mode);
        WriteFile(dir.File("f"), "old", mode);

        EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), "new"));

        EXPECT_EQ(ContentOf(dir.File("f")), "new");
        EXPECT_EQ(ModeOf(dir.File("f")), mode);
        EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
    }
}

TEST(ReplaceFileWhole, KeepsTheOwnershipOfAnExistingFile)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    const TempDir dir;
    WriteFile(dir.File("f"), "old", 0640);
    ASSERT_EQ(chown(dir.File("f").c_str(), 1234, 5678), 0);

    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), "new"));

    EXPECT_EQ(StatusOf(dir.File("f")).st_uid, 1234U);
    EXPECT_EQ(StatusOf(dir.File("f")).st_gid, 5678U);
    EXPECT_EQ(ModeOf(dir.File("f")), 0640U);
}

TEST(ReplaceFileWhole, PutsAnotherFileInItsPlace)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old");
    std::ifstream reader(dir.File("f"));

    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), "new"));

    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");  // who reads is not disturbed
}

TEST(ReplaceFileWhole, MakesAnEmptyFileOfNoContent)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old");

    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), ""));

    EXPECT_EQ(ContentOf(dir.File("f")), "");
}

TEST(ReplaceFileWhole, TakesAPathWithoutADirectory)
{
    const TempDir dir;
    const fs::path before = fs::current_path();
    fs::current_path(dir.Path());

    EXPECT_TRUE(ReplaceFileWhole("f", "new"));

    fs::current_path(before);
    EXPECT_EQ(ContentOf(dir.File("f")), "new");
}

TEST(ReplaceFileWhole, TakesANameOfFullLength)
{
    const TempDir dir;
    const std::string name(255, 'n');

    EXPECT_TRUE(ReplaceFileWhole(dir.File(name), "new"));

    EXPECT_EQ(ContentOf(dir.File(name)), "new");
    EXPECT_FALSE(ReplaceFileWhole(dir.File(name + "n"), "new"));
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre(name));
}

TEST(ReplaceFileWhole, FollowsALinkToAFile)
{
    const TempDir dir;
    fs::create_directory(dir.File("far"));
    WriteFile(dir.File("far/f"), "old", 0640);
    fs::create_symlink("far/f", dir.File("relative"));
    fs::create_symlink(dir.File("relative"), dir.File("absolute"));

    EXPECT_TRUE(ReplaceFileWhole(dir.File("absolute"), "new"));

    EXPECT_TRUE(fs::is_symlink(dir.File("absolute")));
    EXPECT_TRUE(fs::is_symlink(dir.File("relative")));
    EXPECT_EQ(ContentOf(dir.File("far/f")), "new");
    EXPECT_EQ(ModeOf(dir.File("far/f")), 0640U);
    EXPECT_THAT(NamesIn(dir.File("far")), ElementsAre("f"));
}

TEST(ReplaceFileWhole, MakesTheFileThatADanglingLinkPointsAt)
{
    const TempDir dir;
    fs::create_directory(dir.File("far"));
    fs::create_symlink("far/f", dir.File("link"));

    EXPECT_TRUE(ReplaceFileWhole(dir.File("link"), "new"));

    EXPECT_TRUE(fs::is_symlink(dir.File("link")));
    EXPECT_EQ(ContentOf(dir.File("far/f")), "new");
    EXPECT_EQ(ModeOf(dir.File("far/f")), 0600U);
}

TEST(ReplaceFileWhole, RefusesALinkThatLeadsNowhere)
{
    const TempDir dir;
    fs::create_symlink("none/f", dir.File("link"));
    fs::create_symlink("circle", dir.File("circle"));

    EXPECT_FALSE(ReplaceFileWhole(dir.File("link"), "new"));
    EXPECT_FALSE(ReplaceFileWhole(dir.File("circle"), "new"));
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("circle", "link"));
}

TEST(ReplaceFileWhole, RefusesWhatIsNoFile)
{
    const TempDir dir;
    fs::create_directory(dir.File("folder"));
    fs::create_directory_symlink("folder", dir.File("link"));
    WriteFile(dir.File("f"), "old");
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0600), 0);

    EXPECT_FALSE(ReplaceFileWhole("", "new"));
    EXPECT_FALSE(ReplaceFileWhole(dir.File("folder"), "new"));
    EXPECT_FALSE(ReplaceFileWhole(dir.File("folder/"), "new"));
    EXPECT_FALSE(ReplaceFileWhole(dir.File("link"), "new"));
    EXPECT_FALSE(ReplaceFileWhole(dir.File("none/f"), "new"));
    EXPECT_FALSE(ReplaceFileWhole(dir.File("f/f"), "new"));
    EXPECT_FALSE(ReplaceFileWhole(dir.File("pipe"), "new"));

    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f", "folder", "link", "pipe"));
    EXPECT_THAT(NamesIn(dir.File("folder")), IsEmpty());
    EXPECT_EQ(ContentOf(dir.File("f")), "old");
}

TEST(ReplaceFileWhole, TellsWhyItFailed)
{
    const nettest::TempDir dir;
    ASSERT_EQ(symlink("circle", dir.File("circle").c_str()), 0);

    EXPECT_FALSE(ReplaceFileWhole(dir.File("circle"), "new"));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_FALSE(ReplaceFileWhole(dir.File("none/f"), "new"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(ReplaceFileWhole(dir.Path(), "new"));
    EXPECT_EQ(errno, EISDIR);
}

TEST(ReplaceFileWhole, RefusesAFileThatMayNotBeWritten)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old", 0444);
    ASSERT_EQ(chmod(dir.Path().c_str(), 0777), 0);

    {
        const AsNobody nobody;
        EXPECT_FALSE(ReplaceFileWhole(dir.File("f"), "new"));
    }
    EXPECT_EQ(ContentOf(dir.File("f")), "old");
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, RefusesADirectoryThatMayNotBeWritten)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old", 0666);
    ASSERT_EQ(chmod(dir.Path().c_str(), 0555), 0);

    {
        const AsNobody nobody;
        EXPECT_FALSE(ReplaceFileWhole(dir.File("f"), "new"));
        EXPECT_FALSE(ReplaceFileWhole(dir.File("g"), "new"));
    }
    ASSERT_EQ(chmod(dir.Path().c_str(), 0755), 0);
    EXPECT_EQ(ContentOf(dir.File("f")), "old");
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, RefusesAFileWhoseOwnershipItCannotKeep)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs a file of another user";
    const TempDir dir;
    WriteFile(dir.File("f"), "old", 0666);
    ASSERT_EQ(chmod(dir.Path().c_str(), 0777), 0);

    {
        const AsNobody nobody;
        EXPECT_FALSE(ReplaceFileWhole(dir.File("f"), "new"));
    }
    EXPECT_EQ(ContentOf(dir.File("f")), "old");
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, RefusesMoreThanFitsAndCleansUp)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old");
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small = {4'096, before.rlim_max};
    const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);

    const bool replaced = ReplaceFileWhole(dir.File("f"), std::string(10'000, 'x'));

    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, ignored);
    EXPECT_FALSE(replaced);
    EXPECT_EQ(ContentOf(dir.File("f")), "old");
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, LeavesThePreviousFileWhicheverStepFails)
{
    struct Case
    {
        const char* call;
        std::vector<int> errors;
    };
    const Case cases[] = {
        {"mkostemp", {EACCES}},    {"fchmod", {EPERM}}, {"write", {ENOSPC}},
        {"write", {0, 0, ENOSPC}}, {"fsync", {EIO}},    {"rename", {EIO}},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.call);
        const TempDir dir;
        WriteFile(dir.File("f"), "old", 0640);
        g_mostPerWrite = 1;

        const bool replaced =
            WithScript({{row.call, row.errors}}, [&] { return ReplaceFileWhole(dir.File("f"), "new"); });

        g_mostPerWrite = SIZE_MAX;
        EXPECT_FALSE(replaced);
        EXPECT_EQ(ContentOf(dir.File("f")), "old");
        EXPECT_EQ(ModeOf(dir.File("f")), 0640U);
        EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
    }
}

TEST(ReplaceFileWhole, GoesOnAfterSignalsAndPartWrites)
{
    const TempDir dir;
    g_mostPerWrite = 2;

    const bool replaced = WithScript({{"write", {EINTR, 0, EINTR}}, {"fsync", {EINTR}}},
                                     [&] { return ReplaceFileWhole(dir.File("f"), "content"); });

    g_mostPerWrite = SIZE_MAX;
    EXPECT_TRUE(replaced);
    EXPECT_EQ(ContentOf(dir.File("f")), "content");
}

TEST(ReplaceFileWhole, FlushesTheContentBeforeTheRenameAndTheDirectoryAfterIt)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old");

    EXPECT_TRUE(WithScript({}, [&] { return ReplaceFileWhole(dir.File("f"), "new"); }));

    EXPECT_THAT(g_calls, ElementsAre("mkostemp", "fchmod", "write", "fsync", "rename", "fsync"));
}

TEST(ReplaceFileWhole, ReportsADirectoryThatCannotBeFlushed)
{
    const TempDir dir;

    EXPECT_FALSE(WithScript({{"fsync", {0, EIO}}}, [&] { return ReplaceFileWhole(dir.File("f"), "new"); }));

    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
    EXPECT_TRUE(WithScript({{"fsync", {0, EINVAL}}},  // a file system that knows no such thing
                           [&] { return ReplaceFileWhole(dir.File("f"), "newer"); }));
    EXPECT_EQ(ContentOf(dir.File("f")), "newer");
}

// --- What a killed process has left behind

TEST(ReplaceFileWhole, RemovesWhatKilledProcessesHaveLeftBehind)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old");
    WriteFile(dir.File("f.new~aB3xY9"), "half", 0600);
    WriteFile(dir.File("f.new~000000"), "", 0666);

    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), "new"));

    EXPECT_EQ(ContentOf(dir.File("f")), "new");
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, RemovesWhatWasLeftBehindBeforeItNeedsTheSpace)
{
    const TempDir dir;
    WriteFile(dir.File("f"), "old");
    WriteFile(dir.File("f.new~aB3xY9"), "half", 0600);

    EXPECT_FALSE(WithScript({{"write", {ENOSPC}}}, [&] { return ReplaceFileWhole(dir.File("f"), "new"); }));

    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, LeavesWhatAnotherProcessIsWriting)
{
    const TempDir dir;
    WriteFile(dir.File("f.new~aB3xY9"), "half", 0600);
    const int writer = open(dir.File("f.new~aB3xY9").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(flock(writer, LOCK_EX), 0);

    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), "new"));
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f", "f.new~aB3xY9"));

    close(writer);
    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), "newer"));
    EXPECT_THAT(NamesIn(dir.Path()), ElementsAre("f"));
}

TEST(ReplaceFileWhole, LeavesWhatOnlyLooksAlike)
{
    const TempDir dir;
    const std::vector<std::string> others = {"f.new",        "f.new~",       "f.new~12345",  "f.new~1234567",
                                             "f.new~12345.", "g.new~123456", "xf.new~123456"};
    for (const std::string& name : others)
        WriteFile(dir.File(name), "kept");
    fs::create_directory(dir.File("f.new~folder"));
    fs::create_symlink("f.new", dir.File("f.new~linked"));
    ASSERT_EQ(mkfifo(dir.File("f.new~mypipe").c_str(), 0600), 0);

    EXPECT_TRUE(ReplaceFileWhole(dir.File("f"), "new"));

    for (const std::string& name : others)
        EXPECT_EQ(ContentOf(dir.File(name)), "kept");
    EXPECT_EQ(NamesIn(dir.Path()).size(), others.size() + 4);
}

TEST(ReplaceFileWhole, WritesUnderALock)
{
    const TempDir dir;
    bool locked = false;
    g_onWrite = [&](int fd) {
        const std::string path = "/proc/self/fd/" + std::to_string(fd);
        const int other = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        locked = flock(other, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        close(other);
    };

    EXPECT_TRUE(WithScript({}, [&] { return ReplaceFileWhole(dir.File("f"), "new"); }));

    g_onWrite = nullptr;
    EXPECT_TRUE(locked);
}

// --- What other users put into a directory that everybody can write to

namespace {

/// A directory like the system's for temporary files, and beside it one of our own with a file in it. What
/// `Plant` puts there belongs to another user.
struct SharedFolder
{
    SharedFolder()
    {
        fs::create_directory(dir.File("shared"));
        fs::create_directory(dir.File("own"));
        WriteFile(dir.File("own/f"), "ours", 0600);
        EXPECT_EQ(chmod(dir.Path().c_str(), 0755), 0);
        EXPECT_EQ(chmod(dir.File("shared").c_str(), 01777), 0);
    }
    void PlantLink(const std::string& target) const
    {
        fs::create_symlink(target, File());
        EXPECT_EQ(lchown(File().c_str(), 1234, 1234), 0);
    }
    std::string File() const { return dir.File("shared/f"); }

    TempDir dir;
};

}  // namespace

TEST(ReplaceFileWhole, DoesNotFollowALinkThatAnotherUserHasPlanted)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs a link of another user";
    const SharedFolder shared;
    shared.PlantLink("../own/f");

    EXPECT_FALSE(ReplaceFileWhole(shared.File(), "new"));
    EXPECT_EQ(errno, EACCES);

    EXPECT_EQ(ContentOf(shared.dir.File("own/f")), "ours");
    EXPECT_TRUE(fs::is_symlink(shared.File()));
}

TEST(ReplaceFileWhole, DoesNotMakeAFileForALinkThatAnotherUserHasPlanted)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs a link of another user";
    const SharedFolder shared;
    shared.PlantLink("../own/g");
    fs::create_symlink("shared/f", shared.dir.File("link"));  // one of ours that leads there

    EXPECT_FALSE(ReplaceFileWhole(shared.File(), "new"));
    EXPECT_FALSE(ReplaceFileWhole(shared.dir.File("link"), "new"));

    EXPECT_THAT(NamesIn(shared.dir.File("own")), ElementsAre("f"));
    EXPECT_THAT(NamesIn(shared.dir.File("shared")), ElementsAre("f"));
}

TEST(ReplaceFileWhole, DoesNotTakeTheOwnershipOfAFileThatAnotherUserHasPlanted)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs a file of another user";
    const SharedFolder shared;
    WriteFile(shared.File(), "theirs", 0666);
    ASSERT_EQ(chown(shared.File().c_str(), 1234, 1234), 0);

    EXPECT_FALSE(ReplaceFileWhole(shared.File(), "new"));

    EXPECT_EQ(ContentOf(shared.File()), "theirs");
}

TEST(ReplaceFileWhole, FollowsAnOwnLinkWhereverItIs)
{
    const SharedFolder shared;
    fs::create_symlink("../own/f", shared.File());

    EXPECT_TRUE(ReplaceFileWhole(shared.File(), "new"));

    EXPECT_EQ(ContentOf(shared.dir.File("own/f")), "new");
}
