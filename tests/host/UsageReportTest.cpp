#include "host/UsageReport.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <random>

#include "tests/support/TempDir.h"

namespace {

using namespace netinfo;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr long long kHour = 3600;
constexpr long long kNow = 1'714'557'600;  // Wednesday, 2024-05-01 12:00 in Berlin, the zone of the tests

void LiveIn(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

/// The moment that the local clocks show so.
long long At(int year, unsigned month, unsigned day, unsigned hour = 0)
{
    return MomentShowing(
               {Date(std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)), hour})
        .value();
}

class UsageReportTest : public testing::Test
{
protected:
    void Add(long long moment, unsigned long long downloaded, unsigned long long uploaded = 0,
             const std::string& profile = "home", int type = 1, bool recovered = false)
    {
        m_ledger->Add({moment - moment % kHour, type, profile, "wlan0", recovered, downloaded, uploaded, 60});
    }
    UsageReport Report(UsageQuery query, PeriodStarts starts = {}, long long now = kNow)
    {
        const auto report = MakeUsageReport(*m_ledger, query, starts, now);
        EXPECT_TRUE(report);
        return *report;
    }
    /// The lines as "2024-05-01 100/10".
    static std::vector<std::string> Lines(const UsageReport& report)
    {
        std::vector<std::string> lines;
        for (const UsageLine& line : report.lines) {
            lines.push_back(line.name + " " + std::to_string(line.figures.downloaded) + "/" +
                            std::to_string(line.figures.uploaded));
        }
        return lines;
    }

