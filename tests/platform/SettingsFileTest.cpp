#include "platform/common/SettingsFile.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace netinfo {
namespace {

using nettest::FakePlatform;
using nettest::ReadFile;
using nettest::WriteFile;

class SettingsFileTest : public testing::Test
{
protected:
    SettingsFileTest() { FakePlatform::Reset(); }

    std::string Get(const std::string& section, const std::string& key)
    {
        return m_file.Get(section, key).value_or("(none)");
    }

    /// Lets so much time pass that the file is looked at again.
    void WaitALittle() { m_now += SettingsFile::LOOK_EVERY; }

    static std::size_t TraceCount() { return FakePlatform::Traces().size(); }

    static unsigned ModeOf(const std::string& path)
    {
        struct stat status
        {};
        return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    std::vector<std::string> FilesBeside() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_directory.Path()))
            names.push_back(entry.path().filename());
        return names;
    }

    nettest::TempDir m_directory;
    const std::string m_path = m_directory.File("settings.ini");
    long long m_now = 0;
    SettingsFile m_file{m_path, [this] { return m_now; }};
};

TEST_F(SettingsFileTest, HasNoSettingsWithoutAFile)
{
    EXPECT_EQ(m_file.Get("uselimit", "startweekdate"), std::nullopt);
    EXPECT_EQ(TraceCount(), 0U) << "a user who has set nothing is nothing to complain about";
    EXPECT_EQ(FilesBeside().size(), 0U) << "asking makes no file";
}

TEST_F(SettingsFileTest, TellsSectionsAndKeysApart)
{
    WriteFile(m_path, "loose=0\n[one]\na=1\nb=2\n[two]\na=3\n");

    EXPECT_EQ(Get("one", "a"), "1");
    EXPECT_EQ(Get("one", "b"), "2");
    EXPECT_EQ(Get("two", "a"), "3");
    EXPECT_EQ(Get("", "loose"), "0");
    EXPECT_EQ(Get("two", "b"), "(none)");
    EXPECT_EQ(Get("three", "a"), "(none)");
}

TEST_F(SettingsFileTest, ReadsWhatPeopleWrite)
{
    WriteFile(m_path,
              "\xEF\xBB\xBF; my settings\r\n"
              "[ UseLimit ]\r\n"
              "# the week begins on Monday\r\n"
              "  StartWeekDate \t=  1  \r\n"
              "Empty=\r\n"
              "nonsense\r\n"
              "Name=\"caf\xC3\xA9 = good\"; really\r\n");

    EXPECT_EQ(Get("uselimit", "startweekdate"), "1");
    EXPECT_EQ(Get("USELIMIT", "STARTWEEKDATE"), "1");
    EXPECT_EQ(Get("uselimit", "empty"), "");
    EXPECT_EQ(Get("uselimit", "name"), "\"caf\xC3\xA9 = good\"; really");
    EXPECT_EQ(Get("uselimit", "nonsense"), "(none)");
}

TEST_F(SettingsFileTest, LooksAtTheFileAtMostOnceASecond)
{
    WriteFile(m_path, "[s]\nk=old\n");
    ASSERT_EQ(Get("s", "k"), "old");
    WriteFile(m_path, "[s]\nk=changed\n");

    m_now += SettingsFile::LOOK_EVERY - 1;
    EXPECT_EQ(Get("s", "k"), "old");

    m_now += 1;
    EXPECT_EQ(Get("s", "k"), "changed");
}

TEST_F(SettingsFileTest, SeesAFileAppearAndDisappear)
{
    ASSERT_EQ(Get("s", "k"), "(none)");

    WriteFile(m_path, "[s]\nk=1\n");
    WaitALittle();
    EXPECT_EQ(Get("s", "k"), "1");

    std::filesystem::remove(m_path);
    WaitALittle();
    EXPECT_EQ(Get("s", "k"), "(none)");
}

