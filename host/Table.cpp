#include "host/Table.h"

#include <algorithm>
#include <cstddef>

#include "host/Format.h"

namespace netinfo {

std::string Table::Text() const
{
    std::vector<std::size_t> widths;
    std::vector<std::string> headings;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        std::size_t width = Width(m_columns[i].heading);
        for (const auto& row : m_rows)
            width = std::max(width, Width(row.at(i)));
        widths.push_back(width);
        headings.push_back(m_columns[i].heading);
    }

    std::string text;
    const auto add = [&](const std::vector<std::string>& cells) {
        std::string line;
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            if (i != 0) line += "  ";
            line += m_columns[i].align == Align::Left ? PadRight(cells.at(i), widths[i])
                                                      : PadLeft(cells.at(i), widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    };
    add(headings);
    for (const auto& row : m_rows)
        add(row);
    return text;
}

}  // namespace netinfo
