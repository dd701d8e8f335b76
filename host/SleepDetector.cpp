#include "host/SleepDetector.h"

#include <ctime>

namespace netinfo {
namespace {

long long Nanoseconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

}  // namespace

bool SleepDetector::Slept(long long boottime, long long monotonic)
{
    const long long asleep = boottime - monotonic;
    const bool slept = m_asleep && asleep - *m_asleep >= LEAST_SLEEP;
    m_asleep = asleep;
    return slept;
}

bool SleepDetector::Slept()
{
    const long long monotonic = Nanoseconds(CLOCK_MONOTONIC);
    return Slept(Nanoseconds(CLOCK_BOOTTIME), monotonic);
}

}  // namespace netinfo
