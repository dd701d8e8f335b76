#include "platform/trace/TraceSrv.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

class TraceSrvTest : public testing::Test
{
protected:
    TraceSrvTest()
    {
        unsetenv("NETINFO_TRACE_FILE");
        unsetenv("NETINFO_TRACE_LEVEL");
        setenv("XDG_STATE_HOME", m_directory.File("state").c_str(), 1);
    }

    static std::vector<std::string> LinesOf(const std::string& path)
    {
        std::istringstream text(nettest::ReadFile(path));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }

    /// What the one line says after its time.
    std::string TheLine() const
    {
        const std::vector<std::string> lines = LinesOf(m_default);
        if (lines.size() != 1) return std::to_string(lines.size()) + " lines";
        return lines[0].substr(lines[0].find(' ') + 1);
    }

    static unsigned ModeOf(const std::string& path)
    {
        struct stat status
        {};
        return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    nettest::TempDir m_directory;
    const std::string m_default = m_directory.File("state/netinfo/trace.log");
};

TEST_F(TraceSrvTest, WritesTimeLevelModuleAndText)
{
    TraceSrv_Trace(2, "NetInfoPlugin", "CStatistic::OnHeartBeat() Exception No.1!");
    TraceSrv_Trace(1, "Common", "second");

    const std::vector<std::string> lines = LinesOf(m_default);
    ASSERT_EQ(lines.size(), 2U);
    const std::regex form(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}\+0[12]:00 (\d \w+: .*))");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(lines[0], match, form)) << lines[0];
    EXPECT_EQ(match[1], "2 NetInfoPlugin: CStatistic::OnHeartBeat() Exception No.1!");
    ASSERT_TRUE(std::regex_match(lines[1], match, form)) << lines[1];
    EXPECT_EQ(match[1], "1 Common: second");
}

