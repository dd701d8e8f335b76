#include <poll.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Commands.h"
#include "host/ControlClient.h"
#include "host/Output.h"
#include "host/Signals.h"
#include "host/Status.h"
#include "host/StatusDisplay.h"
#include "host/Timer.h"
#include "platform/common/Directories.h"

namespace netinfo {
namespace {

constexpr long SECOND = 1'000'000'000;  // nanoseconds
constexpr long AFTER_SAMPLE =
    150'000'000;  // nanoseconds: the plug-in samples when the clock's second changes
constexpr std::chrono::milliseconds PATIENCE{2000};  // meanwhile no key is heard

/// Shows what a service counts, until a signal, the end of the terminal or that of the service. Everything
/// happens on the thread that calls `Run`.
class LiveWatch
{
public:
    LiveWatch(ControlClient& service, const Style& style, RunOutput output)
        : m_service(service), m_display(output, style, "Ctrl-C ends the view")
    {}

    /// The exit code.
    int Run();

private:
    void Wait();
    void OnSignal(int signal);
    void Ask();
    void Show();

    ControlClient& m_service;
    Signals m_signals;
    StatusDisplay m_display;
    Timer m_tick;
    bool m_running = true;
    std::optional<Failure> m_failure;  ///< of the service
    std::vector<TypeStatus> m_types;   ///< as last told
    unsigned long long m_time = 0;     ///< moment, as last told
};

int LiveWatch::Run()
{
    Ask();
    while (m_running)
        Wait();
    if (!m_failure) {
        Show();  // over the ^C of the terminal
        return m_display.ExitCode();
    }
    m_display.Tell(m_failure->message);
    return m_failure->exitCode;
}

void LiveWatch::Wait()
{
    enum : std::size_t
    {
        SIGNAL,
        TICK,
        OUTPUT,
        COUNT
    };
    std::array<pollfd, COUNT> waits{};
    waits[SIGNAL] = {m_signals.Descriptor(), POLLIN, 0};
    waits[TICK] = {m_tick.Descriptor(), POLLIN, 0};
    waits[OUTPUT] = m_display.Waits();
    if (poll(waits.data(), waits.size(), -1) < 0) {
        if (errno != EINTR) m_running = false;
        return;
    }
    m_display.Handle(waits[OUTPUT].revents);
    if (m_display.Ended()) m_running = false;
    if (waits[SIGNAL].revents != 0) {
        while (const auto signal = m_signals.Take())
            OnSignal(*signal);
    }
    if (m_running && waits[TICK].revents != 0) Ask();
}

void LiveWatch::OnSignal(int signal)
{
    if (signal == SIGTSTP) {
        m_display.Pause();
        Ask();
    } else if (signal == SIGWINCH) {
        Show();
    } else {
        m_running = false;
    }
}

/// Asks for the figures of now, and does so again when the service has the next ones.
void LiveWatch::Ask()
{
    m_tick.Drain();
    const auto document = m_service.Ask({.method = "GET", .path = "/v1/status"});
    if (document) {
        if (auto answer = StatusAnswerFrom(*document)) {
            m_time = answer->time;
            m_types = std::move(answer->types);
        } else {
            m_failure = Failure{"the service's answer is not understood; is it of another version?"};
        }
    } else {
        m_failure = document.Error();
    }
    if (m_failure) {
        m_running = false;
        return;
    }
    Show();
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    m_tick.Start(SECOND - now.tv_nsec + AFTER_SAMPLE, 0);
}

void LiveWatch::Show()
{
    m_display.ShowTable(m_types, m_time);
    for (std::size_t i = 0; i < m_types.size(); ++i)
        m_display.ShowChange(i, m_types[i], m_time);
}

}  // namespace

int LiveCommand(const CommonOptions& options, RunOutput output)
{
    const std::string directory = UserDataDirectory();
    if (directory.empty()) return RunCommand(options, output);  // says what is missing
    const auto service = ControlClient::Find(directory, {.answer = PATIENCE});
    if (!service) return Fail(service.Error());
    if (!*service) return RunCommand(options, output);
    return LiveWatch(**service, options.style, output).Run();
}

}  // namespace netinfo
