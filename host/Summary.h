#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/Json.h"
#include "host/Limit.h"
#include "host/LocalCalendar.h"
#include "host/Result.h"
#include "host/Status.h"
#include "host/Style.h"
#include "host/UsageLedger.h"
#include "host/UsageReport.h"

namespace netinfo {

/// What was used in a period up to now.
struct SummaryPeriod
{
    Period period = Period::Day;
    long long start = 0;  ///< moment
    long long end = 0;    ///< the moment after it
    std::array<UsageFigures, TRAFFIC_TYPES.size()> types{};
    UsageFigures total;  ///< of every type, unknown ones included
};

/// What people ask first: what the links do now, what was used today, this week and this month, and what is
/// left of the limit.
struct Summary
{
    long long time = 0;                      ///< moment
    bool counting = false;                   ///< a service counts; without one there are no speeds
    bool counted = false;                    ///< the ledger has something
    std::vector<TypeStatus> types;           ///< every type
    std::array<SummaryPeriod, 3> periods{};  ///< today, this week, this month
    std::optional<LimitStatus> limit;
};

/// The summary at `now`. `types` are those of a service, or the links alone where `counting` is false.
Result<Summary> MakeSummary(const UsageLedger& ledger, std::vector<TypeStatus> types, bool counting,
                            const std::optional<Limit>& limit, const PeriodStarts& starts, long long now);

/// For people, for so many columns (60 or more).
std::string SummaryText(const Summary& summary, std::size_t columns, const Style& style);
/// The summary as a document, and back. Throws what the JSON library does for what is none.
Json SummaryJson(const Summary& summary);
Summary SummaryFrom(const Json& document);

}  // namespace netinfo
