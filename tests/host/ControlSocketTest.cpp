#include "host/ControlSocket.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/host/OrdinaryUser.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using netinfo::ConnectTo;
using netinfo::ControlSocket;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

struct ControlSocketTest : testing::Test
{
    nettest::TempDir directory;
    const std::string data = directory.File("data") + "/";
    const std::string runtime = directory.File("runtime");
    const std::string usual = runtime + "/netinfo/control.sock";

    ControlSocketTest()
    {
        std::filesystem::create_directory(data);
        std::filesystem::create_directory(runtime);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    }

    static mode_t ModeOf(const std::string& path)
    {
        struct stat status
        {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }
    /// A socket of that name on which nobody listens any more.
    void LeaveDeadSocket() const
    {
        {
            const auto socket = ControlSocket::Listen(data);
            ASSERT_TRUE(socket);
            ASSERT_EQ(socket->Path(), usual);
            std::filesystem::rename(usual, usual + ".kept");  // or its end would remove it
        }
        std::filesystem::rename(usual + ".kept", usual);
    }
    static bool Answers(const std::string& path)
    {
        const auto connection = ConnectTo(path);
        if (connection.descriptor >= 0) close(connection.descriptor);
        return connection.descriptor >= 0;
    }
    std::string WhyNot() const
    {
        const auto socket = ControlSocket::Listen(data);
        EXPECT_FALSE(socket);
        return socket ? "" : socket.Error().message;
    }
};

}  // namespace

TEST_F(ControlSocketTest, ListensWhereOnlyItsUserCanConnect)
{
    const auto socket = ControlSocket::Listen(data);

    ASSERT_TRUE(socket) << socket.Error().message;
    EXPECT_EQ(socket->Path(), usual);
    EXPECT_TRUE(Answers(usual));
    EXPECT_EQ(ModeOf(usual), 0600U);
    EXPECT_EQ(ModeOf(runtime + "/netinfo"), 0700U);
}

TEST_F(ControlSocketTest, ClosesItsDirectoryToOthers)
{
    std::filesystem::create_directory(runtime + "/netinfo");
    ASSERT_EQ(chmod((runtime + "/netinfo").c_str(), 0755), 0);
    EXPECT_TRUE(ControlSocket::Listen(data));
    EXPECT_EQ(ModeOf(runtime + "/netinfo"), 0700U);
}

TEST_F(ControlSocketTest, TakesItsNameWithIt)
{
    EXPECT_TRUE(ControlSocket::Listen(data));
    EXPECT_FALSE(std::filesystem::exists(usual));
}

TEST_F(ControlSocketTest, LeavesASocketThatIsNotItsOwnAnyMore)
{
    auto first = ControlSocket::Listen(data);
    ASSERT_TRUE(first);
    std::filesystem::remove(usual);
    const auto second = ControlSocket::Listen(data);
    ASSERT_TRUE(second);
    {
        const ControlSocket ended = std::move(*first);
    }
    EXPECT_TRUE(Answers(usual));
}

TEST_F(ControlSocketTest, TakesTheNameOfADeadServiceOver)
{
    LeaveDeadSocket();
    ASSERT_FALSE(Answers(usual));

    const auto socket = ControlSocket::Listen(data);

    ASSERT_TRUE(socket) << socket.Error().message;
    EXPECT_EQ(socket->Path(), usual);
    EXPECT_TRUE(Answers(usual));
}

TEST_F(ControlSocketTest, HasANameOfItsOwnBesideTheServiceOfOtherData)
{
    const auto first = ControlSocket::Listen(data);
    ASSERT_TRUE(first);
    const std::string other = directory.File("other") + "/";
    std::filesystem::create_directory(other);

    const auto second = ControlSocket::Listen(other);

    ASSERT_TRUE(second) << second.Error().message;
    struct stat status
    {};
    ASSERT_EQ(stat(other.c_str(), &status), 0);
    EXPECT_THAT(second->Path(), MatchesRegex(".*/netinfo/control-[0-9a-f]+-[0-9a-f]+.sock"));
    EXPECT_TRUE(Answers(first->Path()));
    EXPECT_TRUE(Answers(second->Path()));
    EXPECT_EQ(ModeOf(second->Path()), 0600U);
}

