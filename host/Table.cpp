#include "host/Table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "host/Format.h"

namespace netinfo {
namespace {

constexpr std::size_t BETWEEN = 2;  // columns of the terminal between two columns of the table
constexpr std::size_t SHORTEST = 8;

}  // namespace

std::vector<std::string> Table::Lines() const
{
    std::vector<std::size_t> widths;
    std::vector<std::string> headings;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        widths.push_back(WidthOf(i));
        headings.push_back(m_columns[i].heading);
    }

    std::vector<std::string> lines;
    const auto add = [&](const std::vector<std::string>& cells) {
        std::string line;
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            if (i != 0) line.append(BETWEEN, ' ');
            line += m_columns[i].align == Align::Left ? PadRight(cells.at(i), widths[i])
                                                      : PadLeft(cells.at(i), widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    };
    add(headings);
    for (const auto& row : m_rows)
        add(row);
    return lines;
}

std::string Table::Text() const
{
    std::string text;
    for (const std::string& line : Lines())
        text += line + "\n";
    return text;
}

void Table::Fit(std::size_t columns)
{
    for (std::size_t i = 0; i < m_columns.size() && TotalWidth() > columns;) {
        if (m_columns[i].narrow == Narrow::LeaveOut) {
            LeaveOut(i);
        } else {
            ++i;
        }
    }
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const std::size_t total = TotalWidth();
        if (total <= columns) return;
        if (m_columns[i].narrow != Narrow::Shorten) continue;
        const std::size_t width = WidthOf(i);
        const std::size_t room = width - std::min(width, total - columns);
        for (auto& row : m_rows)
            row.at(i) = Shorten(row.at(i), std::max(room, SHORTEST));
    }
}

std::size_t Table::WidthOf(std::size_t column) const
{
    std::size_t width = Width(m_columns[column].heading);
    for (const auto& row : m_rows)
        width = std::max(width, Width(row.at(column)));
    return width;
}

std::size_t Table::TotalWidth() const
{
    std::size_t total = 0;
    for (std::size_t i = 0; i < m_columns.size(); ++i)
        total += WidthOf(i) + (i != 0 ? BETWEEN : 0);
    return total;
}

void Table::LeaveOut(std::size_t column)
{
    const auto offset = static_cast<std::ptrdiff_t>(column);
    m_columns.erase(m_columns.begin() + offset);
    for (auto& row : m_rows)
        row.erase(row.begin() + offset);
}

}  // namespace netinfo
