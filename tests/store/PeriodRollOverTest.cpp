#include <gmock/gmock.h>

#include <string>

#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"

namespace {

using namespace nettest;
using testing::HasSubstr;

class StartOfPeriod : public StoreTest
{
protected:
    static std::string Week(CDataMgr& store)
    {
        const JMutexLock lock(store.mutex);
        return Local(store.GetBeforeNowWeekTime());
    }
    static std::string Month(CDataMgr& store)
    {
        const JMutexLock lock(store.mutex);
        return Local(store.GetBeforeNowMonthTime());
    }
    static std::string Local(long moment)
    {
        char text[32];
        const std::tm* const local = std::localtime(&moment);
        return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", local)};
    }
};

TEST_F(StartOfPeriod, FollowsTheSettings)
{
    struct Row
    {
        const char* now;
        const char* startWeekDate;
        const char* week;
        const char* startMonthDate;
        const char* month;
    };
    const Row rows[] = {
        // no settings: Sunday and the 1st
        {"2026-03-18 15:00:00", "", "2026-03-15 00:00:00", "", "2026-03-01 00:00:00"},
        {"2026-03-15 00:00:00", "", "2026-03-15 00:00:00", "", "2026-03-01 00:00:00"},
        // Monday and the 15th, seen from in front of them, on them and behind them
        {"2026-03-15 23:59:59", "1", "2026-03-09 00:00:00", "14", "2026-03-15 00:00:00"},
        {"2026-03-16 00:00:00", "1", "2026-03-16 00:00:00", "14", "2026-03-15 00:00:00"},
        {"2026-03-10 12:00:00", "1", "2026-03-09 00:00:00", "14", "2026-02-15 00:00:00"},
        {"2026-01-10 12:00:00", "6", "2026-01-10 00:00:00", "14", "2025-12-15 00:00:00"},
        // text that is no number counts as 0; a number may be followed by anything
        {"2026-03-18 15:00:00", "Monday", "2026-03-15 00:00:00", "first", "2026-03-01 00:00:00"},
        {"2026-03-18 15:00:00", "1st", "2026-03-16 00:00:00", "9.", "2026-03-10 00:00:00"},
        // outside the calendar the days are counted on: 8 from Wednesday is Monday, the 30th of February is
        // 2 March
        {"2026-03-18 15:00:00", "8", "2026-03-16 00:00:00", "0", "2026-03-01 00:00:00"},
        {"2026-03-01 15:00:00", "7", "2026-03-01 00:00:00", "29", "2026-03-02 00:00:00"},
        // only the low 32 bits count
        {"2026-03-18 15:00:00", "4294967297", "2026-03-16 00:00:00", "4294967310", "2026-03-15 00:00:00"},
    };
    CDataMgr store;
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.now) + " " + row.startWeekDate + " " + row.startMonthDate);
        At(row.now);
        FakePlatform::SetSetting("uselimit", "startweekdate", row.startWeekDate);
        FakePlatform::SetSetting("uselimit", "startmonthdate", row.startMonthDate);

        store.UpdateData({Increment(DIALUP, 0, 0)}, false);  // reads the settings

        EXPECT_EQ(Week(store), row.week);
        EXPECT_EQ(Month(store), row.month);
    }
}

TEST_F(StartOfPeriod, IsReadAgainWhenItWasEmpty)
{
    CDataMgr store;
    FakePlatform::SetSetting("uselimit", "startweekdate", "1");
    FakePlatform::SetSetting("uselimit", "startmonthdate", "9");

    EXPECT_EQ(Week(store), "2026-03-16 00:00:00");
    EXPECT_EQ(Month(store), "2026-03-10 00:00:00");

    FakePlatform::SetSetting("uselimit", "startweekdate", "2");
    FakePlatform::SetSetting("uselimit", "startmonthdate", "10");
    EXPECT_EQ(Week(store), "2026-03-16 00:00:00");  // kept until the next update
    EXPECT_EQ(Month(store), "2026-03-10 00:00:00");
}

TEST_F(StartOfPeriod, SurvivesAnySetting)
{
    for (const char* setting : {"2147483647", "-2147483648", "2147483646", "99999999999999999999999", "-1"}) {
        SCOPED_TRACE(setting);
        FakePlatform::SetSetting("uselimit", "startweekdate", setting);
        FakePlatform::SetSetting("uselimit", "startmonthdate", setting);

        CDataMgr store;
        store.StartNewConnect("ppp0", "internet");
        store.UpdateData({Increment(DIALUP, 1, 2)}, false);

        EXPECT_THAT(Saved(store), HasSubstr("<since time"));
    }
}

