#include "host/ControlServer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <microhttpd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <list>
#include <optional>
#include <string_view>
#include <utility>

#include "host/Format.h"
#include "platform/common/Directories.h"

namespace netinfo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int FORBIDDEN = 403;
constexpr int TOO_LARGE = 413;
constexpr int MISDIRECTED = 421;
/// Bytes; the longest request without its body.
constexpr std::size_t CONNECTION_MEMORY = std::size_t{16} * 1024;
/// Of the library in one run: others want the loop, too.
constexpr int MOST_ROUNDS = 16;

/// A client from its connection to its end.
struct Client
{
    int descriptor = -1;  ///< the library's
    bool ours = false;    ///< a process of this user
    bool given = false;   ///< its time was over, the connection is being closed
    Clock::time_point deadline{};
};

/// A request from its first line to the end of its answer.
struct Exchange
{
    std::string body;
    bool tooLarge = false;
};

MHD_Result AddParameter(void* query, MHD_ValueKind, const char* name, std::size_t nameLength,
                        const char* value, std::size_t valueLength)
try {
    (*static_cast<std::map<std::string, std::string>*>(query))[std::string(name, nameLength)] =
        value ? std::string(value, valueLength) : "";
    return MHD_YES;
} catch (...) {  // no memory
    return MHD_NO;
}

MHD_Result Queue(MHD_Connection* connection, const ControlAnswer& answer)
{
    const std::string text = Indented(answer.document);
    // The library copies it, and then only reads it.
    MHD_Response* const response =
        MHD_create_response_from_buffer(text.size(), const_cast<char*>(text.data()), MHD_RESPMEM_MUST_COPY);
    if (!response) return MHD_NO;
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "application/json");
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    if (!answer.allowed.empty())
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, answer.allowed.c_str());
    const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(answer.status), response);
    MHD_destroy_response(response);
    return queued;
}

}  // namespace

struct ControlServer::State
{
    State(ControlSocket listener, Answer answerer, ControlLimits most)
        : socket(std::move(listener)), answer(std::move(answerer)), limits(most)
    {}
    ~State()
    {
        if (daemon) MHD_stop_daemon(daemon);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    static MHD_Result Handle(void* state, MHD_Connection* connection, const char* path, const char* method,
                             const char* version, const char* data, std::size_t* length, void** exchange);
    static void Connected(void* state, MHD_Connection* connection, void** client,
                          MHD_ConnectionNotificationCode code);
    static void Completed(void* state, MHD_Connection* connection, void** exchange,
                          MHD_RequestTerminationCode code);
    static Client* ClientOf(MHD_Connection* connection);

    ControlAnswer AnswerTo(MHD_Connection* connection, const char* path, const char* method,
                           const Exchange& exchange);
    void EndLateOnes();

    ControlSocket socket;
    const Answer answer;
    const ControlLimits limits;
    std::list<Client> clients;
    MHD_Daemon* daemon = nullptr;  ///< owned
    int descriptor = -1;           ///< the library's
};

Client* ControlServer::State::ClientOf(MHD_Connection* connection)
{
    const MHD_ConnectionInfo* const info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info ? static_cast<Client*>(info->socket_context) : nullptr;
}

void ControlServer::State::Connected(void* closure, MHD_Connection* connection, void** context,
                                     MHD_ConnectionNotificationCode code)
try {
    State& state = *static_cast<State*>(closure);
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
        state.clients.remove_if([&](const Client& client) { return &client == *context; });
        *context = nullptr;
        return;
    }
    const MHD_ConnectionInfo* const info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    Client& client = state.clients.emplace_back();
    client.descriptor = info->connect_fd;
    const auto peer = PeerOf(client.descriptor);
    client.ours = peer && peer->user == geteuid();
    client.deadline = Clock::now() + state.limits.patience;
    *context = &client;
} catch (...) {  // no memory: it will be a stranger
    *context = nullptr;
}

MHD_Result ControlServer::State::Handle(void* closure, MHD_Connection* connection, const char* path,
                                        const char* method, const char*, const char* data,
                                        std::size_t* length, void** context)
try {
    State& state = *static_cast<State*>(closure);
    if (!*context) {  // no more than the head is here
        *context = new Exchange;
        return MHD_YES;
    }
    Exchange& exchange = *static_cast<Exchange*>(*context);
    if (*length != 0) {
        exchange.tooLarge = exchange.tooLarge || exchange.body.size() + *length > state.limits.body;
        if (exchange.tooLarge) {
            exchange.body.clear();
        } else {
            exchange.body.append(data, *length);
        }
        *length = 0;
        return MHD_YES;
    }
    return Queue(connection, state.AnswerTo(connection, path, method, exchange));
} catch (...) {  // such as no memory
    return MHD_NO;
}

