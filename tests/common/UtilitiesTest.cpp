#include "common/Utilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/common/GlobalFunction.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Text.h"

using nettest::FailingAllocation;
using nettest::Narrow;
using nettest::U16;
using nettest::U16String;

namespace {

/// A platform that answers as the test says, right or wrong, and remembers what it was asked.
struct ScriptedPlatform
{
    struct Call
    {
        bool withBuffer;
        int size;
    };

    std::vector<Call> calls;
    std::string texts;  ///< the texts it was given, each followed by ';'
    int codePage = -1;
    int length = 0;     ///< what it says when asked for the length
    std::string units;  ///< what it puts into the buffer, one unit a character, unasked terminators included
    bool throwsAway = false;  ///< it leaves the buffer alone

    template <class Unit>
    int Answer(Unit* buffer, int size)
    {
        calls.push_back({buffer != nullptr, size});
        if (!buffer) return length;
        if (!throwsAway) std::copy(units.begin(), units.end(), buffer);
        return static_cast<int>(units.size());
    }
    void Says(const std::string& text)
    {
        units = text;
        length = static_cast<int>(text.size());
    }
};

ScriptedPlatform g_platform;
class Utilities : public testing::Test
{
protected:
    Utilities() { g_platform = {}; }

    static void ExpectTwoCalls(int size)
    {
        ASSERT_EQ(g_platform.calls.size(), 2U);
        EXPECT_FALSE(g_platform.calls[0].withBuffer);
        EXPECT_EQ(g_platform.calls[0].size, 0);
        EXPECT_TRUE(g_platform.calls[1].withBuffer);
        EXPECT_EQ(g_platform.calls[1].size, size);
    }
};

}  // namespace

int CGlobalFunction::GetSetting(const unsigned short* section, const unsigned short* key,
                                unsigned short* buffer, int size)
{
    g_platform.texts += Narrow(section) + ';' + Narrow(key) + ';';
    return g_platform.Answer(buffer, size);
}

bool CGlobalFunction::SetSetting(const unsigned short* section, const unsigned short* key,
                                 const unsigned short* value)
{
    g_platform.texts += Narrow(section) + ';' + Narrow(key) + ';' + Narrow(value) + ';';
    return false;
}

int CGlobalFunction::GetUserDataDirectory(unsigned short* buffer, int size)
{
    return g_platform.Answer(buffer, size);
}

int CGlobalFunction::MultiByteToWideChar(const char* s, unsigned short* buffer, int size, int nCodePage)
{
    g_platform.texts += std::string(s) + ';';
    g_platform.codePage = nCodePage;
    return g_platform.Answer(buffer, size);
}

int CGlobalFunction::WideCharToMultiByte(const unsigned short* s, char* buffer, int size, int nCodePage)
{
    g_platform.texts += Narrow(s) + ';';
    g_platform.codePage = nCodePage;
    return g_platform.Answer(buffer, size);
}

