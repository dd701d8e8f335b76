#include "host/Screen.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace netinfo {
namespace {

constexpr std::string_view HIDE_CURSOR = "\033[?25l";
constexpr std::string_view SHOW_CURSOR = "\033[?25h";
constexpr std::string_view CUT_LINES = "\033[?7l";
constexpr std::string_view WRAP_LINES = "\033[?7h";
// From its beginning: at the end of a line that is full, its last column would be cleared as well.
constexpr std::string_view CLEAR_LINE = "\033[K";
constexpr std::string_view CLEAR_BELOW = "\033[J";

}  // namespace

TerminalSize SizeOfTerminal(int descriptor)
{
    TerminalSize size;
    winsize told{};
    if (ioctl(descriptor, TIOCGWINSZ, &told) != 0) return size;
    if (told.ws_col != 0) size.columns = told.ws_col;
    if (told.ws_row != 0) size.rows = told.ws_row;
    return size;
}

std::size_t MostColumns(int descriptor)
{
    if (isatty(descriptor) == 0) return std::numeric_limits<std::size_t>::max();
    return SizeOfTerminal(descriptor).columns;
}

bool CanRedraw(int descriptor)
{
    if (isatty(descriptor) == 0) return false;
    const char* const terminal = std::getenv("TERM");
    return terminal && *terminal != '\0' && std::string_view(terminal) != "dumb";
}

std::string Screen::Begin()
{
    if (m_begun) return {};
    m_begun = true;
    m_drawn = 0;
    return fmt::format("{}{}", HIDE_CURSOR, CUT_LINES);
}

std::string Screen::Draw(const std::vector<std::string>& lines, std::size_t rows)
{
    const std::size_t most = rows > 1 ? rows - 1 : 1;
    std::string text = "\r";
    const std::size_t up = std::min(m_drawn, most);
    if (up != 0) text += fmt::format("\033[{}A", up);

    m_drawn = std::min(lines.size(), most);
    for (std::size_t i = 0; i < m_drawn; ++i)
        text += fmt::format("{}{}\r\n", CLEAR_LINE, lines[i]);
    text += CLEAR_BELOW;
    return text;
}

std::string Screen::End()
{
    if (!m_begun) return {};
    m_begun = false;
    return fmt::format("{}{}", WRAP_LINES, SHOW_CURSOR);
}

}  // namespace netinfo
