#include "platform/common/ReplaceFile.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace netinfo {
namespace {

using nettest::ReadFile;
using nettest::WriteFile;

class ReplaceFileTest : public testing::Test
{
protected:
    std::ptrdiff_t FileCount() const
    {
        const std::filesystem::directory_iterator files(m_directory.Path());
        return std::distance(begin(files), end(files));
    }

    static struct stat StatusOf(const std::string& path)
    {
        struct stat status
        {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status;
    }

    nettest::TempDir m_directory;
    const std::string m_path = m_directory.File("data");
};

TEST_F(ReplaceFileTest, MakesAFileForTheUserAlone)
{
    umask(0);

    ASSERT_TRUE(ReplaceFile(m_path, "new"));

    EXPECT_EQ(ReadFile(m_path), "new");
    EXPECT_EQ(StatusOf(m_path).st_mode & 07777U, 0600U);
    EXPECT_EQ(FileCount(), 1);
}

TEST_F(ReplaceFileTest, ReplacesTheWholeContentAndKeepsTheMode)
{
    WriteFile(m_path, "a long previous content");
    chmod(m_path.c_str(), 0664);

    ASSERT_TRUE(ReplaceFile(m_path, "new"));

    EXPECT_EQ(ReadFile(m_path), "new");
    EXPECT_EQ(StatusOf(m_path).st_mode & 07777U, 0664U);
    EXPECT_EQ(FileCount(), 1);
}

TEST_F(ReplaceFileTest, KeepsTheOwner)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
    WriteFile(m_path, "previous");
    ASSERT_EQ(chown(m_path.c_str(), 12345, 23456), 0);

    ASSERT_TRUE(ReplaceFile(m_path, "new"));

    EXPECT_EQ(StatusOf(m_path).st_uid, 12345U);
    EXPECT_EQ(StatusOf(m_path).st_gid, 23456U);
}

TEST_F(ReplaceFileTest, TellsTheStatusOfTheNewFile)
{
    const auto status = ReplaceFile(m_path, "new");

    ASSERT_TRUE(status);
    EXPECT_EQ(status->st_ino, StatusOf(m_path).st_ino);
    EXPECT_EQ(status->st_ctim.tv_nsec, StatusOf(m_path).st_ctim.tv_nsec);
    EXPECT_EQ(status->st_size, 3);
}

TEST_F(ReplaceFileTest, FollowsAChainOfLinks)
{
    std::filesystem::create_directory(m_directory.File("d"));
    std::filesystem::create_symlink(m_directory.File("d/second"), m_path);
    std::filesystem::create_symlink("real", m_directory.File("d/second"));

    ASSERT_TRUE(ReplaceFile(m_path, "new"));  // its end does not exist yet

    EXPECT_TRUE(std::filesystem::is_symlink(m_path));
    EXPECT_EQ(ReadFile(m_directory.File("d/real")), "new");
}

TEST_F(ReplaceFileTest, RefusesACircleOfLinks)
{
    std::filesystem::create_symlink("data", m_path);

    EXPECT_FALSE(ReplaceFile(m_path, "new"));

    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(FileCount(), 1);
}

TEST_F(ReplaceFileTest, AFailureAtAnyByteLeavesThePreviousFile)
{
    WriteFile(m_path, "previous");
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string content(8, 'n');
    for (rlim_t room = 0; room < content.size(); ++room) {
        SCOPED_TRACE(room);
        const rlimit limit{room, RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);

        EXPECT_FALSE(ReplaceFile(m_path, content));

        EXPECT_EQ(errno, EFBIG);
        EXPECT_EQ(ReadFile(m_path), "previous");
        EXPECT_EQ(FileCount(), 1);
    }
}

TEST_F(ReplaceFileTest, FailsWithoutADirectory)
{
    EXPECT_FALSE(ReplaceFile(m_directory.File("none/data"), "new"));

    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ReplaceFileTest, DoesNotReplaceADirectory)
{
    std::filesystem::create_directory(m_path);

    EXPECT_FALSE(ReplaceFile(m_path, "new"));

    EXPECT_TRUE(std::filesystem::is_directory(m_path));
    EXPECT_EQ(FileCount(), 1);
}

}  // namespace
}  // namespace netinfo
