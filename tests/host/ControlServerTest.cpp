#include "host/ControlServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/host/OrdinaryUser.h"
#include "tests/support/TempDir.h"

using netinfo::ControlAnswer;
using netinfo::ControlLimits;
using netinfo::ControlRequest;
using netinfo::ControlServer;
using netinfo::ControlSocket;
using netinfo::Json;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// A client that says and hears every byte itself.
class RawClient
{
public:
    explicit RawClient(const std::string& path) : m_descriptor(netinfo::ConnectTo(path).descriptor) {}
    ~RawClient() { Leave(); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool Connected() const { return m_descriptor >= 0; }
    void Say(const std::string& text) const
    {
        ASSERT_EQ(send(m_descriptor, text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
    }
    /// What has come since the last call.
    std::string Hear()
    {
        std::string text;
        std::array<char, 65536> buffer{};
        ssize_t length = 0;
        while ((length = recv(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0)
            text.append(buffer.data(), static_cast<std::size_t>(length));
        m_ended = m_ended || length == 0;
        return text;
    }
    /// The other end has closed the connection.
    bool Ended()
    {
        Hear();
        return m_ended;
    }
    void Leave()
    {
        if (m_descriptor >= 0) close(m_descriptor);
        m_descriptor = -1;
    }

private:
    int m_descriptor;
    bool m_ended = false;
};

struct ControlServerTest : testing::Test
{
    nettest::TempDir directory;
    std::vector<ControlRequest> asked;
    std::string filling = "x";  ///< of each answer
    std::unique_ptr<ControlServer> server;

    void Serve(ControlLimits limits = {})
    {
        unsetenv("XDG_RUNTIME_DIR");
        auto socket = ControlSocket::Listen(directory.Path() + "/");
        ASSERT_TRUE(socket) << socket.Error().message;
        auto started = ControlServer::Start(
            std::move(*socket), [this](const ControlRequest& request) { return AnswerTo(request); }, limits);
        ASSERT_TRUE(started) << started.Error().message;
        server = std::move(*started);
    }
    ControlAnswer AnswerTo(const ControlRequest& request)
    {
        asked.push_back(request);
        if (request.path == "/throw") throw std::runtime_error("scripted\nby the test");
        if (request.path == "/odd") throw 42;
        if (request.path == "/get-only") return {405, {{"error", "no"}, {"exit_code", 1}}, "GET"};
        return {200, {{"filling", filling}}, {}};
    }
    /// Lets the server do what there is to do, as the host's loop does.
    void RunServer() const
    {
        pollfd ready{server->Descriptor(), POLLIN, 0};
        while (poll(&ready, 1, 0) > 0)
            server->Run();
    }
    std::string Ask(const std::string& text) const
    {
        RawClient client(server->Path());
        client.Say(text);
        RunServer();
        return client.Hear();
    }
};

std::string Get(const std::string& path) { return "GET " + path + " HTTP/1.1\r\nHost: netinfo\r\n\r\n"; }

std::string Post(const std::string& path, const std::string& body)
{
    return "POST " + path + " HTTP/1.1\r\nHost: netinfo\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

}  // namespace

TEST_F(ControlServerTest, AnswersWithJson)
{
    Serve();
    const std::string answer = Ask(Get("/v1/status?last=1&type=a%20b&flag"));

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, HasSubstr("Content-Type: application/json\r\n"));
    EXPECT_THAT(answer, HasSubstr("Cache-Control: no-store\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\n\r\n{\n  \"filling\": \"x\"\n}\n"));
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].method, "GET");
    EXPECT_EQ(asked[0].path, "/v1/status");
    EXPECT_EQ(asked[0].query,
              (std::map<std::string, std::string>{{"last", "1"}, {"type", "a b"}, {"flag", ""}}));
    EXPECT_TRUE(asked[0].body.is_null());
}

TEST_F(ControlServerTest, HandsTheBodyOver)
{
    Serve();
    EXPECT_THAT(Ask(Post("/v1/reset", R"({"type":"wifi"})")), StartsWith("HTTP/1.1 200"));
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].method, "POST");
    EXPECT_EQ(asked[0].body["type"], "wifi");
}

