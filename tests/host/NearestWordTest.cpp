#include "host/NearestWord.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using netinfo::DidYouMean;
using netinfo::NearestWord;

namespace {

const std::vector<std::string> COMMANDS{"run",   "usage",   "limit",   "report",
                                        "reset", "records", "history", "settings"};

}  // namespace

TEST(NearestWord, ForgivesFewFaults)
{
    const struct
    {
        const char* word;
        const char* nearest;
    } cases[] = {
        {"report", "report"},     {"Report", "report"},
        {"reprot", "report"},   // two letters changed places
        {"reort", "report"},    // one is missing
        {"repport", "report"},  // one too many
        {"repirt", "report"},   // one is wrong
        {"histroy", "history"},   {"setings", "settings"},
        {"stetigns", "settings"},                       // two faults in eight letters
        {"rnu", "run"},           {"hist", "history"},  // its beginning
        {"us", "usage"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(NearestWord(c.word, COMMANDS), c.nearest) << c.word;
}

TEST(NearestWord, SuggestsNothingWhenNothingIsNear)
{
    for (const char* const word : {"", "x", "u", "frobnicate", "list", "gun-run", "ruins", "\xFF\xFE"})
        EXPECT_EQ(NearestWord(word, COMMANDS), "") << word;
    EXPECT_EQ(NearestWord(std::string(1'000'000, 'r'), COMMANDS), "");
    EXPECT_EQ(NearestWord("report", {}), "");
}

TEST(NearestWord, TakesTheNearestAndOfEqualOnesTheFirst)
{
    EXPECT_EQ(NearestWord("reset", COMMANDS), "reset");
    EXPECT_EQ(NearestWord("re", COMMANDS), "report");
    EXPECT_EQ(NearestWord("--form", {"--from", "--top", "--format"}), "--from");
}

TEST(DidYouMean, IsTheEndOfAMessage)
{
    EXPECT_EQ(DidYouMean("reprot", COMMANDS), "; did you mean 'report'?");
    EXPECT_EQ(DidYouMean("frobnicate", COMMANDS), "");
}
