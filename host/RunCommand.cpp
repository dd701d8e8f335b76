#include <fmt/format.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "host/ChangeInbox.h"
#include "host/Commands.h"
#include "host/ConnectionManager.h"
#include "host/Container.h"
#include "host/DeviceManager.h"
#include "host/LinkProfile.h"
#include "host/LinkWatch.h"
#include "host/LiveOutput.h"
#include "host/Output.h"
#include "host/Screen.h"
#include "host/Session.h"
#include "host/Signals.h"
#include "host/SleepDetector.h"
#include "host/Status.h"
#include "host/UsageRecorder.h"
#include "platform/common/Directories.h"
#include "platform/dialup/CountedLinks.h"

namespace netinfo {
namespace {

constexpr long SECOND = 1'000'000'000;       // nanoseconds
constexpr long DEBOUNCE = 10'000'000;        // nanoseconds: one link coming up is several messages
constexpr unsigned TICKS_BETWEEN_READS = 2;  // how late a changed rule in the settings is noticed
constexpr int LAST_WORDS = 1000;             // milliseconds for a reader to take what still waits

/// A timer of the system as a descriptor.
class Timer
{
public:
    Timer() : m_descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}
    ~Timer()
    {
        if (m_descriptor >= 0) close(m_descriptor);
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    int Descriptor() const { return m_descriptor; }
    /// Goes off after `first` and then every `interval` nanoseconds; interval 0: once.
    void Start(long first, long interval)
    {
        itimerspec times{};
        times.it_value = {first / SECOND, first % SECOND};
        times.it_interval = {interval / SECOND, interval % SECOND};
        timerfd_settime(m_descriptor, 0, &times, nullptr);
    }
    void Drain()
    {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t length = read(m_descriptor, &count, sizeof count);
    }

private:
    const int m_descriptor;  ///< owned
};

std::vector<Device> DevicesOf(const std::vector<CountedLink>& links)
{
    std::vector<Device> devices;
    devices.reserve(links.size());
    for (const CountedLink& link : links)
        devices.push_back(
            {ToText16(link.deviceName), ToText16(ProfileOf(link)), static_cast<int>(link.type)});
    return devices;
}

/// By custom any text in NO_COLOR says no.
bool WantsColour()
{
    const char* const refusal = std::getenv("NO_COLOR");
    return !refusal || *refusal == '\0';
}

/// The host's one loop: it hears the kernel, the clock, the signals and the plug-in, tells the plug-in about
/// links, and shows figures. Everything happens on the thread that calls `Run`.
class RunLoop
{
public:
    RunLoop(Signals& signals, ConnectionManager& connections, DeviceManager& devices, ChangeInbox& inbox,
            INetInfoService& traffic, bool json)
        : m_signals(signals),
          m_connections(connections),
          m_devices(devices),
          m_inbox(inbox),
          m_reader(traffic),
          m_json(json),
          m_redraws(!json && CanRedraw(STDOUT_FILENO)),
          m_colour(WantsColour()),
          m_recorder(UserDataDirectory(), traffic, [this](const std::string& message) { Tell(message); })
    {}

    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    /// Returns once the host is to end: the exit code.
    int Run();

private:
    void Wait();
    void OnSignal(int signal);
    void OnTick();
    void OnChange(unsigned changed);
    void Pause();
    void Tell(const std::string& message);
    void ReadLinks();
    TypeStatus Status(std::size_t index);
    void ShowTable();
    void ShowChange(std::size_t index);

    Signals& m_signals;
    ConnectionManager& m_connections;
    DeviceManager& m_devices;
    ChangeInbox& m_inbox;
    StatusReader m_reader;
    const bool m_json;
    const bool m_redraws;  ///< a table on a terminal; otherwise a line for each change
    const bool m_colour;

    LinkWatch m_linkWatch;
    SleepDetector m_sleep;
    Timer m_tick;
    Timer m_debounce;
    LiveOutput m_output{STDOUT_FILENO};
    Screen m_screen;

