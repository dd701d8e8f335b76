#pragma once

namespace netinfo {

/// Both counters of a link.
struct ByteCounters
{
    unsigned long long received = 0;  ///< bytes
    unsigned long long sent = 0;      ///< bytes

    friend bool operator==(const ByteCounters&, const ByteCounters&) = default;
};

}  // namespace netinfo
