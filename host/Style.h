#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace netinfo {

/// In which units amounts of bytes are shown.
enum class Units
{
    Iec,   ///< multiples of 1024: KiB, MiB ...
    Si,    ///< multiples of 1000: kB, MB ...
    Bytes  ///< every single byte
};

/// "iec", "si" or "bytes", whatever its case; nothing for any other text.
std::optional<Units> FindUnits(std::string_view name);

/// When colours are used.
enum class ColourChoice
{
    Auto,  ///< on a terminal, unless the environment says NO_COLOR
    Always,
    Never
};

/// "auto", "always" or "never", whatever its case; nothing for any other text.
std::optional<ColourChoice> FindColourChoice(std::string_view name);

/// How figures are drawn for people.
struct Style
{
    Units units = Units::Iec;
    bool colour = false;
    bool unicode = true;  ///< block characters may be drawn; otherwise ASCII
};

enum class Mark
{
    Bold,
    Dim,
    Green,
    Yellow,
    Red
};

/// `text` marked for a terminal; as it is without `colour`.
std::string Marked(std::string_view text, Mark mark, bool colour);

/// `choice`, with the environment and the terminal behind `descriptor` where it leaves the answer to them.
bool UsesColour(ColourChoice choice, int descriptor);

/// True if the character set of the user's locale has block characters.
bool LocaleHasBlocks();

}  // namespace netinfo
