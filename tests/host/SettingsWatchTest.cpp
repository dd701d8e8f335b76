#include "host/SettingsWatch.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using netinfo::SettingsWatch;
using nettest::WriteFile;

struct SettingsWatchTest : testing::Test
{
    /// How many of the next calls tell of a change.
    static int Told(SettingsWatch& watch)
    {
        int told = 0;
        for (int i = 0; i < 2 * SettingsWatch::ECHOES + 2; ++i)
            told += watch.Changed() ? 1 : 0;
        return told;
    }

    nettest::TempDir directory;
    const std::string module = directory.File("module.ini");
    const std::string user = directory.File("user.ini");
};

TEST_F(SettingsWatchTest, TellsNothingWhileTheFilesStayAsTheyAre)
{
    WriteFile(user, "[links]\n");
    SettingsWatch watch({module, user});

    EXPECT_EQ(0, Told(watch));
}

TEST_F(SettingsWatchTest, TellsOfEveryChangeAndAWhileLonger)
{
    constexpr int ONCE = 1 + SettingsWatch::ECHOES;
    SettingsWatch watch({module, user});
    WriteFile(user, "[links]\n");
    EXPECT_EQ(ONCE, Told(watch)) << "a file that came";
    WriteFile(user, "[links]\nwan0 = adsl\n");
    EXPECT_EQ(ONCE, Told(watch)) << "one that was written";
    WriteFile(module, "[links]\n");
    EXPECT_EQ(ONCE, Told(watch)) << "the other one";
    WriteFile(directory.File("new.ini"), "[links]\nwan0 = wifi\n");
    std::filesystem::rename(directory.File("new.ini"), user);
    EXPECT_EQ(ONCE, Told(watch)) << "one that took the other's place";
    std::filesystem::remove(user);
    EXPECT_EQ(ONCE, Told(watch)) << "one that went";
}

TEST_F(SettingsWatchTest, TellsOfAChangeThatFollowsAnother)
{
    SettingsWatch watch({module, user});
    WriteFile(user, "[links]\n");
    EXPECT_TRUE(watch.Changed());
    WriteFile(user, "[links]\nwan0 = adsl\n");

    EXPECT_EQ(1 + SettingsWatch::ECHOES, Told(watch));
}

}  // namespace
