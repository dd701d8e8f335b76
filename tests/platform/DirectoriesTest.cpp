#include "platform/common/Directories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace netinfo {
namespace {

class DirectoriesTest : public testing::Test
{
protected:
    DirectoriesTest()
    {
        for (const char* variable : {"NETINFO_DATA_DIR", "NETINFO_CONFIG_DIR", "NETINFO_MODULE_DIR",
                                     "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"})
            unsetenv(variable);
        setenv("HOME", "/home/somebody", 1);
    }

    static unsigned ModeOf(const std::string& path)
    {
        struct stat status
        {};
        return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    nettest::TempDir m_directory;
};

TEST_F(DirectoriesTest, AreInTheirCustomaryPlacesUnderTheHomeDirectory)
{
    EXPECT_EQ(UserDataDirectory(), "/home/somebody/.local/share/netinfo/");
    EXPECT_EQ(ConfigDirectory(), "/home/somebody/.config/netinfo/");
    EXPECT_EQ(StateDirectory(), "/home/somebody/.local/state/netinfo/");
}

TEST_F(DirectoriesTest, FollowTheBaseDirectories)
{
    setenv("XDG_DATA_HOME", "/base/data", 1);
    setenv("XDG_CONFIG_HOME", "/base/config/", 1);
    setenv("XDG_STATE_HOME", "/", 1);

    EXPECT_EQ(UserDataDirectory(), "/base/data/netinfo/");
    EXPECT_EQ(ConfigDirectory(), "/base/config/netinfo/");
    EXPECT_EQ(StateDirectory(), "/netinfo/");
}

TEST_F(DirectoriesTest, IgnoreABaseDirectoryThatIsRelativeOrEmpty)
{
    setenv("XDG_DATA_HOME", "base/data", 1);
    setenv("XDG_CONFIG_HOME", "", 1);
    setenv("XDG_STATE_HOME", "~/state", 1);

    EXPECT_EQ(UserDataDirectory(), "/home/somebody/.local/share/netinfo/");
    EXPECT_EQ(ConfigDirectory(), "/home/somebody/.config/netinfo/");
    EXPECT_EQ(StateDirectory(), "/home/somebody/.local/state/netinfo/");
}

TEST_F(DirectoriesTest, OurOwnVariablesComeFirst)
{
    setenv("XDG_DATA_HOME", "/base/data", 1);
    setenv("XDG_CONFIG_HOME", "/base/config", 1);
    setenv("NETINFO_DATA_DIR", "/own/data", 1);
    setenv("NETINFO_CONFIG_DIR", "/own/config/", 1);
    setenv("NETINFO_MODULE_DIR", "/own/module", 1);

    EXPECT_EQ(UserDataDirectory(), "/own/data/");
    EXPECT_EQ(ConfigDirectory(), "/own/config/");
    EXPECT_EQ(ModuleDirectory(), "/own/module/");
}

TEST_F(DirectoriesTest, EmptyVariablesOfOurOwnCountAsUnset)
{
    setenv("NETINFO_DATA_DIR", "", 1);
    setenv("NETINFO_MODULE_DIR", "", 1);

    EXPECT_EQ(UserDataDirectory(), "/home/somebody/.local/share/netinfo/");
    EXPECT_TRUE(ModuleDirectory().starts_with('/'));
}

TEST_F(DirectoriesTest, WithoutHomeTheUserDatabaseTellsTheHomeDirectory)
{
    const passwd* user = getpwuid(geteuid());
    if (!user || user->pw_dir[0] != '/') GTEST_SKIP() << "the user database does not know this user";
    const std::string home = user->pw_dir;

    for (const char* noHome : {"", "relative"}) {
        SCOPED_TRACE(noHome);
        setenv("HOME", noHome, 1);
        EXPECT_EQ(ConfigDirectory(), (home == "/" ? home : home + "/") + ".config/netinfo/");
    }
    unsetenv("HOME");
    EXPECT_EQ(ConfigDirectory(), (home == "/" ? home : home + "/") + ".config/netinfo/");
}

TEST_F(DirectoriesTest, TheModuleStaysInTheFolderThatItWasLoadedFrom)
{
    const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/";

    EXPECT_EQ(ModuleDirectory(), folder);
    std::filesystem::current_path("/");
    EXPECT_EQ(ModuleDirectory(), folder);
}

TEST_F(DirectoriesTest, AskingMakesNothing)
{
    setenv("HOME", m_directory.Path().c_str(), 1);

    UserDataDirectory();
    ConfigDirectory();
    StateDirectory();

    EXPECT_TRUE(std::filesystem::is_empty(m_directory.Path()));
}

TEST_F(DirectoriesTest, AreMadeWithTheirParentsForTheUserAlone)
{
    umask(0);

    EXPECT_TRUE(MakeDirectory(m_directory.File("a/b//c/")));
    EXPECT_TRUE(MakeDirectory(m_directory.File("a/d")));

    for (const char* made : {"a", "a/b", "a/b/c", "a/d"})
        EXPECT_EQ(ModeOf(m_directory.File(made)), 0700U) << made;
}

TEST_F(DirectoriesTest, StayAsTheyAreWhenTheyExist)
{
    const std::string existing = m_directory.File("existing/");
    mkdir(existing.c_str(), 0755);
    chmod(existing.c_str(), 0755);

    EXPECT_TRUE(MakeDirectory(existing));

    EXPECT_EQ(ModeOf(existing), 0755U);
}

TEST_F(DirectoriesTest, AreNotMadeWhereAFileIs)
{
    nettest::WriteFile(m_directory.File("file"), "");

    EXPECT_FALSE(MakeDirectory(m_directory.File("file")));
    EXPECT_FALSE(MakeDirectory(m_directory.File("file/a")));
    EXPECT_FALSE(MakeDirectory(""));
}

}  // namespace
}  // namespace netinfo
