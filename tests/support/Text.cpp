#include "tests/support/Text.h"

#include <fstream>
#include <sstream>

namespace nettest {

U16String U16(std::string_view text)
{
    U16String result;
    for (const char c : text)
        result.push_back(static_cast<unsigned char>(c));
    return result;
}

std::string Narrow(const U16String& text)
{
    std::string result;
    for (const unsigned short unit : text)
        result.push_back(unit < 0x80 ? static_cast<char>(unit) : '?');
    return result;
}

std::string Narrow(const unsigned short* text)
{
    if (!text) return {};
    return Narrow(U16String(text));
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (file) content << file.rdbuf();
    return content.str();
}

void WriteFile(const std::string& path, std::string_view content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
}

}  // namespace nettest