/// One connection since Wednesday 18 March 2026, 14:00, in periods that have begun before.
class RollOver : public StoreTest
{
protected:
    RollOver()
    {
        GivenFile(R"(
            <transfer type="Dial-up">
            <today time="@2026-03-18 14:00:00@" uploaded="100" downloaded="200" todaytime="500" Lastcntime="3600"/>
            <since time="@2026-03-02 09:00:00@" uploaded="1000" downloaded="2000" sincetime="5000"/>
            <this_week time="@2026-03-15@" uploaded="300" downloaded="600" weektime="1500"/>
            <this_month time="@2026-03-01@" uploaded="700" downloaded="1400" monthtime="3500"/>
            <this_year time="@2026-01-05 10:00:00@" uploaded="900" downloaded="1800" yeartime="4500"/>
            </transfer>
            <total>
            <item device="ppp0" apn="internet" starttime="@2026-03-18 14:00:00@" endtime="@2026-03-18 15:00:00@" time="3600" uploaded="100" downloaded="200" unitprice="0" fee="0"/>
            </total>)");
    }

    /// The file with this first type and this record; the others stay as the construction made them.
    static std::string FileWith(const std::string& periods, const std::string& start, const std::string& end,
                                long seconds, int uploaded, int downloaded)
    {
        return DataFile("<transfer type=\"Dial-up\">\n" + periods + "\n</transfer>" +
                        EmptyType("WiFi", "2026-03-18 15:00:00") + EmptyType("ADSL", "2026-03-18 15:00:00") +
                        R"(
            <total>
            <item device="ppp0" apn="internet" starttime="@)" +
                        start + R"(@" endtime="@)" + end + R"(@" time=")" + std::to_string(seconds) +
                        R"(" uploaded=")" + std::to_string(uploaded) + R"(" downloaded=")" +
                        std::to_string(downloaded) + R"(" unitprice="0" fee="0"/>
            </total>)");
    }
};

TEST_F(RollOver, OfTheDayKeepsTheFirstIncrementsAfterMidnightAndAddsFromThenOn)
{
    CDataMgr store;
    At("2026-03-18 23:59:59");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    EXPECT_EQ(Saved(store), FileWith(R"(
        <today time="@2026-03-18 14:00:00@" uploaded="101" downloaded="202" todaytime="32899" Lastcntime="35999"/>
        <since time="@2026-03-02 09:00:00@" uploaded="1001" downloaded="2002" sincetime="37399"/>
        <this_week time="@2026-03-15@" uploaded="301" downloaded="602" weektime="33899"/>
        <this_month time="@2026-03-01@" uploaded="701" downloaded="1402" monthtime="35899"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="901" downloaded="1802" yeartime="36899"/>)",
                                     "2026-03-18 14:00:00", "2026-03-18 23:59:59", 35999, 101, 202));

    At("2026-03-19 00:00:01");
    store.UpdateData({Increment(DIALUP, 10, 20)}, false);
    EXPECT_EQ(Saved(store), FileWith(R"(
        <today time="@2026-03-19 00:00:01@" uploaded="10" downloaded="20" todaytime="2" Lastcntime="36001"/>
        <since time="@2026-03-02 09:00:00@" uploaded="1011" downloaded="2022" sincetime="37401"/>
        <this_week time="@2026-03-15@" uploaded="311" downloaded="622" weektime="33901"/>
        <this_month time="@2026-03-01@" uploaded="711" downloaded="1422" monthtime="35901"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="911" downloaded="1822" yeartime="36901"/>)",
                                     "2026-03-18 14:00:00", "2026-03-19 00:00:01", 36001, 111, 222));

    At("2026-03-19 00:00:02");
    store.UpdateData({Increment(DIALUP, 100, 200)}, false);
    EXPECT_EQ(Saved(store), FileWith(R"(
        <today time="@2026-03-19 00:00:01@" uploaded="110" downloaded="220" todaytime="3" Lastcntime="36002"/>
        <since time="@2026-03-02 09:00:00@" uploaded="1111" downloaded="2222" sincetime="37402"/>
        <this_week time="@2026-03-15@" uploaded="411" downloaded="822" weektime="33902"/>
        <this_month time="@2026-03-01@" uploaded="811" downloaded="1622" monthtime="35902"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="1011" downloaded="2022" yeartime="36902"/>)",
                                     "2026-03-18 14:00:00", "2026-03-19 00:00:02", 36002, 211, 422));
}