void ControlServer::State::Completed(void* closure, MHD_Connection* connection, void** context,
                                     MHD_RequestTerminationCode)
{
    delete static_cast<Exchange*>(*context);
    *context = nullptr;
    if (Client* const client = ClientOf(connection))
        client->deadline = Clock::now() + static_cast<State*>(closure)->limits.patience;
}

ControlAnswer ControlServer::State::AnswerTo(MHD_Connection* connection, const char* path, const char* method,
                                             const Exchange& exchange)
{
    const Client* const client = ClientOf(connection);
    if (!client || !client->ours)
        return RefusedAnswer({"the service answers its own user's processes only"}, FORBIDDEN);
    if (exchange.tooLarge) {
        return RefusedAnswer({fmt::format("a request's body has at most {} bytes", limits.body), EXIT_USAGE},
                             TOO_LARGE);
    }
    const char* const settings = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, SETTINGS_HEADER);
    if (settings && settings != ConfigDirectory()) {
        return RefusedAnswer({fmt::format("the service, process {}, has its settings in {}, not in {}; set "
                                          "NETINFO_CONFIG_DIR as it was for the service",
                                          getpid(), Printable(ConfigDirectory()), Printable(settings))},
                             MISDIRECTED);
    }
    ControlRequest request{method, path};
    MHD_get_connection_values_n(connection, MHD_GET_ARGUMENT_KIND, AddParameter, &request.query);
    if (!exchange.body.empty()) {
        auto body = ParseJson(exchange.body);
        if (!body) return RefusedAnswer({"the request's body is no JSON", EXIT_USAGE});
        request.body = std::move(*body);
    }
    try {
        return answer(request);
    } catch (const std::exception& exception) {
        return RefusedAnswer({fmt::format("ended by an error: {}", Printable(exception.what()))});
    } catch (...) {
        return RefusedAnswer({"ended by an error of the module"});
    }
}

/// Only the system's end of a connection is in our hands: the library closes it when it finds that out.
void ControlServer::State::EndLateOnes()
{
    const auto now = Clock::now();
    for (Client& client : clients) {
        if (client.given || client.deadline > now) continue;
        client.given = true;
        shutdown(client.descriptor, SHUT_RDWR);
    }
}

ControlServer::ControlServer(std::unique_ptr<State> state) : m_state(std::move(state)) {}

ControlServer::~ControlServer() = default;

Result<std::unique_ptr<ControlServer>> ControlServer::Start(ControlSocket socket, Answer answer,
                                                            ControlLimits limits)
{
    auto state = std::make_unique<State>(std::move(socket), std::move(answer), limits);
    // The library closes the descriptor that it listens on.
    const int listener = fcntl(state->socket.Descriptor(), F_DUPFD_CLOEXEC, 0);
    state->daemon = MHD_start_daemon(
        MHD_USE_EPOLL, 0, nullptr, nullptr, &State::Handle, state.get(), MHD_OPTION_LISTEN_SOCKET, listener,
        MHD_OPTION_CONNECTION_LIMIT, limits.connections, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        CONNECTION_MEMORY, MHD_OPTION_NOTIFY_CONNECTION, &State::Connected, state.get(),
        MHD_OPTION_NOTIFY_COMPLETED, &State::Completed, state.get(), MHD_OPTION_END);
    if (!state->daemon) return Failure{"the control interface cannot be started"};
    const MHD_DaemonInfo* const info = MHD_get_daemon_info(state->daemon, MHD_DAEMON_INFO_EPOLL_FD);
    if (!info || info->epoll_fd < 0) return Failure{"the control interface cannot be started"};
    state->descriptor = info->epoll_fd;
    return std::unique_ptr<ControlServer>(new ControlServer(std::move(state)));
}

const std::string& ControlServer::Path() const { return m_state->socket.Path(); }

int ControlServer::Descriptor() const { return m_state->descriptor; }

int ControlServer::Timeout() const
{
    std::optional<std::chrono::milliseconds> wait;
    const auto now = Clock::now();
    for (const Client& client : m_state->clients) {
        if (client.given) continue;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(client.deadline - now);
        wait = std::min(wait.value_or(left), std::max(left, std::chrono::milliseconds(0)));
    }
    MHD_UNSIGNED_LONG_LONG milliseconds = 0;
    if (MHD_get_timeout(m_state->daemon, &milliseconds) == MHD_YES) {
        const std::chrono::milliseconds left(std::min<MHD_UNSIGNED_LONG_LONG>(milliseconds, 60'000));
        wait = std::min(wait.value_or(left), left);
    }
    return wait ? static_cast<int>(wait->count()) : -1;
}

void ControlServer::Run()
{
    m_state->EndLateOnes();
    MHD_UNSIGNED_LONG_LONG milliseconds = 0;
    for (int round = 0; round < MOST_ROUNDS; ++round) {
        MHD_run(m_state->daemon);
        if (MHD_get_timeout(m_state->daemon, &milliseconds) != MHD_YES || milliseconds != 0) return;
    }
}

}  // namespace netinfo