namespace {

TEST_F(Utilities, ASettingIsWrittenWithItsThreeTextsInOrder)
{
    SetSetting(U16("uselimit"), U16("startweekdate"), U16("1"));

    EXPECT_EQ(g_platform.texts, "uselimit;startweekdate;1;");
}

TEST_F(Utilities, ASettingIsReadByAskingForItsLengthFirst)
{
    g_platform.Says("15");

    EXPECT_EQ(Narrow(MyGetSetting(U16("uselimit"), U16("startmonthdate"))), "15");

    ExpectTwoCalls(2);
    EXPECT_EQ(g_platform.texts, "uselimit;startmonthdate;uselimit;startmonthdate;");
}

TEST_F(Utilities, ASettingThatDoesNotExistIsEmpty)
{
    EXPECT_TRUE(MyGetSetting(U16("uselimit"), U16("startweekdate")).empty());
}

TEST_F(Utilities, ASettingThatVanishesBetweenTheTwoQuestionsIsEmpty)
{
    g_platform.Says("15");
    g_platform.throwsAway = true;

    EXPECT_TRUE(MyGetSetting(U16("uselimit"), U16("startweekdate")).empty());
}

TEST_F(Utilities, TextFromThePlatformEndsAtItsFirstZeroUnit)
{
    g_platform.Says(std::string("ab\0cd", 5));

    EXPECT_EQ(Narrow(MyGetSetting(U16("a"), U16("b"))), "ab");
    EXPECT_EQ(Narrow(MyMultiByteToWideChar("x", 0)), "ab");
    EXPECT_EQ(MyWideCharToMultiByte(U16("x").c_str(), 0), "ab");
    EXPECT_EQ(Narrow(MyGetUserDataPath()), "ab");
}

TEST_F(Utilities, ThePlatformMayWriteATerminatorBehindTheLengthItNamed)
{
    g_platform.units = std::string("abc\0", 4);
    g_platform.length = 3;

    EXPECT_EQ(Narrow(MyGetSetting(U16("a"), U16("b"))), "abc");
    EXPECT_EQ(Narrow(MyMultiByteToWideChar("x", 0)), "abc");
    EXPECT_EQ(MyWideCharToMultiByte(U16("x").c_str(), 0), "abc");
}

TEST_F(Utilities, ThePlatformNeedNotWriteATerminator)
{
    g_platform.Says("abc");

    EXPECT_EQ(MyGetSetting(U16("a"), U16("b")), U16("abc"));
    EXPECT_EQ(MyMultiByteToWideChar("x", 0), U16("abc"));
    EXPECT_EQ(MyWideCharToMultiByte(U16("x").c_str(), 0), "abc");
}

TEST_F(Utilities, ALengthBelowZeroIsAnEmptyText)
{
    g_platform.Says("abc");
    g_platform.length = -1;

    EXPECT_TRUE(MyGetSetting(U16("a"), U16("b")).empty());
    EXPECT_TRUE(MyMultiByteToWideChar("x", 0).empty());
    EXPECT_TRUE(MyWideCharToMultiByte(U16("x").c_str(), 0).empty());
    EXPECT_EQ(g_platform.calls.size(), 3U);  // never asked for the text
}

TEST_F(Utilities, NarrowTextIsDecodedFromTheGivenCodePage)
{
    g_platform.Says("wide");

    EXPECT_EQ(Narrow(MyMultiByteToWideChar("narrow", 65001)), "wide");

    ExpectTwoCalls(4);
    EXPECT_EQ(g_platform.texts, "narrow;narrow;");
    EXPECT_EQ(g_platform.codePage, 65001);
}

TEST_F(Utilities, WideTextIsEncodedIntoTheGivenCodePage)
{
    g_platform.Says("narrow");

    EXPECT_EQ(MyWideCharToMultiByte(U16("wide").c_str(), 0), "narrow");

    ExpectTwoCalls(6);
    EXPECT_EQ(g_platform.texts, "wide;wide;");
    EXPECT_EQ(g_platform.codePage, 0);
}

TEST_F(Utilities, ANullTextConvertsToAnEmptyOne)
{
    g_platform.Says("x");

    EXPECT_TRUE(MyMultiByteToWideChar(nullptr, 0).empty());
    EXPECT_TRUE(MyWideCharToMultiByte(nullptr, 0).empty());
    EXPECT_TRUE(g_platform.calls.empty());
}

TEST_F(Utilities, AFailedAllocationSurfaces)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "the sanitizer keeps its operator new";
    g_platform.length = 1000;
    g_platform.calls.reserve(2);  // no allocation but the one for the text is left

    const FailingAllocation failing(0);
    EXPECT_THROW(MyMultiByteToWideChar("x", 0), std::bad_alloc);
    EXPECT_TRUE(failing.HasFailed());
}

TEST_F(Utilities, TheUserDataPathIsReadIntoRoomFor1024Units)
{
    g_platform.units = std::string("/home/u/.local/share/netinfo/\0", 30);

    EXPECT_EQ(Narrow(MyGetUserDataPath()), "/home/u/.local/share/netinfo/");

    ASSERT_EQ(g_platform.calls.size(), 1U);
    EXPECT_TRUE(g_platform.calls[0].withBuffer);
    EXPECT_EQ(g_platform.calls[0].size, 1024);
}

TEST_F(Utilities, AUserDataPathThatFillsTheRoomWithoutATerminatorIsKeptWhole)
{
    g_platform.units = std::string(1024, 'p');

    EXPECT_EQ(Narrow(MyGetUserDataPath()), std::string(1024, 'p'));
}

TEST_F(Utilities, AMissingUserDataPathIsEmpty) { EXPECT_TRUE(MyGetUserDataPath().empty()); }

TEST_F(Utilities, WideCharactersBecomeUtf16)
{
    struct Case
    {
        std::wstring text;
        U16String units;
    };
    const Case cases[] = {
        {L"", {}},
        {L"abc", U16("abc")},
        {{wchar_t{0xFFFF}}, {0xFFFF}},
        {{wchar_t{0x10000}}, {0xD800, 0xDC00}},
        {{wchar_t{0x1F600}}, {0xD83D, 0xDE00}},
        {{wchar_t{0x10FFFF}}, {0xDBFF, 0xDFFF}},
        {{L'a', wchar_t{0x1F600}, L'b'}, {'a', 0xD83D, 0xDE00, 'b'}},
        {{wchar_t{0xD800}, wchar_t{0xDFFF}}, {0xD800, 0xDFFF}},  // lone surrogates stay
        {{L'a', wchar_t{0xA10000}, L'b'}, {'a'}},  // no character: its first unit comes out as zero
    };

    for (const Case& c : cases)
        EXPECT_EQ(ToNimb_wchar(c.text.c_str()), c.units);
}

TEST_F(Utilities, ANullWideTextIsEmpty) { EXPECT_TRUE(ToNimb_wchar(nullptr).empty()); }

