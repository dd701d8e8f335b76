#include <gmock/gmock.h>

#include <limits>
#include <string>

#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"

namespace {

using namespace nettest;
using testing::ElementsAre;
using testing::HasSubstr;

class NewConnection : public StoreTest
{
protected:
    /// A store made at 15:00:00 whose first connection starts at 15:00:10.
    NewConnection()
    {
        At("2026-03-18 15:00:10");
        m_store.StartNewConnect("ppp0", "internet");
    }

    CDataMgr m_store;
};

TEST_F(NewConnection, HasARecordFromItsStartOn)
{
    EXPECT_EQ(Saved(m_store), DataFile(EmptyTypes("2026-03-18 15:00:00") + R"(
        <total>
        <item device="ppp0" apn="internet" starttime="@2026-03-18 15:00:10@" endtime="@2026-03-18 15:00:10@" time="0" uploaded="0" downloaded="0" unitprice="0" fee="0"/>
        </total>)"));
}

TEST_F(NewConnection, MarksThePeriodsWithItsFirstUpdate)
{
    At("2026-03-18 15:00:12");

    m_store.UpdateData({Increment(DIALUP, 100, 200)}, false);

    EXPECT_EQ(Saved(m_store), DataFile(R"(
        <transfer type="Dial-up">
        <today uploaded="100" downloaded="200" todaytime="2" time="@2026-03-18 15:00:12@" Lastcntime="2"/>
        <since time="@2026-03-18 15:00:00@" uploaded="100" downloaded="200" sincetime="2"/>
        <this_week uploaded="100" downloaded="200" weektime="2" time="@2026-03-15@"/>
        <this_month uploaded="100" downloaded="200" monthtime="2" time="@2026-03-01@"/>
        <this_year uploaded="100" downloaded="200" time="@2026-03-18 15:00:12@" yeartime="2"/>
        </transfer>
        )" + EmptyType("WiFi", "2026-03-18 15:00:00") +
                                       EmptyType("ADSL", "2026-03-18 15:00:00") + R"(
        <total>
        <item device="ppp0" apn="internet" starttime="@2026-03-18 15:00:10@" endtime="@2026-03-18 15:00:12@" time="2" uploaded="100" downloaded="200" unitprice="0" fee="0"/>
        </total>)"));
}

TEST_F(NewConnection, AddsToThePeriodsFromThenOn)
{
    At("2026-03-18 15:00:12");
    m_store.UpdateData({Increment(DIALUP, 100, 200)}, false);
    At("2026-03-18 15:00:15");

    m_store.UpdateData({Increment(DIALUP, 10, 20)}, false);

    EXPECT_EQ(Saved(m_store), DataFile(R"(
        <transfer type="Dial-up">
        <today uploaded="110" downloaded="220" todaytime="5" time="@2026-03-18 15:00:12@" Lastcntime="5"/>
        <since time="@2026-03-18 15:00:00@" uploaded="110" downloaded="220" sincetime="5"/>
        <this_week uploaded="110" downloaded="220" weektime="5" time="@2026-03-15@"/>
        <this_month uploaded="110" downloaded="220" monthtime="5" time="@2026-03-01@"/>
        <this_year uploaded="110" downloaded="220" time="@2026-03-18 15:00:12@" yeartime="5"/>
        </transfer>
        )" + EmptyType("WiFi", "2026-03-18 15:00:00") +
                                       EmptyType("ADSL", "2026-03-18 15:00:00") + R"(
        <total>
        <item device="ppp0" apn="internet" starttime="@2026-03-18 15:00:10@" endtime="@2026-03-18 15:00:15@" time="5" uploaded="110" downloaded="220" unitprice="0" fee="0"/>
        </total>)"));
}

TEST_F(NewConnection, OfAnotherTypeIsTimedInTheFirstTransferOnly)
{
    At("2026-03-18 15:00:12");
    m_store.UpdateData({Increment(WIFI, 100, 200)}, false);
    At("2026-03-18 15:00:15");

    m_store.UpdateData({Increment(WIFI, 10, 20)}, false);

    // Nothing marks the periods of WiFi, so each update replaces them; only since is added to.
    EXPECT_EQ(Saved(m_store), DataFile(R"(
        <transfer type="Dial-up">
        <today uploaded="0" downloaded="0" todaytime="5" time="@2026-03-18 15:00:12@" Lastcntime="5"/>
        <since time="@2026-03-18 15:00:00@" uploaded="0" downloaded="0" sincetime="5"/>
        <this_week uploaded="0" downloaded="0" weektime="5" time="@2026-03-15@"/>
        <this_month uploaded="0" downloaded="0" monthtime="5" time="@2026-03-01@"/>
        <this_year uploaded="0" downloaded="0" time="@2026-03-18 15:00:12@" yeartime="5"/>
        </transfer>
        <transfer type="WiFi">
        <today uploaded="10" downloaded="20" todaytime="0"/>
        <since time="@2026-03-18 15:00:00@" uploaded="110" downloaded="220"/>
        <this_week uploaded="10" downloaded="20" weektime="0"/>
        <this_month uploaded="10" downloaded="20" monthtime="0"/>
        <this_year uploaded="10" downloaded="20"/>
        </transfer>
        )" + EmptyType("ADSL", "2026-03-18 15:00:00") +
                                       R"(
        <total>
        <item device="ppp0" apn="internet" starttime="@2026-03-18 15:00:10@" endtime="@2026-03-18 15:00:15@" time="5" uploaded="110" downloaded="220" unitprice="0" fee="0"/>
        </total>)"));
}

TEST_F(NewConnection, NextToAnotherLeavesAnEmptyListInTheFirstTransferOnce)
{
    const std::string expected = R"(
        <transfer type="Dial-up">
        <today uploaded="110" downloaded="220" todaytime="5" time="@2026-03-18 15:00:12@" Lastcntime="5"/>
        <since time="@2026-03-18 15:00:00@" uploaded="110" downloaded="220" sincetime="5"/>
        <this_week uploaded="110" downloaded="220" weektime="5" time="@2026-03-15@"/>
        <this_month uploaded="110" downloaded="220" monthtime="5" time="@2026-03-01@"/>
        <this_year uploaded="110" downloaded="220" time="@2026-03-18 15:00:12@" yeartime="5"/>
        <total/>
        </transfer>
        <transfer type="WiFi">
        <today uploaded="3" downloaded="4" todaytime="0"/>
        <since time="@2026-03-18 15:00:00@" uploaded="33" downloaded="44"/>
        <this_week uploaded="3" downloaded="4" weektime="0"/>
        <this_month uploaded="3" downloaded="4" monthtime="0"/>
        <this_year uploaded="3" downloaded="4"/>
        </transfer>
        )";
    At("2026-03-18 15:00:12");
    m_store.UpdateData({Increment(DIALUP, 100, 200), Increment(WIFI, 30, 40)}, false);
    At("2026-03-18 15:00:15");

    m_store.UpdateData({Increment(DIALUP, 10, 20), Increment(WIFI, 3, 4)}, false);

    // Only the first of the two increments reaches the record.
    EXPECT_EQ(Saved(m_store), DataFile(expected + EmptyType("ADSL", "2026-03-18 15:00:00") + R"(
        <total>
        <item device="ppp0" apn="internet" starttime="@2026-03-18 15:00:10@" endtime="@2026-03-18 15:00:15@" time="5" uploaded="110" downloaded="220" unitprice="0" fee="0"/>
        </total>)"));
}

class Updates : public StoreTest
{
protected:
    /// Periods that all lie around 18 March 2026, 15:00, and a connection that has lasted 50 seconds then.
    static constexpr const char* UNDER_WAY = R"(
        <transfer type="Dial-up">
        <today time="@2026-03-18 14:59:00@" uploaded="100" downloaded="200" todaytime="500" Lastcntime="50"/>
        <since time="@2026-03-02 09:00:00@" uploaded="1000" downloaded="2000" sincetime="5000"/>
        <this_week time="@2026-03-15@" uploaded="300" downloaded="600" weektime="1500"/>
        <this_month time="@2026-03-01@" uploaded="700" downloaded="1400" monthtime="3500"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="900" downloaded="1800" yeartime="4500"/>
        </transfer>
        )";
    static std::string Record(const std::string& start, const std::string& end, int duration)
    {
        return R"(
            <total>
            <item device="ppp0" apn="internet" starttime="@)" +
               start + R"(@" endtime="@)" + end + R"(@" time=")" + std::to_string(duration) +
               R"(" uploaded="100" downloaded="200" unitprice="0" fee="0"/>
            </total>)";
    }
};

