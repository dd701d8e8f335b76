#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace netinfo {

/// UTF-16 in host byte order, the text that crosses the plug-in's interfaces.
using Text16 = std::basic_string<unsigned short>;

constexpr int CODE_PAGE_LOCALE = 0;    ///< the character set of the user's locale
constexpr int CODE_PAGE_UTF8 = 65001;  ///< any other number N is the converter's "CPN"

constexpr std::size_t NO_LIMIT = static_cast<std::size_t>(-1);

/// Text of `codePage` as UTF-16; nothing for a code page that the converter does not know. A byte or sequence
/// that cannot be decoded becomes one U+FFFD. The result has at most `limit` units and ends with a whole
/// character: of two texts for the same input, the shorter begins the longer. [any thread]
std::optional<Text16> Decode(std::string_view text, int codePage, std::size_t limit = NO_LIMIT);

/// UTF-16 as text of `codePage`; nothing for a code page that the converter does not know. A character that
/// the code page lacks and a lone surrogate become '?'. `limit` counts bytes, as above. [any thread]
std::optional<std::string> Encode(std::basic_string_view<unsigned short> text, int codePage,
                                  std::size_t limit = NO_LIMIT);

/// The character set of the locale that `name` stands for, for example "de_DE.ISO-8859-15". "C", "POSIX", an
/// empty name and one that tells nothing count as "UTF-8". The process's own locale plays no part.
std::string CharacterSetOfLocale(const std::string& name);

}  // namespace netinfo
