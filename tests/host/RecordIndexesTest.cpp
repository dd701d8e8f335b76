#include "host/RecordIndexes.h"

#include <gtest/gtest.h>

using netinfo::EXIT_USAGE;
using netinfo::RecordIndexes;

namespace {

std::vector<int> Chosen(const std::vector<std::string>& words, int count)
{
    const auto indexes = RecordIndexes::Parse(words);
    EXPECT_TRUE(indexes);
    if (!indexes) return {};
    const auto among = indexes->Among(count);
    EXPECT_TRUE(among);
    return among ? *among : std::vector<int>{};
}

}  // namespace

TEST(RecordIndexes, AreSingleNumbersAndRangesInAnyOrder)
{
    EXPECT_EQ(Chosen({"0"}, 1), (std::vector<int>{0}));
    EXPECT_EQ(Chosen({"7", "2-4", "0"}, 8), (std::vector<int>{0, 2, 3, 4, 7}));
    EXPECT_EQ(Chosen({"3-3"}, 4), (std::vector<int>{3}));
    EXPECT_EQ(Chosen({"007"}, 8), (std::vector<int>{7}));
}

TEST(RecordIndexes, RefuseWhatIsNotANumberOrRange)
{
    for (const char* const word : {"", "x", "1x", "1,2", "1-", "1-2-3", "1 ", "0x1", "1.0", "-", "--", "-x",
                                   "99999999999999999999", "1-99999999999999999999"}) {
        const auto indexes = RecordIndexes::Parse({word});
        ASSERT_FALSE(indexes) << word;
        EXPECT_EQ(indexes.Error().exitCode, EXIT_USAGE);
    }
}

TEST(RecordIndexes, RefuseNegativeNumbersByName)
{
    const auto indexes = RecordIndexes::Parse({"-3"});

    ASSERT_FALSE(indexes);
    EXPECT_EQ(indexes.Error().message, "'-3' is negative; record indexes count from 0");
    EXPECT_EQ(indexes.Error().exitCode, EXIT_USAGE);
}

TEST(RecordIndexes, RefuseARangeThatEndsBeforeItBegins)
{
    const auto indexes = RecordIndexes::Parse({"5-2"});

    ASSERT_FALSE(indexes);
    EXPECT_EQ(indexes.Error().exitCode, EXIT_USAGE);
}

TEST(RecordIndexes, RefuseRepetitionAlsoInsideRanges)
{
    const std::vector<std::vector<std::string>> cases{{"3", "3"}, {"1-4", "2"}, {"2", "1-4"}, {"0-2", "2-5"}};
    for (const auto& words : cases) {
        const auto indexes = RecordIndexes::Parse(words);
        ASSERT_FALSE(indexes);
        EXPECT_EQ(indexes.Error().exitCode, EXIT_USAGE);
        EXPECT_NE(indexes.Error().message.find("more than once"), std::string::npos);
    }
}

TEST(RecordIndexes, RefuseWhatLiesBeyondTheLastRecord)
{
    const struct
    {
        const char* word;
        int count;
        const char* message;
    } cases[] = {
        {"3", 3, "there is no record 3; the last one is 2"},
        {"2-4", 3, "there is no record 3; the last one is 2"},
        {"9-12", 3, "there is no record 9; the last one is 2"},
        {"0-4000000000", 3, "there is no record 3; the last one is 2"},
        {"18446744073709551615", 3, "there is no record 18446744073709551615; the last one is 2"},
        {"0", 0, "there are no records"},
    };
    for (const auto& c : cases) {
        const auto indexes = RecordIndexes::Parse({c.word});
        ASSERT_TRUE(indexes) << c.word;
        const auto among = indexes->Among(c.count);
        ASSERT_FALSE(among) << c.word;
        EXPECT_EQ(among.Error().message, c.message);
        EXPECT_EQ(among.Error().exitCode, EXIT_USAGE);
    }
}