TEST_F(ControlSocketTest, IsInTheDataDirectoryWithoutARuntimeDirectory)
{
    for (const char* const variable : {"", "relative", "/missing/directory"}) {
        SCOPED_TRACE(variable);
        setenv("XDG_RUNTIME_DIR", variable, 1);
        const auto socket = ControlSocket::Listen(data);
        ASSERT_TRUE(socket) << socket.Error().message;
        EXPECT_EQ(socket->Path(), data + "control.sock");
        EXPECT_EQ(ModeOf(socket->Path()), 0600U);
    }
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(ControlSocket::Listen(data)->Path(), data + "control.sock");
}

TEST_F(ControlSocketTest, IsNotInAnotherUsersRuntimeDirectory)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
    ASSERT_EQ(chown(runtime.c_str(), 65534, 65534), 0);
    EXPECT_EQ(ControlSocket::Listen(data)->Path(), data + "control.sock");
    EXPECT_TRUE(std::filesystem::is_empty(runtime));
}

TEST_F(ControlSocketTest, IsInTheDataDirectoryWhereItsNameWouldBeTooLong)
{
    const std::string longer = runtime + "/" + std::string(100, 'x');
    std::filesystem::create_directory(longer);
    setenv("XDG_RUNTIME_DIR", longer.c_str(), 1);
    EXPECT_EQ(ControlSocket::Listen(data)->Path(), data + "control.sock");

    const std::string longData = data + std::string(100, 'y') + "/";
    std::filesystem::create_directory(longData);
    const auto none = ControlSocket::Listen(longData);
    ASSERT_FALSE(none);
    EXPECT_THAT(none.Error().message, HasSubstr("longer than the 107 bytes that a socket's can have"));
    EXPECT_EQ(ConnectTo(longData + "control.sock").error, ENAMETOOLONG);
}

TEST_F(ControlSocketTest, RemovesNothingThatIsNoSocketOfItsUser)
{
    std::filesystem::create_directory(runtime + "/netinfo");
    nettest::WriteFile(usual, "precious");
    EXPECT_THAT(WhyNot(), HasSubstr("something that is no socket has its name"));
    EXPECT_EQ(nettest::ReadFile(usual), "precious");

    std::filesystem::remove(usual);
    std::filesystem::create_symlink(data, usual);
    EXPECT_THAT(WhyNot(), HasSubstr("something that is no socket has its name"));
    std::filesystem::remove(usual);

    if (geteuid() != 0) GTEST_SKIP() << "only root can give a socket away";
    LeaveDeadSocket();
    ASSERT_EQ(lchown(usual.c_str(), 65534, 65534), 0);
    EXPECT_THAT(WhyNot(), HasSubstr("the socket of another user has its name"));
    EXPECT_TRUE(std::filesystem::exists(usual));
}

TEST_F(ControlSocketTest, EntersNoDirectoryThatIsNotItsUsers)
{
    nettest::WriteFile(runtime + "/netinfo", "a file");
    EXPECT_THAT(WhyNot(), HasSubstr("it is not a directory"));
    std::filesystem::remove(runtime + "/netinfo");

    std::filesystem::create_directory_symlink(data, runtime + "/netinfo");
    EXPECT_THAT(WhyNot(), HasSubstr("it is not a directory"));
    std::filesystem::remove(runtime + "/netinfo");

    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
    std::filesystem::create_directory(runtime + "/netinfo");
    ASSERT_EQ(chown((runtime + "/netinfo").c_str(), 65534, 65534), 0);
    EXPECT_THAT(WhyNot(), HasSubstr("the directory belongs to another user"));
}

TEST_F(ControlSocketTest, TellsWhoIsAtTheOtherEnd)
{
    const auto socket = ControlSocket::Listen(data);
    ASSERT_TRUE(socket);
    const auto connection = ConnectTo(usual);
    ASSERT_GE(connection.descriptor, 0);

    const auto peer = netinfo::PeerOf(connection.descriptor);
    ASSERT_TRUE(peer);
    EXPECT_EQ(peer->process, getpid());
    EXPECT_EQ(peer->user, geteuid());
    close(connection.descriptor);

    const int file = open(data.c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_FALSE(netinfo::PeerOf(file));
    close(file);
}
