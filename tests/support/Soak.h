#pragma once

#include <chrono>
#include <cstdlib>

namespace nettest {

/// How long a test of endurance goes on: `$NETINFO_SOAK_SECONDS`, which `make soak` sets, or else
/// `otherwise`.
inline std::chrono::seconds SoakTime(std::chrono::seconds otherwise)
{
    const char* const text = std::getenv("NETINFO_SOAK_SECONDS");
    const long seconds = text ? std::atol(text) : 0;
    return seconds > 0 ? std::chrono::seconds(seconds) : otherwise;
}

/// True for the long form of a test that does more rather than longer.
inline bool IsSoak() { return SoakTime(std::chrono::seconds(0)) > std::chrono::seconds(0); }

}  // namespace nettest
