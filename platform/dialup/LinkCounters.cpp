#include "platform/dialup/LinkCounters.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

namespace netinfo {
namespace {

/// The plug-in folds every sum with this modulus, and takes one that fell for one that wrapped only if it
/// grew by less than 200 MiB. More than the second number is therefore never handed out across the fold, and
/// what is handed out up to the fold ends a little before it, to leave room for the first bytes of new links:
/// a sum that is just 0 would not be taken for one.
constexpr unsigned long long kFold = 0xFFFFFFFF;
constexpr unsigned long long kMostAcrossFold = 200'000'000;
constexpr unsigned long long kShortOfFold = 10'000;

constexpr std::array kDirections = {&ByteCounters::received, &ByteCounters::sent};

/// A byte outside printable ASCII would read differently in different character sets, so the name shows a
/// question mark for it; the number keeps the device names apart.
std::string DeviceName(const std::string& linkName, unsigned int number)
{
    std::string printable = linkName;
    std::replace_if(
        printable.begin(), printable.end(), [](char c) { return c <= ' ' || c > '~'; }, '?');
    return "/" + printable + "/" + std::to_string(number) + "/";
}

LinkCounters::Incarnation Beginning(const LinkReading& link, const ByteCounters& origin)
{
    LinkCounters::Incarnation incarnation;
    incarnation.link = link;
    incarnation.origin = origin;
    return incarnation;
}

bool Fell(const ByteCounters& before, const ByteCounters& now)
{
    return now.received < before.received || now.sent < before.sent;
}

/// Still the same link, and its carrier has not been away.
bool Continues(const LinkReading& before, const LinkReading& now)
{
    return before.name == now.name && before.type == now.type && before.dialUp == now.dialUp &&
           before.carrierChanges == now.carrierChanges && !Fell(before.raw, now.raw);
}

/// The presented counter as the last reading has it.
unsigned long long Presented(const LinkCounters::Incarnation& incarnation,
                             unsigned long long ByteCounters::*direction)
{
    return incarnation.link.raw.*direction - incarnation.origin.*direction + 1;
}

}  // namespace

ByteCounters LinkCounters::LastHanded(const ByteCounters& origin, const ByteCounters& handed)
{
    ByteCounters raw = origin;
    for (const auto direction : kDirections) {
        if (handed.*direction != 0) raw.*direction += handed.*direction - 1;
    }
    return raw;
}

unsigned int PresentedLink::InRow(unsigned long long counter)
{
    return static_cast<unsigned int>((counter - 1) % kFold + 1);
}

void LinkCounters::Update(std::span<const LinkReading> readings, bool sampling)
{
    std::map<int, const LinkReading*> unclaimed;
    for (const LinkReading& reading : readings) {
        unclaimed[reading.index] = &reading;
    }

    std::set<ConnectionType> disturbed;  // types whose sum lost a link, or its first name
    const auto origin = [&](const Incarnation& before, const LinkReading& now) {
        return sampling && !Fell(before.link.raw, now.raw) ? LastHanded(before.origin, before.handed)
                                                           : now.raw;
    };
    std::vector<Incarnation> survivors;
    std::vector<Incarnation> beginners;  // without number and name as yet
    for (const Incarnation& incarnation : m_incarnations) {
        const auto found = unclaimed.find(incarnation.link.index);
        if (found == unclaimed.end()) {
            disturbed.insert(incarnation.link.type);
            continue;
        }
        const LinkReading& now = *found->second;
        unclaimed.erase(found);
        if (m_lostSight && incarnation.handed != ByteCounters{}) disturbed.insert(incarnation.link.type);
        if (Continues(incarnation.link, now)) {
            survivors.push_back(incarnation);
            survivors.back().link = now;
            continue;
        }
        disturbed.insert(incarnation.link.type);
        beginners.push_back(Beginning(now, origin(incarnation, now)));
    }
    for (const LinkReading& reading : readings) {
        if (unclaimed.contains(reading.index)) beginners.push_back(Beginning(reading, reading.raw));
    }

    // A row stands before the dial-up connections: the sum of a type that had no row changes its name.
    for (const Incarnation& beginner : beginners) {
        const bool behindRow =
            std::any_of(survivors.begin(), survivors.end(), [&](const Incarnation& survivor) {
                return survivor.link.type == beginner.link.type && !survivor.link.dialUp;
            });
        if (!beginner.link.dialUp && !behindRow) disturbed.insert(beginner.link.type);
    }

    std::vector<Incarnation> incarnations;
    std::vector<Incarnation> renewed;
    for (const Incarnation& survivor : survivors) {
        if (disturbed.contains(survivor.link.type)) {
            renewed.push_back(Beginning(survivor.link, origin(survivor, survivor.link)));
        } else {
            incarnations.push_back(survivor);
        }
    }
    unsigned int number = m_lastNumber;
    for (const auto& begun : {renewed, beginners}) {
        for (Incarnation incarnation : begun) {
            incarnation.number = ++number;
            incarnation.deviceName = DeviceName(incarnation.link.name, number);
            incarnations.push_back(std::move(incarnation));
        }
    }

    if (!disturbed.empty() || !beginners.empty()) ++m_generation;
    m_incarnations = std::move(incarnations);
    m_presentsAll = false;
    m_lastNumber = number;
    m_lostSight = false;
}

bool LinkCounters::Advance(std::span<const ByteCounters> raw)
{
    if (m_lostSight) return false;
    for (Incarnation& incarnation : m_incarnations) {
        const ByteCounters& now = raw[incarnation.link.place];
        if (Fell(incarnation.link.raw, now)) return false;
        incarnation.link.raw = now;
    }
    return true;
}

std::span<const PresentedLink> LinkCounters::HandOut(bool sampling)
{
    if (!m_presentsAll) Present();  // first, so that nothing is handed out if memory runs out
    Raise(sampling);
    for (std::size_t i = 0; i < m_incarnations.size(); ++i) {
        m_presented[i].counters = m_incarnations[i].handed;
    }
    return m_presented;
}

void LinkCounters::Present()
{
    std::vector<PresentedLink> presented;
    presented.reserve(m_incarnations.size());
    for (const Incarnation& incarnation : m_incarnations) {
        presented.push_back({incarnation.number, incarnation.deviceName, incarnation.link, incarnation.origin,
                             incarnation.handed});
    }
    m_presented = std::move(presented);
    m_presentsAll = true;
}

/// Brings what is handed out up to the readings, as far as the plug-in can take it.
void LinkCounters::Raise(bool sampling)
{
    struct Sum
    {
        ByteCounters handed;   ///< as the plug-in has it
        ByteCounters growth;   ///< since then
        ByteCounters allowed;  ///< of that, to be handed out now
    };
    std::array<Sum, static_cast<std::size_t>(ConnectionType::Adsl) + 1> sums;  // by type
    for (Incarnation& incarnation : m_incarnations) {
        Sum& sum = sums[static_cast<std::size_t>(incarnation.link.type)];
        for (const auto direction : kDirections) {
            unsigned long long& handed = incarnation.handed.*direction;
            sum.handed.*direction += handed;
            handed = std::max(handed, 1ULL);
            sum.growth.*direction += Presented(incarnation, direction) - handed;
        }
    }
    for (Sum& sum : sums) {
        for (const auto direction : kDirections) {
            const unsigned long long beforeFold =
                std::max(kFold - sum.handed.*direction % kFold, kShortOfFold) - kShortOfFold;
            const unsigned long long growth = sum.growth.*direction;
            sum.allowed.*direction =
                sampling ? std::min(growth, std::max(beforeFold, kMostAcrossFold)) : growth;
        }
    }
    for (Incarnation& incarnation : m_incarnations) {
        ByteCounters& allowed = sums[static_cast<std::size_t>(incarnation.link.type)].allowed;
        for (const auto direction : kDirections) {
            unsigned long long& handed = incarnation.handed.*direction;
            const unsigned long long step =
                std::min(Presented(incarnation, direction) - handed, allowed.*direction);
            allowed.*direction -= step;
            handed += step;
        }
    }
}

}  // namespace netinfo
