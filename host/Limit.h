#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/Json.h"
#include "host/LocalCalendar.h"
#include "host/Result.h"
#include "host/Style.h"
#include "host/UsageLedger.h"

namespace netinfo {

/// How much a user wants to use in a period. Kept in the settings, section "limit":
///
///   key      value
///   amount   such as 20GB, 18.5GiB or 20000000000; none: there is no limit
///   per      month, week or day; none: month
///   warn     a percentage from 1 to 100; none: 80
///   type     dial-up, wifi or adsl; none: all of them together
///   command  what the running host has the shell execute when it warns; none: nothing
struct Limit
{
    std::string amount;            ///< as the user wrote it
    unsigned long long bytes = 0;  ///< the same
    Period per = Period::Month;    ///< Month, Week or Day
    unsigned warnPercent = 80;
    std::optional<int> type;  ///< connection type code

    bool operator==(const Limit&) const = default;
};

/// "month", "week" or "day".
std::string_view LimitPeriodName(Period period);

/// The words of the command line as a limit. EXIT_USAGE for what is none.
struct LimitWords
{
    std::string amount, per, warn, type;  ///< empty: not given
};
Result<Limit> ParseLimit(const LimitWords& words);

/// The limit in the settings; none: there is none. What is stored and not understood is a failure.
Result<std::optional<Limit>> ReadLimit();
std::optional<Failure> StoreLimit(const Limit& limit);
std::optional<Failure> ClearLimit();
/// The user's command; empty: none.
std::string ReadLimitCommand();

/// How a limit stands at one moment.
struct LimitStatus
{
    Limit limit;
    Date firstDay{};      ///< of the period
    Date lastDay{};       ///< of the period
    long long start = 0;  ///< moment
    long long end = 0;    ///< the moment after the period
    unsigned long long used = 0;
    unsigned long long left = 0;
    unsigned long long warnAt = 0;               ///< bytes
    unsigned long long percent = 0;              ///< used of the limit, whole
    unsigned daysLeft = 0;                       ///< today included
    std::optional<unsigned long long> forecast;  ///< bytes at the period's end, if it goes on as it did
    std::optional<long long> reachedAt;          ///< when it will then be reached, within the period

    bool Reached() const { return used >= limit.bytes; }
    bool Warned() const { return used >= warnAt; }
};

/// `firstHour` is the ledger's: before it nobody counted, so that the pace is measured from there. No pace is
/// told before an hour has passed.
LimitStatus EvaluateLimit(const Limit& limit, unsigned long long used, std::optional<long long> firstHour,
                          const PeriodStarts& starts, long long now);
/// The same, with the ledger's figures.
Result<LimitStatus> EvaluateLimit(const Limit& limit, const UsageLedger& ledger, const PeriodStarts& starts,
                                  long long now);

/// For people, for so many columns. Colours: the bar turns yellow at the warning and red at the limit.
std::string LimitText(const LimitStatus& status, std::size_t columns, const Style& style = {});
/// The short form: how much is used and left, and a bar. Two lines.
std::string LimitSummary(const LimitStatus& status, std::size_t columns, const Style& style = {});
/// The status as a document, and back. Throws what the JSON library does for what is none.
Json LimitJson(const LimitStatus& status);
LimitStatus LimitFrom(const Json& document);

}  // namespace netinfo