TEST_F(RollOver, OfTheDayWhileNothingIsConnectedHappensAtTheNextStart)
{
    {
        CDataMgr store;
    }
    At("2026-03-20 08:00:00");

    CDataMgr store;

    // The day's mark and seconds stay until a connection moves them.
    EXPECT_EQ(Saved(store), FileWith(R"(
        <today time="@2026-03-18 14:00:00@" uploaded="0" downloaded="0" todaytime="500" Lastcntime="3600"/>
        <since time="@2026-03-02 09:00:00@" uploaded="1000" downloaded="2000" sincetime="5000"/>
        <this_week time="@2026-03-15@" uploaded="300" downloaded="600" weektime="1500"/>
        <this_month time="@2026-03-01@" uploaded="700" downloaded="1400" monthtime="3500"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="900" downloaded="1800" yeartime="4500"/>)",
                                     "2026-03-18 14:00:00", "2026-03-18 15:00:00", 3600, 100, 200));
}

TEST_F(RollOver, OfTheWeekStartsItWithTheFirstIncrementsOnSunday)
{
    CDataMgr store;
    At("2026-03-21 23:59:59");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    At("2026-03-22 00:00:01");

    store.UpdateData({Increment(DIALUP, 10, 20)}, false);

    const long lasted = Moment("2026-03-22 00:00:01") - Moment("2026-03-18 14:00:00");
    const auto counted = [&](long before) { return std::to_string(before + lasted - 3600); };
    EXPECT_EQ(Saved(store), FileWith(R"(
        <today time="@2026-03-22 00:00:01@" uploaded="10" downloaded="20" todaytime="2" Lastcntime=")" +
                                         std::to_string(lasted) + R"("/>
        <since time="@2026-03-02 09:00:00@" uploaded="1011" downloaded="2022" sincetime=")" +
                                         counted(5000) + R"("/>
        <this_week time="@2026-03-22@" uploaded="10" downloaded="20" weektime="2"/>
        <this_month time="@2026-03-01@" uploaded="711" downloaded="1422" monthtime=")" +
                                         counted(3500) + R"("/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="911" downloaded="1822" yeartime=")" +
                                         counted(4500) + R"("/>)",
                                     "2026-03-18 14:00:00", "2026-03-22 00:00:01", lasted, 111, 222));
}

TEST_F(RollOver, OfAWeekThatEndedWhileNothingWasConnectedReplacesItsTotals)
{
    {
        CDataMgr store;
    }
    At("2026-03-24 08:00:00");

    CDataMgr store;
    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <this_week time="@2026-03-15@" uploaded="0" downloaded="0" weektime="1500"/>)")));

    store.StartNewConnect("ppp0", "internet");
    At("2026-03-24 08:00:03");
    store.UpdateData({Increment(DIALUP, 10, 20)}, false);
    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <this_week time="@2026-03-22@" uploaded="10" downloaded="20" weektime="3"/>)")));
}

TEST_F(RollOver, OfMonthAndDayAtOnce)
{
    CDataMgr store;
    At("2026-03-31 23:59:59");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    At("2026-04-01 00:00:00");

    store.UpdateData({Increment(DIALUP, 10, 20)}, false);

    const long lasted = Moment("2026-04-01 00:00:00") - Moment("2026-03-18 14:00:00");
    const auto counted = [&](long before) { return std::to_string(before + lasted - 3600); };
    // The seconds since the update on the 18th all fall into the week in which they are counted. Its start
    // lies on the other side of the change to summer time and so an hour before midnight.
    const std::string week = std::to_string(lasted - 3600);
    EXPECT_EQ(Saved(store), FileWith(R"(
        <today time="@2026-04-01@" uploaded="10" downloaded="20" todaytime="1" Lastcntime=")" +
                                         std::to_string(lasted) + R"("/>
        <since time="@2026-03-02 09:00:00@" uploaded="1011" downloaded="2022" sincetime=")" +
                                         counted(5000) + R"("/>
        <this_week time="@2026-03-28 23:00:00@" uploaded="11" downloaded="22" weektime=")" +
                                         week + R"("/>
        <this_month time="@2026-04-01@" uploaded="10" downloaded="20" monthtime="1"/>
        <this_year time="@2026-01-05 10:00:00@" uploaded="911" downloaded="1822" yeartime=")" +
                                         counted(4500) + R"("/>)",
                                     "2026-03-18 14:00:00", "2026-04-01 00:00:00", lasted, 111, 222));
}

