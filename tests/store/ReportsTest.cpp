#include <string>

#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"

namespace {

using namespace nettest;

/// What a caller may have had in a report before.
nis::REPORT Used()
{
    nis::REPORT report;
    report.nDevice = 42;
    report.ullDownloaded = 43;
    report.ullUploaded = 44;
    report.ullTime = 45;
    report.tmStart = 46;
    report.tmEnd = 47;
    return report;
}

const ReportFields USED{42, 43, 44, 45, 46, 47};

class PeriodReport : public StoreTest
{};

TEST_F(PeriodReport, IsThereForTheThreeTypesFromTheStart)
{
    const CDataMgr store;
    const long now = Moment("2026-03-18 15:00:00");

    for (const int type : {DIALUP, WIFI, ADSL}) {
        SCOPED_TRACE(type);
        nis::REPORT report = Used();
        store.GetTodayData(report, type);
        EXPECT_EQ(Fields(report), ReportFields(type, 0, 0, 0, 0, 0));
        report = Used();
        store.GetSinceData(report, type);
        EXPECT_EQ(Fields(report), ReportFields(type, 0, 0, 0, now, now));
        report = Used();
        store.GetThisWeekData(report, type);
        EXPECT_EQ(Fields(report), ReportFields(type, 0, 0, 0, 0, 0));
        report = Used();
        store.GetThisMonthData(report, type);
        EXPECT_EQ(Fields(report), ReportFields(type, 0, 0, 0, 0, 0));
        report = Used();
        store.GetThisYearData(report, type);
        EXPECT_EQ(Fields(report), ReportFields(type, 0, 0, 0, 0, 0));
    }
}

TEST_F(PeriodReport, LeavesTheCallersReportUntouchedForAnyOtherType)
{
    const CDataMgr store;

    for (const int type : {2, 3, 5, -1, 1000}) {
        SCOPED_TRACE(type);
        nis::REPORT report = Used();
        store.GetTodayData(report, type);
        store.GetSinceData(report, type);
        store.GetThisWeekData(report, type);
        store.GetThisMonthData(report, type);
        store.GetThisYearData(report, type);
        EXPECT_EQ(Fields(report), USED);
    }
}

TEST_F(PeriodReport, IsOfItsOwnPeriodAndType)
{
    GivenFile(R"(
        <transfer type="ADSL">
        <today time="@2026-03-18 01:00:00@" uploaded="11" downloaded="12" todaytime="13"/>
        <since time="@2026-03-17 02:00:00@" uploaded="21" downloaded="22" sincetime="23"/>
        <this_week time="@2026-03-15 00:00:00@" uploaded="31" downloaded="32" weektime="33"/>
        <this_month time="@2026-03-01 00:00:00@" uploaded="41" downloaded="42" monthtime="43"/>
        <this_year time="@2026-02-03 04:00:00@" uploaded="51" downloaded="52" yeartime="53"/>
        </transfer>)");
    const CDataMgr store;
    const auto expected = [](unsigned long long tens, const char* start) {
        return ReportFields(ADSL, tens + 2, tens + 1, tens + 3, Moment(start), Moment(start));
    };

    nis::REPORT report;
    store.GetTodayData(report, ADSL);
    EXPECT_EQ(Fields(report), expected(10, "2026-03-18 01:00:00"));
    store.GetSinceData(report, ADSL);
    EXPECT_EQ(Fields(report), expected(20, "2026-03-17 02:00:00"));
    store.GetThisWeekData(report, ADSL);
    EXPECT_EQ(Fields(report), expected(30, "2026-03-15 00:00:00"));
    store.GetThisMonthData(report, ADSL);
    EXPECT_EQ(Fields(report), expected(40, "2026-03-01 00:00:00"));
    store.GetThisYearData(report, ADSL);
    EXPECT_EQ(Fields(report), expected(50, "2026-02-03 04:00:00"));
}

/// Queries of records on 18 March 2026 at 15:00.
class History : public StoreTest
{
protected:
    void GivenRecords(const std::string& items) const
    {
        GivenFile("<transfer type=\"Dial-up\"/>\n<total>\n" + items + "</total>");
    }
    /// A record of one moment that only counts what tells it from others.
    static std::string Ended(const std::string& end, unsigned long long bytes)
    {
        return "<item endtime=\"" + end + "\" time=\"" + std::to_string(3 * bytes) + "\" uploaded=\"" +
               std::to_string(bytes) + "\" downloaded=\"" + std::to_string(2 * bytes) + "\"/>\n";
    }
    /// The sums for `bytes` of such records, from the moment `start`.
    static ReportFields Sums(unsigned long long bytes, long start)
    {
        return {0, 2 * bytes, bytes, 3 * bytes, start, start};
    }
    static ReportFields Since(CDataMgr& store, const std::string& moment)
    {
        return Since(store, static_cast<unsigned long long>(Moment(moment)));
    }
    static ReportFields Since(CDataMgr& store, unsigned long long since)
    {
        nis::REPORT report = Used();
        store.GetSpecHistroryData(report, since);
        return Fields(report);
    }
};

TEST_F(History, WithoutRecordsIsZero)
{
    CDataMgr store;

    EXPECT_EQ(Since(store, 0ULL), ReportFields(0, 0, 0, 0, 0, 0));
}

TEST_F(History, SumsTheRecordsThatEndedFromAMomentUntilNow)
{
    GivenRecords(Ended("@2026-03-10 08:59:59@", 1) + Ended("@2026-03-10 09:00:00@", 10) +
                 Ended("@2026-03-17 23:59:59@", 100) + Ended("@2026-03-18 00:00:00@", 1000) +
                 Ended("@2026-03-18 15:00:00@", 10000));
    CDataMgr store;

    EXPECT_EQ(Since(store, "2026-03-10 09:00:00"), Sums(11110, Moment("2026-03-10 09:00:00")));
}

TEST_F(History, CountsTodaysRecordsWhateverTheTimeOfDay)
{
    GivenRecords(Ended("@2026-03-18 08:00:00@", 1) + Ended("@2026-03-18 23:59:59@", 10) +
                 Ended("@2026-03-19 00:00:00@", 100));
    CDataMgr store;

    EXPECT_EQ(Since(store, "2026-03-18 14:00:00"), Sums(11, Moment("2026-03-18 14:00:00")));
}

TEST_F(History, OfAFutureMomentOnlyClearsTheSums)
{
    GivenRecords(Ended("@2026-03-18 08:00:00@", 1));
    CDataMgr store;

    EXPECT_EQ(Since(store, "2026-03-18 15:00:01"), ReportFields(42, 0, 0, 0, 46, 47));
    EXPECT_EQ(Since(store, ~0ULL), ReportFields(42, 0, 0, 0, 46, 47));
    EXPECT_EQ(Since(store, "2026-03-18 15:00:00"), Sums(1, Moment("2026-03-18 15:00:00")));
}

TEST_F(History, CountsARecordWithoutAReadableEndFromTheBeginningOfTime)
{
    GivenRecords(Ended("@2026-03-10@", 1) + Ended("abc", 10) + Ended("", 100) + Ended("-5", 1000));
    CDataMgr store;

    EXPECT_EQ(Since(store, 0ULL), Sums(1111, 0));
    TestClock::AdvanceSeconds(1);
    EXPECT_EQ(Since(store, 86400ULL * 3), Sums(1, 86400L * 3));
}

TEST_F(History, CountsANumberThatIsNoneAsZero)
{
    GivenRecords("<item endtime=\"@2026-03-10@\" time=\"1e3\" uploaded=\"12 \" downloaded=\"\"/>\n" +
                 Ended("@2026-03-10@", 5));
    CDataMgr store;

    EXPECT_EQ(Since(store, "2026-03-09"), Sums(5, Moment("2026-03-09")));
}

TEST_F(History, IsRememberedForTheDaysOfBothMoments)
{
    GivenRecords(Ended("@2026-03-10 10:00:00@", 1) + Ended("@2026-03-10 20:00:00@", 10));
    CDataMgr store;
    EXPECT_EQ(Since(store, "2026-03-10 09:00:00"), Sums(11, Moment("2026-03-10 09:00:00")));

    // The same sums, and the same moment, for any other time of that day.
    EXPECT_EQ(Since(store, "2026-03-10 18:00:00"), Sums(11, Moment("2026-03-10 09:00:00")));
    At("2026-03-18 23:59:59");
    EXPECT_EQ(Since(store, "2026-03-10 23:59:59"), Sums(11, Moment("2026-03-10 09:00:00")));

    // Another day, and then the first one again.
    EXPECT_EQ(Since(store, "2026-03-11 18:00:00"), Sums(0, Moment("2026-03-11 18:00:00")));
    EXPECT_EQ(Since(store, "2026-03-10 18:00:00"), Sums(10, Moment("2026-03-10 18:00:00")));

    // A new day of asking.
    At("2026-03-19 00:00:00");
    EXPECT_EQ(Since(store, "2026-03-10 00:00:00"), Sums(11, Moment("2026-03-10 00:00:00")));
}

TEST_F(History, StillCountsRemovedRecordsOfEarlierDaysUntilTheDayChanges)
{
    GivenRecords(Ended("@2026-03-10 10:00:00@", 1) + Ended("@2026-03-11 10:00:00@", 10) +
                 Ended("@2026-03-18 10:00:00@", 100) + Ended("@2026-03-18 11:00:00@", 1000));
    CDataMgr store;
    EXPECT_EQ(Since(store, "2026-03-10"), Sums(1111, Moment("2026-03-10")));

    store.BeginRemoveRecord();
    store.RemoveRecord(0);
    store.RemoveRecord(2);
    store.EndRemoveRecord();

    EXPECT_EQ(Since(store, "2026-03-10"), Sums(1011, Moment("2026-03-10")));
    At("2026-03-19 00:00:01");
    EXPECT_EQ(Since(store, "2026-03-10"), Sums(1010, Moment("2026-03-10")));
}

TEST_F(History, IsSummedAnewAfterTheRecordsWereReset)
{
    GivenRecords(Ended("@2026-03-10 10:00:00@", 1) + Ended("@2026-03-11 10:00:00@", 10));
    CDataMgr store;
    EXPECT_EQ(Since(store, "2026-03-10"), Sums(11, Moment("2026-03-10")));

    store.ResetConnectRecord();

    EXPECT_EQ(Since(store, "2026-03-10"), Sums(0, Moment("2026-03-10")));
}

TEST_F(History, OnTheFirstDayOfTimeIsTheEmptyCache)
{
    TestClock::Reset(Moment("1970-01-01 12:00:00"));
    CDataMgr store;
    store.StartNewConnect("ppp0", "");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    TestClock::AdvanceSeconds(60);

    EXPECT_EQ(Since(store, 0ULL), ReportFields(0, 2, 1, 0, 0, 0));
}

TEST_F(History, GoesOnBeyondThe32BitMoments)
{
    TestClock::Reset(Moment("2040-01-10 15:00:00"));
    GivenRecords(Ended("@2040-01-05 10:00:00@", 1) + Ended("@2040-01-10 14:00:00@", 10));
    CDataMgr store;
    const auto low = static_cast<int>(static_cast<unsigned int>(Moment("2040-01-05")));

    EXPECT_EQ(Since(store, "2040-01-05"), Sums(11, low));

    store.BeginRemoveRecord();
    store.RemoveRecord(0);
    store.EndRemoveRecord();
    EXPECT_EQ(Since(store, "2040-01-05 01:00:00"), Sums(11, low));  // remembered then, too
}

TEST_F(History, IsReadFromTheDocumentThatItsCacheWasFilledFrom)
{
    GivenRecords(Ended("@2026-03-10 10:00:00@", 1) + Ended("@2026-03-18 10:00:00@", 10));
    CDataMgr store;
    CMarkupSTL other(DataFile("<total>\n" + Ended("@2026-03-10 10:00:00@", 100) + "</total>").c_str());

    store.GetSpecLastData(nullptr, static_cast<unsigned long long>(Moment("2026-03-10")));
    store.GetSpecLastData(&other, static_cast<unsigned long long>(Moment("2026-03-10")));

    EXPECT_EQ(Since(store, "2026-03-10 12:00:00"), Sums(110, Moment("2026-03-10")));
}

TEST_F(History, KeepsTheLastSumsWhereADocumentHasNoRecordList)
{
    GivenRecords(Ended("@2026-03-10 10:00:00@", 1));
    CDataMgr store;
    EXPECT_EQ(Since(store, "2026-03-10"), Sums(1, Moment("2026-03-10")));
    CMarkupSTL other("<xml/>");

    store.GetSpecLastData(&other, static_cast<unsigned long long>(Moment("2026-03-12")));

    // Its day counts as asked for, with the sums of before.
    EXPECT_EQ(Since(store, "2026-03-12"), Sums(1, Moment("2026-03-10")));
}

class TodaysRecords : public History
{};

TEST_F(TodaysRecords, AreThoseThatEndedOnThisDate)
{
    GivenRecords(Ended("@2026-03-17 23:59:59@", 1) + Ended("@2026-03-18 00:00:00@", 10) +
                 Ended("@2026-03-18 23:59:59@", 100) + Ended("@2026-03-19 00:00:00@", 1000) +
                 Ended("x", 10000));
    CDataMgr store;

    nis::REPORT report = Used();
    store.GetTodayData(report);

    EXPECT_EQ(Fields(report), Sums(110, Moment("2026-03-18 15:00:00")));
}

TEST_F(TodaysRecords, MayBeNone)
{
    CDataMgr store;

    nis::REPORT report = Used();
    store.GetTodayData(report);

    EXPECT_EQ(Fields(report), Sums(0, Moment("2026-03-18 15:00:00")));
}

}  // namespace
