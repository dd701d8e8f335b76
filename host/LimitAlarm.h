#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Limit.h"
#include "host/LocalCalendar.h"
#include "host/Result.h"
#include "host/UsageLedger.h"

namespace netinfo {

/// What the user has to be told of a limit.
struct LimitAlarm
{
    bool reached = false;  ///< the limit itself; else the warning before it
    LimitStatus status;

    /// One line for people.
    std::string Message() const;
    /// The facts as environment variables, NETINFO_LIMIT_..., for the user's command.
    std::vector<std::pair<std::string, std::string>> Variables() const;
};

/// The alarm that is due at `now`, and remembers in the ledger that it was given: each comes once in a
/// period, and once more if the user moves its threshold. A limit that is reached is not warned of any more.
Result<std::optional<LimitAlarm>> TakeLimitAlarm(const Limit& limit, UsageLedger& ledger,
                                                 const PeriodStarts& starts, long long now);

}  // namespace netinfo
