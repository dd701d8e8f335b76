#pragma once

#include <atomic>
#include <ctime>
#include <map>
#include <string>

#include "tests/support/TempDir.h"

namespace nettest {

/// What a program under test adds to the kernel's clocks: a page that it shares with the test.
struct ClockOffsets
{
    std::atomic<long long> wall;    ///< nanoseconds, to the clock that can be set
    std::atomic<long long> passed;  ///< nanoseconds, to every clock
};

/// The clock of a program under test, and of all that are started with its environment. It begins at a set
/// moment and runs as the kernel's does; the test lets hours pass on it at once, also while no program runs.
///
/// Waits for a length of time (timers, polls) keep to the kernel's clock: they are real, and short.
class ProgramClock
{
public:
    /// The name of the environment variable with the path of the shared page.
    static constexpr const char* PAGE = "NETTEST_CLOCK_PAGE";

    /// `library`: the path of the library, to be preloaded, that takes the place of the C library's clocks.
    ProgramClock(std::string library, std::time_t start);
    ~ProgramClock();
    ProgramClock(const ProgramClock&) = delete;
    ProgramClock& operator=(const ProgramClock&) = delete;

    /// Gives a program this clock.
    std::map<std::string, std::string> Environment() const;
    /// Lets so much time pass that it is `moment` for the programs; never backwards.
    void PassTo(std::time_t moment);

private:
    TempDir m_directory;
    std::string m_library;
    ClockOffsets* m_offsets = nullptr;
};

}  // namespace nettest
