// Any bytes as narrow and as wide text: the code-page conversions at every level, and what the host makes of
// texts that people type or that links and files are named by.
//
// Input: a code page, a limit for the result, and the text.

#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <stdexcept>

#include "common/Utilities.h"
#include "fuzz/Input.h"
#include "host/ByteAmount.h"
#include "host/Format.h"
#include "host/Json.h"
#include "host/ParseTime.h"
#include "host/Text16.h"
#include "platform/common/CodePage.h"
#include "platform/common/GlobalFunction.h"
#include "platform/common/NimbString.h"
#include "store/DataDocument.h"
#include "store/DataMgr.h"

using namespace nettest;
using netinfo::CODE_PAGE_UTF8;
using netinfo::Text16;

namespace {

using View16 = std::basic_string_view<unsigned short>;

int CodePage(Input& input)
{
    static constexpr std::array CODE_PAGES{0,    65001, 437,  850,  852,  866,  874,   932,  936,  949,
                                           950,  1250,  1251, 1252, 1253, 1254, 1255,  1256, 1257, 1258,
                                           1361, 10007, 1047, 500,  880,  1133, 65000, 1200, -1};
    const unsigned int choice = input.Byte();
    if (choice < CODE_PAGES.size()) return CODE_PAGES[choice];
    return static_cast<int>(choice);
}

bool IsWellFormed(View16 text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned int kind = text[i] & 0xFC00U;
        if (kind == 0xDC00) return false;
        if (kind != 0xD800) continue;
        if (++i == text.size() || (text[i] & 0xFC00U) != 0xDC00) return false;
    }
    return true;
}

/// The bytes as 16-bit units as they stand, whatever they mean, up to a zero one.
Text16 Units(const std::string& text)
{
    Text16 units(text.size() / sizeof(unsigned short), 0);
    std::memcpy(units.data(), text.data(), units.size() * sizeof(unsigned short));
    units.resize(std::min(units.find(static_cast<unsigned short>(0)), units.size()));
    return units;
}

/// Asks a platform function in two calls, with buffers of exactly the promised size.
template <typename Unit, typename Function>
std::basic_string<Unit> Ask(int size, const Function& function)
{
    const auto buffer = std::make_unique<Unit[]>(static_cast<std::size_t>(size) + 1);
    const int length = function(buffer.get(), size);
    Require(length >= 0 && length <= size, "no more units are copied than the buffer has");
    Require(buffer[static_cast<std::size_t>(length)] == 0, "the copy is terminated");
    return {buffer.get(), static_cast<std::size_t>(length)};
}

void Decodings(const std::string& text, int codePage, std::size_t limit)
{
    const auto whole = netinfo::Decode(text, codePage);
    const auto part = netinfo::Decode(text, codePage, limit);
    Require(whole.has_value() == part.has_value(), "a code page is known or not");
    if (!whole) {
        Require(MyMultiByteToWideChar(text.c_str(), codePage).empty(), "an unknown code page gives nothing");
        return;
    }
    Require(IsWellFormed(*whole) && IsWellFormed(*part), "a result has no half of a character");
    Require(part->size() <= limit && whole->starts_with(*part), "the shorter result begins the longer");

    const Text16 plain(whole->c_str());
    Require(MyMultiByteToWideChar(text.c_str(), codePage) == plain, "every level gives the same text");
    const auto platform = [&](unsigned short* buffer, int size) {
        return CGlobalFunction::MultiByteToWideChar(text.c_str(), buffer, size, codePage);
    };
    Require(Ask<unsigned short>(static_cast<int>(limit), platform) == *part, "and the same part of it");
}

void Encodings(const Text16& text, int codePage, std::size_t limit)
{
    const auto whole = netinfo::Encode(text, codePage);
    const auto part = netinfo::Encode(text, codePage, limit);
    Require(whole.has_value() == part.has_value(), "a code page is known or not");
    if (!whole) {
        Require(MyWideCharToMultiByte(text.c_str(), codePage).empty(), "an unknown code page gives nothing");
        return;
    }
    Require(part->size() <= limit, "the limit holds");
    Require(MyWideCharToMultiByte(text.c_str(), codePage) == whole->c_str(),
            "every level gives the same text");
    const auto platform = [&](char* buffer, int size) {
        return CGlobalFunction::WideCharToMultiByte(text.c_str(), buffer, size, codePage);
    };
    Require(Ask<char>(static_cast<int>(limit), platform) == *part, "and the same part of it");
}

void Utf8(const std::string& text, const Text16& units)
{
    const Text16 decoded = *netinfo::Decode(text, CODE_PAGE_UTF8);
    const std::string encoded = *netinfo::Encode(decoded, CODE_PAGE_UTF8);
    Require(*netinfo::Decode(encoded, CODE_PAGE_UTF8) == decoded, "UTF-16 goes through UTF-8 unchanged");
    if (IsWellFormed(units)) {
        const std::string narrow = *netinfo::Encode(units, CODE_PAGE_UTF8);
        Require(*netinfo::Decode(narrow, CODE_PAGE_UTF8) == units, "so does any text of whole characters");
    }
    Require(netinfo::FromText16(netinfo::ToText16(text)) == encoded,
            "the host converts as the platform does");
}

