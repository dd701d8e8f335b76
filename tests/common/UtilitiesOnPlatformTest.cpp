// The text helpers on the platform's own conversions, where the other tests script them.

#include <gtest/gtest.h>

#include <string>

#include "common/Utilities.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/Text.h"

namespace {

using nettest::FakePlatform;
using nettest::Narrow;
using nettest::U16;

constexpr int UTF8 = 65001;

class UtilitiesOnPlatform : public testing::Test
{
protected:
    UtilitiesOnPlatform() { FakePlatform::Reset(); }
};

TEST_F(UtilitiesOnPlatform, ASettingIsReadAsItWasWritten)
{
    SetSetting(U16("uselimit"), U16("startweekdate"), U16("1"));

    EXPECT_EQ(Narrow(MyGetSetting(U16("uselimit"), U16("startweekdate"))), "1");
    EXPECT_TRUE(MyGetSetting(U16("uselimit"), U16("startmonthdate")).empty());
}

TEST_F(UtilitiesOnPlatform, TheUserDataPathIsTheDirectoryOfThePlatform)
{
    FakePlatform::SetUserDataDirectory("/home/u/data/");

    EXPECT_EQ(Narrow(MyGetUserDataPath()), "/home/u/data/");
}

TEST_F(UtilitiesOnPlatform, AUserDataPathIsCutAtTheRoomItHas)
{
    FakePlatform::SetUserDataDirectory(std::string(3000, 'd'));

    EXPECT_EQ(Narrow(MyGetUserDataPath()), std::string(1023, 'd'));
}

TEST_F(UtilitiesOnPlatform, TextComesBackFromUtf8AsItWent)
{
    const auto text = ToNimb_wchar(L"Gr\u00FC\u00DFe, \u20AC 5, \U0001F600");

    const std::string utf8 = MyWideCharToMultiByte(text.c_str(), UTF8);

    EXPECT_EQ(utf8,
              "Gr\xC3\xBC\xC3\x9F"
              "e, \xE2\x82\xAC 5, \xF0\x9F\x98\x80");
    EXPECT_EQ(MyMultiByteToWideChar(utf8.c_str(), UTF8), text);
}

TEST_F(UtilitiesOnPlatform, AnEmptyTextStaysEmpty)
{
    EXPECT_TRUE(MyMultiByteToWideChar("", UTF8).empty());
    EXPECT_TRUE(MyWideCharToMultiByte(U16("").c_str(), UTF8).empty());
    EXPECT_TRUE(MyMultiByteToWideChar("", 0).empty());
    EXPECT_TRUE(MyWideCharToMultiByte(U16("").c_str(), 0).empty());
}

TEST_F(UtilitiesOnPlatform, AsciiIsTheSameInTheDefaultEncoding)
{
    EXPECT_EQ(MyMultiByteToWideChar("eth0", 0), U16("eth0"));
    EXPECT_EQ(MyWideCharToMultiByte(U16("eth0").c_str(), 0), "eth0");
}

}  // namespace
