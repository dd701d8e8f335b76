#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/Json.h"
#include "host/LocalCalendar.h"
#include "host/Result.h"
#include "host/Style.h"
#include "host/UsageLedger.h"

namespace netinfo {

enum class UsageBy
{
    Hour,
    Day,
    Week,
    Month,
    Year,
    Type,
    Profile
};

/// What is asked of the ledger.
struct UsageQuery
{
    UsageBy by = UsageBy::Day;
    std::optional<long long> from;  ///< moment; hours count by their start
    std::optional<long long> to;    ///< moment, itself not included
    std::optional<unsigned> last;   ///< periods, the present one included; not with the two above
    std::optional<int> type;        ///< connection type code
    std::optional<unsigned> top;    ///< only so many lines, those with the most traffic first
};

/// The words of the command line as a query. `now` is the moment to count back from.
struct UsageWords
{
    std::string by, from, to, last, type, top;  ///< empty: not given
};
Result<UsageQuery> ParseUsageQuery(const UsageWords& words, long long now);

struct UsageFigures
{
    unsigned long long downloaded = 0;           ///< bytes, recovered ones included
    unsigned long long uploaded = 0;             ///< bytes, recovered ones included
    unsigned long long seconds = 0;              ///< connected
    unsigned long long recoveredDownloaded = 0;  ///< bytes
    unsigned long long recoveredUploaded = 0;    ///< bytes

    unsigned long long Total() const { return downloaded + uploaded; }
    unsigned long long Recovered() const { return recoveredDownloaded + recoveredUploaded; }
    bool operator==(const UsageFigures&) const = default;
};

struct UsageLine
{
    long long start = 0;  ///< of the period; 0 for types and profiles
    long long end = 0;    ///< the moment after it; 0 for types and profiles
    std::string name;     ///< "2024-05-01", "2024-05-01 13:00", "2024-05", "wifi", a profile
    UsageFigures figures;
};

/// The answer to a query: complete, so that it can be shown anywhere.
struct UsageReport
{
    UsageBy by = UsageBy::Day;
    std::optional<int> type;
    std::optional<long long> from;  ///< the first moment that counts; none: all that there is
    std::optional<long long> to;    ///< the moment after the last that counts
    std::vector<UsageLine> lines;   ///< periods ascending, without those before the first that has traffic;
                                    ///< types, profiles and the top lines by traffic
    UsageFigures total;             ///< of all that counts, also of what the top lines leave out
};

/// Answers the query. Nothing but the ledger, the arguments and the time zone decide on the answer.
Result<UsageReport> MakeUsageReport(const UsageLedger& ledger, const UsageQuery& query,
                                    const PeriodStarts& starts, long long now);

/// The report as a table with bars, for so many columns.
std::string UsageTable(const UsageReport& report, std::size_t columns, const Style& style = {});
/// The report as a document, and back. Throws what the JSON library does for what is none.
Json UsageJson(const UsageReport& report);
UsageReport UsageFrom(const Json& document);
Json UsageFiguresJson(const UsageFigures& figures);
UsageFigures UsageFiguresFrom(const Json& document);
/// Comma-separated values with a heading; lines end with CR LF.
std::string UsageCsv(const UsageReport& report);

/// Adds what the row has.
void AddTo(UsageFigures& figures, const UsageRow& row);

/// Bytes of a period, recovered ones included, of one type or of all.
Result<UsageFigures> SumUsage(const UsageLedger& ledger, long long from, long long to,
                              std::optional<int> type);

}  // namespace netinfo