TEST_F(Utilities, WideCharactersBecomeAnEmptyTextWhenMemoryRunsOut)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "the sanitizer keeps its operator new";
    const FailingAllocation failing(0);

    EXPECT_TRUE(ToNimb_wchar(L"a text that needs memory of its own").empty());
    EXPECT_TRUE(failing.HasFailed());
}

TEST_F(Utilities, ComparisonAsksForEquality)
{
    EXPECT_TRUE(NIMB_wcscmp(U16("abc"), U16("abc")));
    EXPECT_TRUE(NIMB_wcscmp({}, {}));
    EXPECT_FALSE(NIMB_wcscmp(U16("abc"), U16("abd")));
    EXPECT_FALSE(NIMB_wcscmp(U16("abc"), U16("ab")));
    EXPECT_FALSE(NIMB_wcscmp(U16("ab"), U16("abc")));
    EXPECT_FALSE(NIMB_wcscmp({'a', 0, 'b'}, {'a', 0, 'c'}));
}

TEST_F(Utilities, BoundedComparisonAsksForEquality)
{
    struct Case
    {
        const char *a, *b;
        unsigned long n;
        bool equal;
    };
    const Case cases[] = {
        {"abc", "abd", 2, true}, {"abc", "abd", 3, false},
        {"ab", "abc", 3, false},  // only one is shorter than 3
        {"abc", "ab", 3, false}, {"ab", "ab", 5, true},
        {"ab", "ac", 5, false},  {"ab", "abc", 5, false},  // both shorter, but not equal as wholes
        {"ab", "ab", 2, true},   {"ab", "abc", 2, true},
        {"ab", "cd", 0, true},   {"", "", 0, true},
        {"", "a", 0, true},      {"", "", 1, true},
        {"", "a", 1, false},     {"abc", "abc", ~0UL, true},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.a) + " " + c.b + " " + std::to_string(c.n));
        EXPECT_EQ(NIMB_wcsncmp(U16(c.a), U16(c.b), c.n), c.equal);
    }
}

TEST_F(Utilities, QuotationMarksAreAddedAround)
{
    EXPECT_EQ(AddDoubleQuotationMarks("x"), "\"x\"");
    EXPECT_EQ(AddDoubleQuotationMarks(""), "\"\"");
    EXPECT_EQ(AddDoubleQuotationMarks("\"x\""), "\"\"x\"\"");
    EXPECT_EQ(AddDoubleQuotationMarks(nullptr), "\"\"");
}

TEST_F(Utilities, OnlyAPairOfQuotationMarksIsTakenOut)
{
    EXPECT_EQ(TakeOutDoubleQuotationMarks("\"x\""), "x");
    EXPECT_EQ(TakeOutDoubleQuotationMarks("\"\""), "");
    EXPECT_EQ(TakeOutDoubleQuotationMarks("\"\"x\"\""), "\"x\"");
    EXPECT_EQ(TakeOutDoubleQuotationMarks("\"a"), "\"a");
    EXPECT_EQ(TakeOutDoubleQuotationMarks("a\""), "a\"");
    EXPECT_EQ(TakeOutDoubleQuotationMarks("a"), "a");
    EXPECT_EQ(TakeOutDoubleQuotationMarks(""), "");
    EXPECT_EQ(TakeOutDoubleQuotationMarks(std::string("\"a\0b\"", 5)), std::string("a\0b", 3));
}

TEST_F(Utilities, ASingleQuotationMarkIsALengthError)
{
    EXPECT_THROW(TakeOutDoubleQuotationMarks("\""), std::length_error);
}

TEST_F(Utilities, OnlyTheLettersOfAsciiChangeTheirCase)
{
    std::string all;
    for (int c = 0; c < 256; ++c)
        all += static_cast<char>(c);

    std::string lower = all;
    std::string upper = all;
    EXPECT_TRUE(ToLowerString(lower));
    EXPECT_TRUE(ToUpperString(upper));

    for (std::size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(i);
        const char c = all[i];
        EXPECT_EQ(lower[i], c >= 'A' && c <= 'Z' ? c + 32 : c);
        EXPECT_EQ(upper[i], c >= 'a' && c <= 'z' ? c - 32 : c);
    }
}

TEST_F(Utilities, CaseIsChangedTheSameWayInEveryLocale)
{
    if (!std::setlocale(LC_ALL, "C.UTF-8")) GTEST_SKIP() << "this machine knows no other locale";
    std::string text = "Caf\xE9 I";

    EXPECT_TRUE(ToUpperString(text));
    EXPECT_EQ(text, "CAF\xE9 I");
    EXPECT_TRUE(ToLowerString(text));
    EXPECT_EQ(text, "caf\xE9 i");
}

TEST_F(Utilities, AnEmptyTextHasNoCase)
{
    std::string empty;

    EXPECT_TRUE(ToLowerString(empty));
    EXPECT_TRUE(ToUpperString(empty));
    EXPECT_TRUE(empty.empty());
}

}  // namespace
