#pragma once

#include <string>
#include <vector>

namespace netinfo {

/// What every command that loads the plug-in's module is told.
struct CommonOptions
{
    std::string modulePath;  ///< empty: the module that belongs to this program
    bool json = false;       ///< for programs instead of for people
};

/// Runs the plug-in on the machine's links and shows its figures, until a signal or the end of the terminal.
/// To be called before there is any other thread. Returns the exit code.
int RunCommand(const CommonOptions& options);

}  // namespace netinfo