TEST_F(Updates, AddWithinTheDay)
{
    GivenFile(UNDER_WAY);
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, 100, 200)}, false);
    store.UpdateData({Increment(DIALUP, 10, 20)}, false);

    nis::REPORT today;
    store.GetTodayData(today, DIALUP);
    EXPECT_EQ(today.ullUploaded, 100U + 110U);
    EXPECT_EQ(today.ullDownloaded, 200U + 220U);
}

TEST_F(Updates, WithoutIncrementsChangeNothing)
{
    GivenFile(UNDER_WAY + Record("2026-03-18 14:59:10", "2026-03-18 15:00:00", 50));
    CDataMgr store;
    const std::string before = Saved(store);
    At("2026-03-20 15:00:00");

    store.UpdateData({}, false);

    EXPECT_EQ(Saved(store), before);
}

TEST_F(Updates, CountTheConnectedSecondsSinceTheOneBefore)
{
    GivenFile(UNDER_WAY + Record("2026-03-18 14:59:10", "2026-03-18 15:00:00", 50));
    CDataMgr store;
    At("2026-03-18 15:00:07");

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);

    EXPECT_EQ(Saved(store), DataFile(R"(
        <transfer type="Dial-up">
        <today time="@2026-03-18 14:59:00@" uploaded="101" downloaded="202" todaytime="507" Lastcntime="57"/>
        <since time="@2026-03-02 09:00:00@" uploaded="1001" downloaded="2002" sincetime="5007"/>
        <this_week time="@2026-03-15@" uploaded="301" downloaded="602" weektime="1507"/>
        <this_month time="@2026-03-01@" uploaded="701" downloaded="1402" monthtime="3507"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="901" downloaded="1802" yeartime="4507"/>
        </transfer>
        )" + EmptyType("WiFi", "2026-03-18 15:00:00") +
                                     EmptyType("ADSL", "2026-03-18 15:00:00") + R"(
        <total>
        <item device="ppp0" apn="internet" starttime="@2026-03-18 14:59:10@" endtime="@2026-03-18 15:00:07@" time="57" uploaded="101" downloaded="202" unitprice="0" fee="0"/>
        </total>)"));
}

