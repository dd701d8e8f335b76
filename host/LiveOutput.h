#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace netinfo {

/// Writes to a terminal, pipe or file without ever waiting for whoever reads it: a reader that pauses must
/// not hold up the tracking of the links.
///
/// Threads:   one.
/// Ownership: owns the descriptor through which it writes; the one it was given stays the caller's and is not
///            changed for others who share it.
/// Errors:    after a write that failed nothing more is written; `Error` tells why.
class LiveOutput
{
public:
    explicit LiveOutput(int descriptor);
    ~LiveOutput();
    LiveOutput(const LiveOutput&) = delete;
    LiveOutput& operator=(const LiveOutput&) = delete;

    /// Adds `text` and writes what can be written now. False, adding nothing, when too much waits already.
    bool Send(std::string_view text);
    /// Writes what can be written now.
    void Flush();
    /// Writes what waits, for at most so long. Units: milliseconds.
    void Finish(int limit);

    bool Idle() const { return m_pending.empty(); }
    /// The error number of the system that ended the output; 0: it goes on.
    int Error() const { return m_error; }
    int Descriptor() const { return m_descriptor; }

private:
    static constexpr std::size_t MOST_PENDING = 1 << 20;  ///< bytes

    int m_descriptor;        ///< owned; -1: none could be had
    bool m_mayBlock = true;  ///< a write waits, so ask first and write little
    int m_error = 0;
    std::string m_pending;  ///< not written yet
};

}  // namespace netinfo
