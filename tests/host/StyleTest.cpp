#include "host/Style.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>

using netinfo::ColourChoice;
using netinfo::FindColourChoice;
using netinfo::FindUnits;
using netinfo::LocaleHasBlocks;
using netinfo::Mark;
using netinfo::Marked;
using netinfo::Units;
using netinfo::UsesColour;

namespace {

struct UsesColourTest : testing::Test
{
    UsesColourTest()
    {
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
        if (openpty(&controller, &terminal, nullptr, nullptr, nullptr) != 0) std::abort();
        if (pipe(ends) != 0) std::abort();
    }
    ~UsesColourTest() override
    {
        for (const int descriptor : {controller, terminal, ends[0], ends[1]})
            close(descriptor);
    }

    int controller = -1;
    int terminal = -1;
    int ends[2] = {-1, -1};
};

/// The user's locale and nothing else of the environment that names one.
void SetLocale(const char* name)
{
    unsetenv("LC_CTYPE");
    unsetenv("LANG");
    setenv("LC_ALL", name, 1);
}

}  // namespace

TEST(FindUnits, KnowsThreeNamesInAnyCase)
{
    EXPECT_EQ(FindUnits("iec"), Units::Iec);
    EXPECT_EQ(FindUnits("SI"), Units::Si);
    EXPECT_EQ(FindUnits("Bytes"), Units::Bytes);
    for (const char* const name : {"", "byte", "kib", "iec "})
        EXPECT_FALSE(FindUnits(name)) << name;
}

TEST(FindColourChoice, KnowsThreeNamesInAnyCase)
{
    EXPECT_EQ(FindColourChoice("auto"), ColourChoice::Auto);
    EXPECT_EQ(FindColourChoice("always"), ColourChoice::Always);
    EXPECT_EQ(FindColourChoice("NEVER"), ColourChoice::Never);
    EXPECT_FALSE(FindColourChoice("yes"));
    EXPECT_FALSE(FindColourChoice(""));
}

TEST(Marked, LeavesTheTextAsItIsWithoutColour)
{
    EXPECT_EQ(Marked("x", Mark::Red, false), "x");
    EXPECT_EQ(Marked("x", Mark::Bold, true), "\033[1mx\033[0m");
    EXPECT_EQ(Marked("x", Mark::Red, true), "\033[31mx\033[0m");
}

TEST_F(UsesColourTest, AutoFollowsTheTerminal)
{
    EXPECT_TRUE(UsesColour(ColourChoice::Auto, terminal));
    EXPECT_FALSE(UsesColour(ColourChoice::Auto, ends[1]));
    setenv("TERM", "dumb", 1);
    EXPECT_FALSE(UsesColour(ColourChoice::Auto, terminal));
}

TEST_F(UsesColourTest, AnyTextInNoColorSaysNoButAnEmptyOneSaysNothing)
{
    setenv("NO_COLOR", "", 1);
    EXPECT_TRUE(UsesColour(ColourChoice::Auto, terminal));
    setenv("NO_COLOR", "0", 1);
    EXPECT_FALSE(UsesColour(ColourChoice::Auto, terminal));
}

TEST_F(UsesColourTest, TheCommandLineHasTheLastWord)
{
    setenv("NO_COLOR", "1", 1);
    EXPECT_TRUE(UsesColour(ColourChoice::Always, ends[1]));
    unsetenv("NO_COLOR");
    EXPECT_FALSE(UsesColour(ColourChoice::Never, terminal));
}

// The character set is read once in a process; each test has one of its own.

TEST(LocaleHasBlocks, IsTrueForUtf8)
{
    SetLocale("de_DE.UTF-8");
    EXPECT_TRUE(LocaleHasBlocks());
}

TEST(LocaleHasBlocks, IsFalseForACharacterSetWithoutThem)
{
    SetLocale("de_DE.ISO-8859-1");
    EXPECT_FALSE(LocaleHasBlocks());
}

TEST(LocaleHasBlocks, IsFalseForACharacterSetThatWritesThemInItsOwnWay)
{
    SetLocale("ja_JP.EUC-JP");
    EXPECT_FALSE(LocaleHasBlocks());
}