TEST_F(Updates, CountAllSecondsOfAConnectionThatIsYoungerThanTheLastOne)
{
    GivenFile(UNDER_WAY + Record("2026-03-18 14:59:57", "2026-03-18 14:59:57", 0));
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);

    EXPECT_THAT(Saved(store), HasSubstr("todaytime=\"503\" Lastcntime=\"3\""));
    EXPECT_THAT(File(), HasSubstr("sincetime=\"5003\""));
    EXPECT_THAT(File(), HasSubstr("weektime=\"1503\""));
    EXPECT_THAT(File(), HasSubstr("monthtime=\"3503\""));
    EXPECT_THAT(File(), HasSubstr("yeartime=\"4503\""));
}

TEST_F(Updates, CountNothingForAConnectionThatLastsAsLongAsTheLastOneDid)
{
    GivenFile(UNDER_WAY + Record("2026-03-18 14:59:10", "2026-03-18 14:59:10", 0));
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);

    EXPECT_THAT(Saved(store), HasSubstr("todaytime=\"500\" Lastcntime=\"50\""));
}

TEST_F(Updates, RestartARecordThatStartsInTheFuture)
{
    GivenFile(UNDER_WAY + Record("2026-03-18 15:00:01", "2026-03-18 15:00:09", 8));
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <item device="ppp0" apn="internet" starttime="@2026-03-18 15:00:00@" endtime="@2026-03-18 15:00:00@" time="0" uploaded="101" downloaded="202" unitprice="0" fee="0"/>)")));
    EXPECT_THAT(File(), HasSubstr("todaytime=\"500\" Lastcntime=\"0\""));
}

