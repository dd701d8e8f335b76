#include "host/DataLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "tests/host/OrdinaryUser.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using netinfo::DataLock;
using testing::HasSubstr;

namespace {

struct DataLockTest : testing::Test
{
    nettest::TempDir directory;
    std::string path = directory.Path() + "/";
};

}  // namespace

TEST_F(DataLockTest, WritesItsProcessIdIntoTheLockFile)
{
    const auto lock = DataLock::Take(path);

    ASSERT_TRUE(lock);
    EXPECT_EQ(nettest::ReadFile(directory.File("netinfo.lock")), std::to_string(getpid()) + "\n");
}

TEST_F(DataLockTest, TellsASecondOwnerWhoTheFirstIs)
{
    const auto first = DataLock::Take(path);
    ASSERT_TRUE(first);

    const auto second = DataLock::Take(path);

    ASSERT_FALSE(second);
    EXPECT_EQ(second.Error().message,
              "the data in " + path + " is in use by process " + std::to_string(getpid()));
    EXPECT_EQ(second.Error().exitCode, netinfo::EXIT_FAILED);
}

TEST_F(DataLockTest, EndsWithItsObject)
{
    {
        const auto lock = DataLock::Take(path);
        ASSERT_TRUE(lock);
    }
    EXPECT_TRUE(DataLock::Take(path));
}

TEST_F(DataLockTest, StaysWithTheObjectThatItWasMovedTo)
{
    std::optional<DataLock> owner;
    {
        auto lock = DataLock::Take(path);
        ASSERT_TRUE(lock);
        owner = std::move(*lock);
    }
    EXPECT_FALSE(DataLock::Take(path));
    owner.reset();
    EXPECT_TRUE(DataLock::Take(path));
}

TEST_F(DataLockTest, IgnoresWhatADeadOwnerLeft)
{
    nettest::WriteFile(directory.File("netinfo.lock"), "123456789 and more");
    const auto lock = DataLock::Take(path);

    ASSERT_TRUE(lock);
    EXPECT_EQ(nettest::ReadFile(directory.File("netinfo.lock")), std::to_string(getpid()) + "\n");
}

TEST_F(DataLockTest, SpeaksOfAnotherProcessWhileItsIdIsNotThere)
{
    const auto first = DataLock::Take(path);
    ASSERT_TRUE(first);
    for (const char* const content : {"", "nonsense"}) {
        nettest::WriteFile(directory.File("netinfo.lock"), content);
        const auto second = DataLock::Take(path);
        ASSERT_FALSE(second);
        EXPECT_THAT(second.Error().message, HasSubstr("in use by another process"));
    }
}

TEST_F(DataLockTest, SaysWhenTheDirectoryCannotBeWritten)
{
    const auto missing = DataLock::Take(directory.Path() + "/missing/");
    ASSERT_FALSE(missing);
    EXPECT_THAT(missing.Error().message, HasSubstr("cannot be written"));
    EXPECT_EQ(missing.Error().exitCode, netinfo::EXIT_FAILED);

    ASSERT_EQ(mkdir(directory.File("netinfo.lock").c_str(), 0700), 0);
    const auto blocked = DataLock::Take(path);
    ASSERT_FALSE(blocked);
    EXPECT_THAT(blocked.Error().message, HasSubstr("cannot be written"));
}

TEST_F(DataLockTest, SaysWhenTheDirectoryIsReadOnly)
{
    ASSERT_EQ(chmod(directory.Path().c_str(), 0500), 0);
    const nettest::OrdinaryUser user(directory.Path());

    const auto lock = DataLock::Take(path);

    ASSERT_FALSE(lock);
    EXPECT_THAT(lock.Error().message, HasSubstr("cannot be written: Permission denied"));
}

TEST_F(DataLockTest, FollowsNoLinkToAnotherFile)
{
    nettest::WriteFile(directory.File("precious"), "content");
    ASSERT_EQ(symlink("precious", directory.File("netinfo.lock").c_str()), 0);

    EXPECT_FALSE(DataLock::Take(path));
    EXPECT_EQ(nettest::ReadFile(directory.File("precious")), "content");
}

// --- who has the lock ---

TEST_F(DataLockTest, IsNobodysBeforeItIsTakenAndAfterItsEnd)
{
    const auto none = netinfo::FindLockHolder(path);
    ASSERT_TRUE(none);
    EXPECT_FALSE(*none);
    EXPECT_TRUE(*netinfo::FindLockHolder(directory.Path() + "/missing/") == std::nullopt);

    {
        auto lock = DataLock::Take(path);
        ASSERT_TRUE(lock);
        EXPECT_FALSE(lock->Announce("/run/control.sock"));
    }
    const auto dead = netinfo::FindLockHolder(path);
    ASSERT_TRUE(dead);
    EXPECT_FALSE(*dead) << "what it left in the file is not looked at";
}

TEST_F(DataLockTest, TellsWhoHasItAndOnWhichSocketHeListens)
{
    auto lock = DataLock::Take(path);
    ASSERT_TRUE(lock);
    EXPECT_EQ((*netinfo::FindLockHolder(path))->process, getpid());
    EXPECT_EQ((*netinfo::FindLockHolder(path))->socketPath, "");

    EXPECT_FALSE(lock->Announce("/run/netinfo/control.sock"));
    EXPECT_EQ((*netinfo::FindLockHolder(path))->process, getpid());
    EXPECT_EQ((*netinfo::FindLockHolder(path))->socketPath, "/run/netinfo/control.sock");

    EXPECT_FALSE(lock->Announce(""));
    EXPECT_EQ((*netinfo::FindLockHolder(path))->socketPath, "");
}

TEST_F(DataLockTest, ForgetsTheSocketOfADeadOwnerWhenItIsTaken)
{
    nettest::WriteFile(directory.File("netinfo.lock"), "12345\n/run/netinfo/control.sock\n");
    auto lock = DataLock::Take(path);
    ASSERT_TRUE(lock);
    EXPECT_EQ((*netinfo::FindLockHolder(path))->socketPath, "");
}

TEST_F(DataLockTest, IsChangedByNobodyWhoLooksForItsHolder)
{
    EXPECT_TRUE(netinfo::FindLockHolder(path));
    EXPECT_NE(access(directory.File("netinfo.lock").c_str(), F_OK), 0);
}

TEST_F(DataLockTest, TouchesNothingThatAnotherUserHasPlanted)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs a file of another user";
    nettest::WriteFile(directory.File("victim"), "precious");
    const std::string shared = directory.File("shared/");
    ASSERT_EQ(mkdir(shared.c_str(), 0700), 0);
    ASSERT_EQ(chmod(shared.c_str(), 01777), 0);

    ASSERT_EQ(link(directory.File("victim").c_str(), (shared + "netinfo.lock").c_str()), 0);
    EXPECT_FALSE(DataLock::Take(shared));
    EXPECT_EQ(nettest::ReadFile(directory.File("victim")), "precious");

    ASSERT_EQ(unlink((shared + "netinfo.lock").c_str()), 0);
    EXPECT_TRUE(DataLock::Take(shared));
}