TEST_F(RollOver, OfTheYearKeepsTheFirstIncrementsOfTheNewOne)
{
    CDataMgr store;
    At("2026-12-31 23:59:59");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    At("2027-01-01 00:00:04");

    store.UpdateData({Increment(DIALUP, 10, 20)}, false);
    store.UpdateData({Increment(DIALUP, 100, 200)}, false);

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <this_year time="@2027-01-01 00:00:04@" uploaded="110" downloaded="220" yeartime="5"/>)")));
}

TEST_F(RollOver, LeavesTheOtherTypesToTheirReplacedTotals)
{
    CDataMgr store;
    store.ResetTodayData(WIFI);
    store.ResetThisYearData(WIFI);
    store.UpdateData({Increment(WIFI, 1, 2)}, false);
    store.UpdateData({Increment(WIFI, 1, 2)}, false);
    EXPECT_THAT(Saved(store), HasSubstr("<today uploaded=\"2\" downloaded=\"4\""));  // a reset marks them

    At("2026-03-19 15:00:00");
    store.UpdateData({Increment(WIFI, 10, 20)}, false);
    store.UpdateData({Increment(WIFI, 100, 200)}, false);

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <today uploaded="100" downloaded="200" todaytime="0" time="@2026-03-18 15:00:00@"/>)")));
    EXPECT_THAT(File(), HasSubstr("uploaded=\"112\" downloaded=\"224\" time="));  // the year goes on
}

