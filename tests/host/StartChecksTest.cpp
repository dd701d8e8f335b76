#include "host/StartChecks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "tests/host/OrdinaryUser.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using netinfo::CheckDataFiles;
using netinfo::CheckSettingsFiles;
using netinfo::SetAsideFiles;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct StartChecksTest : testing::Test
{
    nettest::TempDir data;
    nettest::TempDir config;
    nettest::TempDir module;

    /// All checks in their order.
    auto Check()
    {
        const auto failure = CheckDataFiles(data.Path() + "/", module.Path() + "/");
        return failure ? failure : CheckSettingsFiles(config.Path() + "/", module.Path() + "/");
    }
};

}  // namespace

TEST_F(StartChecksTest, AreContentWithoutFiles) { EXPECT_FALSE(Check()); }

TEST_F(StartChecksTest, AreContentWithReadableFilesWhateverTheyHold)
{
    nettest::WriteFile(data.File("NetInfo.dat"), "");
    nettest::WriteFile(config.File("DataUsageLimit.ini"), "\xFF");
    nettest::WriteFile(module.File("SysSetting.xml"), "<");

    EXPECT_FALSE(Check());
}

TEST_F(StartChecksTest, NameTheFileThatCannotBeRead)
{
    const std::string files[] = {data.File("NetInfo.dat"), config.File("DataUsageLimit.ini"),
                                 module.File("DataUsageLimit.ini"), module.File("SysSetting.xml")};
    for (const std::string& file : files) {
        ASSERT_EQ(mkdir(file.c_str(), 0700), 0);  // a folder cannot be read, not even by root
        const auto failure = Check();
        ASSERT_TRUE(failure) << file;
        EXPECT_EQ(failure->message, file + " cannot be read: not a regular file");
        EXPECT_EQ(failure->exitCode, netinfo::EXIT_FAILED);
        ASSERT_EQ(rmdir(file.c_str()), 0);
    }
}

TEST_F(StartChecksTest, TellOfAFileWithoutReadPermission)
{
    nettest::WriteFile(data.File("NetInfo.dat"), "x");
    ASSERT_EQ(chmod(data.File("NetInfo.dat").c_str(), 0), 0);
    const nettest::OrdinaryUser user(data.Path());

    const auto failure = Check();

    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->message, HasSubstr("Permission denied"));
}

TEST_F(StartChecksTest, AreNotHeldUpByAPipe)
{
    ASSERT_EQ(mkfifo(data.File("NetInfo.dat").c_str(), 0600), 0);

    const auto failure = Check();

    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->message, HasSubstr("not a regular file"));
}

TEST_F(StartChecksTest, TakeASettingsFileThatIsNoTextForUnreadable)
{
    nettest::WriteFile(config.File("DataUsageLimit.ini"), std::string_view("[links]\0", 8));

    const auto failure = Check();

    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->message, config.File("DataUsageLimit.ini") + " cannot be read: not a text file");
}

TEST_F(StartChecksTest, FindTheDataFilesThatWereSetAside)
{
    for (const char* const name :
         {"NetInfo.dat", "NetInfo.dat.bad-1", "NetInfo.dat.bad-22", "NetInfo.dat.utf8"})
        nettest::WriteFile(data.File(name), "");

    EXPECT_THAT(SetAsideFiles(data.Path() + "/"),
                ElementsAre(data.File("NetInfo.dat.bad-1"), data.File("NetInfo.dat.bad-22")));
    EXPECT_TRUE(SetAsideFiles(data.Path() + "/missing/").empty());
}
