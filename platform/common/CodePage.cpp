#include "platform/common/CodePage.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>  // newlocale is not in <clocale>
#include <strings.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace netinfo {
namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;
constexpr const char* UTF8 = "UTF-8";
constexpr const char* UTF16 = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

struct Character
{
    char32_t codePoint = REPLACEMENT;
    std::size_t length = 1;  ///< units of the input that it took
    bool valid = false;
};

bool IsHighSurrogate(unsigned short unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLowSurrogate(unsigned short unit) { return (unit & 0xFC00) == 0xDC00; }

/// The character at the start of `text`, which is not empty. An ill-formed sequence is invalid as far as it
/// could still have become a character, so that "E2 82 41" is one bad sequence and an "A".
Character NextUtf8(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};

    std::size_t length = 0;
    unsigned lowest = 0x80;  // of the second byte: neither overlong forms nor surrogates nor beyond U+10FFFF
    unsigned highest = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) lowest = 0xA0;
        if (lead == 0xED) highest = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) lowest = 0x90;
        if (lead == 0xF4) highest = 0x8F;
    } else {
        return {};
    }

    char32_t codePoint = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size() || byte(i) < lowest || byte(i) > highest) return {REPLACEMENT, i, false};
        codePoint = codePoint << 6 | (byte(i) & 0x3FU);
        lowest = 0x80;
        highest = 0xBF;
    }
    return {codePoint, length, true};
}

/// The character at the start of `text`, which is not empty; invalid for a lone surrogate.
Character NextUtf16(std::basic_string_view<unsigned short> text)
{
    const unsigned short first = text[0];
    if (!IsHighSurrogate(first) && !IsLowSurrogate(first)) return {first, 1, true};
    if (IsLowSurrogate(first) || text.size() < 2 || !IsLowSurrogate(text[1])) return {};
    return {0x10000 + (static_cast<char32_t>(first & 0x3FF) << 10 | (text[1] & 0x3FFU)), 2, true};
}

void AppendUtf16(Text16& result, char32_t codePoint)
{
    if (codePoint > 0xFFFF) {
        result.push_back(static_cast<unsigned short>(0xD7C0 + (codePoint >> 10)));
        codePoint = 0xDC00 + (codePoint & 0x3FF);
    }
    result.push_back(static_cast<unsigned short>(codePoint));
}