TEST_F(Updates, StartARecordWithoutAStartNow)
{
    for (const char* start : {"", R"(starttime="" )", R"(starttime="12a" )"}) {
        SCOPED_TRACE(start);
        GivenFile("<total>\n<item " + std::string(start) +
                  R"(endtime="@2026-03-18@" uploaded="x"/>
                  </total>)");
        CDataMgr store;

        store.UpdateData({Increment(DIALUP, 1, 2)}, false);

        const std::string where =
            *start ? R"(starttime="@2026-03-18 15:00:00@" endtime="@2026-03-18 15:00:00@" uploaded="1")"
                   : R"(endtime="@2026-03-18 15:00:00@" uploaded="1" starttime="@2026-03-18 15:00:00@")";
        EXPECT_THAT(Saved(store), HasSubstr(Elements("<item " + where +
                                                     R"( downloaded="2" time="0" unitprice="0" fee="0"/>)")));
    }
}

TEST_F(Updates, ChangeTheLastRecordOnly)
{
    GivenFile(R"(
        <total>
        <item apn="a" starttime="@2026-03-18 10:00:00@" endtime="@2026-03-18 11:00:00@" time="3600" uploaded="5" downloaded="6" unitprice="7" fee="8"/>
        <item apn="b" starttime="@2026-03-18 14:00:00@" endtime="@2026-03-18 14:30:00@" time="1800" uploaded="5" downloaded="6" unitprice="7" fee="8"/>
        </total>)");
    CDataMgr store;

    store.UpdateData({Increment(ADSL, 1, 2)}, false);

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <total>
        <item apn="a" starttime="@2026-03-18 10:00:00@" endtime="@2026-03-18 11:00:00@" time="3600" uploaded="5" downloaded="6" unitprice="7" fee="8"/>
        <item apn="b" starttime="@2026-03-18 14:00:00@" endtime="@2026-03-18 15:00:00@" time="3600" uploaded="6" downloaded="8" unitprice="0" fee="0"/>
        </total>)")));
}

TEST_F(Updates, WithoutAnyRecordNestEmptyListsOnce)
{
    CDataMgr store;
    const std::vector<nis::SNAPSHOT> increments = {Increment(DIALUP, 1, 2), Increment(WIFI, 3, 4),
                                                   Increment(ADSL, 5, 6)};
    const std::string lists = Elements(R"(
        <total>
        <total>
        <total/>
        </total>
        </total>
        </xml>)");

    store.UpdateData(increments, false);
    EXPECT_THAT(Saved(store), testing::EndsWith(lists));
    store.UpdateData(increments, false);
    EXPECT_THAT(Saved(store), testing::EndsWith(lists));

    store.StartNewConnect("ppp0", "internet");
    EXPECT_EQ(ReadAll(store.GetAllConnRecord()).size(), 1U);
}

