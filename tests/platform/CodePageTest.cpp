#include "platform/common/CodePage.h"

#include <clocale>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace netinfo {
namespace {

Text16 Units(const char16_t* text)
{
    Text16 result;
    while (*text)
        result.push_back(*text++);
    return result;
}

Text16 FromUtf8(std::string_view text) { return Decode(text, CODE_PAGE_UTF8).value(); }
std::string ToUtf8(const Text16& text) { return Encode(text, CODE_PAGE_UTF8).value(); }

struct BadUtf8
{
    const char* what;
    std::string bytes;
    const char16_t* decoded;
};

TEST(Utf8, DecodesTheFirstAndLastCharacterOfEveryLength)
{
    EXPECT_EQ(FromUtf8("\x01\x7F"), Units(u"\u0001\u007F"));
    EXPECT_EQ(FromUtf8("\xC2\x80\xDF\xBF"), Units(u"\u0080\u07FF"));
    EXPECT_EQ(FromUtf8("\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"),
              Units(u"\u0800\uD7FF\uE000\uFFFF"));
    EXPECT_EQ(FromUtf8("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), Units(u"\U00010000\U0010FFFF"));
}

TEST(Utf8, ReplacesEachBadSequenceOnceAndGoesOn)
{
    const BadUtf8 cases[] = {
        {"a lone continuation byte", "a\x80z", u"a\uFFFDz"},
        {"two lone continuation bytes", "\x80\xBF", u"\uFFFD\uFFFD"},
        {"bytes that never occur", "\xC0\xC1\xF5\xFE\xFF", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"an overlong slash", "\xC0\xAF", u"\uFFFD\uFFFD"},
        {"an overlong three-byte form", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},
        {"an encoded surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"beyond the last character", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"two of three bytes, then a letter", "\xE2\x82z", u"\uFFFDz"},
        {"three of four bytes, then a letter", "\xF0\x9F\x98z", u"\uFFFDz"},
        {"three of four bytes at the end", "a\xF0\x9F\x98", u"a\uFFFD"},
        {"a lead byte at the end", "a\xC3", u"a\uFFFD"},
        {"a lead byte before a whole character", "\xE2\xC3\xA9", u"\uFFFD\u00E9"},
    };
    for (const BadUtf8& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(FromUtf8(c.bytes), Units(c.decoded));
    }
}

TEST(Utf8, EncodesALoneSurrogateAsAQuestionMark)
{
    EXPECT_EQ(ToUtf8({0xD83D}), "?");
    EXPECT_EQ(ToUtf8({'a', 0xDE00, 'z'}), "a?z");
    EXPECT_EQ(ToUtf8({0xD83D, 0xD83D, 0xDE00}), "?\xF0\x9F\x98\x80");
    EXPECT_EQ(ToUtf8({0xDE00, 0xD83D}), "??");
}

TEST(Utf8, CarriesEveryCharacterThereAndBack)
{
    std::string all;
    Text16 expected;
    for (char32_t c = 1; c <= 0x10FFFF; c += c < 0x3000 ? 1 : 97) {
        if (c >= 0xD800 && c <= 0xDFFF) continue;
        if (c > 0xFFFF) {
            expected.push_back(static_cast<unsigned short>(0xD800 + ((c - 0x10000) >> 10)));
            expected.push_back(static_cast<unsigned short>(0xDC00 + (c & 0x3FF)));
        } else {
            expected.push_back(static_cast<unsigned short>(c));
        }
    }

    all = ToUtf8(expected);

    EXPECT_EQ(FromUtf8(all), expected);
    EXPECT_EQ(ToUtf8(FromUtf8(all)), all);
}

TEST(CodePage, KeepsWholeCharactersWithinALimit)
{
    const Text16 text = Units(u"a\u20AC\U0001F600");  // one, one and two units; one, three and four bytes
    const std::string narrow = ToUtf8(text);

    const std::size_t unitsKept[] = {0, 1, 2, 2, 4, 4};
    for (std::size_t limit = 0; limit < std::size(unitsKept); ++limit) {
        SCOPED_TRACE(limit);
        EXPECT_EQ(Decode(narrow, CODE_PAGE_UTF8, limit), text.substr(0, unitsKept[limit]));
    }
    const std::size_t bytesKept[] = {0, 1, 1, 1, 4, 4, 4, 4, 8, 8};
    for (std::size_t limit = 0; limit < std::size(bytesKept); ++limit) {
        SCOPED_TRACE(limit);
        EXPECT_EQ(Encode(text, CODE_PAGE_UTF8, limit), narrow.substr(0, bytesKept[limit]));
    }
}

TEST(CodePage, KeepsWholeCharactersOfAnotherCodePageWithinALimit)
{
    const Text16 text = Units(u"a\u65E5\u672C");  // one byte and twice two in code page 932

    EXPECT_EQ(Encode(text, 932), "a\x93\xFA\x96\x7B");
    EXPECT_EQ(Encode(text, 932, 4), "a\x93\xFA");
    EXPECT_EQ(Encode(text, 932, 2), "a");
    EXPECT_EQ(Encode(text, 932, 0), "");
    EXPECT_EQ(Decode("a\x93\xFA\x96\x7B", 932, 2), text.substr(0, 2));
    EXPECT_EQ(Decode("a\x93\xFA\x96\x7B", 932), text);
}

TEST(CodePage, KnowsTheConvertersCodePages)
{
    EXPECT_EQ(Decode("\x80\xE9", 1252), Units(u"\u20AC\u00E9"));
    EXPECT_EQ(Encode(Units(u"\u20AC\u00E9"), 1252), "\x80\xE9");
    EXPECT_EQ(Decode("\xCF\xF0\xE8", 1251), Units(u"\u041F\u0440\u0438"));
    EXPECT_EQ(Encode(Units(u"A?"), 500), "\xC1\x6F");  // not ASCII below 0x80 either
}

TEST(CodePage, RefusesAnUnknownOne)
{
    for (const int unknown : {1, -1, 99999, -65001, 2147483647}) {
        SCOPED_TRACE(unknown);
        EXPECT_EQ(Decode("abc", unknown), std::nullopt);
        EXPECT_EQ(Encode(Units(u"abc"), unknown), std::nullopt);
    }
}

TEST(CodePage, ReplacesWhatItCannotDecode)
{
    EXPECT_EQ(Decode("a\x81z", 1252), Units(u"a\uFFFDz"));
    EXPECT_EQ(Decode("a\x93", 932), Units(u"a\uFFFD"));  // the second byte is missing
    EXPECT_EQ(Decode("\x81\x81\x81", 1252), Units(u"\uFFFD\uFFFD\uFFFD"));
}

TEST(CodePage, DecodesACharacterHeldBackForACombiningOne)
{
    EXPECT_EQ(Decode("a", 1258), Units(u"a"));
    EXPECT_EQ(Decode("a\xD2", 1258), Units(u"\u1EA3"));  // a with a hook above
    EXPECT_EQ(Decode("a\xD2z", 1258), Units(u"\u1EA3z"));
    EXPECT_EQ(Decode("\xE9\xD9z", 1255), Units(u"\u05D9\uFFFDz"));  // held back before a bad byte
}

TEST(CodePage, ReplacesWhatItCannotEncode)
{
    EXPECT_EQ(Encode(Units(u"a\u65E5z"), 1252), "a?z");
    EXPECT_EQ(Encode(Units(u"\U0001F600"), 1252), "?");
    EXPECT_EQ(Encode(Units(u"\u65E5\u672C"), 1252), "??");
    EXPECT_EQ(Encode(Units(u"\u65E5"), 500), "\x6F");  // the question mark as that code page has it
    EXPECT_EQ(Encode(Text16{'a', 0xD83D, 'z', 0xDE00}, 1252), "a?z?");
}

TEST(CodePage, ReturnsToTheInitialShiftState)
{
    const std::string shifted = Encode(Units(u"A\u65E5B"), 930).value();

    EXPECT_EQ(Encode(Units(u"A\u65E5"), 930).value().back(), '\x0F');
    EXPECT_EQ(Decode(shifted, 930), Units(u"A\u65E5B"));
}

TEST(CodePage, GivesNothingForNothing)
{
    for (const int codePage : {CODE_PAGE_LOCALE, CODE_PAGE_UTF8, 1252, 930}) {
        SCOPED_TRACE(codePage);
        EXPECT_EQ(Decode("", codePage), Text16());
        EXPECT_EQ(Encode(Text16(), codePage), "");
    }
}

TEST(CodePage, LeavesTheProcessLocaleAlone)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    setenv("LC_ALL", "C.UTF-8", 1);

    Decode("\xC3\xA9", CODE_PAGE_LOCALE);
    Encode(Units(u"\u00E9"), 1252);

    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST(CharacterSetOfLocale, IsUtf8WhereTheLocaleTellsNothing)
{
    for (const char* name :
         {"", "C", "POSIX", "C.UTF-8", "xx_YY", "xx_YY.", "xx_YY.no-such-set", "@", ".", "/"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(CharacterSetOfLocale(name), "UTF-8");
    }
}

TEST(CharacterSetOfLocale, IsReadFromTheNameOfALocaleThatIsNotInstalled)
{
    EXPECT_EQ(CharacterSetOfLocale("xx_YY.ISO-8859-15"), "ISO-8859-15");
    EXPECT_EQ(CharacterSetOfLocale("xx_YY.ISO-8859-15@euro"), "ISO-8859-15");
    EXPECT_EQ(CharacterSetOfLocale("xx_YY.utf8"), "UTF-8");
    EXPECT_EQ(CharacterSetOfLocale("xx_YY.KOI8-R"), "KOI8-R");
}

TEST(LocaleCodePage, FollowsTheFirstVariableThatIsSet)
{
    setenv("LC_ALL", "", 1);
    setenv("LC_CTYPE", "xx_YY.ISO-8859-15", 1);
    setenv("LANG", "C.UTF-8", 1);

    EXPECT_EQ(Decode("\xA4", CODE_PAGE_LOCALE), Units(u"\u20AC"));
    EXPECT_EQ(Encode(Units(u"\u20AC"), CODE_PAGE_LOCALE), "\xA4");
}

TEST(LocaleCodePage, IsUtf8InTheCLocale)
{
    setenv("LC_ALL", "C", 1);
    setenv("LANG", "xx_YY.ISO-8859-15", 1);

    EXPECT_EQ(Decode("\xE2\x82\xAC", CODE_PAGE_LOCALE), Units(u"\u20AC"));
}

TEST(LocaleCodePage, IsUtf8WithoutAnyVariable)
{
    unsetenv("LC_ALL");
    unsetenv("LC_CTYPE");
    unsetenv("LANG");

    EXPECT_EQ(Decode("\xE2\x82\xAC", CODE_PAGE_LOCALE), Units(u"\u20AC"));
}

/// Texts of a fixed sequence, the same in every run.
class RandomText
{
public:
    std::string Bytes(std::size_t longest)
    {
        std::string result(Below(longest + 1), '\0');
        for (char& c : result)
            c = static_cast<char>(Below(255) + 1);
        return result;
    }

    /// Any units at all, surrogates more often than chance.
    Text16 AnyUnits(std::size_t longest)
    {
        Text16 result(Below(longest + 1), 0);
        for (unsigned short& unit : result)
            unit = static_cast<unsigned short>(Below(3) == 0 ? 0xD800 + Below(0x800) : 1 + Below(0xFFFF));
        return result;
    }

    /// Well-formed text from every plane.
    Text16 ValidUnits(std::size_t longest)
    {
        Text16 result;
        for (std::size_t i = Below(longest + 1); i > 0; --i) {
            switch (Below(4)) {
                case 0:
                    result.push_back(static_cast<unsigned short>(1 + Below(0x7F)));
                    break;
                case 1:
                    result.push_back(static_cast<unsigned short>(0x80 + Below(0xD800 - 0x80)));
                    break;
                case 2:
                    result.push_back(static_cast<unsigned short>(0xE000 + Below(0x2000)));
                    break;
                default:
                    result.push_back(static_cast<unsigned short>(0xD800 + Below(0x400)));
                    result.push_back(static_cast<unsigned short>(0xDC00 + Below(0x400)));
            }
        }
        return result;
    }

    std::size_t Below(std::size_t bound) { return m_engine() % bound; }

private:
    std::mt19937 m_engine{20070402};
};

constexpr int SOME_CODE_PAGES[] = {
    CODE_PAGE_LOCALE, CODE_PAGE_UTF8, 500, 437, 850, 874, 930, 932, 936, 937, 949, 1250, 1252, 1255, 1258};

bool IsWellFormed(const Text16& text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((text[i] & 0xF800) != 0xD800) continue;
        if (text[i] >= 0xDC00 || i + 1 == text.size() || (text[i + 1] & 0xFC00) != 0xDC00) return false;
        ++i;
    }
    return true;
}

TEST(CodePageRandom, DecodesAnyBytesToBoundedWellFormedText)
{
    RandomText random;
    for (int round = 0; round < 300; ++round) {
        const std::string bytes = random.Bytes(40);
        for (const int codePage : SOME_CODE_PAGES) {
            const auto decoded = Decode(bytes, codePage);
            SCOPED_TRACE(testing::Message() << "round " << round << ", code page " << codePage);
            ASSERT_TRUE(decoded);
            ASSERT_LE(decoded->size(), 2 * bytes.size());  // a byte gives one unit, or one and a mark
            ASSERT_TRUE(IsWellFormed(*decoded));
            ASSERT_EQ(Decode(bytes, codePage, decoded->size()), decoded);
        }
    }
}

TEST(CodePageRandom, AShorterLimitGivesABeginningOfTheSameText)
{
    RandomText random;
    for (int round = 0; round < 300; ++round) {
        const std::string bytes = random.Bytes(24);
        const std::size_t limit = random.Below(24);
        for (const int codePage : SOME_CODE_PAGES) {
            const auto whole = Decode(bytes, codePage);
            SCOPED_TRACE(testing::Message() << "round " << round << ", code page " << codePage);
            ASSERT_TRUE(whole);
            const Text16 cut = Decode(bytes, codePage, limit).value();
            ASSERT_LE(cut.size(), limit);
            ASSERT_TRUE(IsWellFormed(cut));
            ASSERT_TRUE(whole->starts_with(cut));
        }
    }
}

TEST(CodePageRandom, EncodesAnyUnitsWithinTheirLimit)
{
    RandomText random;
    for (int round = 0; round < 300; ++round) {
        const Text16 units = random.AnyUnits(40);
        const std::size_t limit = random.Below(40);
        for (const int codePage : SOME_CODE_PAGES) {
            const auto encoded = Encode(units, codePage);
            SCOPED_TRACE(testing::Message() << "round " << round << ", code page " << codePage);
            ASSERT_TRUE(encoded);
            ASSERT_LE(encoded->size(), 6 * units.size() + 8);
            ASSERT_EQ(Encode(units, codePage, encoded->size()), encoded);
            ASSERT_LE(Encode(units, codePage, limit).value().size(), limit);
        }
    }
}

TEST(CodePageRandom, CarriesValidTextThroughUtf8)
{
    RandomText random;
    for (int round = 0; round < 2000; ++round) {
        const Text16 text = random.ValidUnits(60);
        SCOPED_TRACE(round);
        ASSERT_EQ(FromUtf8(ToUtf8(text)), text);
    }
}

TEST(CodePageRandom, AgreesWithTheConverterAboutEveryCharacter)
{
    setenv("LC_ALL", "xx_YY.UTF-32", 1);
    RandomText random;
    for (int round = 0; round < 2000; ++round) {
        const Text16 text = random.ValidUnits(60);
        const std::string viaConverter = Encode(text, CODE_PAGE_LOCALE).value();
        SCOPED_TRACE(round);
        ASSERT_EQ(Decode(viaConverter, CODE_PAGE_LOCALE), FromUtf8(ToUtf8(text)));
    }
}

TEST(CodePage, ConvertsOnSeveralThreadsAtOnce)
{
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (std::size_t t = 0; t < wrong.size(); ++t) {
        threads.emplace_back([&wrong, t] {
            for (int i = 0; i < 200; ++i) {
                if (Encode(Units(u"\u20AC"), 1252) != "\x80") ++wrong[t];
                if (Decode("\xC3\xA9", CODE_PAGE_LOCALE) != Units(u"\u00E9")) ++wrong[t];
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace netinfo
