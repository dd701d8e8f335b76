#include "host/Limit.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>

#include "host/ByteAmount.h"
#include "host/LimitAlarm.h"
#include "host/Settings.h"
#include "tests/support/TempDir.h"
#include "tests/support/Text.h"

namespace {

using namespace netinfo;
using testing::Contains;
using testing::HasSubstr;
using testing::Pair;

constexpr long long kHour = 3600;
constexpr long long kDay = 24 * kHour;
constexpr unsigned long long kGB = 1'000'000'000;

long long At(int year, unsigned month, unsigned day, unsigned hour = 0)
{
    return MomentShowing(
               {Date(std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)), hour})
        .value();
}

// ---- amounts ----------------------------------------------------------------------------------------------

TEST(ByteAmount, IsDecimalOrBinaryAsItsUnitSays)
{
    const std::vector<std::pair<const char*, unsigned long long>> cases = {
        {"1", 1},
        {"20000000000", 20'000'000'000},
        {"7B", 7},
        {"2kB", 2'000},
        {"2KB", 2'000},
        {"20GB", 20'000'000'000},
        {"20gb", 20'000'000'000},
        {"20 GB", 20'000'000'000},
        {"20GiB", 21'474'836'480},
        {"1.5GB", 1'500'000'000},
        {"18.125MiB", 19'005'440},
        {"0.001kB", 1},
        {"9PB", 9'000'000'000'000'000},
        {"8191PiB", 8191ULL << 50},
        {"9223372036854775807", 9'223'372'036'854'775'807},
    };
    for (const auto& [text, bytes] : cases) {
        SCOPED_TRACE(text);
        const auto amount = ParseByteAmount(text);
        ASSERT_TRUE(amount) << amount.Error().message;
        EXPECT_EQ(bytes, *amount);
    }
}

TEST(ByteAmount, IsNoOtherText)
{
    for (const char* const text : {"",        " ",
                                   "GB",      ".5GB",
                                   "5.GB",    "1.2345GB",
                                   "1.2.3GB", "20G",
                                   "20GBit",  "20Gbps",
                                   "-20GB",   "+20GB",
                                   "20,5GB",  "0",
                                   "0GB",     "0.0001B",
                                   "0.1B",    "9223372036854775808",
                                   "8192PiB", "9999999999999999999999GB",
                                   "1e9",     "0x10",
                                   " 20GB",   "20GB ",
                                   "20\tGB",  "twenty"}) {
        SCOPED_TRACE(text);
        const auto amount = ParseByteAmount(text);
        ASSERT_FALSE(amount);
        EXPECT_EQ(EXIT_USAGE, amount.Error().exitCode);
        EXPECT_THAT(amount.Error().message, HasSubstr("is no amount: 20GB, 18.5GiB or bytes"));
    }
}

// ---- words and settings -----------------------------------------------------------------------------------

TEST(Limit, IsReadFromWords)
{
    const auto limit = ParseLimit({"20GB", "Week", "90%", "WIFI"});
    ASSERT_TRUE(limit);
    EXPECT_EQ((Limit{"20GB", 20 * kGB, Period::Week, 90, 1}), *limit);
    EXPECT_EQ((Limit{"20GB", 20 * kGB, Period::Month, 80, std::nullopt}), *ParseLimit({"20GB", "", "", ""}));
    EXPECT_EQ(1U, ParseLimit({"20GB", "", "1", ""})->warnPercent);
    EXPECT_EQ(100U, ParseLimit({"20GB", "", "100%", ""})->warnPercent);
}

TEST(Limit, RefusesWordsThatItDoesNotUnderstand)
{
    const std::vector<std::pair<LimitWords, const char*>> cases = {
        {{"", "", "", ""}, "is no amount"},
        {{"much", "", "", ""}, "'much' is no amount"},
        {{"20GB", "year", "", ""}, "a limit is per month, week or day, not 'year'"},
        {{"20GB", "", "0%", ""}, "the warning comes at 1% to 100% of a limit, not '0%'"},
        {{"20GB", "", "101", ""}, "not '101'"},
        {{"20GB", "", "%", ""}, "not '%'"},
        {{"20GB", "", "80%%", ""}, "not '80%%'"},
        {{"20GB", "", "", "modem"}, "'modem' is no connection type"},
    };
    for (const auto& [words, problem] : cases) {
        SCOPED_TRACE(problem);
        const auto limit = ParseLimit(words);
        ASSERT_FALSE(limit);
        EXPECT_EQ(EXIT_USAGE, limit.Error().exitCode);
        EXPECT_THAT(limit.Error().message, HasSubstr(problem));
    }
}

struct LimitSettings : testing::Test
{
    nettest::TempDir config;
    nettest::TempDir module;

    void SetUp() override
    {
        setenv("NETINFO_CONFIG_DIR", config.Path().c_str(), 1);
        setenv("NETINFO_MODULE_DIR", module.Path().c_str(), 1);
    }
};

TEST_F(LimitSettings, KeepTheLimit)
{
    EXPECT_EQ(std::optional<Limit>(), *ReadLimit());
    const Limit limit{"18.5GiB", *ParseByteAmount("18.5GiB"), Period::Day, 75, 4};
    ASSERT_FALSE(StoreLimit(limit));
    EXPECT_EQ(limit, *ReadLimit());
    const std::string file = nettest::ReadFile(config.File("DataUsageLimit.ini"));
    EXPECT_THAT(file, HasSubstr("[limit]"));
    EXPECT_THAT(file, HasSubstr("18.5GiB"));

    const Limit plain{"5000", 5000, Period::Month, 80, std::nullopt};
    ASSERT_FALSE(StoreLimit(plain));
    EXPECT_EQ(plain, *ReadLimit()) << "the type of the last limit is gone";
    ASSERT_FALSE(ClearLimit());
    EXPECT_EQ(std::optional<Limit>(), *ReadLimit());
    ASSERT_FALSE(ClearLimit());
}

TEST_F(LimitSettings, KeepTheCommandApart)
{
    EXPECT_EQ("", ReadLimitCommand());
    ASSERT_TRUE(WriteSetting("limit-command", "notify-send \"$NETINFO_LIMIT_MESSAGE\""));
    EXPECT_EQ("notify-send \"$NETINFO_LIMIT_MESSAGE\"", ReadLimitCommand());
    ASSERT_FALSE(StoreLimit({"5000", 5000, Period::Month, 80, std::nullopt}));
    ASSERT_FALSE(ClearLimit());
    EXPECT_EQ("notify-send \"$NETINFO_LIMIT_MESSAGE\"", ReadLimitCommand());
    EXPECT_EQ("limit-command", ReadSettings().at(2).key);
    ASSERT_TRUE(WriteSetting("limit-command", "none"));
    EXPECT_EQ("", ReadLimitCommand());
    EXPECT_EQ(2U, ReadSettings().size());
    EXPECT_FALSE(WriteSetting("limit-command", "two\nlines"));
}

TEST_F(LimitSettings, SayWhatIsWrongWithAStoredLimit)
{
    nettest::WriteFile(config.File("DataUsageLimit.ini"), "[limit]\namount=lots\n");
    const auto limit = ReadLimit();
    ASSERT_FALSE(limit);
    EXPECT_EQ(EXIT_FAILED, limit.Error().exitCode);
    EXPECT_THAT(limit.Error().message, HasSubstr("the limit in the settings is not understood: 'lots'"));
}

TEST_F(LimitSettings, ReadThePeriodStarts)
{
    EXPECT_EQ((PeriodStarts{0, 1}), ReadPeriodStarts());
    ASSERT_TRUE(WriteSetting("week-start", "thursday"));
    ASSERT_TRUE(WriteSetting("month-start", "15"));
    EXPECT_EQ((PeriodStarts{4, 15}), ReadPeriodStarts());
}

TEST_F(LimitSettings, TakeNoNotice)
{
    nettest::WriteFile(config.File("DataUsageLimit.ini"), "[uselimit]\nstartweekdate=7\nstartmonthdate=28\n");
    EXPECT_EQ((PeriodStarts{0, 1}), ReadPeriodStarts()) << "of what nobody understands";
}

// ---- how it stands ----------------------------------------------------------------------------------------

LimitStatus Evaluate(unsigned long long used, long long now, std::optional<long long> firstHour = {},
                     const Limit& limit = {"20GB", 20 * kGB, Period::Month, 80, std::nullopt},
                     PeriodStarts starts = {})
{
    return EvaluateLimit(limit, used, firstHour, starts, now);
}

TEST(LimitStatus, TellsWhatIsUsedAndLeft)
{
    const LimitStatus status = Evaluate(5 * kGB, At(2024, 5, 11));
    EXPECT_EQ(At(2024, 5, 1), status.start);
    EXPECT_EQ(At(2024, 6, 1), status.end);
    EXPECT_EQ("2024-05-01", DateText(status.firstDay));
    EXPECT_EQ("2024-05-31", DateText(status.lastDay));
    EXPECT_EQ(25U, status.percent);
    EXPECT_EQ(15 * kGB, status.left);
    EXPECT_EQ(16 * kGB, status.warnAt);
    EXPECT_EQ(21U, status.daysLeft);
    EXPECT_FALSE(status.Warned());
    EXPECT_FALSE(status.Reached());

    EXPECT_FALSE(Evaluate(16 * kGB - 1, At(2024, 5, 11)).Warned());
    EXPECT_TRUE(Evaluate(16 * kGB, At(2024, 5, 11)).Warned());
    EXPECT_FALSE(Evaluate(20 * kGB - 1, At(2024, 5, 11)).Reached());
    EXPECT_TRUE(Evaluate(20 * kGB, At(2024, 5, 11)).Reached());
    EXPECT_EQ(0U, Evaluate(21 * kGB, At(2024, 5, 11)).left);
    EXPECT_EQ(105U, Evaluate(21 * kGB, At(2024, 5, 11)).percent);
    EXPECT_EQ(99U, Evaluate(20 * kGB - 1, At(2024, 5, 11)).percent);
}

TEST(LimitStatus, CountsDaysByTheCalendar)
{
    EXPECT_EQ(31U, Evaluate(0, At(2024, 5, 1)).daysLeft);
    EXPECT_EQ(1U, Evaluate(0, At(2024, 6, 1) - 1).daysLeft);
    EXPECT_EQ(2U, Evaluate(0, At(2024, 3, 30, 23)).daysLeft) << "one of 23 hours among them";
    const Limit daily{"1GB", kGB, Period::Day, 80, std::nullopt};
    EXPECT_EQ(1U, Evaluate(0, At(2024, 10, 27, 5), {}, daily).daysLeft);
    EXPECT_EQ(25 * kHour, Evaluate(0, At(2024, 10, 27, 5), {}, daily).end - At(2024, 10, 27));
    const Limit weekly{"1GB", kGB, Period::Week, 80, std::nullopt};
    EXPECT_EQ(At(2024, 4, 29), Evaluate(0, At(2024, 5, 1), {}, weekly, {1, 1}).start);
    EXPECT_EQ(5U, Evaluate(0, At(2024, 5, 1), {}, weekly, {1, 1}).daysLeft);
    EXPECT_EQ(At(2024, 12, 15),
              Evaluate(0, At(2025, 1, 14), {}, {"1", 1, Period::Month, 80, {}}, {0, 15}).start);
    EXPECT_EQ(At(2025, 1, 15),
              Evaluate(0, At(2025, 1, 14), {}, {"1", 1, Period::Month, 80, {}}, {0, 15}).end);
}

TEST(LimitStatus, ForecastsAtThePresentPace)
{
    const LimitStatus slow = Evaluate(5 * kGB, At(2024, 5, 11));  // ten of 31 days
    EXPECT_EQ(15'500'000'000, slow.forecast);
    EXPECT_EQ(std::nullopt, slow.reachedAt);

    const LimitStatus fast = Evaluate(10 * kGB, At(2024, 5, 11));
    EXPECT_EQ(31 * kGB, fast.forecast);
    EXPECT_EQ(At(2024, 5, 21), fast.reachedAt);
    EXPECT_EQ(std::nullopt, Evaluate(20 * kGB, At(2024, 5, 11)).reachedAt) << "it is";
}

TEST(LimitStatus, MeasuresThePaceFromWhereCountingBegan)
{
    const long long now = At(2024, 5, 11);
    EXPECT_EQ(2 * kGB + 21 * 2 * kGB, Evaluate(2 * kGB, now, now - kDay).forecast);
    EXPECT_EQ(15'500'000'000, Evaluate(5 * kGB, now, At(2023, 1, 1)).forecast);
    EXPECT_EQ(std::nullopt, Evaluate(2 * kGB, now, now - kHour + 1).forecast);
    EXPECT_EQ(std::nullopt, Evaluate(2 * kGB, At(2024, 5, 1) + kHour - 1).forecast);
    EXPECT_EQ(std::nullopt, Evaluate(0, now, now + kDay).forecast) << "of a clock that was set back";
    EXPECT_EQ(0U, Evaluate(0, now).forecast);
    EXPECT_EQ(0xFFFFFFFFFFFFFFFF, Evaluate(0xFFFFFFFFFFFFFFFF, now).forecast);
}

TEST(LimitStatus, IsTextForPeople)
{
    EXPECT_EQ(LimitText(Evaluate(10 * kGB, At(2024, 5, 11)), 80),
              "Limit     20GB per month, all connections; warning at 80 %\n"
              "Period    2024-05-01 to 2024-05-31\n"
              "Used      9.31 GiB, 50 %           [████████████████████░░░░░░░░░░░░░░░░░░░░]\n"
              "Left      9.31 GiB, 21 days\n"
              "Forecast  28.9 GiB by the end of the month\n"
              "Reached   2024-05-21 00:00 at this pace\n");
    const Limit daily{"1GiB", 1ULL << 30, Period::Day, 50, 1};
    EXPECT_EQ(LimitText(Evaluate(2ULL << 30, At(2024, 5, 11, 0), {}, daily), 40),
              "Limit     1GiB per day, wifi; warning at 50 %\n"
              "Period    2024-05-11 to 2024-05-11\n"
              "Used      2.00 GiB, 200 %\n"
              "Left      0 B, 1 day\n"
              "Forecast  not yet\n");
    EXPECT_THAT(LimitText(Evaluate(20 * kGB, At(2024, 5, 11)), 60), HasSubstr("\nReached   already\n"));
    EXPECT_THAT(LimitText(Evaluate(1 * kGB, At(2024, 5, 11)), 60), HasSubstr("by the end of the month\n"));
}

TEST(LimitStatus, IsTheSameTextAfterItsWayThroughADocument)
{
    const Limit daily{"1GiB", 1ULL << 30, Period::Day, 50, 1};
    for (const LimitStatus& status :
         {Evaluate(10 * kGB, At(2024, 5, 11)), Evaluate(2ULL << 30, At(2024, 5, 11, 0), {}, daily),
          Evaluate(20 * kGB, At(2024, 5, 11)), Evaluate(1 * kGB, At(2024, 5, 11))}) {
        const LimitStatus copy = LimitFrom(LimitJson(status));
        EXPECT_EQ(LimitText(copy, 80, {.colour = true}), LimitText(status, 80, {.colour = true}));
        EXPECT_EQ(LimitJson(copy), LimitJson(status));
    }
    EXPECT_THROW(LimitFrom(Json::object()), Json::exception);
    EXPECT_THROW(LimitFrom({{"limit", 1}}), Json::exception);
}

TEST(LimitStatus, IsJsonForPrograms)
{
    EXPECT_EQ(LimitJson(Evaluate(10 * kGB, At(2024, 5, 11))), Json::parse(R"({
        "limit": {"amount": "20GB", "bytes": 20000000000, "per": "month", "warn_percent": 80, "type": null},
        "start": 1714514400, "end": 1717192800, "used": 10000000000, "percent": 50, "left": 10000000000,
        "days_left": 21, "warned": false, "reached": false, "forecast": 31000000000, "reached_at": 1716242400
    })"));
}

// ---- alarms -----------------------------------------------------------------------------------------------

class LimitAlarms : public testing::Test
{
protected:
    void Use(unsigned long long bytes, long long moment, int type = 1)
    {
        m_ledger->Add({moment - moment % kHour, type, "home", "wlan0", false, bytes, 0, 0});
    }
    /// "warning", "limit", or nothing.
    std::string Alarm(long long now)
    {
        const auto alarm = TakeLimitAlarm(m_limit, *m_ledger, {}, now);
        EXPECT_TRUE(alarm);
        if (!*alarm) return "";
        m_last = **alarm;
        return m_last.reached ? "limit" : "warning";
    }
    void Restart()
    {
        EXPECT_FALSE(m_ledger->Commit({}));
        m_ledger = std::move(*UsageLedger::Open(m_directory.Path() + "/", {}));
    }

    nettest::TempDir m_directory;
    std::unique_ptr<UsageLedger> m_ledger = std::move(*UsageLedger::Open(m_directory.Path() + "/", {}));
    Limit m_limit{"20GB", 20 * kGB, Period::Month, 80, std::nullopt};
    LimitAlarm m_last;
};

TEST_F(LimitAlarms, ComeOnceInAPeriod)
{
    const long long now = At(2024, 5, 11);
    Use(15 * kGB, now);
    EXPECT_EQ("", Alarm(now));
    Use(kGB, now);
    EXPECT_EQ("warning", Alarm(now));
    EXPECT_EQ("", Alarm(now + 10));
    Restart();
    EXPECT_EQ("", Alarm(now + 20));
    Use(4 * kGB, now);
    EXPECT_EQ("limit", Alarm(now + 30));
    Restart();
    EXPECT_EQ("", Alarm(now + 40));

    Use(17 * kGB, At(2024, 6, 2));
    EXPECT_EQ("warning", Alarm(At(2024, 6, 2)));
    EXPECT_EQ("", Alarm(At(2024, 5, 12))) << "the clock was set back";
}

TEST_F(LimitAlarms, AreNotWarningsOnceTheLimitIsReached)
{
    const long long now = At(2024, 5, 11);
    Use(25 * kGB, now);
    EXPECT_EQ("limit", Alarm(now));
    EXPECT_EQ("", Alarm(now));
}

TEST_F(LimitAlarms, ComeAgainWhenTheLimitIsMoved)
{
    const long long now = At(2024, 5, 11);
    Use(25 * kGB, now);
    EXPECT_EQ("limit", Alarm(now));
    m_limit.bytes = 30 * kGB;
    EXPECT_EQ("warning", Alarm(now));
    m_limit.bytes = 50 * kGB;
    EXPECT_EQ("", Alarm(now));
    m_limit.bytes = 20 * kGB;
    EXPECT_EQ("", Alarm(now)) << "that was told";
}

TEST_F(LimitAlarms, CountWhatIsLimitedAlone)
{
    m_limit.type = 4;
    const long long now = At(2024, 5, 11);
    Use(25 * kGB, now, 1);
    Use(25 * kGB, At(2024, 4, 30), 4);
    EXPECT_EQ("", Alarm(now));
    Use(16 * kGB, now, 4);
    EXPECT_EQ("warning", Alarm(now));
}

TEST_F(LimitAlarms, CarryTheFacts)
{
    const long long now = At(2024, 5, 11);
    Use(16 * kGB, now);
    ASSERT_EQ("warning", Alarm(now));
    EXPECT_EQ("80 % of the limit of 20GB per month is used: 3.73 GiB left for 21 days", m_last.Message());
    const auto variables = m_last.Variables();
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_EVENT", "warning")));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_MESSAGE", m_last.Message())));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_BYTES", "20000000000")));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_USED", "16000000000")));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_LEFT", "4000000000")));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_PERCENT", "80")));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_TYPE", "all")));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_PER", "month")));
    EXPECT_THAT(variables, Contains(Pair("NETINFO_LIMIT_DAYS_LEFT", "21")));

    m_limit.type = 1;
    Use(4 * kGB, now);
    ASSERT_EQ("limit", Alarm(now));
    EXPECT_EQ("the limit of wifi of 20GB per month is reached: 18.6 GiB used", m_last.Message());
    EXPECT_THAT(m_last.Variables(), Contains(Pair("NETINFO_LIMIT_EVENT", "limit")));
    EXPECT_THAT(m_last.Variables(), Contains(Pair("NETINFO_LIMIT_TYPE", "wifi")));
}

}  // namespace
