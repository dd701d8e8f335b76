#include "platform/common/NimbString.h"

#include <cstdlib>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(NimbString, LengthCountsTheUnitsBeforeTheTerminator)
{
    const unsigned short text[] = {'a', 0xD83D, 0xDE00, 0, 'z', 0};

    EXPECT_EQ(NIMB_wcslen(text), 3UL);
    EXPECT_EQ(NIMB_wcslen(text + 3), 0UL);
    EXPECT_EQ(NIMB_wcslen(nullptr), 0UL);
}

TEST(NimbString, CopyTakesTheTerminatorAlongAndNothingAfterIt)
{
    const unsigned short text[] = {'a', 'b', 0, 'z'};
    unsigned short target[] = {'1', '2', '3', '4'};

    EXPECT_EQ(NIMB_wcscpy(target, text), target);

    EXPECT_EQ(target[0], 'a');
    EXPECT_EQ(target[1], 'b');
    EXPECT_EQ(target[2], 0);
    EXPECT_EQ(target[3], '4');
}

TEST(NimbString, CopyOfNoTextIsEmpty)
{
    unsigned short target[] = {'1', '2'};

    EXPECT_EQ(NIMB_wcscpy(target, nullptr), target);

    EXPECT_EQ(target[0], 0);
    EXPECT_EQ(NIMB_wcscpy(nullptr, target), nullptr);
}

TEST(NimbString, WritesNumbersInEveryRadix)
{
    constexpr unsigned long long LARGEST = std::numeric_limits<unsigned long long>::max();
    struct
    {
        unsigned long long value;
        int radix;
        std::string digits;
    } const cases[] = {
        {0, 10, "0"},
        {7, 10, "7"},
        {1163635200, 10, "1163635200"},
        {LARGEST, 10, "18446744073709551615"},
        {LARGEST, 16, "ffffffffffffffff"},
        {LARGEST, 2, std::string(64, '1')},  // the longest of all
        {35, 36, "z"},
        {8, 8, "10"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.digits);
        char buffer[65];
        EXPECT_EQ(_ui64toa(c.value, buffer, c.radix), buffer);
        EXPECT_EQ(buffer, c.digits);
    }
}

TEST(NimbString, WritesNothingInARadixThatIsNone)
{
    for (const int radix : {-10, 0, 1, 37}) {
        SCOPED_TRACE(radix);
        char buffer[65] = "before";
        EXPECT_STREQ(_ui64toa(5, buffer, radix), "");
    }
    EXPECT_EQ(_ui64toa(5, nullptr, 10), nullptr);
}

TEST(NimbString, EveryNumberReadsBack)
{
    for (int radix = 2; radix <= 36; ++radix) {
        for (int shift = 0; shift < 64; ++shift) {
            const unsigned long long value = (1ULL << shift) + static_cast<unsigned>(shift);
            char buffer[65];
            ASSERT_EQ(std::strtoull(_ui64toa(value, buffer, radix), nullptr, radix), value);
        }
    }
}

}  // namespace
