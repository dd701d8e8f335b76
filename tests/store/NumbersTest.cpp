#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "store/DataDocument.h"

TEST(Numbers, AreReadAsTheirDigitsSayWhateverTheirLength)
{
    const std::string digits = "9876543210123456789";
    for (std::size_t length = 1; length < digits.size(); ++length) {
        const std::string text = digits.substr(0, length);
        EXPECT_EQ(ToNumber(text), std::stoull(text)) << text;
        EXPECT_EQ(ToNumber(std::string(30, '0') + text), std::stoull(text)) << text;
    }
    EXPECT_EQ(ToNumber("9223372036854775807"), ULLONG_MAX / 2);
    EXPECT_EQ(ToNumber("9223372036854775808"), ULLONG_MAX / 2);
    EXPECT_EQ(ToNumber("18446744073709551616"), ULLONG_MAX / 2);
    EXPECT_EQ(ToNumber(""), 0U);
    EXPECT_EQ(ToNumber("00000000"), 0U);
}

TEST(Numbers, WithAnyOtherCharacterAnywhereAreZero)
{
    for (std::size_t length = 1; length <= 24; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            for (int character = 0; character <= UCHAR_MAX; ++character) {
                if (character >= '0' && character <= '9') continue;
                std::string text(length, '7');
                text[place] = static_cast<char>(character);
                ASSERT_EQ(ToNumber(text), 0U) << length << ' ' << place << ' ' << character;
            }
        }
    }
}