TEST_F(SettingsFileTest, SeesAChangeThatTheFileSystemsClockIsTooCoarseFor)
{
    // A page that is written to twice before it goes to disk changes the file's times only once, just as two
    // writes within one tick of the clock do.
    WriteFile(m_path, "[s]\nk=1\n");
    const int descriptor = open(m_path.c_str(), O_RDWR | O_CLOEXEC);
    void* const memory = mmap(nullptr, 8, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ASSERT_NE(memory, MAP_FAILED);
    char& value = static_cast<char*>(memory)[6];
    value = '2';
    ASSERT_EQ(Get("s", "k"), "2");

    value = '3';
    WaitALittle();

    EXPECT_EQ(Get("s", "k"), "3");
    munmap(memory, 8);
    close(descriptor);
}

TEST_F(SettingsFileTest, DoesNotReadAFileAgainThatHasLongBeenTheSame)
{
    // The kernel alone sets the time of the last change, so a file of ours is always young. One that the
    // system was installed with is old, and nobody changes it meanwhile.
    const std::string old = "/etc/os-release";
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_add_watch(watch, old.c_str(), IN_OPEN) < 0) GTEST_SKIP() << "no such file on this system";
    const auto wasOpened = [watch] {
        char event[sizeof(inotify_event)];
        return read(watch, event, sizeof event) > 0;
    };
    SettingsFile file(old, [this] { return m_now; });
    const auto first = file.Get("", "ID");
    ASSERT_TRUE(first);
    ASSERT_TRUE(wasOpened());

    WaitALittle();

    EXPECT_EQ(file.Get("", "ID"), first);
    EXPECT_FALSE(wasOpened());
    close(watch);
}

TEST_F(SettingsFileTest, SeesAFileThatTookThePlaceOfTheOld)
{
    WriteFile(m_path, "[s]\nk=1\n");
    WriteFile(m_path + ".new", "[s]\nk=2\n");
    ASSERT_EQ(Get("s", "k"), "1");

    std::filesystem::rename(m_path + ".new", m_path);
    WaitALittle();

    EXPECT_EQ(Get("s", "k"), "2");
}

