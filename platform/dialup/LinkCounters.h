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
    ByteCounters raw;  ///< the kernel's
};

/// One run of a link's counters, as it is presented: counted from 1 and never falling.
struct PresentedLink
{
    unsigned int number = 0;  ///< of the incarnation; also its handle
    std::string deviceName;
    LinkReading link;
    ByteCounters counters;

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

    /// Hands the counters of the last update to the plug-in, oldest incarnation first. While it is sampling,
    /// where a type grew by more than the plug-in can take in one sample the rest follows next time.
    std::vector<PresentedLink> HandOut(bool sampling);

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

    /// The incarnations as they were last handed out, whatever has been updated since.
    const std::vector<Incarnation>& HandedOut() const { return m_handedOut; }
    /// The raw counters that were last handed out; those before the first byte if there were none.
    static ByteCounters LastHanded(const Incarnation& incarnation);

    /// Changes whenever a device name comes or goes.
    unsigned long long Generation() const { return m_generation; }

private:
    void HandOut(ConnectionType type, unsigned long long ByteCounters::*direction, bool sampling);

    std::vector<Incarnation> m_incarnations;  ///< ascending numbers
    std::vector<Incarnation> m_handedOut;
    unsigned int m_lastNumber = 0;
    unsigned long long m_generation = 0;
    bool m_lostSight = false;
};

}  // namespace netinfo
