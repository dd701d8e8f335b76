#pragma once

#include <string_view>

#include "host/Result.h"

namespace netinfo {

/// The bytes that people mean by "20GB" (decimal), "18.5GiB" (binary) or "20000000000": a number with at most
/// three decimals, a space if they like, and a unit from B to PB or PiB in any case. At least 1, and less
/// than 2^63. EXIT_USAGE for any other text, "20G" among them, which could mean either.
Result<unsigned long long> ParseByteAmount(std::string_view text);

}  // namespace netinfo
