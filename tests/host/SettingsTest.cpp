#include "host/Settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

using netinfo::EXIT_USAGE;
using netinfo::ReadCheckpoint;
using netinfo::ReadSetting;
using netinfo::ReadSettings;
using netinfo::Setting;
using netinfo::WriteSetting;
using testing::HasSubstr;

namespace {

struct SettingsTest : testing::Test
{
    nettest::TempDir config;
    nettest::TempDir module;

    void SetUp() override
    {
        setenv("NETINFO_CONFIG_DIR", config.Path().c_str(), 1);
        setenv("NETINFO_MODULE_DIR", module.Path().c_str(), 1);
    }
    std::string File() const { return nettest::ReadFile(config.File("DataUsageLimit.ini")); }
    void Store(const std::string& text) { nettest::WriteFile(config.File("DataUsageLimit.ini"), text); }

    static std::string Value(const std::string& key)
    {
        const auto setting = ReadSetting(key);
        return setting ? setting->value : "(failure)";
    }
};

}  // namespace

TEST_F(SettingsTest, BeginWeekAndMonthOnTheirFirstDayWhenNothingIsStored)
{
    for (const auto& [key, value] :
         {std::pair{"week-start", "sunday"}, {"month-start", "1"}, {"link.eth0", "auto"}}) {
        const auto setting = ReadSetting(key);
        ASSERT_TRUE(setting);
        EXPECT_EQ(setting->value, value);
        EXPECT_TRUE(setting->isDefault);
        EXPECT_EQ(setting->problem, "");
    }
}

TEST_F(SettingsTest, StoreEveryWeekdayAsItsNumberFromSunday)
{
    const std::vector<std::string> days{"sunday",   "monday", "tuesday", "wednesday",
                                        "thursday", "friday", "saturday"};
    for (std::size_t day = 0; day < days.size(); ++day) {
        const auto setting = WriteSetting("week-start", days[day]);
        ASSERT_TRUE(setting);
        EXPECT_EQ(setting->value, days[day]);
        EXPECT_FALSE(setting->isDefault);
        EXPECT_THAT(File(), HasSubstr("startweekdate = " + std::to_string(day)));
    }
}

TEST_F(SettingsTest, TakeWeekdaysInAnyCaseAndShort)
{
    EXPECT_EQ(WriteSetting("week-start", "Monday")->value, "monday");
    EXPECT_EQ(WriteSetting("week-start", "FRI")->value, "friday");
}

TEST_F(SettingsTest, StoreTheDayOfTheMonthCountedFromZero)
{
    for (const auto& [value, stored] : {std::pair{"1", "0"}, {"15", "14"}, {"28", "27"}}) {
        ASSERT_TRUE(WriteSetting("month-start", value));
        EXPECT_EQ(Value("month-start"), value);
        EXPECT_THAT(File(), HasSubstr(std::string("startmonthdate = ") + stored));
    }
}

TEST_F(SettingsTest, StoreTheCheckpointInSeconds)
{
    EXPECT_EQ(Value("checkpoint"), "300");
    EXPECT_TRUE(ReadSetting("checkpoint")->isDefault);
    EXPECT_EQ(ReadCheckpoint(), 300);

    for (const std::string seconds : {"0", "1", "60", "86400"}) {
        ASSERT_TRUE(WriteSetting("checkpoint", seconds));
        EXPECT_EQ(Value("checkpoint"), seconds);
        EXPECT_EQ(ReadCheckpoint(), std::stoll(seconds));
    }
    EXPECT_EQ(File(), "[host]\ncheckpoint = 86400\n");
    EXPECT_EQ(ReadSettings().at(2).key, "checkpoint");

    EXPECT_TRUE(WriteSetting("checkpoint", "default")->isDefault);
    EXPECT_EQ(ReadCheckpoint(), 300);
}

TEST_F(SettingsTest, StoreALinksRuleUnderItsName)
{
    for (const char* const rule : {"dial-up", "wifi", "adsl", "ignore"}) {
        ASSERT_TRUE(WriteSetting("link.eth0", rule));
        EXPECT_EQ(Value("link.eth0"), rule);
        EXPECT_THAT(File(), HasSubstr(std::string("eth0 = ") + rule));
    }
    ASSERT_TRUE(WriteSetting("link.eth0", "auto"));
    EXPECT_TRUE(ReadSetting("link.eth0")->isDefault);
}

TEST_F(SettingsTest, CanGoBackToTheDefault)
{
    ASSERT_TRUE(WriteSetting("week-start", "monday"));
    ASSERT_TRUE(WriteSetting("month-start", "15"));

    EXPECT_TRUE(WriteSetting("week-start", "default")->isDefault);
    EXPECT_TRUE(WriteSetting("month-start", "default")->isDefault);
    EXPECT_EQ(Value("week-start"), "sunday");
    EXPECT_EQ(Value("month-start"), "1");
}

