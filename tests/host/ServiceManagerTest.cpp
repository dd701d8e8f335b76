// What the service manager hears: from the sender alone, and from the built program.

#include "host/ServiceManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/host/ProgramTest.h"
#include "tests/support/TempDir.h"

using netinfo::TellServiceManager;
using nettest::Program;
using testing::HasSubstr;

namespace {

/// A service manager that waits, at most half a minute, for what its service says.
class Manager
{
public:
    /// `name` as in NOTIFY_SOCKET.
    explicit Manager(const std::string& name) : m_descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        if (name.front() == '@') address.sun_path[0] = '\0';
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), length), 0);
        const timeval limit{30, 0};
        setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~Manager() { close(m_descriptor); }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    /// The next message; empty if none comes.
    std::string Hear(int flags = 0) const
    {
        std::array<char, 512> buffer{};
        const ssize_t length = recv(m_descriptor, buffer.data(), buffer.size(), flags);
        return {buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
    }

private:
    const int m_descriptor;
};

std::string AbstractName() { return "@netinfo-test/" + std::to_string(getpid()); }

struct TellServiceManagerTest : testing::Test
{
    ~TellServiceManagerTest() override { unsetenv("NOTIFY_SOCKET"); }

    nettest::TempDir directory;
};

struct ServiceTest : nettest::ProgramTest
{
    ServiceTest()
    {
        environment["NETINFO_SCRIPT"] = "beat";
        environment["NETINFO_SCRIPT_LOG"] = directory.File("log");
    }
};

}  // namespace

TEST_F(TellServiceManagerTest, SendsTheStateToASocketInTheFileSystem)
{
    const std::string path = directory.File("notify");
    const Manager manager(path);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);

    EXPECT_EQ(TellServiceManager(netinfo::SERVICE_READY), std::nullopt);

    EXPECT_EQ(manager.Hear(), "READY=1");
}

TEST_F(TellServiceManagerTest, SendsTheStateToASocketWithoutAPlace)
{
    const Manager manager(AbstractName());
    setenv("NOTIFY_SOCKET", AbstractName().c_str(), 1);

    EXPECT_EQ(TellServiceManager(netinfo::SERVICE_STOPPING), std::nullopt);

    EXPECT_EQ(manager.Hear(), "STOPPING=1");
}

TEST_F(TellServiceManagerTest, HasNothingToDoWithoutAManager)
{
    unsetenv("NOTIFY_SOCKET");
    EXPECT_EQ(TellServiceManager("READY=1"), std::nullopt);
    setenv("NOTIFY_SOCKET", "", 1);
    EXPECT_EQ(TellServiceManager("READY=1"), std::nullopt);
}

TEST_F(TellServiceManagerTest, SaysWhyItCouldNotBeHeard)
{
    const std::string missing = directory.File("missing");
    const struct
    {
        std::string name;
        const char* reason;
    } cases[] = {
        {missing, "No such file"},
        {AbstractName(), "refused"},  // nobody has bound it
        {"notify", "neither a path nor a name"},
        {"vsock:2:1234", "neither a path nor a name"},
        {"/" + std::string(107, 'x'), "too long"},  // one more than the kernel takes
    };
    for (const auto& [name, reason] : cases) {
        SCOPED_TRACE(name);
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        EXPECT_THAT(TellServiceManager("READY=1").value_or(""), HasSubstr(reason));
    }
}

TEST_F(TellServiceManagerTest, TakesTheLongestNameThatTheKernelTakes)
{
    const std::string name = "@" + std::string(106, 'x');
    const Manager manager(name);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);

    EXPECT_EQ(TellServiceManager("READY=1"), std::nullopt);

    EXPECT_EQ(manager.Hear(), "READY=1");
}

// --- the program ---

TEST_F(ServiceTest, TellsWhenItCountsAndWhenItEnds)
{
    const std::string path = directory.File("notify");
    for (const std::string& name : {path, AbstractName()}) {
        SCOPED_TRACE(name);
        const Manager manager(name);
        environment["NOTIFY_SOCKET"] = name;
        const auto program = Start({"run", "--quiet", "--module", NETINFO_SCRIPTED_MODULE});

        EXPECT_EQ(manager.Hear(), "READY=1");
        EXPECT_EQ(manager.Hear(MSG_DONTWAIT), "");
        program->Signal(SIGTERM);
        EXPECT_EQ(manager.Hear(), "STOPPING=1");

        EXPECT_EQ(program->Wait(), 0);
        EXPECT_EQ(program->Text(), "");
        EXPECT_EQ(program->Errors(), "");
    }
}

TEST_F(ServiceTest, IsNotReadyWhenItCannotStart)
{
    const Manager manager(AbstractName());
    environment["NOTIFY_SOCKET"] = AbstractName();

    nettest::ExpectComplaint(Run({"run", "--quiet", "--module", NETINFO_NO_PLUGIN}), 1, "is no plug-in");

    EXPECT_EQ(manager.Hear(MSG_DONTWAIT), "");
}

TEST_F(ServiceTest, CountsOnWhenTheManagerCannotBeTold)
{
    environment["NOTIFY_SOCKET"] = directory.File("missing");
    const auto program = Start({"run", "--module", NETINFO_SCRIPTED_MODULE});
    ASSERT_TRUE(program->WaitFor("connected"));
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_THAT(program->Errors(), HasSubstr("missing cannot be told: No such file"));
}

TEST_F(ServiceTest, SaysNothingToTheTerminalEither)
{
    const Manager manager(AbstractName());
    environment["NOTIFY_SOCKET"] = AbstractName();
    const auto program =
        Start({"run", "--quiet", "--module", NETINFO_SCRIPTED_MODULE}, Program::Output::Terminal);
    EXPECT_EQ(manager.Hear(), "READY=1");
    program->Signal(SIGTERM);

    EXPECT_EQ(program->Wait(), 0);
    EXPECT_EQ(program->Text(), "");
}

TEST_F(ServiceTest, OutlivesAReaderThatHadNothingToRead)
{
    const Manager manager(AbstractName());
    environment["NOTIFY_SOCKET"] = AbstractName();
    const auto program = Start({"run", "--quiet", "--module", NETINFO_SCRIPTED_MODULE});
    EXPECT_EQ(manager.Hear(), "READY=1");

    program->CloseOutput();
    EXPECT_EQ(Run({"settings", "set", "week-start", "monday"}).exitCode, 0);  // it would have noticed by now

    EXPECT_EQ(manager.Hear(MSG_DONTWAIT), "");
    program->Signal(SIGTERM);
    EXPECT_EQ(manager.Hear(), "STOPPING=1");
    EXPECT_EQ(program->Wait(), 0);
}
