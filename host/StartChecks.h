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

/// A failure if the data file or the list of conflicting software is there but cannot be read: the plug-in
/// would count into an empty file, or what it must not count.
std::optional<Failure> CheckDataFiles(const std::string& dataDirectory, const std::string& moduleDirectory);

/// A failure if a settings file is there but cannot be read, or is no text: it would count as empty.
std::optional<Failure> CheckSettingsFiles(const std::string& configDirectory,
                                          const std::string& moduleDirectory);

/// Paths of the data files that were set aside because they were damaged.
std::set<std::string> SetAsideFiles(const std::string& dataDirectory);

}  // namespace netinfo