TEST_F(RollOver, RestartsAWeekAndMonthThatBeganLaterThanToday)
{
    GivenFile(R"(
        <transfer type="Dial-up">
        <today/>
        <since time="5"/>
        <this_week time="@2026-03-18 00:00:01@" uploaded="300" downloaded="600" weektime="1500"/>
        <this_month time="@2027-01-01@" uploaded="700" downloaded="1400" monthtime="3500"/>
        </transfer>)");

    CDataMgr store;

    EXPECT_EQ(Saved(store), DataFile(R"(
        <transfer type="Dial-up">
        <today uploaded="0" downloaded="0" todaytime="0"/>
        <since time="5" uploaded="0" downloaded="0"/>
        <this_week time="@2026-03-18@" uploaded="0" downloaded="0" weektime="0"/>
        <this_month time="@2026-03-18@" uploaded="0" downloaded="0" monthtime="0"/>
        <this_year uploaded="0" downloaded="0"/>
        </transfer>
        )" + EmptyType("WiFi", "2026-03-18 15:00:00") +
                                     EmptyType("ADSL", "2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(RollOver, AddsToAWeekAndMonthThatBeganToday)
{
    FakePlatform::SetSetting("uselimit", "startweekdate", "3");
    FakePlatform::SetSetting("uselimit", "startmonthdate", "17");
    GivenFile(R"(
        <transfer type="Dial-up">
        <today/>
        <since/>
        <this_week time="@2026-03-18@" uploaded="300" downloaded="600" weektime="1500"/>
        <this_month time="@2026-03-18@" uploaded="700" downloaded="1400" monthtime="3500"/>
        </transfer>)");
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <this_week time="@2026-03-18@" uploaded="301" downloaded="602" weektime="1500"/>
        <this_month time="@2026-03-18@" uploaded="701" downloaded="1402" monthtime="3500"/>)")));
}

TEST_F(RollOver, CountsNothingBeforeAPeriodThatIsStillToCome)
{
    FakePlatform::SetSetting("uselimit", "startmonthdate", "29");  // the 30th: of February on 1 March
    GivenFile(R"(
        <transfer type="Dial-up">
        <today/>
        <since/>
        <this_week/>
        <this_month time="@2026-01-30@" uploaded="700" downloaded="1400" monthtime="3500"/>
        </transfer>)");
    At("2026-03-01 12:00:00");
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, 10, 20)}, false);

    EXPECT_THAT(Saved(store), HasSubstr(Elements(R"(
        <this_month time="@2026-01-30@" uploaded="0" downloaded="0" monthtime="0"/>)")));
}

TEST_F(RollOver, TakesWhatIsNeitherWeekNorMonthAsAPeriodFromTheBeginningOfTime)
{
    CDataMgr store;
    CMarkupSTL doc(("<xml>\r\n<total>\r\n" + Elements(Item(1, 1, 30, 40)) + Elements(Item(2, 6, 3, 4)) +
                    "</total>\r\n<p time=\"5\" uploaded=\"100\" downloaded=\"200\"/>\r\n</xml>\r\n")
                       .c_str());
    doc.FindElem("xml");
    doc.IntoElem();
    doc.FindElem("p");

    const auto adjust = [&](int nPeriod) {
        const JMutexLock lock(store.mutex);
        store.AdjustPeriodData(&doc, nPeriod, Increment(DIALUP, 1, 2));
    };
    // Moment 5 is on the day of moment 0, so this is the same period; a day later, the start has moved to 0.
    adjust(3);
    EXPECT_THAT(doc.GetDoc(), HasSubstr("<p time=\"5\" uploaded=\"101\" downloaded=\"202\"/>"));
    doc.SetAttrib("time", "100000");
    adjust(0);
    EXPECT_THAT(doc.GetDoc(), HasSubstr("<p time=\"100000\" uploaded=\"135\" downloaded=\"248\"/>"));
}

/// A week of 1000 bytes each way and 1000 seconds whose start day the user moves on Thursday 19 March 2026.
class MovedStartDay : public StoreTest
{
protected:
    struct Record
    {
        const char* end;
        int uploaded;
        int downloaded;
        int seconds;
    };

    void GivenWeek(const std::string& start, std::initializer_list<Record> records,
                   const std::string& period = "week") const
    {
        std::string elements = "<transfer type=\"Dial-up\">\n<today/>\n<since/>\n<this_" + period +
                               " time=\"@" + start + "@\" uploaded=\"1000\" downloaded=\"1000\" " + period +
                               "time=\"1000\"/>\n</transfer>\n<total>\n";
        for (const Record& record : records) {
            elements += "<item endtime=\"@" + std::string(record.end) + "@\" time=\"" +
                        std::to_string(record.seconds) + "\" uploaded=\"" + std::to_string(record.uploaded) +
                        "\" downloaded=\"" + std::to_string(record.downloaded) + "\"/>\n";
        }
        GivenFile(elements + "</total>");
        At("2026-03-19 12:00:00");
    }
    std::string Week() const { return Period("week"); }
    std::string Month() const { return Period("month"); }

private:
    std::string Period(const std::string& period) const
    {
        const std::string file = File();
        const std::size_t begin = file.find("<this_" + period);
        return file.substr(begin, file.find("/>", begin) + 2 - begin) + "\n";
    }
};

TEST_F(MovedStartDay, LaterInTheWeekTakesTheRecordsInBetweenOut)
{
    GivenWeek("2026-03-15", {{"2026-03-14 23:59:59", 1, 1, 1},        // before the old start
                             {"2026-03-15 00:00:00", 20, 30, 40},     // at it
                             {"2026-03-17 12:00:00", 300, 200, 100},  // in between
                             {"2026-03-18 00:00:00", 60, 70, 80},     // at the new start
                             {"2026-03-18 00:00:01", 5, 5, 5}});      // behind it
    FakePlatform::SetSetting("uselimit", "startweekdate", "3");

    CDataMgr store;
    store.SaveFile();

    EXPECT_EQ(Elements(Week()), Elements(R"(
        <this_week time="@2026-03-15@" uploaded="620" downloaded="700" weektime="780"/>)"));
}

TEST_F(MovedStartDay, LaterInTheWeekNeverTakesOutMoreThanThereIs)
{
    GivenWeek("2026-03-15", {{"2026-03-16 12:00:00", 999, 1001, 1000}, {"2026-03-17 12:00:00", 2, 0, 1}});
    FakePlatform::SetSetting("uselimit", "startweekdate", "3");

    CDataMgr store;
    store.SaveFile();

    EXPECT_EQ(Elements(Week()), Elements(R"(
        <this_week time="@2026-03-15@" uploaded="0" downloaded="0" weektime="0"/>)"));
}

TEST_F(MovedStartDay, EarlierInTheWeekBringsTheRecordsInBetweenIn)
{
    GivenWeek("2026-03-18", {{"2026-03-14 23:59:59", 1, 1, 1},        // before the new start
                             {"2026-03-15 00:00:00", 20, 30, 40},     // at it
                             {"2026-03-17 12:00:00", 300, 200, 100},  // in between
                             {"2026-03-18 00:00:00", 60, 70, 80},     // at the old start
                             {"2026-03-18 00:00:01", 5, 5, 5}});      // behind it
    FakePlatform::SetSetting("uselimit", "startweekdate", "0");

    CDataMgr store;
    store.SaveFile();

    EXPECT_EQ(Elements(Week()), Elements(R"(
        <this_week time="@2026-03-18@" uploaded="1380" downloaded="1300" weektime="1220"/>)"));
}

TEST_F(MovedStartDay, OfTheMonthWorksTheSameWay)
{
    GivenWeek("2026-03-01",
              {{"2026-03-05 12:00:00", 1, 2, 3},
               {"2026-03-11 12:00:00", 10, 20, 30},
               {"2026-03-12", 100, 200, 300}},
              "month");
    FakePlatform::SetSetting("uselimit", "startmonthdate", "9");

    CDataMgr store;
    store.SaveFile();

    EXPECT_EQ(Elements(Month()), Elements(R"(
        <this_month time="@2026-03-01@" uploaded="999" downloaded="998" monthtime="997"/>)"));
}

TEST_F(MovedStartDay, CorrectsOnceWhenAConnectionMovesTheMark)
{
    GivenWeek("2026-03-15", {{"2026-03-17 12:00:00", 300, 200, 100}});
    CDataMgr store;
    store.StartNewConnect("ppp0", "internet");
    FakePlatform::SetSetting("uselimit", "startweekdate", "3");
    At("2026-03-19 12:00:05");

    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    store.SaveFile();
    EXPECT_EQ(Elements(Week()), Elements(R"(
        <this_week time="@2026-03-18@" uploaded="701" downloaded="802" weektime="905"/>)"));

    store.UpdateData({Increment(DIALUP, 10, 20)}, false);
    store.SaveFile();
    EXPECT_EQ(Elements(Week()), Elements(R"(
        <this_week time="@2026-03-18@" uploaded="711" downloaded="822" weektime="905"/>)"));
}

TEST_F(MovedStartDay, CorrectsEveryTimeWhileNoConnectionMovesTheMark)
{
    GivenWeek("2026-03-18", {});
    FakePlatform::SetSetting("uselimit", "startweekdate", "0");
    CDataMgr store;

    store.UpdateData({Increment(DIALUP, 10, 20)}, false);
    store.UpdateData({Increment(DIALUP, 10, 20)}, false);
    store.SaveFile();

    EXPECT_EQ(Elements(Week()), Elements(R"(
        <this_week time="@2026-03-18@" uploaded="1020" downloaded="1040" weektime="1000"/>)"));
}

TEST_F(MovedStartDay, WithoutARecordListLosesItsPlaceAndTheIncrement)
{
    const std::string dialUp = R"(
        <transfer type="Dial-up">
        <today time="@2026-03-19@" uploaded="5" downloaded="5" todaytime="5"/>
        <since time="5" uploaded="5" downloaded="5"/>
        <this_week time="@2026-03-18@" uploaded="1000" downloaded="1000" weektime="1000"/>
        <this_month time="@2026-03-01@" uploaded="2000" downloaded="2000" monthtime="2000"/>
        <this_year time="@2026-03-01@" uploaded="3000" downloaded="3000" yeartime="3000"/>
        </transfer>
        )";
    GivenFile(dialUp);
    At("2026-03-19 12:00:00");

    CDataMgr store;

    // The month and the year are then looked for, and made, where the search for the list ended: in the root.
    EXPECT_EQ(Saved(store), DataFile(dialUp + EmptyType("WiFi", "2026-03-19 12:00:00") +
                                     EmptyType("ADSL", "2026-03-19 12:00:00") + R"(
        <total/>
        <this_month uploaded="0" downloaded="0" monthtime="0"/>
        <this_year uploaded="0" downloaded="0"/>)"));
    nis::REPORT week;
    store.GetThisWeekData(week, DIALUP);
    EXPECT_EQ(Fields(week), ReportFields(DIALUP, 0, 0, 0, 0, 0));
}

}  // namespace
