#include "host/ControlClient.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "host/ControlSocket.h"
#include "host/DataLock.h"
#include "host/Format.h"
#include "host/HttpTransfer.h"
#include "host/PluginModule.h"
#include "platform/common/Directories.h"

namespace netinfo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds RETRY_AFTER{20};

std::string NameOf(pid_t process) { return fmt::format("the service, process {},", process); }

Failure Unreachable(const std::string& socketPath, pid_t process, const std::string& reason)
{
    return {fmt::format("{} does not answer on {}: {}; end it (kill {}) and start it again", NameOf(process),
                        Printable(socketPath), reason, process)};
}

/// What is wrong with whoever is at the other end of a connection to the service of that process.
std::optional<Failure> CheckPeer(int descriptor, const std::string& socketPath, pid_t process)
{
    const auto peer = PeerOf(descriptor);
    if (!peer) return peer.Error();
    if (peer->user != geteuid()) {
        return Failure{
            fmt::format("the control socket {} belongs to another user; remove it and start the "
                        "service again",
                        Printable(socketPath))};
    }
    if (peer->process == process) return std::nullopt;
    return Failure{
        fmt::format("the control socket {} belongs to process {}, not to the service, process {}; "
                    "end both and start the service again",
                    Printable(socketPath), peer->process, process)};
}

}  // namespace

struct ControlClient::State
{
    std::optional<Failure> LoadTransfer();
    Failure WhyNot(HttpOutcome::Kind kind, const std::string& method) const;

    const std::string socketPath;
    const pid_t process;
    const ClientPatience patience;
    std::optional<Failure> untrusted{};  ///< why the connection is none to the service
    std::unique_ptr<HttpTransfer> transfer{};
};

/// The module lies beside the plug-in's and stays loaded.
std::optional<Failure> ControlClient::State::LoadTransfer()
{
    const auto folder = std::filesystem::path(PluginModule::DefaultPath()).parent_path();
    const std::string path = folder / "NetInfoClient.so";
    void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const function = module ? dlsym(module, "NewHttpTransfer") : nullptr;
    if (!function) {
        const char* const reason = dlerror();
        return Failure{fmt::format("the module that asks the service cannot be loaded: {}",
                                   Printable(reason ? reason : "unknown reason"))};
    }
    transfer.reset(reinterpret_cast<NewHttpTransferFunction>(function)());
    if (!transfer) return Failure{"there is no memory"};
    return std::nullopt;
}

Failure ControlClient::State::WhyNot(HttpOutcome::Kind kind, const std::string& method) const
{
    const std::string_view doubt = method == "GET" ? "" : "; whether the change was made is not known";
    switch (kind) {
        case HttpOutcome::Kind::Unreachable:
            return Unreachable(socketPath, process, "nobody listens");
        case HttpOutcome::Kind::Untrusted:
            return untrusted.value_or(Failure{"the service is not trusted"});
        case HttpOutcome::Kind::TimedOut:
            return {fmt::format(
                "{} has not answered on {} within {} s; if it is stopped, kill -CONT {} has it go "
                "on, else end it (kill -KILL {}) and start it again{}",
                NameOf(process), Printable(socketPath),
                std::chrono::duration<double>(patience.answer).count(), process, process, doubt)};
        case HttpOutcome::Kind::CutShort:
            return {fmt::format("{} ended in the middle of its answer; try again{}", NameOf(process), doubt)};
        case HttpOutcome::Kind::NoMemory:
            return {"there is no memory"};
        case HttpOutcome::Kind::Answered:
        case HttpOutcome::Kind::NotUnderstood:
            break;
    }
    return {
        fmt::format("{} answers what is not understood; is it another version? End it and start it again{}",
                    NameOf(process), doubt)};
}

ControlClient::ControlClient(std::unique_ptr<State> state) : m_state(std::move(state)) {}

ControlClient::~ControlClient() = default;

Result<std::unique_ptr<ControlClient>> ControlClient::Connect(const std::string& socketPath, pid_t process,
                                                              ClientPatience patience)
{
    const ConnectedSocket probe = ConnectTo(socketPath);
    if (probe.descriptor < 0) return Unreachable(socketPath, process, std::strerror(probe.error));
    const auto problem = CheckPeer(probe.descriptor, socketPath, process);
    close(probe.descriptor);
    if (problem) return *problem;
    std::unique_ptr<State> state(new State{socketPath, process, patience});
    if (auto failure = state->LoadTransfer()) return *failure;
    return std::unique_ptr<ControlClient>(new ControlClient(std::move(state)));
}

Result<std::unique_ptr<ControlClient>> ControlClient::Find(const std::string& dataDirectory,
                                                           ClientPatience patience)
{
    // A process that has just taken the lock listens soon, and one that has just ended gives it back.
    const auto end = Clock::now() + patience.start;
    while (true) {
        const auto holder = FindLockHolder(dataDirectory);
        if (!holder) return holder.Error();
        if (!*holder) return std::unique_ptr<ControlClient>();

        const LockHolder& service = **holder;
        Failure failure = InUse(dataDirectory, service);
        if (!service.socketPath.empty()) {
            auto client = Connect(service.socketPath, service.process, patience);
            if (client) return client;
            failure = client.Error();
        }
        if (Clock::now() >= end) return failure;
        std::this_thread::sleep_for(RETRY_AFTER);
    }
}

Result<Json> ControlClient::Ask(const ControlRequest& request)
{
    State& state = *m_state;
    state.untrusted.reset();
    HttpRequest http{state.socketPath, request.method, request.path, request.query};
    http.headers.emplace_back("Content-Type: application/json");
    const std::string settings = fmt::format("{}: {}", SETTINGS_HEADER, ConfigDirectory());
    if (Printable(settings) == settings) http.headers.push_back(settings);
    if (!request.body.is_null()) http.body = OneLine(request.body);
    http.patience = state.patience.answer;
    http.trusts = [&state](int descriptor) {
        state.untrusted = CheckPeer(descriptor, state.socketPath, state.process);
        return !state.untrusted;
    };
    const HttpOutcome outcome = state.transfer->Perform(http);
    if (outcome.kind != HttpOutcome::Kind::Answered) return state.WhyNot(outcome.kind, request.method);
    auto document = ParseJson(outcome.body);
    if (!document) return state.WhyNot(HttpOutcome::Kind::NotUnderstood, request.method);
    return DocumentOf({outcome.status, std::move(*document), {}});
}

pid_t ControlClient::Process() const { return m_state->process; }

}  // namespace netinfo
