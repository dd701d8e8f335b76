#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <ctime>

#include "tests/support/ProgramClock.h"

// Takes the place of the C library's clocks in a program under test, when preloaded: the kernel's time, and
// what the test adds to it.

namespace {

constexpr long long SECOND = 1'000'000'000;  // nanoseconds

/// Null where the program was given no clock. Bare system calls and no lock, because a sanitizer asks for the
/// time within its own `open` and `malloc`.
const nettest::ClockOffsets* Offsets()
{
    static constinit std::atomic<const nettest::ClockOffsets*> s_offsets{nullptr};
    if (const nettest::ClockOffsets* const known = s_offsets) return known;

    const char* const path = std::getenv(nettest::ProgramClock::PAGE);
    if (path == nullptr) return nullptr;
    const long file = syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return nullptr;
    const long page =
        syscall(SYS_mmap, nullptr, sizeof(nettest::ClockOffsets), PROT_READ, MAP_SHARED, file, 0L);
    syscall(SYS_close, file);
    if (page == -1) return nullptr;
    s_offsets = reinterpret_cast<const nettest::ClockOffsets*>(page);
    return s_offsets;
}

long long AddedTo(clockid_t clock)
{
    const nettest::ClockOffsets* const offsets = Offsets();
    if (offsets == nullptr) return 0;
    switch (clock) {
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
            return offsets->wall + offsets->passed;
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_COARSE:
        case CLOCK_BOOTTIME:
            return offsets->passed;
        default:
            return 0;  // processor time
    }
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* result) noexcept
{
    const long status = syscall(SYS_clock_gettime, clock, result);
    if (status != 0) return static_cast<int>(status);
    const long long moment = result->tv_sec * SECOND + result->tv_nsec + AddedTo(clock);
    result->tv_sec = moment / SECOND;
    result->tv_nsec = moment % SECOND;
    return 0;
}

__attribute__((visibility("default"))) int gettimeofday(timeval* result, void*) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    *result = {now.tv_sec, now.tv_nsec / 1000};
    return 0;
}

__attribute__((visibility("default"))) time_t time(time_t* result) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) *result = now.tv_sec;
    return now.tv_sec;
}

}  // extern "C"
