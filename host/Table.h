#pragma once

#include <string>
#include <vector>

namespace netinfo {

/// Rows of printable text in aligned columns, for people.
class Table
{
public:
    enum class Align
    {
        Left,
        Right
    };
    struct Column
    {
        std::string heading;
        Align align = Align::Left;
    };

    explicit Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    /// As many cells as there are columns.
    void Add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }
    /// Heading and rows, a line each.
    std::string Text() const;

private:
    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace netinfo
