#pragma once

#include <array>
#include <string>

#include "host/Json.h"
#include "host/Result.h"
#include "host/Status.h"
#include "host/UsageLedger.h"
#include "plugin/Interfaces.h"

namespace netinfo {

/// What the answers are made of: in the service what it is counting, in a command on its own the plug-in that
/// it loads for the purpose.
///
/// Threads:   one.
/// Ownership: what is handed out is the source's, and good until the next call.
/// Errors:    as each function says; what the plug-in throws passes through.
class ControlSource
{
public:
    virtual ~ControlSource() = default;

    /// The plug-in's services; a failure if it cannot be loaded.
    virtual Result<INetInfoService*> Traffic() = 0;
    virtual Result<INetInfoRecord*> Records() = 0;
    /// What has been recorded up to now.
    virtual Result<const UsageLedger*> Ledger() = 0;
    /// Every type as it is now.
    virtual Result<std::array<TypeStatus, TRAFFIC_TYPES.size()>> Statuses() = 0;
    /// Where the data is; ends with '/', empty: nowhere.
    virtual std::string DataDirectory() = 0;
    /// What tells the service from others, null: none runs.
    virtual Json Service() = 0;
};

}  // namespace netinfo