TEST_F(Updates, OfATypeWithoutANameCountAsUnknown)
{
    CDataMgr store;

    store.UpdateData({Increment(7, 1, 2), Increment(-1, 3, 4)}, false);

    EXPECT_EQ(Saved(store), DataFile(EmptyTypes("2026-03-18 15:00:00") + R"(
        <transfer type="unknown">
        <today uploaded="3" downloaded="4" todaytime="0"/>
        <since time="@2026-03-18 15:00:00@" uploaded="4" downloaded="6"/>
        <this_week uploaded="3" downloaded="4" weektime="0"/>
        <this_month uploaded="3" downloaded="4" monthtime="0"/>
        <this_year uploaded="3" downloaded="4"/>
        </transfer>
        <total>
        <total/>
        </total>)"));
    const long now = Moment("2026-03-18 15:00:00");
    nis::REPORT report;
    store.GetSinceData(report, 7);
    EXPECT_EQ(Fields(report), ReportFields(7, 2, 1, 0, now, now));
    store.GetSinceData(report, -1);
    EXPECT_EQ(Fields(report), ReportFields(-1, 6, 4, 0, now, now));
}

TEST_F(Updates, AddAPeriodAgainThatStandsInFrontOfItsPlace)
{
    GivenFile(R"(
        <transfer type="Dial-up">
        <since time="5" uploaded="1" downloaded="2"/>
        <today time="@2026-03-18@" uploaded="3" downloaded="4"/>
        </transfer>)");

    CDataMgr store;

    EXPECT_EQ(Saved(store), DataFile(R"(
        <transfer type="Dial-up">
        <since time="5" uploaded="1" downloaded="2"/>
        <today time="@2026-03-18@" uploaded="3" downloaded="4" todaytime="0"/>
        <since time="@2026-03-18 15:00:00@" uploaded="0" downloaded="0"/>
        <this_week uploaded="0" downloaded="0" weektime="0"/>
        <this_month uploaded="0" downloaded="0" monthtime="0"/>
        <this_year uploaded="0" downloaded="0"/>
        </transfer>
        )" + EmptyType("WiFi", "2026-03-18 15:00:00") +
                                     EmptyType("ADSL", "2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(Updates, AddATypeBehindTheOthersAndAListBehindTheLastTypeWhereNoneFollows)
{
    GivenFile(R"(
        <total/>
        <transfer type="ADSL"/>)");

    CDataMgr store;

    const std::string made = "2026-03-18 15:00:00";
    EXPECT_EQ(Saved(store), DataFile("<total/>" + EmptyType("ADSL", made) + "<total/>" +
                                     EmptyType("Dial-up", made) + EmptyType("WiFi", made)));
}

TEST_F(Updates, ReadTheStartDaysAnewEveryTime)
{
    CDataMgr store;
    store.StartNewConnect("ppp0", "internet");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    FakePlatform::SetSetting("uselimit", "startweekdate", "2");
    FakePlatform::SetSetting("uselimit", "startmonthdate", "9");

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);

    EXPECT_THAT(Saved(store),
                HasSubstr("weektime=\"0\" time=\"" + std::to_string(Moment("2026-03-17")) + "\""));
    EXPECT_THAT(File(), HasSubstr("monthtime=\"0\" time=\"" + std::to_string(Moment("2026-03-10")) + "\""));
}

TEST_F(Updates, LetTotalsWrapAround)
{
    constexpr auto MAX = std::numeric_limits<unsigned long long>::max();
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, MAX, 1)}, false);
    EXPECT_THAT(Saved(store), HasSubstr("uploaded=\"18446744073709551615\" downloaded=\"1\""));

    // What is beyond 63 bits is read back as the largest number that fits.
    store.UpdateData({Increment(DIALUP, MAX, 0)}, false);
    EXPECT_THAT(Saved(store), HasSubstr("uploaded=\"9223372036854775806\" downloaded=\"1\""));
}

TEST_F(Updates, RefreshTheReportsWithTheConnectedTimeOfTheUpdateBefore)
{
    GivenFile(UNDER_WAY + Record("2026-03-18 14:59:10", "2026-03-18 15:00:00", 50));
    CDataMgr store;
    At("2026-03-18 15:00:07");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    At("2026-03-18 15:00:09");

    const auto expectReports = [&](unsigned long long up, unsigned long long down,
                                   unsigned long long seconds) {
        const auto expected = [&](unsigned long long factor, unsigned long long base, const char* start) {
            const long moment = Moment(start);
            return ReportFields(DIALUP, 200 * factor + down, 100 * factor + up, base + seconds, moment,
                                moment);
        };
        nis::REPORT report;
        store.GetTodayData(report, DIALUP);
        EXPECT_EQ(Fields(report), expected(1, 500, "2026-03-18 14:59:00"));
        store.GetSinceData(report, DIALUP);
        EXPECT_EQ(Fields(report), expected(10, 5000, "2026-03-02 09:00:00"));
        store.GetThisWeekData(report, DIALUP);
        EXPECT_EQ(Fields(report), expected(3, 1500, "2026-03-15"));
        store.GetThisMonthData(report, DIALUP);
        EXPECT_EQ(Fields(report), expected(7, 3500, "2026-03-01"));
        store.GetThisYearData(report, DIALUP);
        EXPECT_EQ(Fields(report), expected(9, 4500, "2026-01-05 10:00:00"));
    };
    expectReports(1, 2, 0);
    store.UpdateData({Increment(DIALUP, 10, 20)}, false);
    expectReports(11, 22, 7);
}

