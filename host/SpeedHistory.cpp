#include "host/SpeedHistory.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace netinfo {
namespace {

/// The steps of one column of one line, the empty one first.
constexpr std::string_view BLOCKS[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::string_view ASCII[] = {" ", ".", ":", "|"};

/// How many of `most` steps a bar is high; any speed but none is at least one.
std::size_t StepsOf(unsigned speed, unsigned fastest, std::size_t most)
{
    if (speed == 0) return 0;
    const unsigned long long steps = (static_cast<unsigned long long>(speed) * most + fastest / 2) / fastest;
    return std::max<std::size_t>(steps, 1);
}

}  // namespace

void SpeedHistory::Note(unsigned long long moment, Speeds speeds)
{
    const bool known = !m_seconds.empty() && moment == m_moment;
    if (known) m_seconds.pop_back();
    if (!m_seconds.empty() && moment > m_moment)
        m_seconds.resize(m_seconds.size() + std::min<unsigned long long>(moment - m_moment - 1, MOST));
    m_seconds.push_back(speeds);
    while (m_seconds.size() > MOST)
        m_seconds.pop_front();
    m_moment = moment;
}

std::vector<unsigned> SpeedHistory::Last(std::size_t count, unsigned Speeds::*direction) const
{
    const std::size_t length = std::min(count, m_seconds.size());
    std::vector<unsigned> speeds;
    speeds.reserve(length);
    for (std::size_t i = m_seconds.size() - length; i < m_seconds.size(); ++i)
        speeds.push_back(m_seconds[i].*direction);
    return speeds;
}

bool SpeedHistory::Still(std::size_t count) const
{
    return Fastest(Last(count, &Speeds::down)) == 0 && Fastest(Last(count, &Speeds::up)) == 0;
}

unsigned Fastest(const std::vector<unsigned>& speeds)
{
    return speeds.empty() ? 0 : *std::max_element(speeds.begin(), speeds.end());
}

std::vector<std::string> SpeedGraph(const std::vector<unsigned>& speeds, std::size_t columns,
                                    std::size_t rows, bool unicode)
{
    const std::span<const std::string_view> steps =
        unicode ? std::span<const std::string_view>(BLOCKS) : std::span<const std::string_view>(ASCII);
    const std::size_t full = steps.size() - 1;
    const std::size_t shown = std::min(columns, speeds.size());
    const std::vector<unsigned> latest(speeds.end() - static_cast<std::ptrdiff_t>(shown), speeds.end());
    const unsigned fastest = Fastest(latest);

    std::vector<std::string> lines(rows, std::string(columns - shown, ' '));
    for (const unsigned speed : latest) {
        std::size_t left = StepsOf(speed, fastest, full * rows);
        for (std::size_t row = rows; row-- > 0;) {
            const std::size_t here = std::min(left, full);
            lines[row] += steps[here];
            left -= here;
        }
    }
    return lines;
}

}  // namespace netinfo
