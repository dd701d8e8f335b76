#pragma once

#include <limits>

namespace netinfo {

/// Adds to a sum that stays at its largest value rather than begin anew.
inline void AddUpTo(unsigned long long& sum, unsigned long long value)
{
    constexpr auto most = std::numeric_limits<unsigned long long>::max();
    sum = value > most - sum ? most : sum + value;
}

}  // namespace netinfo