TEST_F(SettingsFileTest, HasNoSettingsWhereThereIsNoTextAndSaysSoOnce)
{
    const std::string tooLarge = "[s]\nk=1\n" + std::string(1 << 20, ';');
    struct
    {
        const char* what;
        std::function<void()> make;
    } const cases[] = {
        {"a zero byte", [&] { WriteFile(m_path, std::string_view("[s]\nk=1\n\0\n", 10)); }},
        {"UTF-16", [&] { WriteFile(m_path, std::string_view("\xFF\xFE[\0s\0]\0\n\0", 10)); }},
        {"too large a file", [&] { WriteFile(m_path, tooLarge); }},
        {"a directory", [&] { mkdir(m_path.c_str(), 0700); }},
        {"a pipe that nobody writes to", [&] { mkfifo(m_path.c_str(), 0600); }},
        {"a link to itself", [&] { std::filesystem::create_symlink(m_path, m_path); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove_all(m_path);
        FakePlatform::ClearTraces();
        c.make();

        for (int i = 0; i < 3; ++i) {
            WaitALittle();
            EXPECT_EQ(Get("s", "k"), "(none)");
        }

        ASSERT_EQ(TraceCount(), 1U);
        EXPECT_EQ(FakePlatform::Traces()[0].level, 2);
        EXPECT_NE(FakePlatform::Traces()[0].text.find(m_path), std::string::npos);

        std::filesystem::remove_all(m_path);
        WriteFile(m_path, "[s]\nk=repaired\n");
        WaitALittle();
        EXPECT_EQ(Get("s", "k"), "repaired");
    }
}

TEST_F(SettingsFileTest, ReadsWhatItCanOfAFileCutAnywhere)
{
    const std::string whole = "; comment\n[s]\nfirst = 1\n\n[t]\nsecond = <<<END\nEND\nthird = \"3\n";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        WriteFile(m_path, whole.substr(0, length));
        WaitALittle();
        const std::string first = Get("s", "first");
        EXPECT_TRUE(first == (length < whole.find('1') + 1 ? "(none)" : "1") || first.empty());
    }
    EXPECT_EQ(Get("t", "second"), "<<<END");
    EXPECT_EQ(TraceCount(), 0U);
}

TEST_F(SettingsFileTest, AStoredValueIsSeenAtOnceAndByOthers)
{
    ASSERT_EQ(Get("s", "k"), "(none)");

    ASSERT_TRUE(m_file.Set("s", "k", "caf\xC3\xA9"));

    EXPECT_EQ(Get("s", "k"), "caf\xC3\xA9");
    SettingsFile other(m_path);
    EXPECT_EQ(other.Get("S", "K"), "caf\xC3\xA9");
}

TEST_F(SettingsFileTest, StoringKeepsWhatElseIsInTheFile)
{
    WriteFile(m_path,
              "; my settings\n"
              "\n"
              "; when it starts\n"
              "[uselimit]\n"
              "; Monday\n"
              "startweekdate = 1\n"
              "startmonthdate = 15\n"
              "\n"
              "[other]\n"
              "name = \xFF not UTF-8\n");

    ASSERT_TRUE(m_file.Set("UseLimit", "StartMonthDate", "20"));
    ASSERT_TRUE(m_file.Set("new", "key", "value"));

    EXPECT_EQ(ReadFile(m_path),
              "; my settings\n"
              "\n\n"
              "; when it starts\n"
              "[uselimit]\n"
              "\n"
              "; Monday\n"
              "startweekdate = 1\n"
              "startmonthdate = 20\n"
              "\n\n"
              "[other]\n"
              "name = \xFF not UTF-8\n"
              "\n\n"
              "[new]\n"
              "key = value\n");
}

TEST_F(SettingsFileTest, StoringKeepsAnEditThatHasNotBeenSeenYet)
{
    WriteFile(m_path, "[s]\na=1\n");
    ASSERT_EQ(Get("s", "a"), "1");
    WriteFile(m_path, "[s]\na=edited by hand\n");

    ASSERT_TRUE(m_file.Set("s", "b", "2"));

    EXPECT_EQ(Get("s", "a"), "edited by hand");
    EXPECT_EQ(Get("s", "b"), "2");
}

TEST_F(SettingsFileTest, AnEditAfterStoringIsSeenInTime)
{
    ASSERT_TRUE(m_file.Set("s", "k", "stored"));
    WriteFile(m_path, "[s]\nk = edited\n");  // as long as what was stored

    WaitALittle();

    EXPECT_EQ(Get("s", "k"), "edited");
}

TEST_F(SettingsFileTest, StoringKeepsTheByteOrderMark)
{
    WriteFile(m_path, "\xEF\xBB\xBF[s]\na=1\n");

    ASSERT_TRUE(m_file.Set("s", "a", "2"));

    EXPECT_EQ(ReadFile(m_path), "\xEF\xBB\xBF[s]\na = 2\n");
}

TEST_F(SettingsFileTest, OnlyTheUserMayReadWhatStoringMakes)
{
    umask(0);
    const std::string directory = m_directory.File("a/b");
    SettingsFile file(directory + "/settings.ini");

    ASSERT_TRUE(file.Set("s", "k", "v"));

    EXPECT_EQ(ModeOf(m_directory.File("a")), 0700U);
    EXPECT_EQ(ModeOf(directory), 0700U);
    EXPECT_EQ(ModeOf(directory + "/settings.ini"), 0600U);
}

TEST_F(SettingsFileTest, StoringKeepsTheModeAndLeavesNothingBeside)
{
    WriteFile(m_path, "[s]\nk=1\n");
    ASSERT_EQ(chmod(m_path.c_str(), 0640), 0);

    ASSERT_TRUE(m_file.Set("s", "k", "2"));

    EXPECT_EQ(ModeOf(m_path), 0640U);
    EXPECT_EQ(FilesBeside(), std::vector<std::string>{"settings.ini"});
}

TEST_F(SettingsFileTest, StoringFollowsASymbolicLink)
{
    std::filesystem::create_directory(m_directory.File("dotfiles"));
    WriteFile(m_directory.File("dotfiles/real.ini"), "[s]\nk=1\n");
    std::filesystem::create_symlink("dotfiles/real.ini", m_path);

    ASSERT_TRUE(m_file.Set("s", "k", "2"));

    EXPECT_TRUE(std::filesystem::is_symlink(m_path));
    EXPECT_EQ(ReadFile(m_directory.File("dotfiles/real.ini")), "[s]\nk = 2\n");
}

TEST_F(SettingsFileTest, RefusesWhatWouldNotReadBackTheSame)
{
    const std::string before = "[s]\nk=1\n[t]\nk=2\n";
    WriteFile(m_path, before);
    struct
    {
        const char* section;
        const char* key;
        const char* value;
    } const cases[] = {
        {"s", "k", "1\n[t]\nk=3"},  // a line break would let a value write other settings
        {"s", "k", "1\r2"},
        {"s", "k", " blank before"},
        {"s", "k", "blank after\t"},
        {"s", "a=b", "1"},
        {"s", ";k", "1"},
        {"s", "#k", "1"},
        {"s", "[k", "1"},
        {"s", "k\n", "1"},
        {"s", " k", "1"},
        {"s", "", "1"},
        {"s]", "k", "1"},
        {"s\nk=5", "k", "1"},
        {" s", "k", "1"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::vector<std::string>{c.section, c.key, c.value}));
        EXPECT_FALSE(m_file.Set(c.section, c.key, c.value));
        EXPECT_EQ(ReadFile(m_path), before);
        EXPECT_EQ(Get("s", "k"), "1");
        EXPECT_EQ(Get("t", "k"), "2");
    }
}