TEST_F(TraceSrvTest, ALevelThatIsNotWrittenMakesNoFile)
{
    TraceSrv_Trace(3, "NetInfoPlugin", "information");
    TraceSrv_Trace(4, "NetInfoPlugin", "information");

    EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(TraceSrvTest, TheEnvironmentSaysTheHighestLevel)
{
    setenv("NETINFO_TRACE_LEVEL", "4", 1);

    TraceSrv_Trace(4, "m", "four");
    TraceSrv_Trace(5, "m", "five");

    EXPECT_EQ(TheLine(), "4 m: four");
}

TEST_F(TraceSrvTest, TheLevelIsReadOnce)
{
    TraceSrv_Trace(4, "m", "not yet");
    setenv("NETINFO_TRACE_LEVEL", "4", 1);
    TraceSrv_Trace(4, "m", "still not");

    EXPECT_FALSE(std::filesystem::exists(m_default));
}

TEST_F(TraceSrvTest, ALevelThatIsNoNumberLeavesTheDefault)
{
    setenv("NETINFO_TRACE_LEVEL", "verbose", 1);

    TraceSrv_Trace(2, "m", "two");
    TraceSrv_Trace(3, "m", "three");

    EXPECT_EQ(TheLine(), "2 m: two");
}

TEST_F(TraceSrvTest, ANegativeLevelWritesNothing)
{
    setenv("NETINFO_TRACE_LEVEL", "-1", 1);

    TraceSrv_Trace(0, "m", "zero");

    EXPECT_FALSE(std::filesystem::exists(m_default));
}

TEST_F(TraceSrvTest, TextIsDataAndNoFormat)
{
    TraceSrv_Trace(2, "%s{}", "%s %n %d {} {0} {:d} %v %+");

    EXPECT_EQ(TheLine(), "2 %s{}: %s %n %d {} {0} {:d} %v %+");
}

TEST_F(TraceSrvTest, ControlCharactersAreEscaped)
{
    TraceSrv_Trace(2, "a\nb", "x\r\n2026 2 m: forged\t\x1B[31m\x07\x7F\\n\xC2\x9B z");

    EXPECT_EQ(TheLine(), "2 a\\nb: x\\r\\n2026 2 m: forged\\t\\x1B[31m\\x07\\x7F\\\\n\\u009B z");
}

TEST_F(TraceSrvTest, OtherBytesStayAsTheyAre)
{
    const std::string text = "caf\xC3\xA9 \xF0\x9F\x98\x80 \xC2\xA0 \xFF \xC2";

    TraceSrv_Trace(2, "m", text.c_str());

    EXPECT_EQ(TheLine(), "2 m: " + text);
}

TEST_F(TraceSrvTest, NoTextIsAnEmptyOne)
{
    TraceSrv_Trace(2, nullptr, nullptr);

    EXPECT_EQ(TheLine(), "2 : ");
}

TEST_F(TraceSrvTest, AVeryLongTextIsCut)
{
    TraceSrv_Trace(2, "m", std::string(100'000, 'x').c_str());

    EXPECT_EQ(TheLine(), "2 m: " + std::string(8192, 'x') + " ...");
}

TEST_F(TraceSrvTest, TheFileIsForTheUserAlone)
{
    umask(0);

    TraceSrv_Trace(2, "m", "private");

    EXPECT_EQ(ModeOf(m_directory.File("state")), 0700U);
    EXPECT_EQ(ModeOf(m_directory.File("state/netinfo")), 0700U);
    EXPECT_EQ(ModeOf(m_default), 0600U);
}

TEST_F(TraceSrvTest, TheFileIsUnderTheHomeDirectoryByDefault)
{
    unsetenv("XDG_STATE_HOME");
    setenv("HOME", m_directory.Path().c_str(), 1);

    TraceSrv_Trace(2, "m", "t");

    EXPECT_TRUE(std::filesystem::exists(m_directory.File(".local/state/netinfo/trace.log")));
}

TEST_F(TraceSrvTest, TheEnvironmentSaysAnotherFile)
{
    umask(0);
    const std::string path = m_directory.File("my trace");
    setenv("NETINFO_TRACE_FILE", path.c_str(), 1);

    TraceSrv_Trace(2, "m", "t");

    EXPECT_EQ(LinesOf(path).size(), 1U);
    EXPECT_EQ(ModeOf(path), 0600U);
    EXPECT_FALSE(std::filesystem::exists(m_default));
}

TEST_F(TraceSrvTest, LinesAreAppendedToAnExistingFile)
{
    const std::string path = m_directory.File("trace");
    nettest::WriteFile(path, "before\n");
    chmod(path.c_str(), 0644);
    setenv("NETINFO_TRACE_FILE", path.c_str(), 1);

    TraceSrv_Trace(2, "m", "t");

    EXPECT_EQ(LinesOf(path).size(), 2U);
    EXPECT_EQ(ModeOf(path), 0644U);
}

TEST_F(TraceSrvTest, ASymbolicLinkInTheDefaultPlaceIsNotFollowed)
{
    const std::string victim = m_directory.File("victim");
    nettest::WriteFile(victim, "precious");
    std::filesystem::create_directories(m_directory.File("state/netinfo"));
    std::filesystem::create_symlink(victim, m_default);

    TraceSrv_Trace(2, "m", "t");

    EXPECT_EQ(nettest::ReadFile(victim), "precious");
    EXPECT_TRUE(std::filesystem::is_symlink(m_default));
}

TEST_F(TraceSrvTest, ASymbolicLinkThatTheUserNamesIsFollowed)
{
    const std::string path = m_directory.File("link");
    std::filesystem::create_symlink(m_directory.File("real"), path);
    setenv("NETINFO_TRACE_FILE", path.c_str(), 1);

    TraceSrv_Trace(2, "m", "t");

    EXPECT_EQ(LinesOf(m_directory.File("real")).size(), 1U);
}

// A directory that everybody can write to, and what another user has put there for the trace to find.

class SharedTrace : public TraceSrvTest
{
protected:
    SharedTrace()
    {
        std::filesystem::create_directory(m_directory.File("shared"));
        chmod(m_directory.File("shared").c_str(), 01777);
        nettest::WriteFile(m_victim, "precious");
        setenv("NETINFO_TRACE_FILE", m_trace.c_str(), 1);
    }
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "needs a file of another user";
    }
    void GiveAway() const { ASSERT_EQ(lchown(m_trace.c_str(), 1234, 1234), 0); }

    const std::string m_victim = m_directory.File("victim");
    const std::string m_trace = m_directory.File("shared/trace");
};

TEST_F(SharedTrace, GoesToAFileOfTheUser)
{
    TraceSrv_Trace(2, "m", "t");
    EXPECT_EQ(LinesOf(m_trace).size(), 1U);
}

TEST_F(SharedTrace, FollowsNoLinkOfAnotherUser)
{
    std::filesystem::create_symlink(m_victim, m_trace);
    GiveAway();
    TraceSrv_Trace(2, "m", "t");
    EXPECT_EQ(nettest::ReadFile(m_victim), "precious");
}

TEST_F(SharedTrace, DoesNotGoToAFileOfAnotherUser)
{
    nettest::WriteFile(m_trace, "");
    GiveAway();
    TraceSrv_Trace(2, "m", "t");
    EXPECT_EQ(nettest::ReadFile(m_trace), "");
}

TEST_F(SharedTrace, DoesNotGoToASecondNameOfAnotherFile)
{
    std::filesystem::create_hard_link(m_victim, m_trace);
    TraceSrv_Trace(2, "m", "t");
    EXPECT_EQ(nettest::ReadFile(m_victim), "precious");
}

TEST_F(TraceSrvTest, APipeDoesNotHoldTheCallerUp)
{
    const std::string path = m_directory.File("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);  // that never reads
    setenv("NETINFO_TRACE_FILE", path.c_str(), 1);

    for (int i = 0; i < 100; ++i)
        TraceSrv_Trace(2, "m", std::string(8000, 'x').c_str());

    close(reader);
}

TEST_F(TraceSrvTest, ADeviceIsWrittenToAndNeverPutAside)
{
    constexpr int LINES = 200;  // more than a file would hold
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        GTEST_SKIP() << "no terminals here";
    const std::string device = ptsname(terminal);
    setenv("NETINFO_TRACE_FILE", device.c_str(), 1);

    int seen = 0;
    std::thread screen([&] {
        char piece[4096];
        while (seen < LINES) {
            const ssize_t count = read(terminal, piece, sizeof piece);
            if (count > 0) seen += static_cast<int>(std::count(piece, piece + count, '\n'));
        }
    });
    for (int i = 0; i < LINES; ++i)
        TraceSrv_Trace(2, "m", std::string(8000, 'x').c_str());
    screen.join();

    EXPECT_EQ(seen, LINES);
    EXPECT_TRUE(std::filesystem::is_character_file(device));
    close(terminal);
}

TEST_F(TraceSrvTest, AFullDeviceDropsLinesSilently)
{
    if (!std::filesystem::is_character_file("/dev/full")) GTEST_SKIP() << "no such device here";
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    setenv("NETINFO_TRACE_FILE", "/dev/full", 1);

    for (int i = 0; i < 10; ++i)
        TraceSrv_Trace(2, "m", "t");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(TraceSrvTest, LinesAreDroppedWhileThereIsNoPlaceForThem)
{
    nettest::WriteFile(m_directory.File("state"), "in the way");
    TraceSrv_Trace(2, "m", "dropped");

    std::filesystem::remove(m_directory.File("state"));
    TraceSrv_Trace(2, "m", "written");

    EXPECT_EQ(TheLine(), "2 m: written");
}

TEST_F(TraceSrvTest, ADirectoryThatTheUserNamesIsNotMade)
{
    setenv("NETINFO_TRACE_FILE", m_directory.File("none/trace").c_str(), 1);

    TraceSrv_Trace(2, "m", "t");

    EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(TraceSrvTest, FullFilesArePutAsideAndTwoOfThemKept)
{
    umask(0);
    const std::string text(8000, 'x');
    for (int i = 0; i < 700; ++i)  // more than five files
        TraceSrv_Trace(2, "m", text.c_str());

    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_directory.File("state/netinfo"))) {
        names.push_back(entry.path().filename());
        EXPECT_LE(entry.file_size(), 1U << 20);
        EXPECT_EQ(ModeOf(entry.path()), 0600U) << entry.path();
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"trace.1.log", "trace.2.log", "trace.log"}));
}

TEST_F(TraceSrvTest, GoesOnAfterItsDirectoryHasGone)
{
    const std::string text(8000, 'x');
    TraceSrv_Trace(2, "m", "first");
    std::filesystem::remove_all(m_directory.File("state"));
    nettest::WriteFile(m_directory.File("state"), "in the way");

    for (int i = 0; i < 300; ++i)  // over the point where the file is put aside
        TraceSrv_Trace(2, "m", text.c_str());
    std::filesystem::remove(m_directory.File("state"));
    TraceSrv_Trace(2, "m", "after");

    EXPECT_EQ(TheLine(), "2 m: after");
}

TEST_F(TraceSrvTest, LeavesErrnoAlone)
{
    setenv("NETINFO_TRACE_FILE", m_directory.File("none/trace").c_str(), 1);

    errno = E2BIG;
    TraceSrv_Trace(2, "m", "t");

    EXPECT_EQ(errno, E2BIG);
}

TEST_F(TraceSrvTest, LinesOfSeveralThreadsStayWhole)
{
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 250; ++i)
                TraceSrv_Trace(2, "module", "a line");
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const std::vector<std::string> lines = LinesOf(m_default);
    EXPECT_EQ(lines.size(), 1000U);
    EXPECT_TRUE(std::all_of(lines.begin(), lines.end(), [](const std::string& line) {
        return line.ends_with("+01:00 2 module: a line") || line.ends_with("+02:00 2 module: a line");
    }));
}

TEST_F(TraceSrvTest, NoChildInheritsTheFile)
{
    TraceSrv_Trace(2, "m", "t");

    int seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) != m_default) continue;
        ++seen;
        EXPECT_TRUE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
    }
    EXPECT_EQ(seen, 1);
}

}  // namespace
