#include "host/ParseTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

using netinfo::EXIT_USAGE;
using netinfo::ParseSince;

namespace {

constexpr unsigned long long NOW = 1'714'557'600;  // 2024-05-01 12:00 in the zone of the tests

unsigned long long Parsed(const char* text)
{
    const auto moment = ParseSince(text, NOW);
    EXPECT_TRUE(moment) << text;
    return moment ? *moment : 0;
}

}  // namespace

TEST(ParseSince, ReadsDatesAndTimesAsLocal)
{
    EXPECT_EQ(Parsed("2024-05-01"), NOW - 12 * 3600);
    EXPECT_EQ(Parsed("2024-05-01 11:59"), NOW - 60);
    EXPECT_EQ(Parsed("2024-05-01T11:59:30"), NOW - 30);
    EXPECT_EQ(Parsed("2024-02-29"), 1'709'161'200U);
    EXPECT_EQ(Parsed("2024-01-01 00:00:00"), 1'704'063'600U);  // winter time
    EXPECT_EQ(Parsed("1970-01-01 01:00"), 0U);
}

TEST(ParseSince, ReadsSpansBackFromNow)
{
    EXPECT_EQ(Parsed("30m"), NOW - 1800);
    EXPECT_EQ(Parsed("12h"), NOW - 12 * 3600);
    EXPECT_EQ(Parsed("7d"), NOW - 7 * 86400);
    EXPECT_EQ(Parsed("4w"), NOW - 28 * 86400);
    EXPECT_EQ(Parsed("0d"), NOW);
}

TEST(ParseSince, AcceptsThisVerySecond) { EXPECT_EQ(Parsed("2024-05-01 12:00:00"), NOW); }

TEST(ParseSince, RefusesTheFuture)
{
    for (const char* const text : {"2024-05-01 12:00:01", "2024-05-02", "2038-01-20", "9999-12-31"}) {
        const auto moment = ParseSince(text, NOW);
        ASSERT_FALSE(moment) << text;
        EXPECT_EQ(moment.Error().exitCode, EXIT_USAGE);
        EXPECT_NE(moment.Error().message.find("lies in the future"), std::string::npos) << text;
    }
}

TEST(ParseSince, RefusesWhatLiesBefore1970)
{
    for (const char* const text : {"1969-12-31", "0001-01-01", "1970-01-01", "20000d", "999999999w"}) {
        const auto moment = ParseSince(text, NOW);
        ASSERT_FALSE(moment) << text;
        EXPECT_EQ(moment.Error().exitCode, EXIT_USAGE);
        EXPECT_NE(moment.Error().message.find("1970"), std::string::npos) << text;
    }
}

TEST(ParseSince, RefusesDatesThatDoNotExist)
{
    for (const char* const text :
         {"2023-02-29", "2024-02-30", "2024-13-01", "2024-00-01", "2024-01-00", "2024-04-31",
          "2024-01-01 24:00", "2024-01-01 12:60", "2024-01-01 12:00:60"}) {
        const auto moment = ParseSince(text, NOW);
        ASSERT_FALSE(moment) << text;
        EXPECT_NE(moment.Error().message.find("not a date that exists"), std::string::npos) << text;
    }
}

TEST(ParseSince, RefusesEveryOtherForm)
{
    for (const char* const text : {"",
                                   " ",
                                   "yesterday",
                                   "2024",
                                   "2024-5-1",
                                   "2024-05-1",
                                   "24-05-01",
                                   "2024/05/01",
                                   "2024-05-01 ",
                                   "2024-05-01 1:00",
                                   "2024-05-01 12",
                                   "2024-05-01 12:00:0",
                                   "2024-05-01 12:00:00Z",
                                   "2024-05-01  12:00",
                                   "2024-05-01_12:00",
                                   "d",
                                   "7",
                                   "7 d",
                                   "7D",
                                   "7y",
                                   "-7d",
                                   "+7d",
                                   "1.5d",
                                   "9999999999d",
                                   "1714557600",
                                   "2024-05-01\n"}) {
        const auto moment = ParseSince(text, NOW);
        ASSERT_FALSE(moment) << text;
        EXPECT_EQ(moment.Error().exitCode, EXIT_USAGE);
        EXPECT_NE(moment.Error().message.find("is not a date"), std::string::npos) << text;
    }
}

TEST(ParseSince, RefusesATimeThatTheClocksSkipped)
{
    const auto moment = ParseSince("2024-03-31 02:30", NOW);

    ASSERT_FALSE(moment);
    EXPECT_NE(moment.Error().message.find("skipped"), std::string::npos);
}

TEST(ParseSince, TakesTheEarlierOfATimeThatComesTwice)
{
    EXPECT_EQ(Parsed("2023-10-29 02:30"), 1'698'539'400U);  // still summer time
    EXPECT_EQ(Parsed("2023-10-29 03:00"), 1'698'544'800U);
}

TEST(ParseSince, BeginsADayWithoutMidnightAtItsFirstMoment)
{
    setenv("TZ", "XST3XDT,M3.5.0/0,M10.5.0/0", 1);  // clocks go from midnight to one
    tzset();

    EXPECT_EQ(Parsed("2024-03-31"), 1'711'854'000U);  // 01:00 summer time
}

TEST(ParseSince, WorksWithoutSummerTime)
{
    setenv("TZ", "UTC0", 1);
    tzset();

    EXPECT_EQ(Parsed("2024-05-01"), 1'714'521'600U);
    EXPECT_EQ(Parsed("1970-01-01"), 0U);
}
