#include "host/LimitAlarm.h"

#include <fmt/format.h>

#include "host/Format.h"
#include "host/TrafficType.h"

namespace netinfo {
namespace {

std::string TypeName(const Limit& limit)
{
    return limit.type ? std::string(TrafficTypeName(*limit.type)) : "all";
}

/// What the ledger remembers an alarm by.
std::string EventOf(const LimitStatus& status, bool reached)
{
    const Limit& limit = status.limit;
    return fmt::format("{} at {} of {} in the {} from {}", reached ? "limit" : "warning",
                       reached ? limit.bytes : status.warnAt, TypeName(limit), LimitPeriodName(limit.per),
                       DateText(status.firstDay));
}

}  // namespace

std::string LimitAlarm::Message() const
{
    const Limit& limit = status.limit;
    const std::string who = limit.type ? fmt::format(" of {}", TypeName(limit)) : "";
    if (reached) {
        return fmt::format("the limit{} of {} per {} is reached: {} used", who, Printable(limit.amount),
                           LimitPeriodName(limit.per), FormatBytes(status.used));
    }
    return fmt::format("{} % of the limit{} of {} per {} is used: {} left for {} {}", status.percent, who,
                       Printable(limit.amount), LimitPeriodName(limit.per), FormatBytes(status.left),
                       status.daysLeft, status.daysLeft == 1 ? "day" : "days");
}

std::vector<std::pair<std::string, std::string>> LimitAlarm::Variables() const
{
    const Limit& limit = status.limit;
    return {
        {"NETINFO_LIMIT_EVENT", reached ? "limit" : "warning"},
        {"NETINFO_LIMIT_MESSAGE", Message()},
        {"NETINFO_LIMIT_AMOUNT", limit.amount},
        {"NETINFO_LIMIT_BYTES", std::to_string(limit.bytes)},
        {"NETINFO_LIMIT_USED", std::to_string(status.used)},
        {"NETINFO_LIMIT_LEFT", std::to_string(status.left)},
        {"NETINFO_LIMIT_PERCENT", std::to_string(status.percent)},
        {"NETINFO_LIMIT_TYPE", TypeName(limit)},
        {"NETINFO_LIMIT_PER", std::string(LimitPeriodName(limit.per))},
        {"NETINFO_LIMIT_START", std::to_string(status.start)},
        {"NETINFO_LIMIT_END", std::to_string(status.end)},
        {"NETINFO_LIMIT_DAYS_LEFT", std::to_string(status.daysLeft)},
    };
}

Result<std::optional<LimitAlarm>> TakeLimitAlarm(const Limit& limit, UsageLedger& ledger,
                                                 const PeriodStarts& starts, long long now)
{
    const auto status = EvaluateLimit(limit, ledger, starts, now);
    if (!status) return status.Error();
    if (!status->Warned()) return std::optional<LimitAlarm>();

    const std::string event = EventOf(*status, status->Reached());
    const auto told = ledger.WasTold(event);
    if (!told) return told.Error();
    if (*told) return std::optional<LimitAlarm>();

    ledger.RememberTold(event, now);
    if (status->Reached()) ledger.RememberTold(EventOf(*status, false), now);
    return std::optional<LimitAlarm>({status->Reached(), *status});
}

}  // namespace netinfo