TEST_F(Updates, KeepTheLowHalfOfAPeriodsStartInItsReport)
{
    GivenFile(R"(<transfer type="Dial-up"><today/><since time="4294967301"/></transfer>)");
    const CDataMgr store;

    nis::REPORT report;
    store.GetSinceData(report, DIALUP);

    EXPECT_EQ(report.tmStart, 5);
    EXPECT_EQ(report.tmEnd, 5);
}

TEST_F(Updates, DoNothingWithoutADocument)
{
    GivenFile(UNDER_WAY + Record("2026-03-18 14:59:10", "2026-03-18 15:00:00", 50));
    CDataMgr store;
    const std::string before = Saved(store);

    {
        const JMutexLock lock(store.mutex);
        const nis::SNAPSHOT increment = Increment(DIALUP, 1, 2);
        store.InitCurrentData(nullptr);
        store.UpdateCurrentData(nullptr, increment);
        store.UpdateTodayData(nullptr, increment);
        store.UpdateSinceData(nullptr, increment);
        store.UpdateThisWeekData(nullptr, increment);
        store.UpdateThisMonthData(nullptr, increment);
        store.UpdateThisYearData(nullptr, increment);
        store.AdjustPeriodData(nullptr, 1, increment);
    }

    EXPECT_EQ(Saved(store), before);
    nis::REPORT today;
    store.GetTodayData(today, DIALUP);
    EXPECT_EQ(today.ullUploaded, 100U);
}

class OldRecords : public StoreTest
{
protected:
    /// The access points that are listed after a start with records that ended at these moments.
    std::vector<std::string> LeftOf(const std::vector<std::string>& ends) const
    {
        std::string items = "<transfer type=\"ADSL\"/>\n<total>\n";
        for (std::size_t i = 0; i < ends.size(); ++i)
            items += "<item apn=\"" + std::to_string(i) + "\" endtime=\"" + ends[i] + "\"/>\n";
        GivenFile(items + "</total>");

        CDataMgr store;
        std::vector<std::string> left;
        for (const Listed& record : ReadAll(store.GetAllConnRecord()))
            left.push_back(record.apn);
        return left;
    }
};

TEST_F(OldRecords, AreDroppedThreeMonthsAfterTheirEnd)
{
    EXPECT_THAT(LeftOf({"@2025-12-17 23:59:59@", "@2025-12-18@", "@2026-03-18@"}), ElementsAre("1", "2"));
}

TEST_F(OldRecords, AreDroppedFromTheFrontOnly)
{
    EXPECT_THAT(LeftOf({"@2025-06-01@", "@2025-07-01@", "@2026-01-01@", "@2025-08-01@"}),
                ElementsAre("2", "3"));
}

TEST_F(OldRecords, AreThoseWithoutAnEndToo)
{
    EXPECT_THAT(LeftOf({"", "abc", "-5", "@2026-03-01@", ""}), ElementsAre("3", "4"));
}

TEST_F(OldRecords, AreNotThoseWhoseRecentEndIsDamagedBehindItsDigits)
{
    EXPECT_THAT(LeftOf({"@2025-06-01@", "@2026-03-01@?"}), ElementsAre("1"));
}

TEST_F(OldRecords, MayBeAllThereAre)
{
    EXPECT_THAT(LeftOf({"@2025-06-01@", "@2025-06-02@"}), ElementsAre());
    EXPECT_THAT(File(), HasSubstr("<total>\r\n</total>\r\n"));
}

TEST_F(OldRecords, LeaveTheFileWithTheNextSave)
{
    LeftOf({"@2025-06-01@", "@2026-03-01@"});

    const std::string made = "2026-03-18 15:00:00";
    EXPECT_EQ(File(),
              DataFile(EmptyType("ADSL", made) + EmptyType("Dial-up", made) + EmptyType("WiFi", made) +
                       R"(<total>
                                  <item apn="1" endtime="@2026-03-01@"/>
                                  </total>)"));
}

}  // namespace