    nettest::TempDir m_directory;
    std::unique_ptr<UsageLedger> m_ledger = std::move(*UsageLedger::OpenForReading(m_directory.Path() + "/"));
};

UsageQuery By(UsageBy by, std::optional<unsigned> last = {})
{
    UsageQuery query;
    query.by = by;
    query.last = last;
    return query;
}

// ---- grouping ---------------------------------------------------------------------------------------------

TEST_F(UsageReportTest, HasNoLinesWithoutTraffic)
{
    const UsageReport report = Report({});
    EXPECT_THAT(report.lines, IsEmpty());
    EXPECT_EQ(UsageFigures{}, report.total);
}

TEST_F(UsageReportTest, GroupsHoursIntoLocalDays)
{
    Add(At(2024, 4, 29, 0), 1);
    Add(At(2024, 4, 29, 23), 2);
    Add(At(2024, 4, 30, 0) - 1, 4);
    Add(At(2024, 4, 30, 0), 8, 80);
    Add(kNow, 16);

    const UsageReport report = Report({});
    EXPECT_THAT(Lines(report), ElementsAre("2024-04-29 7/0", "2024-04-30 8/80", "2024-05-01 16/0"));
    EXPECT_EQ(31U, report.total.downloaded);
    EXPECT_EQ(80U, report.total.uploaded);
    EXPECT_EQ(5U * 60, report.total.seconds);
    EXPECT_EQ(At(2024, 4, 30), report.lines[1].start);
    EXPECT_EQ(At(2024, 5, 1), report.lines[1].end);
}

TEST_F(UsageReportTest, ShowsPeriodsWithoutTrafficBetweenOthersAndUpToNow)
{
    Add(At(2024, 4, 27), 1);
    Add(At(2024, 4, 29), 2);
    EXPECT_THAT(Lines(Report({})), ElementsAre("2024-04-27 1/0", "2024-04-28 0/0", "2024-04-29 2/0",
                                               "2024-04-30 0/0", "2024-05-01 0/0"));
}

TEST_F(UsageReportTest, ShowsWhatWasCountedUnderAClockThatRanAhead)
{
    Add(kNow, 1);
    Add(At(2031, 1, 1, 5), 2);
    EXPECT_THAT(Lines(Report({})), ElementsAre("2024-05-01 1/0", "2031-01-01 2/0"));
}

TEST_F(UsageReportTest, CountsDaysOf23And25Hours)
{
    for (long long hour = At(2024, 3, 30); hour < At(2024, 4, 2); hour += kHour)
        Add(hour, 1);
    for (long long hour = At(2024, 10, 26); hour < At(2024, 10, 29); hour += kHour)
        Add(hour, 1);

    EXPECT_THAT(Lines(Report(By(UsageBy::Day, 3), {}, At(2024, 4, 1, 23))),
                ElementsAre("2024-03-30 24/0", "2024-03-31 23/0", "2024-04-01 24/0", "2024-10-26 24/0",
                            "2024-10-27 25/0", "2024-10-28 24/0"));
    UsageQuery day = By(UsageBy::Hour);
    day.from = At(2024, 10, 27);
    day.to = At(2024, 10, 28);
    const UsageReport hours = Report(day);
    ASSERT_THAT(hours.lines, SizeIs(25));
    EXPECT_EQ("2024-10-27 02:00", hours.lines[2].name);
    EXPECT_EQ("2024-10-27 02:00", hours.lines[3].name);
    EXPECT_EQ("2024-10-27 03:00", hours.lines[4].name);
}

TEST_F(UsageReportTest, PutsAnHourIntoTheDayInWhichItBeginsWhereZonesHaveHalfHours)
{
    LiveIn("IST-5:30");
    const long long hour = 1'714'500'000;  // 2024-04-30 18:00 UTC, 23:30 in the zone
    ASSERT_EQ((ClockTime{Date(std::chrono::year(2024), std::chrono::month(4), std::chrono::day(30)), 23, 30}),
              ShownAt(hour));
    Add(hour, 1);
    Add(hour + kHour, 2);
    EXPECT_THAT(Lines(Report({})), ElementsAre("2024-04-30 1/0", "2024-05-01 2/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Hour, 100))).front(), "2024-04-30 23:30 1/0");

    UsageQuery today;
    today.from = At(2024, 5, 1);
    EXPECT_THAT(Lines(Report(today)), ElementsAre("2024-05-01 2/0"));
}

TEST_F(UsageReportTest, BeginsWeeksAndMonthsWhereTheSettingsSay)
{
    Add(At(2024, 4, 14, 23), 1);
    Add(At(2024, 4, 15), 2);
    Add(At(2024, 4, 28), 4);
    Add(At(2024, 4, 29), 8);

    EXPECT_THAT(Lines(Report(By(UsageBy::Week), {0, 1})),
                ElementsAre("2024-04-14 3/0", "2024-04-21 0/0", "2024-04-28 12/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Week), {1, 1})),
                ElementsAre("2024-04-08 1/0", "2024-04-15 2/0", "2024-04-22 4/0", "2024-04-29 8/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Month), {0, 1})), ElementsAre("2024-04 15/0", "2024-05 0/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Month), {0, 15})), ElementsAre("2024-03-15 1/0", "2024-04-15 14/0"));
}

TEST_F(UsageReportTest, TellsYearsApartInLocalTime)
{
    Add(At(2023, 12, 31, 23), 1);
    Add(At(2024, 1, 1), 2);  // still 2023 in UTC
    EXPECT_THAT(Lines(Report(By(UsageBy::Year))), ElementsAre("2023 1/0", "2024 2/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Month))), ElementsAre("2023-12 1/0", "2024-01 2/0", "2024-02 0/0",
                                                               "2024-03 0/0", "2024-04 0/0", "2024-05 0/0"));
}

TEST_F(UsageReportTest, GroupsByTypeAndProfileTheBusiestFirst)
{
    Add(kNow, 5, 0, "home", 1);
    Add(kNow, 100, 1, "office", 4);
    Add(kNow - 400 * 24 * kHour, 20, 0, "home", 1);
    Add(kNow, 1, 0, "stick", 0);

    EXPECT_THAT(Lines(Report(By(UsageBy::Type))), ElementsAre("adsl 100/1", "wifi 25/0", "dial-up 1/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Profile))), ElementsAre("office 100/1", "home 25/0", "stick 1/0"));
    UsageQuery recent = By(UsageBy::Profile);
    recent.from = kNow - 24 * kHour;
    recent.type = 1;
    EXPECT_THAT(Lines(Report(recent)), ElementsAre("home 5/0"));
}

// ---- what is asked for ------------------------------------------------------------------------------------

TEST_F(UsageReportTest, ShowsAFewPeriodsWhereNothingIsSaid)
{
    for (int day = 0; day < 1000; ++day) {
        for (int hour = 0; hour < 24; ++hour)
            Add(kNow - day * 24 * kHour - hour * kHour, 1);
    }
    EXPECT_THAT(Report(By(UsageBy::Hour)).lines, SizeIs(24));
    EXPECT_THAT(Report(By(UsageBy::Day)).lines, SizeIs(30));
    EXPECT_THAT(Report(By(UsageBy::Week)).lines, SizeIs(12));
    EXPECT_THAT(Report(By(UsageBy::Month)).lines, SizeIs(12));
    EXPECT_THAT(Report(By(UsageBy::Year)).lines, SizeIs(4));
    EXPECT_EQ(24'000U, Report(By(UsageBy::Type)).total.downloaded);
    UsageQuery all;
    all.to = kNow;
    EXPECT_THAT(Report(all).lines, SizeIs(1001));
}

TEST_F(UsageReportTest, CountsPeriodsBackFromThePresentOne)
{
    for (int day = 0; day < 100; ++day)
        Add(kNow - day * 24 * kHour, 1);
    EXPECT_THAT(Lines(Report(By(UsageBy::Day, 2))), ElementsAre("2024-04-30 1/0", "2024-05-01 1/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Month, 1))), ElementsAre("2024-05 1/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Month, 2), {0, 15})),
                ElementsAre("2024-03-15 31/0", "2024-04-15 17/0"));
    EXPECT_THAT(Lines(Report(By(UsageBy::Hour, 25))).front(), "2024-04-30 12:00 1/0");
    EXPECT_EQ(100U, Report(By(UsageBy::Week, 100'000)).total.downloaded) << "back to the beginning of time";
}

TEST_F(UsageReportTest, CountsHoursByTheirStart)
{
    for (int hour = 0; hour < 6; ++hour)
        Add(At(2024, 5, 1, 6 + static_cast<unsigned>(hour)), 1);
    UsageQuery query = By(UsageBy::Hour);
    query.from = At(2024, 5, 1, 7) + 1;
    query.to = At(2024, 5, 1, 10);
    EXPECT_THAT(Lines(Report(query)), ElementsAre("2024-05-01 08:00 1/0", "2024-05-01 09:00 1/0"));
}

TEST_F(UsageReportTest, FindsTheBusiestDays)
{
    for (int day = 0; day < 10; ++day)
        Add(At(2024, 4, 1 + static_cast<unsigned>(day)), static_cast<unsigned>(day * 7 % 10), 1);
    UsageQuery query;
    query.from = At(2024, 4, 1);
    query.top = 3;
    const UsageReport report = Report(query);
    EXPECT_THAT(Lines(report), ElementsAre("2024-04-08 9/1", "2024-04-05 8/1", "2024-04-02 7/1"));
    EXPECT_EQ(45U, report.total.downloaded) << "of all days";
}

TEST_F(UsageReportTest, CountsOneTypeAlone)
{
    Add(kNow, 5, 0, "home", 1);
    Add(kNow, 100, 1, "office", 4);
    UsageQuery query;
    query.type = 4;
    EXPECT_THAT(Lines(Report(query)), ElementsAre("2024-05-01 100/1"));
    EXPECT_EQ(100U, Report(query).total.downloaded);
    EXPECT_EQ(106U, SumUsage(*m_ledger, 0, kNow + kHour, std::nullopt)->Total());
    EXPECT_EQ(101U, SumUsage(*m_ledger, 0, kNow + kHour, 4)->Total());
}

TEST_F(UsageReportTest, SumsUpTheSameHoweverItIsGrouped)
{
    std::mt19937_64 random(7);
    for (const char* const zone : {"CET-1CEST,M3.5.0,M10.5.0/3", "IST-5:30", "BRT3BRST,M10.3.0/0,M2.3.0/0"}) {
        LiveIn(zone);
        std::map<std::string, unsigned long long> model;
        unsigned long long all = 0;
        m_ledger = std::move(*UsageLedger::OpenForReading(m_directory.Path() + "/"));
        for (int i = 0; i < 3000; ++i) {
            const long long moment = kNow - static_cast<long long>(random() % (800 * 24)) * kHour;
            const unsigned long long bytes = random() % 1'000'000'000;
            Add(moment, bytes, 0, "p" + std::to_string(random() % 3), i % 2 == 0 ? 0 : 4, i % 5 == 0);
            model[DateText(ShownAt(moment - moment % kHour).day)] += bytes;
            all += bytes;
        }
        for (const UsageBy by : {UsageBy::Hour, UsageBy::Day, UsageBy::Week, UsageBy::Month, UsageBy::Year,
                                 UsageBy::Type, UsageBy::Profile}) {
            UsageQuery query = By(by);
            query.from = 0;
            for (const PeriodStarts starts : {PeriodStarts{0, 1}, PeriodStarts{3, 15}}) {
                const UsageReport report = Report(query, starts);
                unsigned long long sum = 0;
                for (const UsageLine& line : report.lines) {
                    sum += line.figures.downloaded;
                    if (by != UsageBy::Day) continue;
                    EXPECT_EQ(model[line.name], line.figures.downloaded) << line.name;
                }
                EXPECT_EQ(all, sum);
                EXPECT_EQ(all, report.total.downloaded);
                for (std::size_t i = 1; i < report.lines.size() && by < UsageBy::Type; ++i)
                    ASSERT_EQ(report.lines[i - 1].end, report.lines[i].start);
            }
        }
    }
}

// ---- words ------------------------------------------------------------------------------------------------

std::string Problem(const UsageWords& words)
{
    const auto query = ParseUsageQuery(words, kNow);
    if (query) return "";
    EXPECT_EQ(EXIT_USAGE, query.Error().exitCode);
    return query.Error().message;
}

TEST(UsageQuery, IsReadFromWords)
{
    const auto query = ParseUsageQuery({"MONTH", "2024-04-01", "2024-04-30", "", "WiFi", "3"}, kNow);
    ASSERT_TRUE(query);
    EXPECT_EQ(UsageBy::Month, query->by);
    EXPECT_EQ(At(2024, 4, 1), query->from);
    EXPECT_EQ(At(2024, 5, 1), query->to) << "to the end of the day";
    EXPECT_EQ(1, query->type);
    EXPECT_EQ(3U, query->top);

    EXPECT_EQ(At(2024, 4, 30, 13), ParseUsageQuery({"", "", "2024-04-30 13:00", "", "", ""}, kNow)->to);
    EXPECT_EQ(At(2025, 1, 1), ParseUsageQuery({"", "", "2024-12-31", "", "", ""}, kNow)->to);
    EXPECT_EQ(kNow - 7 * 24 * kHour, ParseUsageQuery({"", "7d", "", "", "", ""}, kNow)->from);
    EXPECT_EQ(6U, ParseUsageQuery({"week", "", "", "6", "", ""}, kNow)->last);
    EXPECT_EQ(UsageBy::Day, ParseUsageQuery({}, kNow)->by);
}

TEST(UsageQuery, RefusesWhatItDoesNotUnderstand)
{
    EXPECT_THAT(Problem({"decade", "", "", "", "", ""}), HasSubstr("--by takes hour, day"));
    EXPECT_THAT(Problem({"", "yesterday", "", "", "", ""}), HasSubstr("'yesterday' is not a date"));
    EXPECT_THAT(Problem({"", "2024-06-01", "", "", "", ""}), HasSubstr("lies in the future"));
    EXPECT_THAT(Problem({"", "", "2024-02-30", "", "", ""}), HasSubstr("not a date that exists"));
    EXPECT_THAT(Problem({"", "", "1969-01-01", "", "", ""}), HasSubstr("before 1970"));
    EXPECT_THAT(Problem({"", "2024-04-02", "2024-04-01", "", "", ""}), HasSubstr("is empty"));
    EXPECT_THAT(Problem({"", "", "", "0", "", ""}),
                HasSubstr("--last takes a number from 1 to 100000, not '0'"));
    EXPECT_THAT(Problem({"", "", "", "-3", "", ""}), HasSubstr("--last"));
    EXPECT_THAT(Problem({"", "", "", "4294967297", "", ""}), HasSubstr("--last"));
    EXPECT_THAT(Problem({"", "7d", "", "3", "", ""}), HasSubstr("not with --from"));
    EXPECT_THAT(Problem({"type", "", "", "3", "", ""}), HasSubstr("say which with --by"));
    EXPECT_THAT(Problem({"", "", "", "", "modem", ""}), HasSubstr("'modem' is no connection type"));
    EXPECT_THAT(Problem({"", "", "", "", "", "ten"}), HasSubstr("--top takes a number"));
}

// ---- what people and programs see -------------------------------------------------------------------------

TEST_F(UsageReportTest, IsATableWithBars)
{
    Add(At(2024, 4, 30), 3 * 1024 * 1024, 1024 * 1024);
    Add(kNow, 512 * 1024, 512 * 1024);

    EXPECT_EQ(UsageTable(Report({}), 80),
              "DAY             DOWN        UP     TOTAL      TIME\n"
              "2024-04-30  3.00 MiB  1.00 MiB  4.00 MiB  00:01:00  █████████████████████░░░░░░░\n"
              "2024-05-01   512 KiB   512 KiB  1.00 MiB  00:01:00  ███░░░░\n"
              "total       3.50 MiB  1.50 MiB  5.00 MiB  00:02:00\n");
    EXPECT_EQ(UsageTable(Report({}), 60),
              "DAY             DOWN        UP     TOTAL\n"
              "2024-04-30  3.00 MiB  1.00 MiB  4.00 MiB  █████████████░░░░░\n"
              "2024-05-01   512 KiB   512 KiB  1.00 MiB  ██░░░\n"
              "total       3.50 MiB  1.50 MiB  5.00 MiB\n");
    EXPECT_EQ(UsageTable(Report({}), 42),
              "DAY             DOWN        UP     TOTAL\n"
              "2024-04-30  3.00 MiB  1.00 MiB  4.00 MiB\n"
              "2024-05-01   512 KiB   512 KiB  1.00 MiB\n"
              "total       3.50 MiB  1.50 MiB  5.00 MiB\n");
}

TEST_F(UsageReportTest, MarksRecoveredTraffic)
{
    Add(At(2024, 4, 30), 1024);
    Add(kNow, 1024);
    Add(kNow, 2048, 1024, "home", 1, true);

    EXPECT_EQ(UsageTable(Report({}), 60),
              "DAY             DOWN        UP     TOTAL\n"
              "2024-04-30  1.00 KiB       0 B  1.00 KiB    ████\n"
              "2024-05-01  3.00 KiB  1.00 KiB  4.00 KiB *  ████████████░░░░\n"
              "total       4.00 KiB  1.00 KiB  5.00 KiB *\n"
              "* 3.00 KiB recovered: it passed while nobody counted\n");
}

TEST_F(UsageReportTest, SaysThatThereIsNothing)
{
    EXPECT_EQ(UsageTable(Report({}), 80), "No traffic is recorded for this time.\n");
}

TEST_F(UsageReportTest, ShowsForeignNamesSafely)
{
    Add(kNow, 1, 0, "\033[31mred");
    Add(kNow, 2, 0, "");
    const std::string table = UsageTable(Report(By(UsageBy::Profile)), 80);
    EXPECT_THAT(table, HasSubstr("\\x1B[31mred"));
    EXPECT_THAT(table, HasSubstr("(unknown)"));
    Add(kNow, 3, 0, std::string(200, 'x'));
    for (const std::size_t columns : {40U, 60U, 80U, 200U}) {
        const std::string wide = UsageTable(Report(By(UsageBy::Profile)), columns);
        EXPECT_THAT(wide, HasSubstr("x…")) << columns;
    }
}

TEST_F(UsageReportTest, IsJsonForPrograms)
{
    Add(kNow, 1024, 10);
    Add(kNow, 2048, 20, "home", 1, true);
    UsageQuery query;
    query.type = 1;
    query.from = At(2024, 5, 1);
    const Json json = UsageJson(Report(query));

    EXPECT_EQ(json, Json::parse(R"({
        "by": "day", "type": "wifi", "from": 1714514400, "to": null,
        "lines": [{
            "day": "2024-05-01", "start": 1714514400, "end": 1714600800,
            "downloaded": 3072, "uploaded": 30, "total": 3102, "seconds": 120,
            "recovered": {"downloaded": 2048, "uploaded": 20}
        }],
        "total": {
            "downloaded": 3072, "uploaded": 30, "total": 3102, "seconds": 120,
            "recovered": {"downloaded": 2048, "uploaded": 20}
        }
    })"));
    const Json profiles = UsageJson(Report(By(UsageBy::Profile)));
    EXPECT_EQ("home", profiles["lines"][0]["profile"]);
    EXPECT_FALSE(profiles["lines"][0].contains("start"));
    EXPECT_TRUE(profiles["type"].is_null());
}

TEST_F(UsageReportTest, IsTheSameAfterItsWayThroughADocument)
{
    Add(kNow, 1000, 100);
    Add(kNow - 3 * kHour, 10, 1, "a,\"b\"\n", 4, true);
    for (const UsageBy by : {UsageBy::Hour, UsageBy::Day, UsageBy::Week, UsageBy::Month, UsageBy::Year,
                             UsageBy::Type, UsageBy::Profile}) {
        const UsageReport report = Report(By(by));
        const UsageReport copy = UsageFrom(UsageJson(report));
        EXPECT_EQ(UsageJson(copy), UsageJson(report));
        EXPECT_EQ(UsageTable(copy, 80), UsageTable(report, 80));
        EXPECT_EQ(UsageCsv(copy), UsageCsv(report));
    }
    EXPECT_THROW(UsageFrom(Json::array()), Json::exception);
    EXPECT_THROW(UsageFrom({{"by", "day"}}), Json::exception);
}

TEST_F(UsageReportTest, IsCsvForSpreadsheets)
{
    Add(kNow, 1024, 10, "plain");
    Add(kNow, 2048, 20, "a \"quoted\", divided", 1, true);
    EXPECT_EQ(UsageCsv(Report(By(UsageBy::Profile))),
              "profile,downloaded,uploaded,total,seconds,recovered_downloaded,recovered_uploaded\r\n"
              "\"a \"\"quoted\"\", divided\",2048,20,2068,60,2048,20\r\n"
              "plain,1024,10,1034,60,0,0\r\n");
    EXPECT_EQ(UsageCsv(Report(By(UsageBy::Hour, 1))),
              "hour,downloaded,uploaded,total,seconds,recovered_downloaded,recovered_uploaded\r\n"
              "2024-05-01 12:00,3072,30,3102,120,2048,20\r\n");
}

}  // namespace
