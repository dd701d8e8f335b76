#include "host/Format.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <ctime>
#include <iterator>
#include <system_error>

namespace netinfo {
namespace {

constexpr unsigned CONTINUATION = 0x80;

/// Length of the well-formed UTF-8 character at the start of `text`, 0 if there is none; `point` receives it.
std::size_t DecodeUtf8(std::string_view text, char32_t& point)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        point = lead;
        return 1;
    }
    std::size_t length = 0;
    char32_t least = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        least = 0x80;
        point = lead & 0x1FU;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        least = 0x800;
        point = lead & 0x0FU;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        least = 0x10000;
        point = lead & 0x07U;
    }
    if (length == 0) return 0;
    if (text.size() < length) return 0;

    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != CONTINUATION) return 0;
        point = (point << 6U) | (next & 0x3FU);
    }
    if (point < least) return 0;
    if (point > 0x10FFFF) return 0;
    if (point >= 0xD800 && point <= 0xDFFF) return 0;
    return length;
}

/// What a terminal would obey rather than show: the control characters, and the marks that turn the direction
/// of the text around them.
bool IsControl(char32_t point)
{
    if (point < 0x20) return true;
    if (point >= 0x7F && point <= 0x9F) return true;
    if (point == 0x200E || point == 0x200F) return true;
    if (point >= 0x2028 && point <= 0x202E) return true;
    return point >= 0x2066 && point <= 0x2069;
}

struct PointRange
{
    char32_t first;
    char32_t last;
};

/// Marks that join the character before them.
constexpr std::array<PointRange, 4> ZERO_COLUMNS{{
    {0x0300, 0x036F},
    {0x200B, 0x200D},
    {0x20D0, 0x20FF},
    {0xFE00, 0xFE0F},
}};

/// East Asian and pictographic characters, which terminals draw in two columns.
constexpr std::array<PointRange, 10> TWO_COLUMNS{{
    {0x1100, 0x115F},
    {0x2E80, 0xA4CF},
    {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F},
    {0x1F900, 0x1F9FF},
    {0x20000, 0x3FFFD},
}};

std::size_t ColumnsOf(char32_t point)
{
    for (const PointRange& range : ZERO_COLUMNS) {
        if (point >= range.first && point <= range.last) return 0;
    }
    for (const PointRange& range : TWO_COLUMNS) {
        if (point >= range.first && point <= range.last) return 2;
    }
    return 1;
}

}  // namespace

std::string FormatBytes(unsigned long long bytes, Units units)
{
    static constexpr std::array<std::string_view, 6> BINARY{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    static constexpr std::array<std::string_view, 6> DECIMAL{"kB", "MB", "GB", "TB", "PB", "EB"};
    const unsigned base = units == Units::Si ? 1000 : 1024;
    if (units == Units::Bytes || bytes < base) return fmt::format("{} B", bytes);

    // The limits are those at which the next digit would round up to one more column.
    const auto& names = units == Units::Si ? DECIMAL : BINARY;
    double value = static_cast<double>(bytes) / base;
    std::size_t unit = 0;
    while (value >= base - 0.5 && unit + 1 < names.size()) {
        value /= base;
        ++unit;
    }
    const int decimals = value < 9.995 ? 2 : value < 99.95 ? 1 : 0;
    return fmt::format("{:.{}f} {}", value, decimals, names[unit]);
}

std::string FormatSpeed(unsigned long long bytesPerSecond, Units units)
{
    return FormatBytes(bytesPerSecond, units) + "/s";
}

std::string FormatDuration(unsigned long long seconds)
{
    const unsigned long long days = seconds / 86400;
    const unsigned long long rest = seconds % 86400;
    std::string clock = fmt::format("{:02}:{:02}:{:02}", rest / 3600, rest / 60 % 60, rest % 60);
    if (days == 0) return clock;
    return fmt::format("{}d {}", days, clock);
}

std::string FormatMoment(unsigned long long moment)
{
    const auto seconds = static_cast<std::time_t>(moment);
    std::tm local{};
    if (seconds < 0 || !localtime_r(&seconds, &local)) return fmt::format("{}", moment);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", local.tm_year + 1900LL, local.tm_mon + 1,
                       local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

std::string Printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        char32_t point = 0;
        const std::size_t length = DecodeUtf8(text, point);
        if (length != 0 && !IsControl(point)) {
            result += text.substr(0, length);
            text.remove_prefix(length);
            continue;
        }
        const std::size_t escaped = length != 0 ? length : 1;
        for (const char byte : text.substr(0, escaped))
            fmt::format_to(std::back_inserter(result), "\\x{:02X}", static_cast<unsigned char>(byte));
        text.remove_prefix(escaped);
    }
    return result;
}

std::size_t Width(std::string_view text)
{
    std::size_t columns = 0;
    while (!text.empty()) {
        char32_t point = 0;
        const std::size_t length = DecodeUtf8(text, point);
        columns += length != 0 ? ColumnsOf(point) : 1;
        text.remove_prefix(length != 0 ? length : 1);
    }
    return columns;
}

std::string Shorten(std::string_view text, std::size_t columns)
{
    if (Width(text) <= columns) return std::string(text);
    if (columns == 0) return {};

    std::string result;
    std::size_t used = 0;
    while (true) {
        char32_t point = 0;
        std::size_t length = DecodeUtf8(text, point);
        if (length == 0) length = 1;
        const std::string_view character = text.substr(0, length);
        if (used + Width(character) > columns - 1) break;
        used += Width(character);
        result += character;
        text.remove_prefix(length);
    }
    return result + "\u2026";
}

std::string PadRight(std::string_view text, std::size_t columns)
{
    std::string result(text);
    const std::size_t width = Width(text);
    if (width < columns) result.append(columns - width, ' ');
    return result;
}

std::string PadLeft(std::string_view text, std::size_t columns)
{
    const std::size_t width = Width(text);
    std::string result(width < columns ? columns - width : 0, ' ');
    return result += text;
}

std::string LowerCase(std::string_view text)
{
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

bool ParseDigits(std::string_view text, unsigned long long& number)
{
    if (text.find_first_not_of("0123456789") != std::string_view::npos) return false;
    unsigned long long parsed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (error != std::errc{}) return false;  // empty, or more than 64 bits
    number = parsed;
    return true;
}

}  // namespace netinfo
