#include "common/Parameter.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

using namespace std::string_literals;

constexpr unsigned long long ULL_MAX = ULLONG_MAX;

unsigned int Size(const std::string& text) { return static_cast<unsigned int>(text.size()); }

/// What `GetData` puts into a buffer of exactly `size` bytes (a sanitizer sees one more); "false" without it.
std::string DataOf(PARAMETER& value, unsigned int size, unsigned int length)
{
    const std::unique_ptr<char[]> buffer(new char[size]);
    std::memset(buffer.get(), '.', size);
    if (!value.GetData(buffer.get(), size)) return "false";
    return {buffer.get(), length};
}

bool AllZero(const PARAMETER& value)
{
    return std::string(1024, '\0') == std::string(reinterpret_cast<const char*>(value.GetRawData()), 1024);
}

/// Position of a virtual operation in the table, from how a pointer to it is represented.
template <class Function>
std::uintptr_t Slot(Function PARAMETER::*function)
{
    std::uintptr_t words[2];
    static_assert(sizeof words == sizeof function);
    std::memcpy(words, &function, sizeof words);
    return (words[0] & ~std::uintptr_t{1}) / sizeof(void*);
}

TEST(Parameter, OperationsKeepTheirSlots)
{
    EXPECT_EQ(Slot(&PARAMETER::IsEmpty), 0U);
    EXPECT_EQ(Slot(&PARAMETER::Empty), 1U);
    EXPECT_EQ(Slot(&PARAMETER::TypeId), 2U);
    EXPECT_EQ(Slot(&PARAMETER::ToString), 3U);
    EXPECT_EQ(Slot(&PARAMETER::FromString), 4U);
    EXPECT_EQ(Slot(&PARAMETER::SetData), 5U);
    EXPECT_EQ(Slot(&PARAMETER::GetData), 6U);
    EXPECT_EQ(Slot(&PARAMETER::GetLength), 7U);
    EXPECT_EQ(Slot(&PARAMETER::GetNumValue), 8U);
    EXPECT_EQ(Slot(&PARAMETER::GetRawData), 9U);
}

TEST(Parameter, ValuesHoldALengthAnd1024Bytes)
{
    STRING value;
    ASSERT_TRUE(value.FromString("x"));

    const auto* const object = reinterpret_cast<const unsigned char*>(&value);
    EXPECT_EQ(value.GetRawData() - object, static_cast<std::ptrdiff_t>(sizeof(void*) + sizeof(int)));
    EXPECT_GE(sizeof value, sizeof(void*) + sizeof(int) + 1024);
}

TEST(Parameter, TypeNumbersSkip4)
{
    EXPECT_EQ(BINARY().TypeId(), 1);
    EXPECT_EQ(STRING().TypeId(), 2);
    EXPECT_EQ(NUMERIC().TypeId(), 3);
    EXPECT_EQ(RANGE().TypeId(), 5);
    EXPECT_EQ(HEX().TypeId(), 6);
    EXPECT_EQ(REAL().TypeId(), 7);
}

template <class Value>
class EveryParameter : public testing::Test
{};
using Values = testing::Types<BINARY, STRING, NUMERIC, RANGE, HEX, REAL>;
TYPED_TEST_SUITE(EveryParameter, Values);

TYPED_TEST(EveryParameter, IsEmptyAtFirst)
{
    TypeParam value;
    char buffer[16];

    EXPECT_TRUE(value.IsEmpty());
    EXPECT_EQ(value.GetLength(), 0);
    EXPECT_EQ(value.GetNumValue(), 0U);
    EXPECT_EQ(value.ToString(), "");
    EXPECT_FALSE(value.GetData(buffer, sizeof buffer));
    EXPECT_TRUE(AllZero(value));
}

TYPED_TEST(EveryParameter, EmptyForgetsEveryByte)
{
    TypeParam value;
    ASSERT_TRUE(value.FromString("1234"));
    ASSERT_FALSE(value.IsEmpty());

    value.Empty();

    EXPECT_TRUE(value.IsEmpty());
    EXPECT_EQ(value.GetNumValue(), 0U);
    EXPECT_EQ(value.ToString(), "");
    EXPECT_TRUE(AllZero(value));
}

TYPED_TEST(EveryParameter, RefusesNullDataAndKeepsItsValue)
{
    TypeParam value;
    ASSERT_TRUE(value.FromString("1234"));
    const std::string before = value.ToString();

    EXPECT_FALSE(value.SetData(nullptr, 4));
    EXPECT_FALSE(value.GetData(nullptr, 1024));

    EXPECT_EQ(value.ToString(), before);
}