TEST_F(SettingsFileTest, StoresValuesThatOnlyLookLikeSyntax)
{
    for (const char* value : {"a=b", "[x]", "; no comment", "# none", "\"quoted\"", "<<<END", "\\n", "%s"}) {
        SCOPED_TRACE(value);
        ASSERT_TRUE(m_file.Set("s", "k", value));
        SettingsFile other(m_path);
        EXPECT_EQ(other.Get("s", "k"), value);
    }
}

TEST_F(SettingsFileTest, NeverWritesOverWhatItCannotRead)
{
    const std::string noText("[s]\nk=1\n\0", 9);
    WriteFile(m_path, noText);

    EXPECT_FALSE(m_file.Set("s", "k", "2"));

    EXPECT_EQ(ReadFile(m_path), noText);
    EXPECT_EQ(TraceCount(), 1U);
}

TEST_F(SettingsFileTest, AFailedWriteChangesNothing)
{
    const std::string before = "[s]\nk=1\n";
    WriteFile(m_path, before);
    ASSERT_EQ(Get("s", "k"), "1");
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{4, 4};  // bytes that a file may grow to
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);

    EXPECT_FALSE(m_file.Set("s", "k", "2"));

    WaitALittle();
    EXPECT_EQ(Get("s", "k"), "1");
    EXPECT_EQ(ReadFile(m_path), before);
    EXPECT_EQ(FilesBeside(), std::vector<std::string>{"settings.ini"});
    EXPECT_EQ(TraceCount(), 1U);
}

TEST_F(SettingsFileTest, StoringFailsWhereNoDirectoryCanBe)
{
    WriteFile(m_directory.File("file"), "");
    SettingsFile file(m_directory.File("file/settings.ini"));

    EXPECT_FALSE(file.Set("s", "k", "v"));
    EXPECT_EQ(file.Get("s", "k"), std::nullopt);
}

TEST_F(SettingsFileTest, AnEmptyPathIsNoFile)
{
    std::filesystem::current_path(m_directory.Path());
    SettingsFile file("");

    EXPECT_FALSE(file.Set("s", "k", "v"));

    EXPECT_EQ(file.Get("s", "k"), std::nullopt);
    EXPECT_EQ(FilesBeside().size(), 0U);
}

TEST_F(SettingsFileTest, ProgramsThatStoreAtTheSameTimeTakeTurns)
{
    constexpr int EACH = 25;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            SettingsFile mine(m_path);  // as another program would have it
            for (int i = 0; i < EACH; ++i)
                mine.Set("s", "k" + std::to_string(t * EACH + i), "v");
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    for (int i = 0; i < 4 * EACH; ++i)
        EXPECT_EQ(Get("s", "k" + std::to_string(i)), "v") << i;
}

TEST_F(SettingsFileTest, MayBeReadAndStoredByManyThreads)
{
    SettingsFile file(m_path);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&file, t] {
            for (int i = 0; i < 50; ++i) {
                if (t == 0) file.Set("s", "k", i % 2 ? "one" : "two");
                const auto value = file.Get("s", "k");
                EXPECT_TRUE(!value || *value == "one" || *value == "two");
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(file.Get("s", "k"), "one");
}

TEST_F(SettingsFileTest, SurvivesAnyTextAndLosesNothingInIt)
{
    const std::string pieces[] = {"[",    "]",  "=",    ";",        "#",       "\n",     "\r",
                                  "\r\n", " ",  "\t",   "<<<",      "a",       "B",      "END",
                                  "\"",   "\\", "\xFF", "\xC3\xA9", "\n[s]\n", "\nk=1\n"};
    std::mt19937 engine(20070402);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        std::string text;
        for (std::size_t i = engine() % 30; i > 0; --i)
            text += pieces[engine() % std::size(pieces)];
        WriteFile(m_path, text);
        WaitALittle();
        const auto before = m_file.Get("s", "k");

        const bool stored = m_file.Set("new", "key", "value");

        SettingsFile other(m_path);
        ASSERT_EQ(other.Get("s", "k"), before);
        ASSERT_EQ(other.Get("new", "key").value_or("(none)"), stored ? "value" : "(none)");
    }
}

}  // namespace
}  // namespace netinfo
