#include "host/Signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace netinfo {
namespace {

bool IsIgnored(int signal)
{
    struct sigaction action
    {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t Wanted()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGQUIT, SIGTSTP, SIGWINCH})
        sigaddset(&signals, signal);
    if (!IsIgnored(SIGHUP)) sigaddset(&signals, SIGHUP);  // started to outlive its terminal
    return signals;
}

}  // namespace

Signals::Signals()
{
    const sigset_t signals = Wanted();
    m_descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_descriptor >= 0) pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

Signals::~Signals()
{
    if (m_descriptor < 0) return;
    while (Take())
        continue;  // what came during the teardown must not strike now
    const sigset_t signals = Wanted();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    close(m_descriptor);
}

std::optional<int> Signals::Take()
{
    signalfd_siginfo info{};
    if (m_descriptor < 0) return std::nullopt;
    if (read(m_descriptor, &info, sizeof info) != sizeof info) return std::nullopt;
    return static_cast<int>(info.ssi_signo);
}

}  // namespace netinfo
