#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace netinfo {

struct TerminalSize
{
    std::size_t columns = 80;
    std::size_t rows = 24;
};

/// The size of the terminal behind `descriptor`; 80 by 24 where it does not say.
TerminalSize SizeOfTerminal(int descriptor);

/// The columns that a line of text for `descriptor` may have: those of a terminal, any number elsewhere.
std::size_t MostColumns(int descriptor);

/// True if `descriptor` is a terminal that a table can be redrawn on.
bool CanRedraw(int descriptor);

/// Control sequences that draw lines in the place of those drawn before. They are handed back as text; the
/// caller sends them. The cursor is hidden and long lines are cut at the margin between `Begin` and `End`.
///
/// Threads: one.
class Screen
{
public:
    std::string Begin();
    /// At most `rows` - 1 lines are drawn, so that nothing scrolls away.
    std::string Draw(const std::vector<std::string>& lines, std::size_t rows);
    /// Gives the terminal back as it was, the cursor on the line after the last one drawn.
    std::string End();
    bool Begun() const { return m_begun; }

private:
    std::size_t m_drawn = 0;  ///< lines above the cursor that are ours
    bool m_begun = false;
};

}  // namespace netinfo
