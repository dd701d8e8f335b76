#pragma once

#include <string>

#include "platform/common/Export.h"

namespace netinfo {

/// The user's directories, by the environment: a variable of our own, else the desktop's base directory, else
/// the customary place under the home directory. A relative base directory is ignored, and the whole
/// environment is in a process that runs with another user's rights.
///
/// Threads: any, as long as none changes the environment.
/// Units:   bytes of the file system, ending with '/'. Nothing is made by asking.
/// Errors:  empty when the user has no home directory either.

/// $NETINFO_DATA_DIR, else $XDG_DATA_HOME/netinfo/, else ~/.local/share/netinfo/
NETINFO_PLATFORM_API std::string UserDataDirectory();
/// $NETINFO_CONFIG_DIR, else $XDG_CONFIG_HOME/netinfo/, else ~/.config/netinfo/
NETINFO_PLATFORM_API std::string ConfigDirectory();
/// $XDG_STATE_HOME/netinfo/, else ~/.local/state/netinfo/
NETINFO_PLATFORM_API std::string StateDirectory();

/// $NETINFO_MODULE_DIR, else the folder that this library was loaded from.
NETINFO_PLATFORM_API std::string ModuleDirectory();

/// Makes `path` and the parents it lacks, each with mode 0700; true when it is a directory afterwards.
NETINFO_PLATFORM_API bool MakeDirectory(const std::string& path);

}  // namespace netinfo
