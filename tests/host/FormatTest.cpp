#include "host/Format.h"

#include <gtest/gtest.h>

#include <limits>

using netinfo::FormatBytes;
using netinfo::FormatDuration;
using netinfo::FormatMoment;
using netinfo::FormatSpeed;
using netinfo::PadLeft;
using netinfo::PadRight;
using netinfo::ParseDigits;
using netinfo::Printable;
using netinfo::Shorten;
using netinfo::Units;
using netinfo::Width;

TEST(FormatBytes, HasThreeDigitsAndAnIecUnit)
{
    const struct
    {
        unsigned long long bytes;
        const char* text;
    } cases[] = {
        {0, "0 B"},
        {1, "1 B"},
        {1023, "1023 B"},
        {1024, "1.00 KiB"},
        {1536, "1.50 KiB"},
        {10'234, "9.99 KiB"},
        {10'236, "10.0 KiB"},  // 9.996: two decimals would round to 10.00
        {102'348, "99.9 KiB"},
        {102'398, "100 KiB"},  // 99.998
        {1'047'552, "1023 KiB"},
        {1'048'063, "1023 KiB"},
        {1'048'064, "1.00 MiB"},  // 1023.5 KiB would round to 1024
        {5ULL << 30, "5.00 GiB"},
        {7ULL << 40, "7.00 TiB"},
        {3ULL << 50, "3.00 PiB"},
        {std::numeric_limits<unsigned long long>::max(), "16.0 EiB"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FormatBytes(c.bytes), c.text) << c.bytes;
}

TEST(FormatBytes, IsNeverWiderThanEightColumns)
{
    for (unsigned long long bytes = 1; bytes < 1ULL << 62; bytes += bytes / 7 + 1) {
        EXPECT_LE(FormatBytes(bytes).size(), 8U) << bytes;
        EXPECT_LE(FormatBytes(bytes, Units::Si).size(), 7U) << bytes;
    }
}

TEST(FormatBytes, HasThreeDigitsAndADecimalUnitForSi)
{
    const struct
    {
        unsigned long long bytes;
        const char* text;
    } cases[] = {
        {0, "0 B"},
        {999, "999 B"},
        {1000, "1.00 kB"},
        {9'994, "9.99 kB"},
        {9'996, "10.0 kB"},  // two decimals would round to 10.00
        {99'960, "100 kB"},
        {999'499, "999 kB"},
        {999'500, "1.00 MB"},  // 999.5 kB would round to 1000
        {5'000'000'000, "5.00 GB"},
        {std::numeric_limits<unsigned long long>::max(), "18.4 EB"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FormatBytes(c.bytes, Units::Si), c.text) << c.bytes;
}

TEST(FormatBytes, ShowsEveryByteWhenAsked)
{
    EXPECT_EQ(FormatBytes(0, Units::Bytes), "0 B");
    EXPECT_EQ(FormatBytes(1024, Units::Bytes), "1024 B");
    EXPECT_EQ(FormatBytes(std::numeric_limits<unsigned long long>::max(), Units::Bytes),
              "18446744073709551615 B");
}

TEST(FormatSpeed, IsBytesPerSecond)
{
    EXPECT_EQ(FormatSpeed(2048), "2.00 KiB/s");
    EXPECT_EQ(FormatSpeed(2048, Units::Si), "2.05 kB/s");
    EXPECT_EQ(FormatSpeed(2048, Units::Bytes), "2048 B/s");
}

TEST(FormatDuration, CountsHoursMinutesSecondsAndDays)
{
    EXPECT_EQ(FormatDuration(0), "00:00:00");
    EXPECT_EQ(FormatDuration(723), "00:12:03");
    EXPECT_EQ(FormatDuration(86399), "23:59:59");
    EXPECT_EQ(FormatDuration(86400), "1d 00:00:00");
    EXPECT_EQ(FormatDuration(200'000), "2d 07:33:20");
}

TEST(FormatMoment, IsLocalTime)
{
    EXPECT_EQ(FormatMoment(0), "1970-01-01 01:00:00");
    EXPECT_EQ(FormatMoment(1'714'557'603), "2024-05-01 12:00:03");
}

TEST(FormatMoment, ShowsTheDigitsOfWhatNoCalendarHas)
{
    const auto most = std::numeric_limits<unsigned long long>::max();
    EXPECT_EQ(FormatMoment(most), std::to_string(most));
    EXPECT_EQ(FormatMoment(most / 2), std::to_string(most / 2));
}

TEST(MomentOf, ReadsTheLowBitsAsUnsigned)
{
    EXPECT_EQ(netinfo::MomentOf(5), 5U);
    EXPECT_EQ(netinfo::MomentOf(-1), 0xFFFFFFFFU);
}

TEST(Printable, KeepsWellFormedUtf8)
{
    EXPECT_EQ(Printable("wlan0"), "wlan0");
    EXPECT_EQ(Printable("Büro-Netz \u20AC \U0001F4F6"), "Büro-Netz \u20AC \U0001F4F6");
}

TEST(Printable, EscapesWhatATerminalWouldObey)
{
    EXPECT_EQ(Printable("a\033[2Jb"), "a\\x1B[2Jb");
    EXPECT_EQ(Printable("\n\t\x7F"), "\\x0A\\x09\\x7F");
    EXPECT_EQ(Printable(std::string_view("\0x", 2)), "\\x00x");
    EXPECT_EQ(Printable("\xC2\x9B"), "\\xC2\\x9B");           // the one-character form of ESC [
    EXPECT_EQ(Printable("\xE2\x80\xAE"), "\\xE2\\x80\\xAE");  // right-to-left override
}

TEST(Printable, EscapesBytesThatAreNotUtf8)
{
    EXPECT_EQ(Printable("\xFF"), "\\xFF");
    EXPECT_EQ(Printable("a\xC3"), "a\\xC3");                           // cut short
    EXPECT_EQ(Printable("\xC0\xAF"), "\\xC0\\xAF");                    // overlong
    EXPECT_EQ(Printable("\xE0\x80\xAF"), "\\xE0\\x80\\xAF");           // overlong
    EXPECT_EQ(Printable("\xED\xA0\x80"), "\\xED\\xA0\\x80");           // half a surrogate pair
    EXPECT_EQ(Printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");  // beyond the last character
}

TEST(Width, CountsColumnsNotBytes)
{
    EXPECT_EQ(Width("abc"), 3U);
    EXPECT_EQ(Width("Büro"), 4U);
    EXPECT_EQ(Width("漢字"), 4U);
    EXPECT_EQ(Width("e\u0301"), 1U);
}

TEST(Shorten, CutsAtAWholeCharacterAndSaysSo)
{
    EXPECT_EQ(Shorten("wlan0", 5), "wlan0");
    EXPECT_EQ(Shorten("wlan0", 4), "wla…");
    EXPECT_EQ(Shorten("Bürö", 3), "Bü…");
    EXPECT_EQ(Shorten("漢字漢字", 4), "漢…");
    EXPECT_EQ(Shorten("abc", 1), "…");
    EXPECT_EQ(Shorten("abc", 0), "");
}

TEST(Pad, FillsToTheColumnsAndNeverCuts)
{
    EXPECT_EQ(PadRight("Bü", 4), "Bü  ");
    EXPECT_EQ(PadLeft("Bü", 4), "  Bü");
    EXPECT_EQ(PadLeft("longer", 3), "longer");
}

TEST(ParseDigits, TakesNothingButAWholeDecimalNumber)
{
    unsigned long long number = 7;
    for (const char* const text : {"", "-1", "+1", " 1", "1 ", "1e3", "0x10", "18446744073709551616"}) {
        EXPECT_FALSE(ParseDigits(text, number)) << text;
        EXPECT_EQ(number, 7U) << text;
    }
    EXPECT_TRUE(ParseDigits("007", number));
    EXPECT_EQ(number, 7U);
    EXPECT_TRUE(ParseDigits("18446744073709551615", number));
    EXPECT_EQ(number, std::numeric_limits<unsigned long long>::max());
}
