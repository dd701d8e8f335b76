#pragma once

#include <optional>

namespace netinfo {

/// Tells from the system's two running clocks that the machine was suspended: only one of them goes on then.
///
/// Threads: one. Units: nanoseconds since the machine started, with (`boottime`) and without (`monotonic`)
/// the time asleep.
class SleepDetector
{
public:
    /// A second of difference is beyond what reading one clock after the other can make.
    static constexpr long long LEAST_SLEEP = 1'000'000'000;

    /// True if the machine slept since the previous call; false on the first.
    bool Slept(long long boottime, long long monotonic);
    /// The same, with the system's clocks.
    bool Slept();

private:
    std::optional<long long> m_asleep;  ///< time asleep as of the previous call
};

}  // namespace netinfo