/// The bytes as 32-bit characters, whatever they mean.
void WideCharacters(const std::string& text)
{
    std::wstring wide(text.size() / sizeof(wchar_t), L'\0');
    std::memcpy(wide.data(), text.data(), wide.size() * sizeof(wchar_t));
    const Text16 units = ToNimb_wchar(wide.c_str());
    Require(units.size() <= 2 * wide.size(), "a character has two units at most");
    Require(NIMB_wcslen(units.c_str()) == units.size(), "no unit of them is zero");
}

void QuotesAndCase(const std::string& text)
{
    const std::string quoted = AddDoubleQuotationMarks(text.c_str());
    Require(TakeOutDoubleQuotationMarks(quoted) == text, "quotation marks come off again");
    try {
        Require(TakeOutDoubleQuotationMarks(text).size() <= text.size(), "nothing is added");
    } catch (const std::length_error&) {
        Require(text == "\"", "one mark alone is all that is refused");
    }
    std::string lower = text;
    std::string upper = text;
    ToLowerString(lower);
    ToUpperString(upper);
    ToLowerString(upper);
    Require(lower == upper && lower == netinfo::LowerCase(text), "there are only two cases");
}

void Numbers(const std::string& text)
{
    const unsigned long long number = ToNumber(text);
    Require(IsNumber(text) || number == 0, "what is no number counts as nothing");
    const std::string written = ConverUllToString(number);
    Require(ToNumber(written) == number, "a number reads as it is written");
    char digits[65];
    Require(_ui64toa(number, digits, 10) == written, "the platform writes it alike");

    unsigned long long parsed = 0;
    if (netinfo::ParseDigits(text, parsed))
        Require(IsNumber(text) && (parsed == number || parsed > std::numeric_limits<long long>::max()),
                "the host reads what the store reads");
}

void Shown(const std::string& text, std::size_t columns)
{
    const std::string printable = netinfo::Printable(text);
    for (const char c : printable)
        Require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F,
                "nothing printable is a control character");
    Require(netinfo::Printable(printable) == printable, "what is printable stays as it is");
    Require(*netinfo::Encode(*netinfo::Decode(printable, CODE_PAGE_UTF8), CODE_PAGE_UTF8) == printable,
            "what is printable is UTF-8");
    Require(netinfo::Width(netinfo::Shorten(printable, columns)) <= columns, "a shortened text fits");
    Require(netinfo::Width(netinfo::PadRight(printable, columns)) >= columns,
            "a padded text fills its place");
    Require(netinfo::Width(netinfo::PadLeft(printable, columns)) >= columns, "on either side");

    const std::string line = netinfo::OneLine({{"text", text}});
    const netinfo::Json read = netinfo::Json::parse(line);
    const std::string utf8 = *netinfo::Encode(*netinfo::Decode(text, CODE_PAGE_UTF8), CODE_PAGE_UTF8);
    if (utf8 == text) Require(read["text"] == text, "JSON carries a text unchanged");
}

void AmountsAndTimes(const std::string& text)
{
    if (const auto bytes = netinfo::ParseByteAmount(text)) {
        Require(*bytes > 0 && *bytes <= std::numeric_limits<long long>::max(), "an amount is in range");
        const auto again = netinfo::ParseByteAmount(std::to_string(*bytes));
        Require(again && *again == *bytes, "its bytes are an amount, too");
        Require(netinfo::Width(netinfo::FormatBytes(*bytes)) <= 8, "it is shown in eight columns");
    }

    constexpr unsigned long long NOW = 1'700'000'000;
    netinfo::FormatMoment(ToNumber(text));
    netinfo::FormatDuration(ToNumber(text));
    const auto until = netinfo::ParseUntil(text, NOW);
    const auto since = netinfo::ParseSince(text, NOW);
    if (!since) return;
    Require(*since <= NOW && until, "a beginning lies in the past and could be an end");
    const auto again = netinfo::ParseSince(netinfo::FormatMoment(*since), NOW);
    Require(again && *again <= *since, "a moment reads as it is shown, or as its earlier twin");
    const auto third = netinfo::ParseSince(netinfo::FormatMoment(*again), NOW);
    Require(third && *third == *again, "and from then on as itself");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool zoneIsSet = setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1) == 0;
    Require(zoneIsSet, "the zone can be set");

    Input input(data, size);
    const int codePage = CodePage(input);
    const std::size_t limit = input.Byte();
    const std::string bytes = input.Rest();
    const std::string text(bytes.c_str());  // up to a NUL, as most of these see it
    const Text16 units = Units(bytes);

    Decodings(text, codePage, limit);
    Encodings(units, codePage, limit);
    Utf8(text, units);
    WideCharacters(bytes);
    QuotesAndCase(text);
    Numbers(text);
    Shown(bytes, limit);
    AmountsAndTimes(text);
    return 0;
}
