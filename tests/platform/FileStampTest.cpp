#include "platform/files/FileStamp.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using nettest::TempDir;
using nettest::WriteFile;

struct FileStampTest : testing::Test
{
    auto Stamp() const { return FileStamp::Of(path.c_str()); }

    TempDir directory;
    const std::string path = directory.File("file");
};

TEST_F(FileStampTest, IsTheSameAsLongAsNothingChanges)
{
    WriteFile(path, "text");
    ASSERT_TRUE(Stamp());
    EXPECT_EQ(Stamp(), Stamp());
}

TEST_F(FileStampTest, ThereIsNoneWhereThereIsNoFile)
{
    EXPECT_FALSE(Stamp());
    WriteFile(path, "");
    EXPECT_TRUE(Stamp());
    EXPECT_FALSE(FileStamp::Of((path + "/below").c_str()));
}

TEST_F(FileStampTest, TellsALongerContent)
{
    WriteFile(path, "text");
    const auto before = Stamp();
    WriteFile(path, "texts");
    EXPECT_NE(Stamp(), before);
}

TEST_F(FileStampTest, TellsAContentOfTheSameSizeByItsTime)
{
    WriteFile(path, "text");
    const auto before = Stamp();
    WriteFile(path, "next");
    std::filesystem::last_write_time(path,
                                     std::filesystem::last_write_time(path) + std::chrono::nanoseconds(1));
    EXPECT_NE(Stamp(), before);
}

TEST_F(FileStampTest, TellsAnotherFileOfTheSameNameSizeAndTime)
{
    WriteFile(path, "text");
    const auto before = Stamp();
    const std::string other = directory.File("other");
    WriteFile(other, "text");
    std::filesystem::last_write_time(other, std::filesystem::last_write_time(path));
    std::filesystem::rename(other, path);
    EXPECT_NE(Stamp(), before);
}

TEST_F(FileStampTest, FollowsALink)
{
    WriteFile(path, "text");
    const std::string link = directory.File("link");
    std::filesystem::create_symlink(path, link);
    EXPECT_EQ(FileStamp::Of(link.c_str()), Stamp());
}

}  // namespace
