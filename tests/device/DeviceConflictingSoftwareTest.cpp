#include "tests/device/DeviceFixture.h"
#include "tests/support/FailingAllocation.h"

namespace nettest {
namespace {

class ConflictingSoftware : public DeviceFixture
{
protected:
    bool Conflicts(const std::string& text) { return Tracker().ContainCrashSoftKeyWord(U16(text)); }
};

TEST_F(ConflictingSoftware, IsNoneWithoutASettingsFile)
{
    EXPECT_FALSE(Conflicts(""));
    EXPECT_FALSE(Conflicts("anything"));
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(ConflictingSoftware, IsFoundAnywhereInTheTextAndWithExactCase)
{
    WriteKeywords({"Tunnel", "Shield"});

    EXPECT_TRUE(Conflicts("Tunnel"));
    EXPECT_TRUE(Conflicts("my Tunnel adapter"));
    EXPECT_TRUE(Conflicts("a WindShield"));
    EXPECT_FALSE(Conflicts("tunnel"));
    EXPECT_FALSE(Conflicts("Tunne"));
    EXPECT_FALSE(Conflicts(""));
}

TEST_F(ConflictingSoftware, IsEverythingWithAnEmptyKeyword)
{
    WriteKeywords({"Tunnel", ""});

    EXPECT_TRUE(Conflicts("anything"));
    EXPECT_TRUE(Conflicts(""));
}

TEST_F(ConflictingSoftware, IsEverythingWithAnItemThatHasNoName)
{
    WriteSettings("<nimbdoc><FluxconflictSoft><item text=\"Tunnel\"/></FluxconflictSoft></nimbdoc>");

    EXPECT_TRUE(Conflicts("anything"));
}

TEST_F(ConflictingSoftware, IsReadFromItsOwnElementOnly)
{
    WriteSettings(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!-- settings -->\r\n"
        "<nimbdoc>\r\n"
        "  <item name=\"before\"/>\r\n"
        "  <Other><item name=\"aside\"/></Other>\r\n"
        "  <FluxconflictSoft>\r\n"
        "    <item name=\"first\"/>\r\n"
        "    <group><item name=\"below\"/></group>\r\n"
        "    <item id=\"2\" name='second'></item>\r\n"
        "  </FluxconflictSoft>\r\n"
        "  <item name=\"after\"/>\r\n"
        "</nimbdoc>\r\n");

    EXPECT_TRUE(Conflicts("first"));
    EXPECT_TRUE(Conflicts("second"));
    for (const char* const outside : {"before", "aside", "below", "after"})
        EXPECT_FALSE(Conflicts(outside)) << outside;
}

TEST_F(ConflictingSoftware, IsReadFromTheRootWhereItsElementIsMissing)
{
    WriteSettings("<nimbdoc><item name=\"root\"/><Other><item name=\"aside\"/></Other></nimbdoc>");

    EXPECT_TRUE(Conflicts("root"));
    EXPECT_FALSE(Conflicts("aside"));
}

TEST_F(ConflictingSoftware, IsNoneUnderAnotherRoot)
{
    WriteSettings("<config><FluxconflictSoft><item name=\"Tunnel\"/></FluxconflictSoft></config>");

    EXPECT_FALSE(Conflicts("Tunnel"));
}

TEST_F(ConflictingSoftware, IsNoneInAMalformedFile)
{
    const std::string whole =
        "<nimbdoc><FluxconflictSoft><item name=\"Tunnel\"/></FluxconflictSoft></nimbdoc>";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        WriteSettings(whole.substr(0, length));
        m_tracker.reset();

        EXPECT_FALSE(Conflicts("Tunnel"));
        EXPECT_FALSE(Conflicts(""));
    }
    EXPECT_TRUE(FakePlatform::Traces().empty());
}

TEST_F(ConflictingSoftware, IsDecodedLikeTheNamesItIsLookedForIn)
{
    WriteKeywords({"Mod\xC3\xA8le", "R&amp;D"});

    EXPECT_TRUE(Conflicts("Mod\xE8le")) << "two bytes of UTF-8, one 16-bit unit";
    EXPECT_TRUE(Conflicts("the R&D adapter"));
}

TEST_F(ConflictingSoftware, IsReadOnceWhenTheTrackerIsMade)
{
    Tracker();
    WriteKeywords({"Tunnel"});
    EXPECT_FALSE(Conflicts("Tunnel"));

    m_tracker.reset();

    EXPECT_TRUE(Conflicts("Tunnel"));
}

TEST_F(ConflictingSoftware, NeverMakesConstructionFailForLackOfMemory)
{
    if (!FailingAllocation::Available()) GTEST_SKIP() << "no failing allocations under this sanitizer";
    WriteKeywords({"a keyword too long to live in the string object itself"});
    bool failed = true;
    for (std::size_t succeeding = 0; failed; ++succeeding) {
        SCOPED_TRACE(succeeding);
        ASSERT_LT(succeeding, 10'000U);
        std::optional<TrackerUnderTest> tracker;
        {
            const FailingAllocation failing(succeeding);
            EXPECT_NO_THROW(tracker.emplace());
            failed = failing.HasFailed();
        }
    }
}

TEST_F(ConflictingSoftware, StandsInTheModuleDirectory)
{
    FakePlatform::SetModuleDirectory("/opt/modules/");
    EXPECT_EQ(Tracker().GetSystemSettingPath("SysSetting.xml"), "/opt/modules/SysSetting.xml");

    FakePlatform::SetModuleDirectory("/opt/modules");
    EXPECT_EQ(Tracker().GetSystemSettingPath("Other.xml"), "/opt/modulesOther.xml")
        << "the directory brings its own separator";

    FakePlatform::SetModuleDirectory("");
    EXPECT_EQ(Tracker().GetSystemSettingPath("SysSetting.xml"), "SysSetting.xml");
}

}  // namespace
}  // namespace nettest
