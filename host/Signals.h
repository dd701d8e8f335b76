#pragma once

#include <optional>

namespace netinfo {

/// The signals that end or disturb a running host, read one by one instead of interrupting it.
///
/// Threads:   made by the main thread before there is any other, so that every later thread leaves these
///            signals alone, too.
/// Ownership: owns its descriptor. At its end the signals act as before.
/// Errors:    without a descriptor (the system gave none) the signals act as before all the time.
class Signals
{
public:
    Signals();
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    /// Becomes readable when a signal waits; -1: there is none.
    int Descriptor() const { return m_descriptor; }
    /// The next signal that waits, by its number.
    std::optional<int> Take();

private:
    int m_descriptor = -1;  ///< owned; of signalfd
};

}  // namespace netinfo
