#include <gmock/gmock.h>

#include <string>

#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"

namespace {

using namespace nettest;
using testing::HasSubstr;

/// Totals of dial-up and WiFi on Wednesday 18 March 2026 at 15:00, weeks starting on Monday, and three
/// records.
class Reset : public StoreTest
{
protected:
    static constexpr const char* WIFI_TOTALS = R"(
        <transfer type="WiFi">
        <today time="@2026-03-18 14:00:00@" uploaded="100" downloaded="200" todaytime="0"/>
        <since time="@2026-03-02 09:00:00@" uploaded="1000" downloaded="2000"/>
        <this_week time="@2026-03-16@" uploaded="300" downloaded="600" weektime="0"/>
        <this_month time="@2026-03-01@" uploaded="700" downloaded="1400" monthtime="0"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="900" downloaded="1800"/>
        </transfer>
        )";
    static constexpr const char* RECORDS = R"(
        <total>
        <item device="ppp0" apn="A" starttime="@2026-03-10 10:00:00@" endtime="@2026-03-10 11:00:00@" time="3600" uploaded="1" downloaded="2" unitprice="0" fee="0"/>
        <item device="ppp1" apn="B" starttime="@2026-03-11 10:00:00@" endtime="@2026-03-11 11:00:00@" time="3600" uploaded="3" downloaded="4" unitprice="0" fee="0"/>
        <item device="ppp2" apn="C" starttime="@2026-03-18 14:00:00@" endtime="@2026-03-18 15:00:00@" time="3600" uploaded="5" downloaded="6" unitprice="7" fee="8"/>
        </total>
        )";

    Reset()
    {
        FakePlatform::SetSetting("uselimit", "startweekdate", "1");
        GivenFile(std::string(R"(
            <transfer type="Dial-up">
            <today time="@2026-03-18 14:00:00@" uploaded="100" downloaded="200" todaytime="500" Lastcntime="3600"/>
            <since time="@2026-03-02 09:00:00@" uploaded="1000" downloaded="2000" sincetime="5000"/>
            <this_week time="@2026-03-16@" uploaded="300" downloaded="600" weektime="1500"/>
            <this_month time="@2026-03-01@" uploaded="700" downloaded="1400" monthtime="3500"/>
            <this_year time="@2026-01-05 10:00:00@" uploaded="900" downloaded="1800" yeartime="4500"/>
            </transfer>
            )") + WIFI_TOTALS +
                  RECORDS);
    }

    static void ResetPeriods(CDataMgr& store, int type)
    {
        store.ResetTodayData(type);
        store.ResetSinceData(type);
        store.ResetThisWeekData(type);
        store.ResetThisMonthData(type);
        store.ResetThisYearData(type);
    }
};

TEST_F(Reset, OfAllPeriodsAndRecordsLeavesTheCurrentConnectionToStartAnew)
{
    CDataMgr store;
    const std::string adsl = EmptyType("ADSL", "2026-03-18 15:00:00");
    At("2026-03-18 15:00:01");

    ResetPeriods(store, DIALUP);
    store.ResetConnectRecord();

    EXPECT_EQ(Saved(store), DataFile(std::string(R"(
        <transfer type="Dial-up">
        <today time="@2026-03-18 15:00:01@" uploaded="0" downloaded="0" todaytime="0" Lastcntime="3600"/>
        <since time="@2026-03-18 15:00:01@" uploaded="0" downloaded="0" sincetime="0"/>
        <this_week time="@2026-03-16@" uploaded="0" downloaded="0" weektime="0"/>
        <this_month time="@2026-03-01@" uploaded="0" downloaded="0" monthtime="0"/>
        <this_year time="@2026-03-18 15:00:01@" uploaded="0" downloaded="0" yeartime="0"/>
        </transfer>
        )") + WIFI_TOTALS + adsl + R"(
        <total>
        <item device="ppp2" apn="C" starttime="@2026-03-18 15:00:01@" endtime="@2026-03-18 15:00:01@" time="0" uploaded="0" downloaded="0" unitprice="0" fee="0"/>
        </total>)"));
}

TEST_F(Reset, OfEachPeriodLeavesTheOthers)
{
    struct Row
    {
        void (CDataMgr::*reset)(int);
        const char* before;
        const char* after;
    };
    const Row rows[] = {
        {&CDataMgr::ResetTodayData,
         R"(<today time="@2026-03-18 14:00:00@" uploaded="100" downloaded="200" todaytime="500")",
         R"(<today time="@2026-03-18 15:00:00@" uploaded="0" downloaded="0" todaytime="0")"},
        {&CDataMgr::ResetSinceData,
         R"(<since time="@2026-03-02 09:00:00@" uploaded="1000" downloaded="2000" sincetime="5000")",
         R"(<since time="@2026-03-18 15:00:00@" uploaded="0" downloaded="0" sincetime="0")"},
        {&CDataMgr::ResetThisWeekData,
         R"(<this_week time="@2026-03-16@" uploaded="300" downloaded="600" weektime="1500")",
         R"(<this_week time="@2026-03-16@" uploaded="0" downloaded="0" weektime="0")"},
        {&CDataMgr::ResetThisMonthData,
         R"(<this_month time="@2026-03-01@" uploaded="700" downloaded="1400" monthtime="3500")",
         R"(<this_month time="@2026-03-01@" uploaded="0" downloaded="0" monthtime="0")"},
        {&CDataMgr::ResetThisYearData,
         R"(<this_year time="@2026-01-05 10:00:00@" uploaded="900" downloaded="1800" yeartime="4500")",
         R"(<this_year time="@2026-03-18 15:00:00@" uploaded="0" downloaded="0" yeartime="0")"},
    };
    const auto line = [](const char* element) {
        std::string text = Elements(element);
        return text.substr(0, text.size() - 2);  // without the line end
    };
    CDataMgr store;
    std::string expected = Saved(store);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.before);
        const std::string before = line(row.before);
        ASSERT_NE(expected.find(before), std::string::npos);
        expected.replace(expected.find(before), before.size(), line(row.after));

        (store.*row.reset)(DIALUP);

        EXPECT_EQ(Saved(store), expected);
    }
}

