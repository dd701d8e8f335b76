#include "host/Style.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <string>
#include <utility>

#include "host/Format.h"
#include "host/Screen.h"
#include "platform/common/GlobalFunction.h"

namespace netinfo {
namespace {

constexpr int LOCALE_CODE_PAGE = 0;
constexpr std::string_view FULL_BLOCK = "█";

template <class Choice, std::size_t count>
std::optional<Choice> Find(const std::array<std::pair<std::string_view, Choice>, count>& choices,
                           std::string_view name)
{
    const std::string wanted = LowerCase(name);
    for (const auto& [known, choice] : choices) {
        if (known == wanted) return choice;
    }
    return std::nullopt;
}

}  // namespace

std::optional<Units> FindUnits(std::string_view name)
{
    static constexpr std::array<std::pair<std::string_view, Units>, 3> UNITS{
        {{"iec", Units::Iec}, {"si", Units::Si}, {"bytes", Units::Bytes}}};
    return Find(UNITS, name);
}

std::optional<ColourChoice> FindColourChoice(std::string_view name)
{
    static constexpr std::array<std::pair<std::string_view, ColourChoice>, 3> CHOICES{
        {{"auto", ColourChoice::Auto}, {"always", ColourChoice::Always}, {"never", ColourChoice::Never}}};
    return Find(CHOICES, name);
}

std::string Marked(std::string_view text, Mark mark, bool colour)
{
    if (!colour) return std::string(text);
    std::string_view code;
    switch (mark) {
        case Mark::Bold:
            code = "1";
            break;
        case Mark::Dim:
            code = "2";
            break;
        case Mark::Green:
            code = "32";
            break;
        case Mark::Yellow:
            code = "33";
            break;
        case Mark::Red:
            code = "31";
            break;
    }
    return fmt::format("\033[{}m{}\033[0m", code, text);
}

bool UsesColour(ColourChoice choice, int descriptor)
{
    if (choice != ColourChoice::Auto) return choice == ColourChoice::Always;
    const char* const refusal = std::getenv("NO_COLOR");
    if (refusal && *refusal != '\0') return false;  // by custom any text says no
    return CanRedraw(descriptor);
}

bool LocaleHasBlocks()
{
    static constexpr std::array<unsigned short, 2> BLOCK{0x2588, 0};
    std::array<char, 16> text{};
    const int length = CGlobalFunction::WideCharToMultiByte(
        BLOCK.data(), text.data(), static_cast<int>(text.size()) - 1, LOCALE_CODE_PAGE);
    if (length <= 0) return false;
    return std::string_view(text.data(), static_cast<std::size_t>(length)) == FULL_BLOCK;
}

}  // namespace netinfo