void AppendUtf8(std::string& result, char32_t codePoint)
{
    const auto append = [&](char32_t bits) { result.push_back(static_cast<char>(bits)); };
    if (codePoint < 0x80) {
        append(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        append(0xC0 | codePoint >> 6);
    } else if (codePoint < 0x10000) {
        append(0xE0 | codePoint >> 12);
        append(0x80 | (codePoint >> 6 & 0x3F));
    } else {
        append(0xF0 | codePoint >> 18);
        append(0x80 | (codePoint >> 12 & 0x3F));
        append(0x80 | (codePoint >> 6 & 0x3F));
    }
    append(0x80 | (codePoint & 0x3F));
}

Text16 DecodeUtf8(std::string_view text, std::size_t limit)
{
    Text16 result;
    result.reserve(std::min(text.size(), limit));
    while (!text.empty()) {
        const Character character = NextUtf8(text);
        if (limit - result.size() < (character.codePoint > 0xFFFF ? 2U : 1U)) break;
        AppendUtf16(result, character.codePoint);
        text.remove_prefix(character.length);
    }
    return result;
}

std::string EncodeUtf8(std::basic_string_view<unsigned short> text, std::size_t limit)
{
    std::string result;
    result.reserve(std::min(text.size(), limit));
    while (!text.empty()) {
        const Character character = NextUtf16(text);
        const std::size_t before = result.size();
        AppendUtf8(result, character.valid ? character.codePoint : U'?');
        if (result.size() > limit) {
            result.resize(before);
            break;
        }
        text.remove_prefix(character.length);
    }
    return result;
}

/// One direction of the C library's converter, open for one text: opening it costs less than half a
/// microsecond, so that there is nothing to keep.
class Converter
{
public:
    Converter(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {}
    ~Converter()
    {
        if (IsOpen()) iconv_close(m_descriptor);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool IsOpen() const { return reinterpret_cast<std::intptr_t>(m_descriptor) != -1; }

    enum class Stop
    {
        END,       ///< all of the input is converted
        BAD,       ///< the input goes on with something that has no counterpart
        CUT,       ///< the input ends inside a character
        NO_SPACE,  ///< the next character would pass the limit
    };

    /// Converts `input`, takes what was converted away from it and appends it to `output`, which does not
    /// grow beyond `limit` bytes.
    Stop Convert(std::string_view& input, std::string& output, std::size_t limit)
    {
        for (;;) {
            char* in = const_cast<char*>(input.data());  // the converter only reads it
            std::size_t left = input.size();
            const int error = Step(&in, &left, output, limit);
            input.remove_prefix(input.size() - left);
            if (error == 0) return Stop::END;
            if (error == EILSEQ) return Stop::BAD;
            if (error == EINVAL) return Stop::CUT;
            if (error != E2BIG || !m_progress) return Stop::NO_SPACE;
        }
    }

    /// Appends a character held back for a combining one, or the return to the initial shift state.
    void Flush(std::string& output, std::size_t limit) { Step(nullptr, nullptr, output, limit); }

private:
    int Step(char** in, std::size_t* left, std::string& output, std::size_t limit)
    {
        char piece[1024];
        char* out = piece;
        std::size_t space = std::min(sizeof piece, limit - output.size());
        const int error = iconv(m_descriptor, in, left, &out, &space) == NO_LIMIT ? errno : 0;
        output.append(piece, out);
        m_progress = out != piece;
        return error;
    }

    iconv_t m_descriptor;
    bool m_progress = false;  ///< the last step gave output
};

std::string_view BytesOf(std::basic_string_view<unsigned short> text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(unsigned short)};
}

std::optional<Text16> DecodeWith(const char* characterSet, std::string_view text, std::size_t limit)
{
    Converter converter(UTF16, characterSet);
    if (!converter.IsOpen()) return std::nullopt;

    static constexpr unsigned short replacement[] = {REPLACEMENT};
    const std::size_t byteLimit = std::min(limit, NO_LIMIT / 2) * sizeof(unsigned short);
    std::string bytes;
    Converter::Stop stop = converter.Convert(text, bytes, byteLimit);
    while (stop == Converter::Stop::BAD || stop == Converter::Stop::CUT) {
        converter.Flush(bytes, byteLimit);
        if (byteLimit - bytes.size() < sizeof replacement) break;
        bytes.append(BytesOf({replacement, 1}));
        text.remove_prefix(stop == Converter::Stop::CUT ? text.size() : 1);
        stop = converter.Convert(text, bytes, byteLimit);
    }
    if (stop == Converter::Stop::END) converter.Flush(bytes, byteLimit);

    Text16 result(bytes.size() / sizeof(unsigned short), 0);
    std::memcpy(result.data(), bytes.data(), result.size() * sizeof(unsigned short));
    return result;
}

std::optional<std::string> EncodeWith(const char* characterSet, std::basic_string_view<unsigned short> text,
                                      std::size_t limit)
{
    Converter converter(characterSet, UTF16);
    if (!converter.IsOpen()) return std::nullopt;

    Text16 wellFormed;
    for (std::size_t i = 0; i < text.size();) {
        const Character character = NextUtf16(text.substr(i));
        AppendUtf16(wellFormed, character.valid ? character.codePoint : U'?');
        i += character.length;
    }

    static constexpr unsigned short question[] = {'?'};
    std::string result;
    std::string_view rest = BytesOf(wellFormed);
    Converter::Stop stop = converter.Convert(rest, result, limit);
    while (stop == Converter::Stop::BAD) {
        std::string_view instead = BytesOf({question, 1});  // in the code page's own form and shift state
        stop = converter.Convert(instead, result, limit);
        if (stop == Converter::Stop::NO_SPACE) break;
        const std::size_t done = (wellFormed.size() * sizeof(unsigned short) - rest.size()) / 2;
        rest.remove_prefix(IsHighSurrogate(wellFormed[done]) ? 4 : 2);
        stop = converter.Convert(rest, result, limit);
    }
    converter.Flush(result, limit);
    return result;
}

/// What the user's environment names, read once: a text written early must still read the same late.
const std::string& LocaleCharacterSet()
{
    static const std::string* const characterSet = new std::string([] {
        for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
            const char* value = std::getenv(variable);
            if (value && *value) return CharacterSetOfLocale(value);
        }
        return std::string(UTF8);
    }());
    return *characterSet;
}

std::string CharacterSetOf(int codePage)
{
    if (codePage == CODE_PAGE_UTF8) return UTF8;
    if (codePage == CODE_PAGE_LOCALE) return LocaleCharacterSet();
    return "CP" + std::to_string(codePage);
}

bool IsUtf8(const std::string& characterSet)
{
    return strcasecmp(characterSet.c_str(), UTF8) == 0 || strcasecmp(characterSet.c_str(), "UTF8") == 0;
}

bool IsKnown(const std::string& characterSet)
{
    return Converter(UTF16, characterSet.c_str()).IsOpen() && Converter(characterSet.c_str(), UTF16).IsOpen();
}

}  // namespace

std::string CharacterSetOfLocale(const std::string& name)
{
    if (name.empty() || name == "C" || name == "POSIX") return UTF8;

    std::string characterSet;
    if (const locale_t locale = newlocale(LC_CTYPE_MASK, name.c_str(), locale_t{})) {
        characterSet = nl_langinfo_l(CODESET, locale);
        freelocale(locale);
    } else if (const std::size_t dot = name.find('.'); dot != std::string::npos) {
        // The locale is not installed, but its name says it: language_TERRITORY.charset@modifier.
        characterSet = name.substr(dot + 1, name.find('@', dot) - dot - 1);
    }
    const bool ascii = characterSet == "ANSI_X3.4-1968";
    if (characterSet.empty() || ascii || IsUtf8(characterSet) || !IsKnown(characterSet)) return UTF8;
    return characterSet;
}

std::optional<Text16> Decode(std::string_view text, int codePage, std::size_t limit)
{
    const std::string characterSet = CharacterSetOf(codePage);
    if (IsUtf8(characterSet)) return DecodeUtf8(text, limit);
    return DecodeWith(characterSet.c_str(), text, limit);
}

std::optional<std::string> Encode(std::basic_string_view<unsigned short> text, int codePage,
                                  std::size_t limit)
{
    const std::string characterSet = CharacterSetOf(codePage);
    if (IsUtf8(characterSet)) return EncodeUtf8(text, limit);
    return EncodeWith(characterSet.c_str(), text, limit);
}

}  // namespace netinfo
