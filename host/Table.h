#pragma once

#include <cstddef>
#include <string>
#include <utility>
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
    /// What becomes of a column where there is no room for all.
    enum class Narrow
    {
        Keep,
        Shorten,  ///< its cells are cut
        LeaveOut  ///< first of all, beginning at the left
    };
    struct Column
    {
        std::string heading;
        Align align = Align::Left;
        Narrow narrow = Narrow::Keep;
    };

    explicit Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    /// As many cells as there are columns.
    void Add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }
    /// Makes the lines no longer than `columns`, as far as the columns allow it.
    void Fit(std::size_t columns);
    /// Heading and rows, a line each; without line ends, or with them as one text.
    std::vector<std::string> Lines() const;
    std::string Text() const;

private:
    std::size_t WidthOf(std::size_t column) const;
    std::size_t TotalWidth() const;
    void LeaveOut(std::size_t column);

    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace netinfo
