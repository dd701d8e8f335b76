#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/Result.h"

namespace netinfo {

/// One value of the settings store, as it is stored.
///
/// Threads: any. Units: texts are UTF-8.

/// Empty: nothing is stored.
std::string ReadStored(std::string_view section, std::string_view key);
/// An empty value takes back what is stored.
std::optional<Failure> WriteStored(std::string_view section, std::string_view key, const std::string& value);

}  // namespace netinfo
