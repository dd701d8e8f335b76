#include "host/Summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "host/Format.h"
#include "tests/support/TempDir.h"

namespace {

using namespace netinfo;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr long long HOUR = 3600;
constexpr long long NOW = 1'714'557'603;  // Wednesday, 2024-05-01 12:00:03 in the zone of the tests
constexpr unsigned long long MIB = 1 << 20;

long long At(int year, unsigned month, unsigned day, unsigned hour = 0)
{
    return MomentShowing(
               {Date(std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)), hour})
        .value();
}

std::vector<TypeStatus> Types(bool connected)
{
    std::vector<TypeStatus> types(TRAFFIC_TYPES.size());
    for (std::size_t i = 0; i < types.size(); ++i)
        types[i].type = TRAFFIC_TYPES[i];
    types[1].links = {"wlan0"};
    types[1].connected = connected;
    types[1].downSpeed = connected ? 500'000 : 0;
    types[1].upSpeed = connected ? 2048 : 0;
    return types;
}

struct SummaryTest : testing::Test
{
    void Add(long long moment, unsigned long long downloaded, unsigned long long uploaded = 0, int type = 1)
    {
        ledger->Add({moment - moment % HOUR, type, "home", "wlan0", false, downloaded, uploaded, 60});
    }
    Summary Make(bool counting = true, const std::optional<Limit>& limit = {},
                 const PeriodStarts& starts = {})
    {
        const auto summary = MakeSummary(*ledger, Types(counting), counting, limit, starts, NOW);
        EXPECT_TRUE(summary);
        return *summary;
    }

    nettest::TempDir directory;
    std::unique_ptr<UsageLedger> ledger = std::move(*UsageLedger::OpenForReading(directory.Path() + "/"));
};

}  // namespace

