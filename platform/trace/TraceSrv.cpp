#include "platform/trace/TraceSrv.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>

#include "platform/trace/TraceFile.h"

namespace {

constexpr std::size_t LONGEST_TEXT = 8192;  // bytes

int HighestLevel()
{
    int level = 2;
    if (const char* text = secure_getenv("NETINFO_TRACE_LEVEL")) {
        std::from_chars(text, text + std::strlen(text), level);  // leaves it alone where there is no number
    }
    return level;
}

/// Appends at most `LONGEST_TEXT` bytes of `text`, with an escape for every character that could end the line
/// or tell a terminal something.
void AppendEscaped(std::string& line, const char* text)
{
    static constexpr const char* DIGITS = "0123456789ABCDEF";
    const auto appendHex = [&](const char* prefix, unsigned value) {
        line += prefix;
        line += DIGITS[value >> 4];
        line += DIGITS[value & 0xF];
    };
    if (!text) return;

    const std::string_view all(text, strnlen(text, LONGEST_TEXT));
    for (std::size_t i = 0; i < all.size(); ++i) {
        const unsigned byte = static_cast<unsigned char>(all[i]);
        const unsigned next = i + 1 < all.size() ? static_cast<unsigned char>(all[i + 1]) : 0;
        if (byte == '\n') {
            line += "\\n";
        } else if (byte == '\r') {
            line += "\\r";
        } else if (byte == '\t') {
            line += "\\t";
        } else if (byte == '\\') {
            line += "\\\\";
        } else if (byte < 0x20 || byte == 0x7F) {
            appendHex("\\x", byte);
        } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {  // U+0080 to U+009F in UTF-8
            appendHex("\\u00", next);
            ++i;
        } else {
            line += all[i];
        }
    }
    if (text[all.size()] != '\0') line += " ...";
}

}  // namespace

void TraceSrv_Trace(int nLevel, const char* pszModule, const char* pszText)
{
    static const int highest = HighestLevel();
    if (nLevel > highest) return;

    const int error = errno;
    try {
        std::string line = std::to_string(nLevel) + " ";
        AppendEscaped(line, pszModule);
        line += ": ";
        AppendEscaped(line, pszText);
        netinfo::TraceFile::OfUser().Write(line);
    } catch (const std::exception&) {
        // A trace has nobody to complain to.
    }
    errno = error;
}