TEST_F(ControlServerTest, RefusesABodyThatIsNoJson)
{
    Serve();
    for (const std::string& body :
         {std::string("{"), std::string("nonsense"), std::string("\xFF\xFE"), std::string(60'000, '[')}) {
        const std::string answer = Ask(Post("/", body));
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 400"));
        EXPECT_THAT(answer, HasSubstr("\"error\": \"the request's body is no JSON\",\n  \"exit_code\": 2"));
    }
    EXPECT_TRUE(asked.empty());
}

TEST_F(ControlServerTest, RefusesABodyThatIsTooLarge)
{
    ControlLimits limits;
    limits.body = 1000;
    Serve(limits);
    EXPECT_THAT(Ask(Post("/", "\"" + std::string(998, 'x') + "\"")), StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(Ask(Post("/", "\"" + std::string(999, 'x') + "\"")), StartsWith("HTTP/1.1 413"));

    const std::string chunk = "200\r\n" + std::string(0x200, 'x') + "\r\n";
    EXPECT_THAT(Ask("POST / HTTP/1.1\r\nHost: netinfo\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk + chunk +
                    "0\r\n\r\n"),
                StartsWith("HTTP/1.1 413"));
    EXPECT_EQ(asked.size(), 1U);
}

TEST_F(ControlServerTest, RefusesALineThatIsTooLong)
{
    Serve();
    Ask(Get("/" + std::string(40'000, 'x')));
    EXPECT_TRUE(asked.empty());
    EXPECT_THAT(Ask(Get("/")), StartsWith("HTTP/1.1 200"));
}

TEST_F(ControlServerTest, OutlivesNonsense)
{
    Serve();
    for (const char* const nonsense : {"\r\n\r\n", "nonsense\r\n\r\n", "GET\r\n\r\n", "\x16\x03\x01\x02"})
        Ask(nonsense);
    EXPECT_TRUE(asked.empty());
    EXPECT_THAT(Ask(Get("/")), StartsWith("HTTP/1.1 200"));
}

TEST_F(ControlServerTest, TellsWhichMethodsThereAre)
{
    Serve();
    EXPECT_THAT(Ask(Post("/get-only", "{}")), HasSubstr("\r\nAllow: GET\r\n"));
}

TEST_F(ControlServerTest, AnswersAnExceptionWithAnError)
{
    Serve();
    const std::string answer = Ask(Get("/throw"));
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 500"));
    EXPECT_THAT(answer, HasSubstr("\"error\": \"ended by an error: scripted\\\\x0Aby the test\""));
    EXPECT_THAT(Ask(Get("/odd")), HasSubstr("ended by an error of the module"));
    EXPECT_THAT(Ask(Get("/")), StartsWith("HTTP/1.1 200"));
}

TEST_F(ControlServerTest, WakesNobodyWhileThereIsNoClient)
{
    Serve();
    EXPECT_EQ(server->Timeout(), -1);
    {
        const RawClient client(server->Path());
        RunServer();
        EXPECT_GT(server->Timeout(), 0);
    }
    RunServer();
    EXPECT_EQ(server->Timeout(), -1);
}

TEST_F(ControlServerTest, EndsAClientThatIsSilentOrSlow)
{
    ControlLimits limits;
    limits.patience = std::chrono::milliseconds(0);
    Serve(limits);
    for (const char* const part : {"", "GET / HT", "POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\n{"}) {
        SCOPED_TRACE(part);
        RawClient client(server->Path());
        client.Say(part);
        RunServer();
        EXPECT_LE(server->Timeout(), 0);
        server->Run();  // what the loop does after that time
        RunServer();
        EXPECT_TRUE(client.Ended());
    }
    EXPECT_EQ(server->Timeout(), -1);
    EXPECT_TRUE(asked.empty());
}

TEST_F(ControlServerTest, EndsAClientThatDoesNotTakeItsAnswer)
{
    filling = std::string(8 << 20, 'x');
    ControlLimits limits;
    limits.patience = std::chrono::milliseconds(0);
    Serve(limits);
    RawClient client(server->Path());
    client.Say(Get("/"));
    RunServer();
    server->Run();
    RunServer();
    EXPECT_EQ(server->Timeout(), -1);
    EXPECT_LT(client.Hear().size(), filling.size());
    EXPECT_TRUE(client.Ended());
}

TEST_F(ControlServerTest, OutlivesAClientThatLeavesInTheMiddle)
{
    filling = std::string(8 << 20, 'x');
    Serve();
    for (const std::string& part : {Get("/"), std::string("GET / HT"), std::string()}) {
        RawClient client(server->Path());
        client.Say(part);
        RunServer();
        client.Leave();
        RunServer();
        EXPECT_EQ(server->Timeout(), -1);
    }
    filling = "small";
    EXPECT_THAT(Ask(Get("/")), HasSubstr("small"));
}

TEST_F(ControlServerTest, HasAClientWaitWhileThereAreTooMany)
{
    ControlLimits limits;
    limits.connections = 2;
    Serve(limits);
    RawClient first(server->Path());
    const RawClient second(server->Path());
    RunServer();
    RawClient third(server->Path());
    third.Say(Get("/"));
    for (int i = 0; i < 10; ++i)
        server->Run();
    EXPECT_EQ(third.Hear(), "");

    first.Leave();
    for (int i = 0; i < 10; ++i)
        server->Run();
    EXPECT_THAT(third.Hear(), StartsWith("HTTP/1.1 200"));
}

TEST_F(ControlServerTest, AnswersNoOtherUser)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    Serve();
    ASSERT_EQ(chmod(server->Path().c_str(), 0666), 0);
    ASSERT_EQ(chmod(directory.Path().c_str(), 0755), 0);
    ASSERT_EQ(seteuid(65534), 0);
    RawClient client(server->Path());
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_TRUE(client.Connected());
    client.Say(Get("/"));
    RunServer();
    const std::string answer = client.Hear();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 403"));
    EXPECT_THAT(answer, HasSubstr("the service answers its own user's processes only"));
    EXPECT_TRUE(asked.empty());
}

TEST_F(ControlServerTest, RemovesItsSocketAtTheEndAndClosesItsConnections)
{
    Serve();
    const std::string path = server->Path();
    RawClient client(path);
    RunServer();
    server.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(client.Ended());
}
