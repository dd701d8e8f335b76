#include "common/Utilities.h"

#include <algorithm>
#include <cwchar>
#include <new>
#include <utility>

#include "platform/common/GlobalFunction.h"

namespace {

using WideText = std::basic_string<unsigned short>;

constexpr int PATH_UNITS = 1024;  // the longest user data path

template <class Unit>
std::basic_string<Unit> UpToZero(std::basic_string<Unit> units)
{
    units.resize(std::min(units.find(Unit{0}), units.size()));
    return units;
}

/// Asks a platform function for its text: first, without a buffer, for the length, then for the units.
template <class Unit, class Function>
std::basic_string<Unit> AskTwice(const Function& platform)
{
    const int length = platform(nullptr, 0);
    if (length <= 0) return {};

    std::basic_string<Unit> buffer(static_cast<std::size_t>(length) + 1, Unit{0});
    platform(buffer.data(), length);
    return UpToZero(std::move(buffer));
}

/// Moves the letters from `first` to `last` by `distance` in the character set.
bool MoveLetters(std::string& s, char first, char last, int distance)
{
    for (char& c : s) {
        if (c >= first && c <= last) c = static_cast<char>(c + distance);
    }
    return true;
}

}  // namespace

// Texts by value belong to the fixed signature of this function and of the two comparisons below.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void SetSetting(WideText section, WideText key, WideText value)
{
    CGlobalFunction::SetSetting(section.c_str(), key.c_str(), value.c_str());
}

WideText MyGetSetting(const WideText& section, const WideText& key)
{
    return AskTwice<unsigned short>([&](unsigned short* buffer, int size) {
        return CGlobalFunction::GetSetting(section.c_str(), key.c_str(), buffer, size);
    });
}

WideText MyGetUserDataPath()
{
    WideText buffer(PATH_UNITS, 0);
    CGlobalFunction::GetUserDataDirectory(buffer.data(), PATH_UNITS);
    return UpToZero(std::move(buffer));
}

WideText MyMultiByteToWideChar(const char* s, int nCodePage)
{
    if (!s) return {};
    return AskTwice<unsigned short>([&](unsigned short* buffer, int size) {
        return CGlobalFunction::MultiByteToWideChar(s, buffer, size, nCodePage);
    });
}

std::string MyWideCharToMultiByte(const unsigned short* s, int nCodePage)
{
    if (!s) return {};
    return AskTwice<char>([&](char* buffer, int size) {
        return CGlobalFunction::WideCharToMultiByte(s, buffer, size, nCodePage);
    });
}

WideText ToNimb_wchar(const wchar_t* s)
try {
    if (!s) return {};
    WideText text;
    text.reserve(2 * std::wcslen(s));
    for (; *s; ++s) {
        const auto character = static_cast<char32_t>(*s);
        if (character > 0xFFFF) {
            text += static_cast<unsigned short>((character >> 10) + 0xD7C0);
            text += static_cast<unsigned short>(0xDC00 + (character & 0x3FF));
        } else {
            text += static_cast<unsigned short>(character);
        }
    }
    return UpToZero(std::move(text));  // numbers far above the last character may have made a zero unit
} catch (const std::bad_alloc&) {
    return {};
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool NIMB_wcscmp(WideText a, WideText b) { return a == b; }

// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool NIMB_wcsncmp(WideText a, WideText b, unsigned long n)
{
    return a.compare(0, n, b, 0, n) == 0;  // a text shorter than `n` takes part whole
}

std::string AddDoubleQuotationMarks(const char* s) { return '"' + std::string(s ? s : "") + '"'; }

std::string TakeOutDoubleQuotationMarks(const std::string& s)
{
    if (s.empty() || s.front() != '"' || s.back() != '"') return s;
    std::string inner;
    inner.resize(s.size() - 2);  // one mark alone is no pair: its length of -1 is refused here
    s.copy(inner.data(), inner.size(), 1);
    return inner;
}

bool ToLowerString(std::string& s) { return MoveLetters(s, 'A', 'Z', 'a' - 'A'); }

bool ToUpperString(std::string& s) { return MoveLetters(s, 'a', 'z', 'A' - 'a'); }
