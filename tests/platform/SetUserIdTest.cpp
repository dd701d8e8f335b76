#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>

#include "tests/support/Program.h"
#include "tests/support/TempDir.h"

// A program that runs with the rights of its file's owner must not let whoever starts it say where it reads
// and writes.

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr unsigned STARTER = 1234;
constexpr unsigned OWNER = 65534;  // "nobody"

class SetUserId : public testing::Test
{
protected:
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "needs root to give a program away";
        const passwd* const owner = getpwuid(OWNER);
        if (!owner || owner->pw_dir[0] != '/') GTEST_SKIP() << "the user database does not know the owner";
        m_home = owner->pw_dir;

        ASSERT_EQ(chmod(m_directory.Path().c_str(), 0777), 0);
        std::filesystem::copy_file(NETINFO_TELL_DIRECTORIES, m_program);
        ASSERT_EQ(chown(m_program.c_str(), OWNER, OWNER), 0);
    }

    /// What the program says to another user who starts it with an environment that leads astray.
    std::string Tell(mode_t mode) const
    {
        EXPECT_EQ(chmod(m_program.c_str(), mode), 0);
        const std::string astray = m_directory.File("astray");
        nettest::Program program(
            {"/usr/bin/setpriv", "--reuid", std::to_string(STARTER), "--clear-groups", m_program},
            {{"NETINFO_DATA_DIR", astray},
             {"NETINFO_CONFIG_DIR", astray},
             {"NETINFO_MODULE_DIR", astray},
             {"NETINFO_TRACE_FILE", m_trace},
             {"NETINFO_TRACE_LEVEL", "4"},
             {"XDG_DATA_HOME", astray},
             {"XDG_CONFIG_HOME", astray},
             {"XDG_STATE_HOME", astray},
             {"HOME", astray}});
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
        return program.Text();
    }

    nettest::TempDir m_directory;
    const std::string m_program = m_directory.File("program");
    const std::string m_trace = m_directory.File("trace");
    std::string m_home;  ///< of the owner
};

}  // namespace

TEST_F(SetUserId, IgnoresTheEnvironment)
{
    const std::string told = Tell(04755);
    if (told.find("user " + std::to_string(OWNER)) == std::string::npos)
        GTEST_SKIP() << "programs get nobody's rights here";

    EXPECT_THAT(told, HasSubstr("data " + m_home + "/.local/share/netinfo/\n"));
    EXPECT_THAT(told, HasSubstr("config " + m_home + "/.config/netinfo/\n"));
    EXPECT_THAT(told, HasSubstr("state " + m_home + "/.local/state/netinfo/\n"));
    EXPECT_THAT(told, HasSubstr("module " + m_directory.Path() + "/\n"));
    EXPECT_THAT(told, Not(HasSubstr("astray")));
    EXPECT_FALSE(std::filesystem::exists(m_trace));
}

TEST_F(SetUserId, IsWhatMakesTheDifference)
{
    const std::string told = Tell(0755);

    EXPECT_THAT(told, HasSubstr("data " + m_directory.File("astray") + "/\n"));
    EXPECT_THAT(told, HasSubstr("state " + m_directory.File("astray") + "/netinfo/\n"));
    EXPECT_TRUE(std::filesystem::exists(m_trace));
}
