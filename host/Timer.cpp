#include "host/Timer.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>

namespace netinfo {
namespace {

constexpr long SECOND = 1'000'000'000;  // nanoseconds

}  // namespace

Timer::Timer() : m_descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}

Timer::~Timer()
{
    if (m_descriptor >= 0) close(m_descriptor);
}

void Timer::Start(long first, long interval)
{
    itimerspec times{};
    times.it_value = {first / SECOND, first % SECOND};
    times.it_interval = {interval / SECOND, interval % SECOND};
    timerfd_settime(m_descriptor, 0, &times, nullptr);
}

void Timer::Drain()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t length = read(m_descriptor, &count, sizeof count);
}

}  // namespace netinfo
