#include "platform/common/JFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using nettest::ReadFile;
using nettest::WriteFile;

class JFileTest : public testing::Test
{
protected:
    void Write(const char* mode, const std::string& text)
    {
        JFile file(m_path);
        ASSERT_TRUE(file.Open(mode));
        ASSERT_EQ(file.Write(text.data(), text.size()), text.size());
    }

    static unsigned ModeOf(const std::string& path)
    {
        struct stat status
        {};
        return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    nettest::TempDir m_directory;
    const std::string m_path = m_directory.File("data");
};

TEST_F(JFileTest, ExistsFromItsCreationToItsRemoval)
{
    JFile file(m_path);
    EXPECT_FALSE(file.Exists());

    ASSERT_TRUE(file.Open("ab+"));
    EXPECT_TRUE(file.Exists());
    file.Close();
    EXPECT_TRUE(file.Exists());

    EXPECT_TRUE(file.Remove());
    EXPECT_FALSE(file.Exists());
    EXPECT_FALSE(file.Remove());
}

TEST_F(JFileTest, ReadsWhatWasWritten)
{
    const std::string bytes("a\0\r\n\xFF", 5);
    Write("wb", bytes);

    JFile file(m_path.c_str());
    ASSERT_TRUE(file.Open("rb"));
    char buffer[16];
    EXPECT_EQ(file.Read(buffer, 2), 2U);
    EXPECT_EQ(file.Read(buffer + 2, 10), 3U);
    EXPECT_EQ(std::string(buffer, 5), bytes);
    EXPECT_EQ(file.Read(buffer, 10), 0U);
}

TEST_F(JFileTest, AppendsWhenOpenedForAppending)
{
    Write("ab+", "one");
    Write("ab+", "two");

    EXPECT_EQ(ReadFile(m_path), "onetwo");
}

TEST_F(JFileTest, StartsAnewWhenOpenedForWriting)
{
    Write("wb", "a long text");
    Write("wb", "new");

    EXPECT_EQ(ReadFile(m_path), "new");
}

TEST_F(JFileTest, ChangesInPlaceWhenOpenedForReadingAndWriting)
{
    Write("wb", "abcdef");
    Write("r+b", "XY");

    EXPECT_EQ(ReadFile(m_path), "XYcdef");
}

TEST_F(JFileTest, OpenForReadingMakesNoFile)
{
    JFile file(m_path);

    EXPECT_FALSE(file.Open("rb"));
    EXPECT_FALSE(file.Open("rb+"));
    EXPECT_FALSE(file.Exists());
}

TEST_F(JFileTest, ExclusiveOpenKeepsAnExistingFile)
{
    Write("wbx", "first");

    JFile file(m_path);
    EXPECT_FALSE(file.Open("wbx"));
    EXPECT_EQ(ReadFile(m_path), "first");
}

TEST_F(JFileTest, RefusesAModeThatIsNone)
{
    JFile file(m_path);
    for (const char* mode : {"", "b", "+", "rz", "w,ccs=UTF-8", "r w"}) {
        SCOPED_TRACE(mode);
        EXPECT_FALSE(file.Open(mode));
    }
    EXPECT_FALSE(file.Open(nullptr));
    EXPECT_FALSE(file.Exists());
}

TEST_F(JFileTest, NobodyElseMayReadAFileThatItMade)
{
    umask(0);
    Write("ab+", "private");

    EXPECT_EQ(ModeOf(m_path), 0600U);
}

TEST_F(JFileTest, KeepsTheModeOfAnExistingFile)
{
    WriteFile(m_path, "shared");
    ASSERT_EQ(chmod(m_path.c_str(), 0644), 0);

    Write("wb", "still shared");

    EXPECT_EQ(ModeOf(m_path), 0644U);
}

TEST_F(JFileTest, IsNotInheritedByAProgramThatTheHostStarts)
{
    const auto isOurs = [&](const std::filesystem::path& link) {
        std::error_code ignored;
        return std::filesystem::read_symlink(link, ignored) == m_path;
    };
    JFile file(m_path);
    ASSERT_TRUE(file.Open("wb"));

    int seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (!isOurs(entry.path())) continue;
        ++seen;
        EXPECT_TRUE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
    }
    EXPECT_EQ(seen, 1);
}

TEST_F(JFileTest, EveryWriteIsInTheFileAtOnce)
{
    JFile file(m_path);
    ASSERT_TRUE(file.Open("wb"));
    ASSERT_EQ(file.Write("abc", 3), 3U);

    EXPECT_EQ(ReadFile(m_path), "abc");
}

TEST_F(JFileTest, AFullDiskShowsInTheCount)
{
    if (!std::filesystem::is_character_file("/dev/full")) GTEST_SKIP() << "no such device here";
    JFile file("/dev/full");
    ASSERT_TRUE(file.Open("wb"));

    EXPECT_EQ(file.Write("abc", 3), 0U);
}

TEST_F(JFileTest, DoesNothingWhileClosed)
{
    JFile file(m_path);
    char buffer[4];

    EXPECT_EQ(file.Read(buffer, 4), 0U);
    EXPECT_EQ(file.Write("abc", 3), 0U);
    file.Close();

    ASSERT_TRUE(file.Open("wb"));
    file.Close();
    EXPECT_EQ(file.Write("abc", 3), 0U);
    EXPECT_EQ(ReadFile(m_path), "");
}

TEST_F(JFileTest, OpenClosesWhatWasOpenBefore)
{
    Write("wb", "abc");
    JFile file(m_path);
    ASSERT_TRUE(file.Open("rb"));

    EXPECT_FALSE(file.Open("no mode"));

    char buffer[4];
    EXPECT_EQ(file.Read(buffer, 4), 0U);
}

TEST_F(JFileTest, HasNoFileWithoutAPath)
{
    JFile file(nullptr);

    EXPECT_FALSE(file.Exists());
    EXPECT_FALSE(file.Open("wb"));
    EXPECT_FALSE(file.Remove());
}

}  // namespace