TEST_F(SettingsTest, RefuseValuesOutOfRangeAndChangeNothing)
{
    Store("[uselimit]\nstartweekdate = 1\n");
    const std::vector<std::pair<std::string, std::string>> cases{
        {"week-start", "someday"}, {"week-start", "1"},      {"week-start", ""},
        {"week-start", "mo"},      {"month-start", "0"},     {"month-start", "29"},
        {"month-start", "-1"},     {"month-start", "first"}, {"month-start", ""},
        {"month-start", "1.5"},    {"link.eth0", "modem"},   {"link.eth0", ""},
        {"checkpoint", "86401"},   {"checkpoint", "-1"},     {"checkpoint", ""},
        {"checkpoint", "5m"},      {"checkpoint", "1.5"},    {"checkpoint", "99999999999999999999"},
    };
    for (const auto& [key, value] : cases) {
        const auto setting = WriteSetting(key, value);
        ASSERT_FALSE(setting) << key << " " << value;
        EXPECT_EQ(setting.Error().exitCode, EXIT_USAGE);
        EXPECT_THAT(setting.Error().message, HasSubstr("not '" + value + "'"));
    }
    EXPECT_EQ(File(), "[uselimit]\nstartweekdate = 1\n");
}

TEST_F(SettingsTest, KnowNoOtherKeys)
{
    for (const char* const key : {"", "weekstart", "Week-Start", "link", "uselimit"}) {
        EXPECT_EQ(ReadSetting(key).Error().exitCode, EXIT_USAGE) << key;
        EXPECT_THAT(WriteSetting(key, "1").Error().message, HasSubstr("there is no setting")) << key;
    }
}

TEST_F(SettingsTest, RefuseWhatIsNoLinkName)
{
    for (const char* const name : {"", ".", "..", "a b", "a/b", "a=b", "a:b", "[links]", ";eth0", "#eth0",
                                   "a\nb", "sixteen-is-a-lot"}) {
        const auto setting = WriteSetting(std::string("link.") + name, "wifi");
        ASSERT_FALSE(setting) << name;
        EXPECT_EQ(setting.Error().exitCode, EXIT_USAGE);
        EXPECT_THAT(setting.Error().message, HasSubstr("not the name of a link"));
    }
    EXPECT_EQ(File(), "");
}

TEST_F(SettingsTest, ShowWhatIsStoredAndSayWhatIsWrongWithIt)
{
    Store("[uselimit]\nstartweekdate = 7\nstartmonthdate = soon\n[links]\neth0 = fast\n");
    for (const auto& [key, value] :
         {std::pair{"week-start", "7"}, {"month-start", "soon"}, {"link.eth0", "fast"}}) {
        const auto setting = ReadSetting(key);
        ASSERT_TRUE(setting);
        EXPECT_EQ(setting->value, value);
        EXPECT_THAT(setting->problem, HasSubstr(key));
        EXPECT_THAT(setting->problem, HasSubstr(std::string("stored as '") + value + "'"));
    }
}

TEST_F(SettingsTest, KeepTheUsualCheckpointWhenWhatIsStoredMakesNoSense)
{
    Store("[host]\ncheckpoint = often\n");
    EXPECT_EQ(ReadCheckpoint(), 300);
    EXPECT_EQ(
        ReadSetting("checkpoint")->problem,
        "the setting checkpoint is stored as 'often', which is not a number of seconds from 1 to 86400, or "
        "0 for never");
}

TEST_F(SettingsTest, ListBothPeriodsAndEveryLinkWithARule)
{
    nettest::WriteFile(module.File("DataUsageLimit.ini"), "[links]\nwwan0 = dial-up\n");
    Store("[uselimit]\nstartmonthdate = 14\n[links]\nppp0 = wifi\ndocker0 = ignore\neth0 =\n");

    std::vector<std::string> listed;
    for (const Setting& setting : ReadSettings())
        listed.push_back(setting.key + "=" + setting.value);

    EXPECT_THAT(listed, testing::ElementsAre("week-start=sunday", "month-start=15", "link.docker0=ignore",
                                             "link.ppp0=wifi", "link.wwan0=dial-up"));
}

TEST_F(SettingsTest, ListNoRulesFromAFileThatIsNone)
{
    Store(std::string("[links]\0eth0 = wifi\n", 20));
    EXPECT_EQ(ReadSettings().size(), 2U);
}

TEST_F(SettingsTest, SayWhenTheFileCannotBeWritten)
{
    setenv("NETINFO_CONFIG_DIR", "/dev/null/nowhere", 1);

    const auto setting = WriteSetting("week-start", "monday");

    ASSERT_FALSE(setting);
    EXPECT_EQ(setting.Error().exitCode, netinfo::EXIT_FAILED);
    EXPECT_THAT(setting.Error().message, HasSubstr("/dev/null/nowhere/DataUsageLimit.ini cannot be written"));
}