    bool m_running = true;
    bool m_linksChanging = false;  ///< the debounce timer runs
    unsigned m_ticks = 0;
    unsigned long long m_generation = 0;  ///< of the device names as of the last reading
    std::vector<CountedLink> m_links;
    std::array<TypeStatus, TRAFFIC_TYPES.size()> m_shown{};
    unsigned long long m_unshown = 0;  ///< changes that a slow reader did not get
    UsageRecorder m_recorder;
};

RunLoop::~RunLoop()
{
    m_output.Send(m_screen.End());
    m_output.Finish(LAST_WORDS);
}

int RunLoop::Run()
{
    for (std::size_t i = 0; i < m_shown.size(); ++i)
        m_shown[i].type = TRAFFIC_TYPES[i];
    m_sleep.Slept();
    ReadLinks();
    m_tick.Start(SECOND, SECOND);
    if (m_redraws) m_output.Send(m_screen.Begin());
    ShowTable();
    while (m_running)
        Wait();
    m_recorder.Finish();
    ShowTable();

    // A reader that has gone, or a terminal that was closed, is one of the ways to end the host.
    const int error = m_output.Error();
    if (error == 0 || error == EPIPE || error == EIO) return EXIT_DONE;
    return Fail({fmt::format("the output cannot be written: {}", std::strerror(error))});
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
        COUNT
    };
    std::array<pollfd, COUNT> waits{};
    waits[SIGNAL] = {m_signals.Descriptor(), POLLIN, 0};
    waits[LINK] = {m_linkWatch.Descriptor(), POLLIN, 0};
    waits[DEBOUNCED] = {m_debounce.Descriptor(), POLLIN, 0};
    waits[TICK] = {m_tick.Descriptor(), POLLIN, 0};
    waits[CHANGE] = {m_inbox.Descriptor(), POLLIN, 0};
    // Without POLLOUT it still tells that the other end is gone.
    waits[OUTPUT] = {m_output.Descriptor(), static_cast<short>(m_output.Idle() ? 0 : POLLOUT), 0};
    if (poll(waits.data(), waits.size(), -1) < 0) {
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
    if ((waits[OUTPUT].revents & POLLOUT) != 0) m_output.Flush();
    if ((waits[OUTPUT].revents & (POLLERR | POLLHUP)) != 0) m_running = false;
    if (m_output.Error() != 0) m_running = false;
}

void RunLoop::OnSignal(int signal)
{
    if (signal == SIGTSTP) {
        Pause();
    } else if (signal == SIGWINCH) {
        ShowTable();
    } else {
        m_running = false;
    }
}

/// Stops the process as the terminal asked, with the terminal as it was found.
void RunLoop::Pause()
{
    m_output.Send(m_screen.End());
    m_output.Finish(LAST_WORDS);
    raise(SIGSTOP);
    if (m_redraws) m_output.Send(m_screen.Begin());
    ReadLinks();
    ShowTable();
}

/// Says something on standard error that may be the terminal of the table.
void RunLoop::Tell(const std::string& message)
{
    const bool begun = m_screen.Begun();
    if (begun) m_output.Send(m_screen.End());
    m_output.Finish(LAST_WORDS);
    Complain(message);
    if (begun) m_output.Send(m_screen.Begin());
}

void RunLoop::OnTick()
{
    m_tick.Drain();
    m_recorder.OnTick();
    ++m_ticks;
    if (m_sleep.Slept()) {
        m_devices.ReportSleep();
        ReadLinks();
        m_connections.ReportAgain();
    } else if (m_ticks % TICKS_BETWEEN_READS == 0 || LinkGeneration() != m_generation) {
        ReadLinks();
    }
    ShowTable();
}

void RunLoop::OnChange(unsigned changed)
{
    if (changed != 0) m_recorder.OnChange();
    for (std::size_t i = 0; i < m_shown.size(); ++i) {
        if ((changed >> i & 1U) != 0 && !m_redraws) ShowChange(i);
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

TypeStatus RunLoop::Status(std::size_t index)
{
    TypeStatus status = m_reader.Read(index);
    for (const CountedLink& link : m_links) {
        if (static_cast<int>(link.type) == status.type.code) status.links.push_back(ProfileOf(link));
    }
    return status;
}

void RunLoop::ShowTable()
{
    if (!m_redraws) return;
    if (!m_output.Idle()) return;  // the terminal still takes the previous table
    std::vector<TypeStatus> statuses;
    for (std::size_t i = 0; i < m_shown.size(); ++i)
        statuses.push_back(Status(i));

    const TerminalSize size = SizeOfTerminal(STDOUT_FILENO);
    const auto now = static_cast<unsigned long long>(std::time(nullptr));
    m_output.Send(m_screen.Draw(StatusTable(statuses, now, size.columns, m_colour), size.rows));
}

void RunLoop::ShowChange(std::size_t index)
{
    const TypeStatus status = Status(index);
    if (SameFigures(status, m_shown[index])) return;
    m_shown[index] = status;

    const auto now = static_cast<unsigned long long>(std::time(nullptr));
    std::string text = m_json ? StatusJson(status, now) : StatusLine(status, now);
    if (m_unshown != 0 && !m_json) text = fmt::format("({} changes not shown)\n{}", m_unshown, text);
    if (m_output.Send(text)) {
        m_unshown = 0;
    } else {
        ++m_unshown;
    }
}

}  // namespace

int RunCommand(const CommonOptions& options)
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
        exitCode = RunLoop(signals, connections, devices, inbox, (*session)->Traffic(), options.json).Run();
    }
    if (const auto unsaved = (*session)->End()) return Fail(*unsaved);
    return exitCode;
}

}  // namespace netinfo
