#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace netinfo {

/// Bytes per second, down and up.
struct Speeds
{
    unsigned down = 0;
    unsigned up = 0;
};

/// How fast a connection type was in each of the last seconds, as many as the widest graph has columns.
///
/// Threads: one. Units: bytes per second; moments in seconds since 1970.
class SpeedHistory
{
public:
    static constexpr std::size_t MOST = 1000;  ///< seconds

    /// The speeds of the second `moment`; what was noted of it before is replaced. Seconds that were left out
    /// count as still. A clock that went back begins the next second.
    void Note(unsigned long long moment, Speeds speeds);

    /// One direction of the last `count` seconds at most, the latest last.
    std::vector<unsigned> Last(std::size_t count, unsigned Speeds::*direction) const;
    /// True if nothing moved in the last `count` seconds.
    bool Still(std::size_t count) const;

private:
    std::deque<Speeds> m_seconds;  ///< the latest last
    unsigned long long m_moment = 0;
};

/// The largest of them, 0 of none: the speed at the top of a graph.
unsigned Fastest(const std::vector<unsigned>& speeds);

/// Speeds as bars from the bottom up, `rows` lines of `columns` columns, the top line first and the latest
/// speed at the right. The fastest that is shown fills the height, and whatever moved shows at least a
/// little. Without `unicode` the bars are ASCII.
std::vector<std::string> SpeedGraph(const std::vector<unsigned>& speeds, std::size_t columns,
                                    std::size_t rows, bool unicode);

}  // namespace netinfo
