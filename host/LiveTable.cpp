#include "host/LiveTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "host/Format.h"

namespace netinfo {
namespace {

constexpr std::size_t LABEL_COLUMNS = 14;    // "Dial-up  down "
constexpr std::size_t SPEED_COLUMNS = 12;    // "  1023 KiB/s"
constexpr std::size_t LEAST_COLUMNS = 60;    // of a terminal
constexpr std::size_t MOST_ROWS = 4;         // of one graph
constexpr std::size_t GRAPHS_OF_A_TYPE = 2;  // down and up

/// One graph: its name before it, the speed at its top behind it.
void AddGraph(std::vector<std::string>& lines, std::string_view type, std::string_view direction,
              const std::vector<unsigned>& speeds, std::size_t columns, std::size_t rows, const Style& style)
{
    const std::vector<std::string> graph = SpeedGraph(speeds, columns, rows, style.unicode);
    const unsigned fastest = Fastest(speeds);
    std::string speed = FormatSpeed(fastest, style.units);
    if (Width(speed) + 2 > SPEED_COLUMNS) speed = FormatSpeed(fastest);
    for (std::size_t row = 0; row < rows; ++row) {
        const std::string label = row == 0 ? fmt::format("{:9}{:4}", type, direction) : "";
        std::string line = PadRight(label, LABEL_COLUMNS) + Marked(graph[row], Mark::Green, style.colour);
        if (row == 0) line += PadLeft(speed, SPEED_COLUMNS);
        lines.push_back(std::move(line));
    }
}

}  // namespace

std::vector<std::string> LiveTable(const std::vector<TypeStatus>& statuses, const SpeedHistories& histories,
                                   unsigned long long moment, const TableFrame& frame)
{
    const std::size_t columns =
        std::min(std::max(frame.columns, LEAST_COLUMNS) - LABEL_COLUMNS - SPEED_COLUMNS, SpeedHistory::MOST);
    std::vector<std::size_t> drawn;
    for (std::size_t i = 0; i < statuses.size(); ++i) {
        if (statuses[i].connected || !histories.at(i).Still(columns)) drawn.push_back(i);
    }
    const std::size_t graphs = drawn.size() * GRAPHS_OF_A_TYPE;
    const std::size_t needed = graphs == 0 ? 0 : graphs + 1;  // one line each, and an empty one before them
    const bool fits = frame.lines >= LEAST_STATUS_LINES + needed;

    TableFrame tableFrame = frame;
    if (fits) tableFrame.lines = frame.lines - needed;
    std::vector<std::string> lines = StatusTable(statuses, moment, tableFrame);
    if (!fits || graphs == 0) return lines;

    const std::size_t rows = std::min((frame.lines - lines.size() - 1) / graphs, MOST_ROWS);
    lines.emplace_back();
    for (const std::size_t i : drawn) {
        const std::string_view type = statuses[i].type.label;
        const SpeedHistory& history = histories.at(i);
        AddGraph(lines, type, "down", history.Last(columns, &Speeds::down), columns, rows, frame.style);
        AddGraph(lines, "", "up", history.Last(columns, &Speeds::up), columns, rows, frame.style);
    }
    return lines;
}

}  // namespace netinfo
