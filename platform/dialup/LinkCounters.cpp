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

ByteCounters LinkCounters::LastHanded(const Incarnation& incarnation)
{
    ByteCounters raw = incarnation.origin;
    for (const auto direction : kDirections) {
        if (incarnation.handed.*direction != 0) raw.*direction += incarnation.handed.*direction - 1;
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
        return sampling && !Fell(before.link.raw, now.raw) ? LastHanded(before) : now.raw;
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
    m_lastNumber = number;
    m_lostSight = false;
}

std::vector<PresentedLink> LinkCounters::HandOut(bool sampling)
{
    for (const ConnectionType type : {ConnectionType::DialUp, ConnectionType::Wifi, ConnectionType::Adsl}) {
        for (const auto direction : kDirections) {
            HandOut(type, direction, sampling);
        }
    }
    std::vector<PresentedLink> presented;
    for (const Incarnation& incarnation : m_incarnations) {
        presented.push_back(
            {incarnation.number, incarnation.deviceName, incarnation.link, incarnation.handed});
    }
    m_handedOut = m_incarnations;
    return presented;
}

void LinkCounters::HandOut(ConnectionType type, unsigned long long ByteCounters::*direction, bool sampling)
{
    unsigned long long sum = 0;  // as the plug-in has it
    unsigned long long growth = 0;
    for (Incarnation& incarnation : m_incarnations) {
        if (incarnation.link.type != type) continue;

        unsigned long long& handed = incarnation.handed.*direction;
        sum += handed;
        handed = std::max(handed, 1ULL);
        growth += Presented(incarnation, direction) - handed;
    }

    const unsigned long long beforeFold = std::max(kFold - sum % kFold, kShortOfFold) - kShortOfFold;
    unsigned long long allowed = sampling ? std::min(growth, std::max(beforeFold, kMostAcrossFold)) : growth;
    for (Incarnation& incarnation : m_incarnations) {
        if (incarnation.link.type != type) continue;

        unsigned long long& handed = incarnation.handed.*direction;
        const unsigned long long step = std::min(Presented(incarnation, direction) - handed, allowed);
        allowed -= step;
        handed += step;
    }
}

}  // namespace netinfo
