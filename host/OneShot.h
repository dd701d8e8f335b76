#pragma once

#include <functional>
#include <string>

#include "host/Commands.h"
#include "host/Result.h"
#include "host/Session.h"

namespace netinfo {

enum class Purpose
{
    Read,
    Change  ///< the figures have to reach the disk for the command to have worked
};

/// Runs `work` with a plug-in that has no siblings, so that nothing is counted meanwhile; then ends the
/// plug-in and prints the text that `work` returned. The command's exit code.
int RunOnce(const CommonOptions& options, Purpose purpose,
            const std::function<Result<std::string>(Session&)>& work);

}  // namespace netinfo