TYPED_TEST(EveryParameter, CopiesAreIndependent)
{
    TypeParam value;
    ASSERT_TRUE(value.FromString("1234"));

    TypeParam copy = value;
    value.Empty();

    EXPECT_FALSE(copy.IsEmpty());
    EXPECT_NE(copy.ToString(), "");
}

TEST(Parameter, NumValueIsTheFirstEightBytes)
{
    BINARY bytes;
    const unsigned char data[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    ASSERT_TRUE(bytes.SetData(data, sizeof data));
    unsigned long long first;
    std::memcpy(&first, data, sizeof first);
    EXPECT_EQ(bytes.GetNumValue(), first);

    NUMERIC number;
    number = 12345;
    EXPECT_EQ(number.GetNumValue(), 12345U);

    REAL real;
    real = 1.5;
    EXPECT_EQ(real.GetNumValue(), 0x3FF8000000000000U);  // the bits of the double

    RANGE range;
    range = {3, -1};
    const int bounds[] = {3, -1};
    std::memcpy(&first, bounds, sizeof first);
    EXPECT_EQ(range.GetNumValue(), first);
}

TEST(Binary, ReadsHexadecimalPairsOfEitherCase)
{
    BINARY value;

    ASSERT_TRUE(value.FromString("0aFF"));

    EXPECT_EQ(value.GetLength(), 2);
    EXPECT_EQ(value.GetRawData()[0], 0x0A);
    EXPECT_EQ(value.GetRawData()[1], 0xFF);
    EXPECT_EQ(value.ToString(), "0AFF");
}

TEST(Binary, ShowsEveryByteAsTwoDigits)
{
    unsigned char all[256];
    std::string text;
    for (int i = 0; i < 256; ++i) {
        all[i] = static_cast<unsigned char>(i);
        text += "0123456789ABCDEF"[i / 16];
        text += "0123456789ABCDEF"[i % 16];
    }
    BINARY value;
    ASSERT_TRUE(value.SetData(all, sizeof all));
    EXPECT_EQ(value.ToString(), text);

    BINARY back;
    ASSERT_TRUE(back.FromString(text));
    EXPECT_EQ(std::memcmp(back.GetRawData(), all, sizeof all), 0);
}

TEST(Binary, RefusesAnOddNumberOfDigitsAndKeepsItsValue)
{
    BINARY value;
    ASSERT_TRUE(value.FromString("12"));

    EXPECT_FALSE(value.FromString("abc"));

    EXPECT_EQ(value.ToString(), "12");
}

TEST(Binary, IsEmptyAfterACharacterThatIsNoDigit)
{
    // The neighbours of the digits in the character set among them.
    for (const std::string text : {"zz", "1z", "z1", "0g", "0G", "/0", ":0", "@0", "`0", "\xF0\x30"}) {
        SCOPED_TRACE(text);
        BINARY value;
        ASSERT_TRUE(value.FromString("1234"));

        EXPECT_FALSE(value.FromString("56" + text));

        EXPECT_TRUE(value.IsEmpty());
        EXPECT_EQ(value.ToString(), "");
        EXPECT_EQ(value.GetRawData()[0], 0x56);  // what was read so far is still there
        EXPECT_EQ(value.GetRawData()[1], 0);
    }
}

TEST(Binary, TakesUpTo2048Digits)
{
    BINARY value;

    EXPECT_TRUE(value.FromString(std::string(2048, 'a')));
    EXPECT_EQ(value.GetLength(), 1024);
    EXPECT_EQ(value.ToString(), std::string(2048, 'A'));
    EXPECT_EQ(DataOf(value, 1024, 1024), std::string(1024, '\xAA'));

    EXPECT_FALSE(value.FromString(std::string(2050, 'b')));
    EXPECT_EQ(value.GetLength(), 1024);
}

TEST(Binary, AnEmptyTextEmptiesIt)
{
    BINARY value;
    ASSERT_TRUE(value.FromString("12"));

    EXPECT_TRUE(value.FromString(""));

    EXPECT_TRUE(value.IsEmpty());
}

TEST(Binary, TakesUpTo1023BytesOfData)
{
    const std::string bytes(1024, '\x7F');
    BINARY value;

    EXPECT_TRUE(value.SetData(bytes.data(), 1023));
    EXPECT_EQ(value.GetLength(), 1023);
    EXPECT_FALSE(value.SetData(bytes.data(), 1024));
    EXPECT_FALSE(value.SetData(bytes.data(), UINT_MAX));
    EXPECT_EQ(value.GetLength(), 1023);
}

TEST(Binary, LeavesNothingOfALongerValueBehind)
{
    BINARY value;
    ASSERT_TRUE(value.FromString("AABBCC"));

    ASSERT_TRUE(value.SetData("x", 1));

    EXPECT_EQ(value.ToString(), "78");
    EXPECT_EQ(value.GetRawData()[1], 0);
    EXPECT_EQ(value.GetRawData()[2], 0);
}

TEST(Binary, CanBeSetFromItsOwnBytes)
{
    BINARY value;
    ASSERT_TRUE(value.FromString("AABBCC"));

    ASSERT_TRUE(value.SetData(value.GetRawData() + 1, 2));

    EXPECT_EQ(value.ToString(), "BBCC");
}

TEST(Binary, GivesItsBytesWhereTheyFit)
{
    BINARY value;
    ASSERT_TRUE(value.FromString("414200"));

    EXPECT_EQ(DataOf(value, 3, 3), "AB\0"s);
    EXPECT_EQ(DataOf(value, 5, 5), "AB\0.."s);
    EXPECT_EQ(DataOf(value, 2, 2), "false");
    EXPECT_EQ(DataOf(value, 0, 0), "false");
}

TEST(String, TakesUpTo1023Characters)
{
    STRING value;

    EXPECT_TRUE(value.FromString(std::string(1023, 'a')));
    EXPECT_EQ(value.GetLength(), 1023);
    EXPECT_EQ(value.ToString(), std::string(1023, 'a'));

    EXPECT_FALSE(value.FromString(std::string(1024, 'b')));
    EXPECT_EQ(value.ToString(), std::string(1023, 'a'));
}

TEST(String, EndsAtItsFirstZeroByteButCountsThemAll)
{
    STRING value;

    ASSERT_TRUE(value.FromString("ab\0cd"s));

    EXPECT_EQ(value.GetLength(), 5);
    EXPECT_EQ(value.ToString(), "ab");
    EXPECT_TRUE(value == "ab");
    EXPECT_FALSE(value == "ab\0cd"s);
    EXPECT_EQ(DataOf(value, 6, 6), "ab\0cd\0"s);
}

TEST(String, DataNeedsNoTerminator)
{
    STRING value;
    ASSERT_TRUE(value.FromString("something longer"));

    ASSERT_TRUE(value.SetData("abcdef", 3));

    EXPECT_EQ(value.GetLength(), 3);
    EXPECT_EQ(value.ToString(), "abc");
}

TEST(String, DataOfFullLengthStillEnds)
{
    STRING value;
    ASSERT_TRUE(value.SetData(std::string(1023, 'a').data(), 1023));
    EXPECT_FALSE(value.SetData(std::string(1024, 'b').data(), 1024));

    EXPECT_EQ(value.ToString(), std::string(1023, 'a'));
}

TEST(String, TerminatesTheCopyAlsoOneByteBehindItsSize)
{
    STRING value;
    value = "abc"s;
    char buffer[] = "......";

    EXPECT_TRUE(value.GetData(buffer, 3));
    EXPECT_EQ(std::string(buffer, 6), "abc\0.."s);

    EXPECT_FALSE(value.GetData(buffer, 2));
    EXPECT_TRUE(value.GetData(buffer, UINT_MAX));
}

TEST(String, AssignmentReadsTheText)
{
    STRING value;

    value = "abc";
    EXPECT_EQ(value.GetLength(), 3);
    value = std::string(1024, 'x');
    EXPECT_EQ(value.ToString(), "abc");
    value = "";
    EXPECT_TRUE(value.IsEmpty());
}

TEST(String, AnEmptyValueEqualsNoText)
{
    STRING value;

    EXPECT_FALSE(value == "");
    value = "abc";
    EXPECT_TRUE(value == "abc");
    EXPECT_FALSE(value == "ab");
    EXPECT_FALSE(value == "abcd");
    EXPECT_TRUE(value != "");
}

TEST(Numeric, ReadsTheNumberAtTheStart)
{
    struct Case
    {
        const char* text;
        unsigned long long value;
        int length;
    };
    const Case cases[] = {
        {"0", 0, 1},
        {"12345", 12345, 5},
        {"007", 7, 3},
        {"  42 apples", 42, 11},
        {"+5", 5, 2},
        {"none", 0, 4},
        {"-1", ULL_MAX, 2},
        {"9223372036854775807", LLONG_MAX, 19},
        {"18446744073709551615", LLONG_MAX, 20},  // above a signed number: the largest of them
        {"-99999999999999999999", 0x8000000000000000, 21},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        NUMERIC value;
        EXPECT_TRUE(value.FromString(c.text));
        EXPECT_EQ(value.GetNumValue(), c.value);
        EXPECT_EQ(value.GetLength(), c.length);
        EXPECT_EQ(value.ToString(), std::to_string(c.value));
    }
}

TEST(Numeric, AnEmptyTextEmptiesIt)
{
    NUMERIC value;
    value = 5;

    EXPECT_TRUE(value.FromString(""));

    EXPECT_TRUE(value.IsEmpty());
    EXPECT_EQ(value.GetNumValue(), 0U);
    EXPECT_FALSE(value == 0);
}

TEST(Numeric, AssignmentCountsTheDigits)
{
    struct Case
    {
        unsigned long long value;
        int length;
    };
    for (const Case& c : {Case{0, 1}, {9, 1}, {10, 2}, {12345, 5}, {ULL_MAX, 20}}) {
        SCOPED_TRACE(c.value);
        NUMERIC value;
        value = c.value;
        EXPECT_EQ(value.GetLength(), c.length);
        EXPECT_EQ(value.ToString(), std::to_string(c.value));
        EXPECT_EQ(static_cast<unsigned long long>(value), c.value);
        EXPECT_TRUE(value == c.value);
        EXPECT_FALSE(value == c.value + 1);
    }
}

TEST(Numeric, ComparesWithEveryIntegerType)
{
    NUMERIC value;
    value = 65;

    EXPECT_TRUE(value == 65);
    EXPECT_TRUE(65U == value);
    EXPECT_TRUE(value == 65L);
    EXPECT_TRUE(value == 'A');
    EXPECT_TRUE(value != 66);
}

TEST(Numeric, DataIsTerminatedText)
{
    NUMERIC value;

    EXPECT_TRUE(value.SetData("123", 0));

    EXPECT_EQ(value.GetNumValue(), 123U);
    EXPECT_EQ(value.GetLength(), 3);
    EXPECT_EQ(DataOf(value, 3, 3), "123");
    EXPECT_EQ(DataOf(value, 5, 5), "123..");
    EXPECT_EQ(DataOf(value, 2, 2), "false");
}

TEST(Numeric, GivesTheDigitsOfTheValueNotThoseItWasReadFrom)
{
    NUMERIC value;
    ASSERT_TRUE(value.FromString("007"));

    EXPECT_EQ(DataOf(value, 1, 1), "7");
}

TEST(Hex, ReadsTheDigitsAtTheStart)
{
    struct Case
    {
        const char* text;
        unsigned long long value;
        int length;
    };
    const Case cases[] = {
        {"1g", 1, 2},
        {"ff", 255, 2},
        {"FF", 255, 2},
        {"0x1F", 0, 4},
        {"-1", 0, 2},
        {"", 0, 0},
        {"ffffffffffffffff", ULL_MAX, 16},
        {"123456789abcdef01", 0x23456789abcdef01, 17},  // the first digit is lost
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        HEX value;
        EXPECT_TRUE(value.FromString(c.text));
        EXPECT_EQ(value.GetNumValue(), c.value);
        EXPECT_EQ(value.GetLength(), c.length);
    }
}

TEST(Hex, ShowsLowerCaseDigits)
{
    HEX value;

    value = 0xABCDEF;

    EXPECT_EQ(value.ToString(), "abcdef");
    EXPECT_EQ(value.GetLength(), 6);
    EXPECT_EQ(DataOf(value, 6, 6), "abcdef");
    EXPECT_EQ(DataOf(value, 5, 5), "false");
}

TEST(Hex, AssignmentCountsTheDigits)
{
    HEX value;

    value = 0;
    EXPECT_EQ(value.GetLength(), 1);
    EXPECT_EQ(value.ToString(), "0");
    EXPECT_TRUE(value == 0);
    value = ULL_MAX;
    EXPECT_EQ(value.GetLength(), 16);
    EXPECT_EQ(static_cast<unsigned long long>(value), ULL_MAX);
    EXPECT_FALSE(value == 0);
}

TEST(Hex, DataIsTerminatedText)
{
    HEX value;

    EXPECT_TRUE(value.SetData("10", 0));

    EXPECT_TRUE(value == 16);
    EXPECT_EQ(value.GetLength(), 2);
}

TEST(Range, ShowsBothBoundsWithoutAClosingParenthesis)
{
    RANGE value;

    value = {3, 7};

    EXPECT_EQ(value.GetLength(), 8);
    EXPECT_EQ(value.ToString(), "(3-7");
}

TEST(Range, ShowsANegativeBoundAsALargeNumber)
{
    RANGE value;

    value = {-1, INT_MIN};

    EXPECT_EQ(value.ToString(), "(18446744073709551615-18446744071562067968");
    EXPECT_EQ(value.GetRangeBegin(), -1);
    EXPECT_EQ(value.GetRangeEnd(), INT_MIN);
}

TEST(Range, ReadsEveryText)
{
    struct Case
    {
        const char* text;
        int begin, end;
    };
    const Case cases[] = {
        {"(3-7)", 3, 7},
        {"(3-7", 3, 0},  // the last character is always cut off
        {"(3-77", 3, 7},
        {"x3-7x", 3, 7},
        {"(2147483647--2147483648)", INT_MAX, INT_MIN},
        {"(-3-7)", 0, 3},  // the first '-' is taken for the one between the bounds
        {"(4294967297-7)", 1, 7},
        {"(a-b)", 0, 0},
        {"(3-)", 3, 0},
        {"(3-", 3, 0},  // nothing behind the '-' to cut
        {"-", 0, 0},
        {"-5)", 5, 5},  // nothing in front of it: the first bound runs to the end
        {"(5)", 5, 0},  // no '-': the second bound is the whole text
        {"567", 67, 56},
        {"5", 0, 0},
        {"(18446744073709551615-1)", -1, 1},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        RANGE value;
        EXPECT_TRUE(value.FromString(c.text));
        EXPECT_EQ(value.GetRangeBegin(), c.begin);
        EXPECT_EQ(value.GetRangeEnd(), c.end);
        EXPECT_EQ(value.GetLength(), 8);
    }
}

TEST(Range, AnEmptyTextIsOutOfRangeAndKeepsTheValue)
{
    RANGE value;
    value = {3, 7};

    EXPECT_THROW(value.FromString(""), std::out_of_range);
    EXPECT_THROW(value.SetData("", 0), std::out_of_range);

    EXPECT_TRUE(value == (RangeType{3, 7}));
}

TEST(Range, DataIsTerminatedText)
{
    RANGE value;

    EXPECT_TRUE(value.SetData("(10-20)", 0));

    EXPECT_TRUE(value == (RangeType{10, 20}));
}

TEST(Range, GivesExactlyEightBytesOfItsText)
{
    RANGE value;

    value = {3, 7};
    EXPECT_EQ(DataOf(value, 8, 8), "(3-7\0\0\0\0"s);
    EXPECT_EQ(DataOf(value, 9, 9), "(3-7\0\0\0\0."s);
    EXPECT_EQ(DataOf(value, 7, 7), "false");

    value = {1000, 2000};
    EXPECT_EQ(DataOf(value, 8, 8), "(1000-20");
}

TEST(Range, EqualsOnlyBothItsBounds)
{
    RANGE value;
    EXPECT_FALSE(value == RangeType{});

    value = {0, 0};
    EXPECT_TRUE(value == RangeType{});
    EXPECT_FALSE(value == (RangeType{0, 1}));
    EXPECT_FALSE(value == (RangeType{1, 0}));
}

TEST(Real, ShowsAsManyDigitsAsItsTextHadCharacters)
{
    struct Case
    {
        const char *text, *shown;
    };
    const Case cases[] = {
        {"3.14", "3.14"},  {"1", "1"},   {"2.50", "2.5"}, {"12345.678", "12345.678"},
        {"1e10", "1e+10"},  // four digits are too few to write it out
        {"-0.5", "-0.5"},  {"abc", "0"}, {"7 days", "7"}, {"inf", "inf"},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        REAL value;
        EXPECT_TRUE(value.FromString(c.text));
        EXPECT_EQ(value.GetLength(), static_cast<int>(std::strlen(c.text)));
        EXPECT_EQ(value.ToString(), c.shown);
    }
}

TEST(Real, AnyLengthOfTextIsShownWithoutHarm)
{
    for (const std::size_t length : {17U, 997U, 998U, 1024U, 100'000U}) {
        SCOPED_TRACE(length);
        REAL value;
        ASSERT_TRUE(value.FromString("0." + std::string(length - 2, '3')));
        EXPECT_EQ(value.GetLength(), static_cast<int>(length));
        EXPECT_EQ(std::strtod(value.ToString().c_str(), nullptr), value.GetFloatValue());
    }
}

TEST(Real, EveryValueComesBackFromItsFullText)
{
    for (const double number : {0.0, 1.0, 0.1, -2.5, 1.0 / 3, DBL_MAX, -DBL_MAX, DBL_MIN, DBL_TRUE_MIN,
                                -DBL_TRUE_MIN, DBL_EPSILON, 1e-5, 123456789012345678.0, 1e300}) {
        SCOPED_TRACE(number);
        REAL value;
        value = number;
        const std::string text = value.ToString();

        EXPECT_EQ(value.GetLength(), static_cast<int>(text.size()));
        EXPECT_EQ(std::strtod(text.c_str(), nullptr), number);
        EXPECT_EQ(DataOf(value, Size(text), Size(text)), text);
        EXPECT_TRUE(value == number);
    }
}

TEST(Real, ANumberThatIsNoneEqualsNothing)
{
    REAL value;
    value = std::nan("");

    EXPECT_TRUE(std::isnan(value.GetFloatValue()));
    EXPECT_FALSE(value == std::nan(""));
    EXPECT_FALSE(value.IsEmpty());
}

TEST(Real, GivingItsDataSetsItsLength)
{
    REAL value;
    ASSERT_TRUE(value.FromString("2.50000"));
    ASSERT_EQ(value.GetLength(), 7);

    EXPECT_EQ(DataOf(value, 2, 2), "false");
    EXPECT_EQ(value.GetLength(), 3);  // though nothing was copied

    EXPECT_EQ(DataOf(value, 3, 3), "2.5");
    EXPECT_EQ(DataOf(value, 5, 5), "2.5..");
}

TEST(Real, AnEmptyValueIsZeroAndEqualsNothing)
{
    REAL value;

    EXPECT_EQ(value.GetFloatValue(), 0);
    EXPECT_EQ(static_cast<double>(value), 0);
    EXPECT_FALSE(value == 0.0);

    value = 0;
    EXPECT_TRUE(value == 0);
    EXPECT_TRUE(value == 0.0F);
    EXPECT_EQ(value.GetLength(), 1);

    EXPECT_TRUE(value.FromString(""));
    EXPECT_TRUE(value.IsEmpty());
}

TEST(Real, DataIsTerminatedText)
{
    REAL value;

    EXPECT_TRUE(value.SetData("-1.25", 0));

    EXPECT_TRUE(value == -1.25);
    EXPECT_EQ(value.GetLength(), 5);
}

TEST(DsatutilAtoll, AcceptsEveryHexadecimalDigitInEveryBase)
{
    struct Case
    {
        const char* text;
        unsigned int base;
        unsigned long long value;
    };
    const Case cases[] = {
        {"19", 8, 17},  // the 9 counts
        {"19", 10, 19},
        {"1F", 16, 31},
        {"1f", 10, 25},
        {"12 3", 10, 12},
        {"", 10, 0},
        {"g", 16, 0},
        {"111", 0, 1},
        {"18446744073709551616", 10, 0},
        {"18446744073709551617", 10, 1},
    };

    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        unsigned long long value = 99;
        const auto* const text = reinterpret_cast<const unsigned char*>(c.text);
        EXPECT_EQ(dsatutil_atoll(&value, text, c.base), c.value);
        EXPECT_EQ(value, c.value);
    }
}

TEST(DsatutilAtoll, NullIsNoTextAndNoPlaceForTheValue)
{
    unsigned long long value = 99;

    EXPECT_EQ(dsatutil_atoll(&value, nullptr, 10), 0U);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(dsatutil_atoll(nullptr, reinterpret_cast<const unsigned char*>("7"), 10), 7U);
}

static_assert(std::is_base_of_v<PARAMETER, BINARY> && std::is_base_of_v<PARAMETER, STRING>);
static_assert(std::is_abstract_v<PARAMETER> && std::has_virtual_destructor_v<PARAMETER>);
static_assert(sizeof(RangeType) == 8 && offsetof(RangeType, nEnd) == 4);

}  // namespace