TEST_F(Reset, StartsTheReportsAtTheMomentOrAtThePeriodsMidnight)
{
    CDataMgr store;
    const long now = Moment("2026-03-18 15:00:00");
    const long monday = Moment("2026-03-16");
    const long first = Moment("2026-03-01");

    ResetPeriods(store, DIALUP);

    nis::REPORT report;
    store.GetTodayData(report, DIALUP);
    EXPECT_EQ(Fields(report), ReportFields(DIALUP, 0, 0, 0, now, now));
    store.GetSinceData(report, DIALUP);
    EXPECT_EQ(Fields(report), ReportFields(DIALUP, 0, 0, 0, now, now));
    store.GetThisWeekData(report, DIALUP);
    EXPECT_EQ(Fields(report), ReportFields(DIALUP, 0, 0, 0, monday, monday));
    store.GetThisMonthData(report, DIALUP);
    EXPECT_EQ(Fields(report), ReportFields(DIALUP, 0, 0, 0, first, first));
    store.GetThisYearData(report, DIALUP);
    EXPECT_EQ(Fields(report), ReportFields(DIALUP, 0, 0, 0, now, now));

    store.GetTodayData(report, WIFI);
    EXPECT_EQ(Fields(report),
              ReportFields(WIFI, 200, 100, 0, Moment("2026-03-18 14:00:00"), Moment("2026-03-18 14:00:00")));
}

TEST_F(Reset, OfATypeWithoutAReportChangesNothing)
{
    GivenFile(R"(
        <transfer type="unknown">
        <today time="@2026-03-18@" uploaded="1" downloaded="2" todaytime="3"/>
        </transfer>)");
    CDataMgr store;
    const std::string before = Saved(store);

    ResetPeriods(store, 2);

    EXPECT_EQ(Saved(store), before);
}

TEST_F(Reset, OfAnUnknownTypeThatWasCountedResetsIt)
{
    CDataMgr store;
    store.UpdateData({Increment(9, 10, 20)}, false);
    EXPECT_THAT(Saved(store), HasSubstr("uploaded=\"10\" downloaded=\"20\""));

    ResetPeriods(store, 9);

    EXPECT_EQ(Saved(store).find("uploaded=\"10\""), std::string::npos);
    nis::REPORT report;
    store.GetSinceData(report, 9);
    EXPECT_EQ(report.ullDownloaded, 0U);
}

TEST_F(Reset, LetsTheWeekGoOnFromItsMidnight)
{
    CDataMgr store;
    ResetPeriods(store, WIFI);

    store.UpdateData({Increment(WIFI, 1, 2)}, false);
    store.UpdateData({Increment(WIFI, 10, 20)}, false);

    nis::REPORT week;
    store.GetThisWeekData(week, WIFI);
    EXPECT_EQ(Fields(week), ReportFields(WIFI, 22, 11, 0, Moment("2026-03-16"), Moment("2026-03-16")));
}

TEST_F(Reset, CountsOnlyTheSecondsAfterItForARunningConnection)
{
    CDataMgr store;
    ResetPeriods(store, DIALUP);
    store.ResetConnectRecord();
    At("2026-03-18 15:00:07");

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);

    EXPECT_THAT(Saved(store), HasSubstr("todaytime=\"7\" Lastcntime=\"7\""));
}

class ResetOfTheRecords : public StoreTest
{
protected:
    static constexpr const char* ONE = R"(
        <total>
        <item device="ppp0" apn="A" starttime="1773800000" endtime="1773800060" time="60" uploaded="1" downloaded="2" unitprice="3" fee="4"/>
        </total>)";
};

TEST_F(ResetOfTheRecords, RestartsASingleOneInItsPlace)
{
    GivenFile(ONE);
    CDataMgr store;

    store.ResetConnectRecord();

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <total>
        <item device="ppp0" apn="A" starttime="@2026-03-18 15:00:00@" endtime="@2026-03-18 15:00:00@" time="0" uploaded="0" downloaded="0" unitprice="0" fee="0"/>
        </total>)")));
}

TEST_F(ResetOfTheRecords, WithNoneChangesNothing)
{
    CDataMgr store;
    const std::string before = Saved(store);

    store.ResetConnectRecord();

    EXPECT_EQ(Saved(store), before);
}

TEST_F(ResetOfTheRecords, LeavesOtherElementsOfTheListAlone)
{
    GivenFile(R"(
        <total>
        <total/>
        <item apn="A"/>
        <other/>
        <item apn="B"/>
        <item apn="C"/>
        <last/>
        </total>)");
    CDataMgr store;

    store.ResetConnectRecord();

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <total>
        <total/>
        <other/>
        <item apn="C" starttime="@2026-03-18 15:00:00@" endtime="@2026-03-18 15:00:00@" time="0" uploaded="0" downloaded="0" unitprice="0" fee="0"/>
        <last/>
        </total>)")));
}

}  // namespace
