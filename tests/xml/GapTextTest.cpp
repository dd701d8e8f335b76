#include "xml/GapText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>

namespace {

GapText Make(const std::string& text)
{
    GapText made;
    std::copy(text.begin(), text.end(), made.Prepare(static_cast<int>(text.size())));
    return made;
}

std::string TextOf(const GapText& text)
{
    return std::string(text.InFrontOfGap()) + std::string(text.BehindGap());
}

void ExpectWhole(const GapText& text, const std::string& expected)
{
    ASSERT_EQ(TextOf(text), expected);
    EXPECT_EQ(text.Size(), static_cast<int>(expected.size()));
    EXPECT_GE(text.Room(), 0);
    EXPECT_EQ(text.Data()[text.End()], '\0');
    if (text.Gap() > 0) {
        EXPECT_EQ(text.Data()[text.GapLeft()], '\0');
    }
    EXPECT_EQ(text.OffsetOf(text.End()), text.Size());
    EXPECT_EQ(text.OffsetOf(text.GapLeft()), text.OffsetOf(text.GapRight()));
}

/// The place of the character at `offset`.
int PlaceOf(const GapText& text, std::size_t offset)
{
    const int place = static_cast<int>(offset);
    return place < text.GapLeft() ? place : place + text.Gap();
}

TEST(GapText, IsEmptyAtFirst)
{
    const GapText text;
    ExpectWhole(text, "");
    EXPECT_EQ(text.Begin(), text.End());
    EXPECT_STREQ(text.Data(), "");
}

TEST(GapText, TakesATextWithTheGapInFront)
{
    const GapText text = Make("<a/>");
    ExpectWhole(text, "<a/>");
    EXPECT_EQ(text.GapLeft(), 0);
    EXPECT_EQ(text.Begin(), text.GapRight());
    EXPECT_GT(text.Gap(), 0);
}

TEST(GapText, UsesItsMemoryAgainForAShorterText)
{
    GapText text = Make(std::string(1000, 'a'));
    const char* const memory = text.Data();
    std::memcpy(text.Prepare(800), std::string(800, 'b').data(), 800);
    EXPECT_EQ(text.Data(), memory);
    ExpectWhole(text, std::string(800, 'b'));
}

TEST(GapText, GivesMemoryBackThatIsMuchTooLarge)
{
    GapText text = Make(std::string(1'000'000, 'a'));
    std::memcpy(text.Prepare(10), "0123456789", 10);
    ExpectWhole(text, "0123456789");
    EXPECT_LT(text.Room(), 10'000);
}

TEST(GapText, MovesNothingWhereTheGapMovesToItself)
{
    GapText text = Make("0123456789");
    text.MoveGap(PlaceOf(text, 4));
    ExpectWhole(text, "0123456789");
    const int left = text.GapLeft();
    text.MoveGap(text.GapLeft());
    text.MoveGap(text.GapRight());
    EXPECT_EQ(text.GapLeft(), left);
    ExpectWhole(text, "0123456789");
}

TEST(GapText, TellsHowFarAWiderGapMovesWhatIsBehindIt)
{
    GapText text = Make("0123456789");
    text.MoveGap(PlaceOf(text, 4));
    const int place = PlaceOf(text, 7);
    EXPECT_EQ(text.WidenGap(text.Gap()), 0);
    const int moved = text.WidenGap(text.Gap() + 1);
    EXPECT_GE(moved, 1);
    EXPECT_EQ(text.Data()[place + moved], '7');
    ExpectWhole(text, "0123456789");
}

TEST(GapText, CopiesAreTextsOfTheirOwn)
{
    GapText text = Make("0123456789");
    text.MoveGap(PlaceOf(text, 4));
    GapText copy = text;
    copy.Overwrite(PlaceOf(copy, 7), "xyz");
    ExpectWhole(copy, "0123456xyz");
    ExpectWhole(text, "0123456789");
    text = std::move(copy);
    ExpectWhole(text, "0123456xyz");
}

TEST(GapText, AgreesWithAPlainStringUnderRandomEdits)
{
    std::mt19937 random(7);
    const auto pick = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
    std::string expected(300, '.');
    GapText text = Make(expected);
    for (int step = 0; step < 20'000 && !HasFailure(); ++step) {
        SCOPED_TRACE(step);
        const std::string added(pick(step % 500 == 0 ? 3000 : 12), static_cast<char>('a' + pick(26)));
        const std::size_t offset = pick(expected.size() + 1);
        switch (pick(5)) {
            case 0:  // in front of the gap, up to it
                if (const auto front = static_cast<std::size_t>(text.GapLeft()); offset <= front) {
                    const std::size_t replaced = std::min(pick(15), front - offset);
                    text.WidenGap(static_cast<int>(added.size()));
                    text.ReplaceMovingUpToGap(static_cast<int>(offset), static_cast<int>(replaced), added);
                    expected.replace(offset, replaced, added);
                }
                break;
            case 1:  // behind the gap, up to the end
                if (offset >= static_cast<std::size_t>(text.GapLeft())) {
                    const std::size_t replaced = std::min(pick(15), expected.size() - offset);
                    text.WidenEnd(static_cast<int>(added.size()));
                    text.ReplaceMovingUpToEnd(PlaceOf(text, offset), static_cast<int>(replaced), added);
                    expected.replace(offset, replaced, added);
                }
                break;
            case 2:
                text.MoveGap(PlaceOf(text, offset));
                break;
            case 3: {
                const std::size_t front = std::min<std::size_t>(pick(10), text.InFrontOfGap().size());
                const std::size_t behind = std::min<std::size_t>(pick(10), text.BehindGap().size());
                expected.erase(text.InFrontOfGap().size() - front, front + behind);
                text.SwallowIntoGap(static_cast<int>(front), static_cast<int>(behind));
                break;
            }
            default:
                if (offset + added.size() <= static_cast<std::size_t>(text.GapLeft())) {
                    text.Overwrite(static_cast<int>(offset), added);
                    expected.replace(offset, added.size(), added);
                }
                break;
        }
        ExpectWhole(text, expected);
    }
}

}  // namespace
