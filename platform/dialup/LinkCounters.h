#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/dialup/CountedLinks.h"
#include "platform/dialup/KernelLinks.h"

namespace netinfo {

/// A link that is up and counted, as it was read.
struct LinkReading
{
    int index = 0;
    std::string name;
    ConnectionType type = ConnectionType::DialUp;
    bool dialUp = false;  ///< a dial-up connection, not an interface row
    HardwareAddress address{};
    std::optional<unsigned int> carrierChanges;
    std::size_t place = 0;  ///< in the list of links that it was read from
    ByteCounters raw;       ///< the kernel's
};

/// One run of a link's counters, as it is presented: counted from 1 and never falling.
struct PresentedLink
{
    unsigned int number = 0;  ///< of the incarnation; also its handle
    std::string deviceName;
    LinkReading link;       ///< but for its raw counters, which may be older
    ByteCounters origin;    ///< the raw counters that are presented as 1
    ByteCounters counters;  ///< at least 1

    /// A counter as a row of the interface table holds it, in 32 bits: never 0, and wrapping with the modulus
    /// that the plug-in folds with, so that a wrap costs not one byte.
    static unsigned int InRow(unsigned long long counter);
};

/// Turns successive readings of the counted links into counters under device names, so that one name is one
/// counter that never falls, alone and in the sum that the plug-in makes of all links of one type.
///
/// The plug-in knows that sum by the name of its first link: rows before dial-up connections, each oldest
/// first. So a link that leaves, or whose counters start anew, takes the names of all links of its type with
/// it: they go on under new names, counted from what was last handed out. A newcomer that comes last in that
/// order changes no name.
///
/// Threads: none of its own; the caller serialises.
/// Units:   bytes.
/// Errors:  none; readings are taken as they come.
class LinkCounters
{
public:
    /// Takes the counted links of one moment, each index once. `sampling`: the plug-in has been asking
    /// without a break, so that new names count on from what it was handed last; what passed in a break is
    /// not to be counted.
    void Update(std::span<const LinkReading> readings, bool sampling);

    /// Takes the raw counters alone, by the places of the links in the list of the last update, where nothing
    /// else about any link has changed since. False if it takes a whole update: a counter fell, or names have
    /// to change; what was taken until then does no harm. Allocates nothing.
    bool Advance(std::span<const ByteCounters> raw);

    /// Hands the counters of the last update to the plug-in, oldest incarnation first. While it is sampling,
    /// where a type grew by more than the plug-in can take in one sample the rest follows next time.
    /// Allocates nothing while links and names stay as they are.
    std::span<const PresentedLink> HandOut(bool sampling);

    /// The plug-in was not given what it asked for: it has dropped every sum that it kept, and would count
    /// a name that comes back from the start. The next update gives new names to all that was handed out.
    void LoseSight() { m_lostSight = true; }

    /// Links and names as they stand, oldest incarnation first.
    struct Incarnation
    {
        unsigned int number = 0;
        std::string deviceName;
        LinkReading link;
        ByteCounters origin;  ///< the raw counters that are presented as 1
        ByteCounters handed;  ///< the presented counters that were last handed out; 0: never
    };
    const std::vector<Incarnation>& Incarnations() const { return m_incarnations; }

    /// What was last handed out, whatever has been updated since.
    std::span<const PresentedLink> HandedOut() const { return m_presented; }
    /// The raw counters behind what was handed out; those before the first byte where that is nothing.
    static ByteCounters LastHanded(const ByteCounters& origin, const ByteCounters& handed);

    /// Changes whenever a device name comes or goes.
    unsigned long long Generation() const { return m_generation; }

private:
    void Present();
    void Raise(bool sampling);

    std::vector<Incarnation> m_incarnations;  ///< ascending numbers
    std::vector<PresentedLink> m_presented;   ///< as last handed out
    bool m_presentsAll = false;               ///< m_presented is of m_incarnations, one for one
    unsigned int m_lastNumber = 0;
    unsigned long long m_generation = 0;
    bool m_lostSight = false;
};

}  // namespace netinfo
