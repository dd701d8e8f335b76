#pragma once

#include <optional>
#include <set>
#include <string>

#include "host/Result.h"

namespace netinfo {

/// What is looked at before the plug-in is started, because the plug-in would go on with neutral values where
/// the user has to know.
///
/// Directories end with '/'.

/// A failure if the data file, a settings file or the list of conflicting software is there but cannot be
/// read: the plug-in would count into an empty file, or by other rules than the user's.
std::optional<Failure> CheckFiles(const std::string& dataDirectory, const std::string& configDirectory,
                                  const std::string& moduleDirectory);

/// Paths of the data files that were set aside because they were damaged.
std::set<std::string> SetAsideFiles(const std::string& dataDirectory);

}  // namespace netinfo
