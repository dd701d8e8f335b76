#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "host/ChangeInbox.h"
#include "host/Checkpoint.h"
#include "host/Commands.h"
#include "host/ConnectionManager.h"
#include "host/Container.h"
#include "host/ControlRoutes.h"
#include "host/ControlServer.h"
#include "host/ControlSource.h"
#include "host/DeviceManager.h"
#include "host/LinkProfile.h"
#include "host/LinkWatch.h"
#include "host/Output.h"
#include "host/ServiceManager.h"
#include "host/Session.h"
#include "host/SettingsWatch.h"
#include "host/Signals.h"
#include "host/SleepDetector.h"
#include "host/StartupMemory.h"
#include "host/Status.h"
#include "host/StatusDisplay.h"
#include "host/Timer.h"
#include "host/UsageRecorder.h"
#include "platform/common/Directories.h"
#include "platform/dialup/CountedLinks.h"

namespace netinfo {
namespace {

constexpr const char* SETTINGS_FILE = "DataUsageLimit.ini";
constexpr long SECOND = 1'000'000'000;  // nanoseconds
constexpr long DEBOUNCE = 10'000'000;   // nanoseconds: one link coming up is several messages
/// How often links are read although nothing tells that they changed, in case something did without telling;
/// and where the kernel tells nothing.
constexpr unsigned TICKS_BETWEEN_READS = 10;
constexpr unsigned TICKS_BETWEEN_READS_UNTOLD = 2;

std::vector<Device> DevicesOf(const std::vector<CountedLink>& links)
{
    std::vector<Device> devices;
    devices.reserve(links.size());
    for (const CountedLink& link : links)
        devices.push_back(
            {ToText16(link.deviceName), ToText16(ProfileOf(link)), static_cast<int>(link.type)});
    return devices;
}

/// The host's one loop: it hears the kernel, the clock, the signals and the plug-in, tells the plug-in about
/// links, shows figures, and answers other processes. Everything happens on the thread that calls `Run`.
class RunLoop final : private ControlSource
{
public:
    RunLoop(Signals& signals, ConnectionManager& connections, DeviceManager& devices, ChangeInbox& inbox,
            Session& session, const Style& style, RunOutput output)
        : m_signals(signals),
          m_connections(connections),
          m_devices(devices),
          m_inbox(inbox),
          m_session(session),
          m_reader(session.Traffic()),
          m_display(output, style, "Ctrl-C ends"),
          m_recorder(session.Directory(), session.Traffic(),
                     [this](const std::string& message) { m_display.Tell(message); }),
          m_checkpoint(session.Records())
    {}

    ~RunLoop() override;
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    /// Returns once the host is to end: the exit code.
    int Run();

private:
    void Wait();
    void OnSignal(int signal);
    void OnTick();
    void OnChange(unsigned changed);
    void ReadLinks();
    void Listen();
    void StopListening();
    TypeStatus Status(std::size_t index);
    void ShowTable();
    void ShowChange(std::size_t index);

    Result<INetInfoService*> Traffic() override { return &m_session.Traffic(); }
    Result<INetInfoRecord*> Records() override { return &m_session.Records(); }
    Result<const UsageLedger*> Ledger() override;
    Result<std::array<TypeStatus, TRAFFIC_TYPES.size()>> Statuses() override;
    std::string DataDirectory() override { return m_session.Directory(); }
    Json Service() override;

    Signals& m_signals;
    ConnectionManager& m_connections;
    DeviceManager& m_devices;
    ChangeInbox& m_inbox;
    Session& m_session;
    StatusReader m_reader;
    StatusDisplay m_display;

    LinkWatch m_linkWatch;
    SettingsWatch m_settingsWatch{{ModuleDirectory() + SETTINGS_FILE, ConfigDirectory() + SETTINGS_FILE}};
    SleepDetector m_sleep;
    Timer m_tick;
    Timer m_debounce;