TEST_F(SummaryTest, AddsUpTodayThisWeekAndThisMonthForEveryType)
{
    Add(At(2024, 4, 27, 12), 1);          // Saturday: last week, last month
    Add(At(2024, 4, 28, 0), 10);          // Sunday: this week, last month
    Add(At(2024, 4, 30, 23), 100, 5, 0);  // yesterday
    Add(At(2024, 5, 1, 0), 1000, 50, 4);
    Add(NOW, 10'000, 500, 0);

    const Summary summary = Make();

    const auto& [today, week, month] = summary.periods;
    EXPECT_EQ(today.start, At(2024, 5, 1));
    EXPECT_EQ(today.end, At(2024, 5, 2));
    EXPECT_EQ(today.total.Total(), 11'550U);
    EXPECT_EQ(today.types[0].Total(), 10'500U);
    EXPECT_EQ(today.types[1].Total(), 0U);
    EXPECT_EQ(today.types[2].Total(), 1'050U);
    EXPECT_EQ(week.start, At(2024, 4, 28));
    EXPECT_EQ(week.total.Total(), 11'665U);
    EXPECT_EQ(week.types[1].Total(), 10U);
    EXPECT_EQ(month.start, At(2024, 5, 1));
    EXPECT_EQ(month.total.Total(), 11'550U);
}

TEST_F(SummaryTest, BeginsWeeksAndMonthsWhereTheUserSays)
{
    Add(At(2024, 4, 15), 1);
    Add(At(2024, 4, 28, 23), 10);  // Sunday
    Add(At(2024, 4, 29), 100);

    const Summary summary = Make(true, {}, {.weekday = 1, .monthDay = 15});

    EXPECT_EQ(summary.periods[1].start, At(2024, 4, 29));
    EXPECT_EQ(summary.periods[1].total.Total(), 100U);
    EXPECT_EQ(summary.periods[2].start, At(2024, 4, 15));
    EXPECT_EQ(summary.periods[2].total.Total(), 111U);
}

TEST_F(SummaryTest, CountsUnknownTypesInTheTotalAlone)
{
    Add(NOW, 7, 0, 9);
    const Summary summary = Make();
    EXPECT_EQ(summary.periods[0].total.Total(), 7U);
    for (const UsageFigures& figures : summary.periods[0].types)
        EXPECT_EQ(figures.Total(), 0U);
}

TEST_F(SummaryTest, LeavesOutWhatLiesInTheFuture)
{
    Add(At(2024, 6, 1), 7);
    EXPECT_EQ(Make().periods[2].total.Total(), 0U);
    EXPECT_TRUE(Make().counted);
}

TEST_F(SummaryTest, ShowsLinksSpeedsPeriodsAndLimit)
{
    Add(At(2024, 4, 29), 20 * MIB, 4 * MIB);
    Add(NOW, 9 * MIB, 1 * MIB);
    Add(NOW, 5 * MIB, 0, 4);
    const auto limit = ParseLimit({.amount = "30MiB", .per = "day", .warn = "", .type = ""});
    ASSERT_TRUE(limit);

    EXPECT_EQ(SummaryText(Make(true, *limit), 60, {}),
              "netinfo  2024-05-01 12:00:03\n"
              "counting; for the last minutes: netinfo live\n"
              "\n"
              "TYPE     STATE      LINK        DOWN          UP\n"
              "Dial-up  -                     0 B/s       0 B/s\n"
              "WiFi     connected  wlan0  488 KiB/s  2.00 KiB/s\n"
              "ADSL     -                     0 B/s       0 B/s\n"
              "\n"
              "USED          TODAY   THIS WEEK  THIS MONTH\n"
              "since    2024-05-01  2024-04-28  2024-05-01\n"
              "Dial-up         0 B         0 B         0 B\n"
              "WiFi       10.0 MiB    34.0 MiB    10.0 MiB\n"
              "ADSL       5.00 MiB    5.00 MiB    5.00 MiB\n"
              "total      15.0 MiB    39.0 MiB    15.0 MiB\n"
              "\n"
              "Limit  15.0 MiB of 30MiB per day\n"
              "       [████████████░░░░░░░░░░░░] 50 %; 15.0 MiB left, 1 day\n");
}

TEST_F(SummaryTest, SaysInOneLineWhatToTypeWhenNothingCounts)
{
    Add(NOW, 9 * MIB);
    const std::string text = SummaryText(Make(false), 80, {});

    EXPECT_THAT(text, HasSubstr("\nNothing is counting; to start: netinfo run\n"));
    EXPECT_THAT(text, HasSubstr("WiFi     link up  wlan0\n"));
    EXPECT_THAT(text, Not(HasSubstr("B/s")));
    EXPECT_THAT(text, HasSubstr("total      9.00 MiB"));
}

TEST_F(SummaryTest, TeachesANewcomer)
{
    const std::string text = SummaryText(Make(false), 80, {});

    EXPECT_THAT(text, HasSubstr("\nNothing was counted yet; to start: netinfo run\n"));
    EXPECT_THAT(text, Not(HasSubstr("USED")));
    EXPECT_THAT(text, HasSubstr("  netinfo limit set 20GB    "));
    EXPECT_THAT(text, EndsWith("  netinfo help              every command\n"));
}

TEST_F(SummaryTest, FitsOneScreenWhateverThereIs)
{
    Add(NOW, std::numeric_limits<long long>::max());
    const auto limit = ParseLimit({.amount = "30MiB", .per = "", .warn = "", .type = "wifi"});
    ASSERT_TRUE(limit);
    for (const Units units : {Units::Iec, Units::Si}) {
        for (const std::size_t columns : {60U, 80U, 200U}) {
            Summary summary = Make(true, *limit);
            summary.types[1].links = {"a link with a rather long name", "and another one",
                                      "漢字漢字漢字漢字"};
            std::istringstream text(SummaryText(summary, columns, {.units = units}));
            std::size_t count = 0;
            for (std::string line; std::getline(text, line); ++count)
                EXPECT_LE(Width(line), columns) << line;
            EXPECT_LT(count, 24U);
        }
    }
}

TEST_F(SummaryTest, DrawsAsTheStyleSays)
{
    Add(NOW, 9 * MIB);
    const auto limit = ParseLimit({.amount = "10MiB", .per = "day", .warn = "", .type = ""});
    ASSERT_TRUE(limit);

    const std::string plain = SummaryText(Make(true, *limit), 80, {.unicode = false});
    EXPECT_THAT(plain, HasSubstr("[####"));
    EXPECT_THAT(plain, Not(HasSubstr("\033")));
    const std::string coloured = SummaryText(Make(true, *limit), 80, {.units = Units::Bytes, .colour = true});
    EXPECT_THAT(coloured, HasSubstr("\033[1mTYPE"));
    EXPECT_THAT(coloured, HasSubstr("\033[33m█"));
    EXPECT_THAT(coloured, HasSubstr("9437184 B"));
}

TEST_F(SummaryTest, GivesProgramsTheSame)
{
    Add(At(2024, 4, 29), 20, 4);
    Add(NOW, 9, 1);
    const auto limit = ParseLimit({.amount = "100", .per = "day", .warn = "", .type = ""});
    ASSERT_TRUE(limit);

    const Json json = SummaryJson(Make(true, *limit));
    EXPECT_EQ(json["time"], NOW);
    EXPECT_EQ(json["counting"], true);
    EXPECT_EQ(json["types"].size(), 3U);
    EXPECT_EQ(json["types"][1]["download_speed"], 500'000);
    EXPECT_EQ(json["used"]["today"]["start"], At(2024, 5, 1));
    EXPECT_EQ(json["used"]["today"]["wifi"]["downloaded"], 9);
    EXPECT_EQ(json["used"]["week"]["total"]["total"], 34);
    EXPECT_EQ(json["used"]["month"]["total"]["uploaded"], 1);
    EXPECT_EQ(json["limit"]["used"], 10);
    EXPECT_EQ(SummaryJson(Make(false))["limit"], nullptr);
    EXPECT_EQ(SummaryText(SummaryFrom(json), 80, {}), SummaryText(Make(true, *limit), 80, {}));
    EXPECT_EQ(SummaryText(SummaryFrom(SummaryJson(Make(false))), 80, {}), SummaryText(Make(false), 80, {}));
    EXPECT_THROW(SummaryFrom(Json::object()), Json::exception);
    EXPECT_EQ(SummaryJson(Make(false))["counting"], false);
    EXPECT_EQ(SummaryJson(Make(false))["types"][1]["links"], Json::array({"wlan0"}));
    EXPECT_EQ(SummaryJson(Make(false))["types"][1]["download_speed"], nullptr) << "not known is not 0";
}
