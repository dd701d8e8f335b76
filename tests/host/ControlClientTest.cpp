#include "host/ControlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "host/ControlSocket.h"
#include "host/DataLock.h"
#include "tests/support/TempDir.h"

using netinfo::ClientPatience;
using netinfo::ControlClient;
using netinfo::ControlSocket;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr ClientPatience SHORT{std::chrono::milliseconds(0), std::chrono::milliseconds(50)};
constexpr ClientPatience LONG{std::chrono::milliseconds(0), std::chrono::milliseconds(20'000)};

struct ControlClientTest : testing::Test
{
    nettest::TempDir directory;
    const std::string data = directory.Path() + "/";

    ControlClientTest() { unsetenv("XDG_RUNTIME_DIR"); }

    ControlSocket Listen() const
    {
        auto socket = ControlSocket::Listen(data);
        EXPECT_TRUE(socket);
        return std::move(*socket);
    }
    /// What the client makes of a service that says `words` to its second connection and closes it; the first
    /// one only shows that somebody listens.
    netinfo::Result<netinfo::Json> AskServiceThatSays(const std::string& words,
                                                      const std::string& method = "GET")
    {
        const ControlSocket socket = Listen();
        auto client = ControlClient::Connect(socket.Path(), getpid(), LONG);
        EXPECT_TRUE(client) << client.Error().message;
        std::thread service([&] {
            close(Accept(socket));
            const int connection = Accept(socket);
            std::array<char, 4096> request{};
            EXPECT_GT(recv(connection, request.data(), request.size(), 0), 0);
            EXPECT_EQ(send(connection, words.data(), words.size(), MSG_NOSIGNAL),
                      static_cast<ssize_t>(words.size()));
            close(connection);
        });
        auto answer = (*client)->Ask({method, "/v1/status"});
        service.join();
        return answer;
    }
    static int Accept(const ControlSocket& socket)
    {
        pollfd ready{socket.Descriptor(), POLLIN, 0};
        EXPECT_EQ(poll(&ready, 1, 20'000), 1);
        return accept4(socket.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
    }
};

std::string Reply(const std::string& body, const std::string& status = "200 OK")
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

TEST_F(ControlClientTest, UnderstandsAnAnswerAndAnError)
{
    const auto answer = AskServiceThatSays(Reply(R"({"a":1})"));
    ASSERT_TRUE(answer) << answer.Error().message;
    EXPECT_EQ((*answer)["a"], 1);

    const auto usage = AskServiceThatSays(Reply(R"({"error":"why","exit_code":2})", "400 Bad Request"));
    ASSERT_FALSE(usage);
    EXPECT_EQ(usage.Error().message, "why");
    EXPECT_EQ(usage.Error().exitCode, netinfo::EXIT_USAGE);
}

TEST_F(ControlClientTest, SaysThatTheServiceEndedInTheMiddleOfItsAnswer)
{
    const std::string whole = Reply(R"({"a":1})");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        const auto answer = AskServiceThatSays(whole.substr(0, length));
        ASSERT_FALSE(answer);
        EXPECT_THAT(answer.Error().message, StartsWith("the service, process " + std::to_string(getpid())));
        EXPECT_EQ(answer.Error().exitCode, netinfo::EXIT_FAILED);
        if (length == 0 || length > 40) {
            EXPECT_THAT(answer.Error().message, HasSubstr("ended in the middle of its answer; try again"));
        }
    }
    EXPECT_THAT(AskServiceThatSays("", "POST").Error().message,
                HasSubstr("whether the change was made is not known"));
}

TEST_F(ControlClientTest, SaysThatGarbageIsNotUnderstood)
{
    for (const std::string& garbage :
         {std::string("garbage\r\n\r\n"), Reply("no json"), Reply(""), Reply("\xFF\xFE"),
          Reply(std::string(100'000, '[')), Reply("[]", "500 Sorry"), Reply(R"({"error":1})", "500 Sorry")}) {
        const auto answer = AskServiceThatSays(garbage);
        ASSERT_FALSE(answer);
        EXPECT_THAT(answer.Error().message, HasSubstr("not understood"));
        EXPECT_EQ(answer.Error().message.find('\n'), std::string::npos);
        EXPECT_EQ(answer.Error().exitCode, netinfo::EXIT_FAILED);
    }
}

TEST_F(ControlClientTest, GivesAServiceUpThatDoesNotAnswer)
{
    const ControlSocket socket = Listen();
    const auto client = ControlClient::Connect(socket.Path(), getpid(), SHORT);
    ASSERT_TRUE(client);

    const auto answer = (*client)->Ask({"GET", "/v1/status"});

    ASSERT_FALSE(answer);
    const std::string me = std::to_string(getpid());
    EXPECT_EQ(answer.Error().message, "the service, process " + me + ", has not answered on " +
                                          socket.Path() + " within 0.05 s; if it is stopped, kill -CONT " +
                                          me + " has it go on, else end it (kill -KILL " + me +
                                          ") and start it again");
    EXPECT_THAT((*client)->Ask({"DELETE", "/v1/limit"}).Error().message,
                HasSubstr("whether the change was made is not known"));
}

TEST_F(ControlClientTest, GivesAServiceUpThatHasTooManyWaiting)
{
    const ControlSocket socket = Listen();
    std::vector<int> waiting;
    for (int i = 0; i < 64; ++i) {
        const auto connection = netinfo::ConnectTo(socket.Path());
        if (connection.descriptor < 0) break;
        waiting.push_back(connection.descriptor);
    }
    ASSERT_LT(waiting.size(), 64U);
    const auto client = ControlClient::Connect(socket.Path(), getpid(), SHORT);
    ASSERT_FALSE(client);
    EXPECT_THAT(client.Error().message, HasSubstr("does not answer"));
    for (const int descriptor : waiting)
        close(descriptor);
}

TEST_F(ControlClientTest, SaysNothingToAProcessThatDoesNotOwnTheData)
{
    const ControlSocket socket = Listen();
    const auto client = ControlClient::Connect(socket.Path(), 1, SHORT);
    ASSERT_FALSE(client);
    EXPECT_THAT(client.Error().message, HasSubstr("belongs to process " + std::to_string(getpid()) +
                                                  ", not to the service, process 1"));
}

TEST_F(ControlClientTest, SaysNothingToAnotherUsersProcess)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    ASSERT_EQ(chown(directory.Path().c_str(), 65534, 65534), 0);
    ASSERT_EQ(seteuid(65534), 0);
    const auto socket = ControlSocket::Listen(data);
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_TRUE(socket);

    const auto client = ControlClient::Connect(socket->Path(), getpid(), SHORT);

    ASSERT_FALSE(client);
    EXPECT_EQ(client.Error().message, "the control socket " + socket->Path() +
                                          " belongs to another user; remove it and start the service again");
}

TEST_F(ControlClientTest, FindsNobodyWithoutALock)
{
    const ControlSocket socket = Listen();
    const auto client = ControlClient::Find(data, SHORT);
    ASSERT_TRUE(client);
    EXPECT_EQ(*client, nullptr);
}

TEST_F(ControlClientTest, FindsTheServiceThatTheLockNames)
{
    auto lock = netinfo::DataLock::Take(data);
    ASSERT_TRUE(lock);
    EXPECT_EQ(ControlClient::Find(data, SHORT).Error().message,
              "the data in " + data + " is in use by process " + std::to_string(getpid()));

    const ControlSocket socket = Listen();
    EXPECT_FALSE(lock->Announce(socket.Path()));
    const auto client = ControlClient::Find(data, SHORT);
    ASSERT_TRUE(client) << client.Error().message;
    EXPECT_EQ((*client)->Process(), getpid());

    EXPECT_FALSE(lock->Announce(data + "nothing.sock"));
    EXPECT_THAT(ControlClient::Find(data, SHORT).Error().message, HasSubstr("No such file or directory"));
}
