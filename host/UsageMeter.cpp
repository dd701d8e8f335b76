#include "host/UsageMeter.h"

#include <algorithm>
#include <utility>

#include "host/LinkProfile.h"

namespace netinfo {
namespace {

constexpr long long SECOND = 1'000'000'000;  // nanoseconds
constexpr long long HOUR = 3600;             // seconds

/// After so many samples a total that is behind its links will not catch up. It is a sample or two behind
/// when a link joins that the plug-in does not know yet, and when the machine pauses in the middle of one.
constexpr unsigned PATIENCE = 10;

constexpr std::array DIRECTIONS = {&ByteCounters::received, &ByteCounters::sent};

long long HourOf(long long moment)
{
    if (moment < 0) return 0;
    return moment - moment % HOUR;
}

bool Fell(const ByteCounters& before, const ByteCounters& now)
{
    return now.received < before.received || now.sent < before.sent;
}

UsageRow RowOf(int type, const HandedLink& link)
{
    UsageRow row;
    row.type = type;
    row.profile = ProfileOf(link);
    row.link = link.linkName;
    return row;
}

void AddBytes(UsageRow row, const ByteCounters& bytes, bool recovered, long long now,
              std::vector<UsageRow>& rows)
{
    if (bytes == ByteCounters{}) return;
    row.hour = HourOf(now);
    row.recovered = recovered;
    row.downloaded = bytes.received;
    row.uploaded = bytes.sent;
    rows.push_back(std::move(row));
}

/// Seconds that end now, each in the hour in which it passed.
void AddSeconds(UsageRow row, long long seconds, long long now, std::vector<UsageRow>& rows)
{
    while (seconds > 0) {
        const long long last = std::max(now - 1, 0LL);
        row.hour = HourOf(last);
        const long long inHour = std::min(seconds, last - row.hour + 1);
        row.seconds = static_cast<unsigned long long>(row.hour > 0 ? inHour : seconds);
        rows.push_back(row);
        seconds -= static_cast<long long>(row.seconds);
        now = row.hour;
    }
}

}  // namespace

UsageMeter::UsageMeter(std::string boot, const std::vector<LinkMark>& marks) : m_boot(std::move(boot))
{
    for (const LinkMark& mark : marks) {
        if (m_boot.empty() || mark.boot != m_boot) continue;
        Link link;
        link.mark = mark;
        link.carrierKnown = true;
        link.resumed = true;
        link.followed = true;
        m_links[mark.index] = link;
    }
}

void UsageMeter::Present(const std::vector<CountedLink>& links)
{
    std::erase_if(m_links, [&](const auto& entry) {
        return std::none_of(links.begin(), links.end(),
                            [&](const CountedLink& link) { return link.index == entry.first; });
    });
}

std::vector<UsageRow> UsageMeter::Take(const TrafficSample& sample, MeterTime now)
{
    std::vector<UsageRow> rows;
    for (std::size_t i = 0; i < m_types.size(); ++i)
        TakeType(i, sample, now, rows);
    return rows;
}

/// The link as it was followed so far. One whose identity has changed is followed from where its present
/// count began, and nothing is known of what it moved before.
UsageMeter::Link& UsageMeter::Follow(const HandedLink& handed)
{
    Link& link = m_links[handed.index];
    const bool sameLink = link.mark.linkName == handed.linkName &&
                          link.carrierKnown == handed.carrierChanges.has_value() &&
                          link.mark.carrierChanges == handed.carrierChanges.value_or(0) &&
                          !Fell(link.mark.counted, handed.handed);
    // Within one run an address may change; between two, another one speaks for another link.
    if (!sameLink || (link.resumed && link.mark.address != handed.address)) {
        link = {};
        link.mark.counted = handed.origin;
    }
    link.mark.boot = m_boot;
    link.mark.index = handed.index;
    link.mark.linkName = handed.linkName;
    link.mark.address = handed.address;
    link.mark.carrierChanges = handed.carrierChanges.value_or(0);
    link.carrierKnown = handed.carrierChanges.has_value();
    link.resumed = false;
    return link;
}

void UsageMeter::TakeType(std::size_t index, const TrafficSample& sample, MeterTime now,
                          std::vector<UsageRow>& rows)
{
    const int code = TRAFFIC_TYPES.at(index).code;
    const TypeTotal& total = sample.totals.at(index);
    Type& type = m_types.at(index);
    if (!total.connected) {
        type = {};
        return;
    }
    std::vector<Share> shares;
    for (const HandedLink& handed : sample.handed.links) {
        if (static_cast<int>(handed.type) == code) shares.push_back({handed, Follow(handed)});
    }
    const std::string name = shares.empty() ? "" : shares.front().handed.deviceName;
    const bool begun = !type.connected || type.name != name || Fell(type.total, total.bytes);
    if (begun) type = {true, name, {}, now.boot, 0, false};

    ByteCounters unassigned = total.bytes;
    for (const auto direction : DIRECTIONS) {
        unassigned.*direction -= type.total.*direction;
        for (auto& [handed, link, counted, recovered] : shares) {
            unsigned long long& mark = link.mark.counted.*direction;
            if (mark < handed.origin.*direction) {  // no total of the present count holds that
                if (link.followed) recovered.*direction += handed.origin.*direction - mark;
                mark = handed.origin.*direction;
            }
            const unsigned long long part = std::min(handed.handed.*direction - mark, unassigned.*direction);
            counted.*direction += part;
            mark += part;
            unassigned.*direction -= part;
        }
    }
    type.total = total.bytes;
    Settle(type, shares, begun);

    if (shares.empty()) {  // nothing but the total to go by
        AddBytes(RowOf(code, {}), unassigned, false, now.wall, rows);
        return;
    }
    for (const auto& [handed, link, counted, recovered] : shares) {
        AddBytes(RowOf(code, handed), counted, false, now.wall, rows);
        AddBytes(RowOf(code, handed), recovered, true, now.wall, rows);
    }
    const long long seconds = std::max((now.boot - type.timed) / SECOND, 0LL);
    type.timed += seconds * SECOND;
    AddSeconds(RowOf(code, shares.front().handed), seconds, now.wall, rows);
}

/// Decides on what the links moved and the total does not hold, or not yet.
void UsageMeter::Settle(Type& type, std::vector<Share>& shares, bool begun)
{
    const bool behind = std::any_of(shares.begin(), shares.end(), [](const Share& share) {
        return share.link.mark.counted != share.handed.handed;
    });
    for (Share& share : shares) {
        if (!behind && share.counted != ByteCounters{}) share.link.proven = true;
    }
    // A total that stays behind leaves a link out, unless each of them was seen in it: then there was a
    // pause.
    type.behind = behind && !begun ? type.behind + 1 : 0;
    const bool lasting = type.behind >= PATIENCE;
    if (lasting) {
        type.behind = 0;
        type.doubtful =
            shares.size() > 1 &&
            !std::all_of(shares.begin(), shares.end(), [](const Share& share) { return share.link.proven; });
    }
    for (Share& share : shares) {
        if (type.doubtful) share.link.followed = false;
        // A total that has just begun will not get any more of what passed until now.
        if (begun || lasting || type.doubtful) CatchUp(share);
        share.link.followed = !type.doubtful;
    }
}

/// Moves the mark up to the counter. What is between them was ours if the link was followed.
void UsageMeter::CatchUp(Share& share)
{
    for (const auto direction : DIRECTIONS) {
        unsigned long long& mark = share.link.mark.counted.*direction;
        const unsigned long long counter = share.handed.handed.*direction;
        if (share.link.followed) share.recovered.*direction += counter - mark;
        mark = counter;
    }
}

std::vector<LinkMark> UsageMeter::Marks() const
{
    std::vector<LinkMark> marks;
    for (const auto& [index, link] : m_links) {
        if (!m_boot.empty() && link.carrierKnown && link.followed) marks.push_back(link.mark);
    }
    return marks;
}

}  // namespace netinfo
