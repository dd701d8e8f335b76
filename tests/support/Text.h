#pragma once

#include <string>
#include <string_view>

namespace nettest {

using U16String = std::basic_string<unsigned short>;

/// ASCII or Latin-1 text as 16-bit units, one for one.
U16String U16(std::string_view text);

/// 16-bit text as narrow text; a unit above 0x7F becomes '?'. For messages and comparisons in tests.
std::string Narrow(const U16String& text);
std::string Narrow(const unsigned short* text);

/// The whole content of a file; empty when it cannot be read.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, std::string_view content);

}  // namespace nettest