    bool m_running = true;
    bool m_linksChanging = false;  ///< the debounce timer runs
    unsigned m_ticks = 0;
    unsigned long long m_generation = 0;  ///< of the device names as of the last reading
    std::vector<CountedLink> m_links;
    UsageRecorder m_recorder;
    Checkpoint m_checkpoint;
    const std::time_t m_started = std::time(nullptr);
    std::unique_ptr<ControlServer> m_server;  ///< null: other processes cannot be answered
};

RunLoop::~RunLoop() { StopListening(); }

int RunLoop::Run()
{
    m_sleep.Slept();
    ReadLinks();
    m_tick.Start(SECOND, SECOND);
    Listen();
    ShowTable();
    if (const auto problem = TellServiceManager(SERVICE_READY)) m_display.Tell(*problem);
    ReleaseStartupMemory();
    while (m_running)
        Wait();
    StopListening();
    TellServiceManager(SERVICE_STOPPING);  // whoever missed it sees the end itself
    m_recorder.Finish();
    ShowTable();
    return m_display.ExitCode();
}

void RunLoop::Wait()
{
    enum : std::size_t
    {
        SIGNAL,
        LINK,
        DEBOUNCED,
        TICK,
        CHANGE,
        OUTPUT,
        CONTROL,
        COUNT
    };
    std::array<pollfd, COUNT> waits{};
    waits[SIGNAL] = {m_signals.Descriptor(), POLLIN, 0};
    waits[LINK] = {m_linkWatch.Descriptor(), POLLIN, 0};
    waits[DEBOUNCED] = {m_debounce.Descriptor(), POLLIN, 0};
    waits[TICK] = {m_tick.Descriptor(), POLLIN, 0};
    waits[CHANGE] = {m_inbox.Descriptor(), POLLIN, 0};
    waits[OUTPUT] = m_display.Waits();
    waits[CONTROL] = {m_server ? m_server->Descriptor() : -1, POLLIN, 0};
    if (poll(waits.data(), waits.size(), m_server ? m_server->Timeout() : -1) < 0) {
        if (errno != EINTR) m_running = false;
        return;
    }

    if (waits[SIGNAL].revents != 0) {
        while (const auto signal = m_signals.Take())
            OnSignal(*signal);
    }
    if (waits[LINK].revents != 0) {
        m_linkWatch.Drain();
        if (!m_linksChanging) m_debounce.Start(DEBOUNCE, 0);
        m_linksChanging = true;
    }
    if (waits[DEBOUNCED].revents != 0) {
        m_debounce.Drain();
        m_linksChanging = false;
        ReadLinks();
    }
    if (waits[TICK].revents != 0) OnTick();
    if (waits[CHANGE].revents != 0) OnChange(m_inbox.Take());
    m_display.Handle(waits[OUTPUT].revents);
    if (m_display.Ended()) m_running = false;
    if (m_server) m_server->Run();
}

void RunLoop::OnSignal(int signal)
{
    if (signal == SIGTSTP) {
        m_display.Pause();
        ReadLinks();
        ShowTable();
    } else if (signal == SIGWINCH) {
        ShowTable();
    } else {
        m_running = false;
    }
}

void RunLoop::OnTick()
{
    m_tick.Drain();
    m_recorder.OnTick();
    m_checkpoint.OnTick();
    ++m_ticks;
    if (m_sleep.Slept()) {
        m_devices.ReportSleep();
        ReadLinks();
        m_connections.ReportAgain();
    } else {
        const bool told = m_linkWatch.Descriptor() >= 0;
        const bool due = m_ticks % (told ? TICKS_BETWEEN_READS : TICKS_BETWEEN_READS_UNTOLD) == 0;
        const bool newRules = m_settingsWatch.Changed();
        if (due || newRules || LinkGeneration() != m_generation) ReadLinks();
    }
    ShowTable();
}

void RunLoop::OnChange(unsigned changed)
{
    if (changed != 0) m_recorder.OnChange();
    if (changed != 0) m_checkpoint.OnChange();
    for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
        if ((changed >> i & 1U) != 0) ShowChange(i);
    }
    if (changed != 0) ShowTable();
}

/// Tells the plug-in which links are there, if that has changed. What cannot be read has not changed.
void RunLoop::ReadLinks()
{
    m_generation = LinkGeneration();
    auto links = ReadCountedLinks();
    if (!links) return;
    m_links = std::move(*links);
    m_connections.Update(DevicesOf(m_links));
    m_recorder.Present(m_links);
}

/// Opens the door for other processes. Without one the plug-in counts all the same.
void RunLoop::Listen()
{
    auto socket = ControlSocket::Listen(m_session.Directory());
    if (!socket) return m_display.Tell(socket.Error().message + "; other commands cannot ask this one");
    auto server = ControlServer::Start(
        std::move(*socket), [this](const ControlRequest& request) { return AnswerControl(*this, request); });
    if (!server) return m_display.Tell(server.Error().message + "; other commands cannot ask this one");
    m_server = std::move(*server);
    if (const auto failure = m_session.Announce(m_server->Path())) m_display.Tell(failure->message);
}

/// From now on other processes wait for the lock.
void RunLoop::StopListening()
{
    if (!m_server) return;
    m_server.reset();
    m_session.Announce("");  // whoever still reads the old place finds nobody there
}

Result<const UsageLedger*> RunLoop::Ledger()
{
    if (const UsageLedger* const ledger = m_recorder.Ledger()) return ledger;
    return Failure{"the service has no usage ledger; its messages tell why"};
}

Result<std::array<TypeStatus, TRAFFIC_TYPES.size()>> RunLoop::Statuses()
{
    std::array<TypeStatus, TRAFFIC_TYPES.size()> statuses;
    for (std::size_t i = 0; i < statuses.size(); ++i)
        statuses[i] = Status(i);
    return statuses;
}

Json RunLoop::Service()
{
    return {{"version", NETINFO_VERSION},
            {"process", getpid()},
            {"started", m_started},
            {"socket", m_server->Path()}};
}

TypeStatus RunLoop::Status(std::size_t index)
{
    TypeStatus status = m_reader.Read(index);
    AddLinks(status, m_links);
    return status;
}

void RunLoop::ShowTable()
{
    if (!m_display.HasTable()) return;
    std::vector<TypeStatus> statuses;
    for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i)
        statuses.push_back(Status(i));
    m_display.ShowTable(statuses, static_cast<unsigned long long>(std::time(nullptr)));
}

void RunLoop::ShowChange(std::size_t index)
{
    if (!m_display.HasLines()) return;
    m_display.ShowChange(index, Status(index), static_cast<unsigned long long>(std::time(nullptr)));
}

}  // namespace

int RunCommand(const CommonOptions& options, RunOutput output)
{
    // What is made last ends first: the subscription, then the plug-in, then what it was given.
    Signals signals;
    ConnectionManager connections;
    DeviceManager devices;
    Container container(connections, devices);
    ChangeInbox inbox;
    const auto session = Session::Open(options.modulePath, container);
    if (!session) return Fail(session.Error());

    int exitCode = EXIT_DONE;
    {
        const ChangeSubscription subscription((*session)->Traffic(), inbox);
        exitCode = RunLoop(signals, connections, devices, inbox, **session, options.style, output).Run();
    }
    if (const auto unsaved = (*session)->End()) return Fail(*unsaved);
    return exitCode;
}

}  // namespace netinfo
