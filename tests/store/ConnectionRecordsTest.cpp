#include <gmock/gmock.h>

#include <climits>
#include <filesystem>
#include <string>

#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/TestClock.h"

namespace {

using namespace nettest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ConnectionRecords : public StoreTest
{
protected:
    static std::vector<std::string> AccessPoints(CDataMgr& store)
    {
        std::vector<std::string> names;
        for (const Listed& record : ReadAll(store.GetAllConnRecord()))
            names.push_back(record.apn);
        return names;
    }

    /// A store with records of these access points, saved.
    void GivenRecords(const std::vector<std::string>& accessPoints) const
    {
        CDataMgr store;
        for (const std::string& name : accessPoints)
            store.StartNewConnect("ppp0", name);
    }

    static void Remove(CDataMgr& store, const std::vector<int>& indices)
    {
        EXPECT_TRUE(store.BeginRemoveRecord());
        for (const int index : indices)
            EXPECT_TRUE(store.RemoveRecord(index));
        EXPECT_TRUE(store.EndRemoveRecord());
    }
};

TEST_F(ConnectionRecords, OpenWithAllTheirAttributesInOrder)
{
    CDataMgr store;

    store.StartNewConnect("ppp0", "internet");

    EXPECT_EQ(Saved(store), DataFile(EmptyTypes("2026-03-18 15:00:00") + R"(
        <total>
        <item device="ppp0" apn="internet" starttime="@2026-03-18 15:00:00@" endtime="@2026-03-18 15:00:00@" time="0" uploaded="0" downloaded="0" unitprice="0" fee="0"/>
        </total>)"));
}

TEST_F(ConnectionRecords, KeepAnyTextAsItIs)
{
    const std::string device = "a<b>&'\"=/\\ \xC3\xA9\xFF\t;&amp;";
    {
        CDataMgr store;
        store.StartNewConnect(device, device);
        EXPECT_THAT(AccessPoints(store), ElementsAre(device));
    }

    CDataMgr again;
    EXPECT_THAT(AccessPoints(again), ElementsAre(device));
    EXPECT_THAT(File(), HasSubstr("device=\"a&lt;b&gt;&amp;&apos;&quot;=/\\ \xC3\xA9\xFF\t;&amp;amp;\""));
}

TEST_F(ConnectionRecords, AreListedOldestFirst)
{
    CDataMgr store;
    store.StartNewConnect("ppp0", "A");
    At("2026-03-18 15:00:10");
    store.UpdateData({Increment(DIALUP, 5, 6)}, false);
    store.StartNewConnect("ppp0", "B");
    At("2026-03-18 15:00:30");
    store.UpdateData({Increment(DIALUP, 7, 8)}, false);

    const auto at = [](const char* moment) { return std::to_string(Moment(moment)); };
    const Listed a{"A", at("2026-03-18 15:00:00"), at("2026-03-18 15:00:10"), "10", "5", "6", "0", "0"};
    const Listed b{"B", at("2026-03-18 15:00:10"), at("2026-03-18 15:00:30"), "20", "7", "8", "0", "0"};
    EXPECT_THAT(ReadAll(store.GetAllConnRecord()), ElementsAre(a, b));
    EXPECT_THAT(ReadAll(store.GetLastConnRecord()), ElementsAre(b));
}

TEST_F(ConnectionRecords, ReachTheHostAsTheyStandInTheFile)
{
    GivenFile(R"(
        <total>
        <item apn="A" starttime="007" endtime="x" time="-1" uploaded="1e3" downloaded="" unitprice="0.05" fee="free"/>
        <item endtime="@2026-03-18@"/>
        </total>)");
    CDataMgr store;

    EXPECT_THAT(ReadAll(store.GetAllConnRecord()),
                ElementsAre(Listed{"A", "007", "x", "-1", "1e3", "", "0.05", "free"},
                            Listed{"", "", std::to_string(Moment("2026-03-18")), "", "", "", "", ""}));
}

TEST_F(ConnectionRecords, AreReadWithoutAMoveFirst)
{
    GivenRecords({"A", "B"});
    CDataMgr store;

    IConnRecord* const set = store.GetAllConnRecord();

    EXPECT_STREQ(set->GetAPN(), "A");
    EXPECT_EQ(set->GetAllRecordCount(), 2);
    set->Release();
}

TEST_F(ConnectionRecords, MayBeNone)
{
    CDataMgr store;

    EXPECT_THAT(ReadAll(store.GetAllConnRecord()), IsEmpty());
    EXPECT_THAT(ReadAll(store.GetLastConnRecord()), IsEmpty());
}

TEST_F(ConnectionRecords, OutliveTheStoreInTheHostsSet)
{
    IConnRecord* set = nullptr;
    {
        CDataMgr store;
        store.StartNewConnect("ppp0", "A");
        set = store.GetAllConnRecord();
    }

    EXPECT_STREQ(set->GetAPN(), "A");
    set->Release();
}

TEST_F(ConnectionRecords, AreRemovedByTheirPlaceInTheList)
{
    GivenRecords({"A", "B", "C", "D"});
    CDataMgr store;
    std::string expected = File();
    for (const std::string name : {"A", "C"}) {
        const std::size_t begin = expected.rfind("<item", expected.find("apn=\"" + name));
        expected.erase(begin, expected.find("\r\n", begin) + 2 - begin);
    }

    Remove(store, {2, 0});

    EXPECT_THAT(AccessPoints(store), ElementsAre("B", "D"));
    EXPECT_EQ(File(), expected);  // saved
}

TEST_F(ConnectionRecords, AreRemovedInAnyCombination)
{
    const std::vector<std::string> all = {"A", "B", "C", "D", "E"};
    for (unsigned marked = 0; marked < 32; ++marked) {
        SCOPED_TRACE(marked);
        GivenBytes(DataFile("<transfer/>"));
        GivenRecords(all);
        CDataMgr store;
        std::vector<int> indices;
        std::vector<std::string> left;
        for (unsigned i = 0; i < 5; ++i) {
            if (marked & 1U << i) {
                indices.push_back(static_cast<int>(i));
            } else {
                left.push_back(all[i]);
            }
        }

        Remove(store, indices);

        EXPECT_EQ(AccessPoints(store), left);
        std::filesystem::remove(Path());
    }
}

TEST_F(ConnectionRecords, AreRemovedOnceThoughMarkedTwice)
{
    GivenRecords({"A", "B", "C"});
    CDataMgr store;

    Remove(store, {1, 1});

    EXPECT_THAT(AccessPoints(store), ElementsAre("A", "C"));
}

TEST_F(ConnectionRecords, AreNotRemovedByAnIndexBesideTheList)
{
    GivenRecords({"A", "B"});
    CDataMgr store;
    GivenBytes("elsewhere");

    Remove(store, {-1, 2, INT_MAX, INT_MIN});

    EXPECT_THAT(AccessPoints(store), ElementsAre("A", "B"));
    EXPECT_THAT(File(), HasSubstr("apn=\"B\""));  // saved all the same
}

TEST_F(ConnectionRecords, AreNotEvenSavedWhenNoneIsMarked)
{
    GivenRecords({"A", "B"});
    CDataMgr store;
    GivenBytes("elsewhere");

    Remove(store, {});

    EXPECT_EQ(File(), "elsewhere");
}

TEST_F(ConnectionRecords, ForgetTheMarksOfAnUnfinishedBatch)
{
    GivenRecords({"A", "B"});
    CDataMgr store;

    store.RemoveRecord(0);
    Remove(store, {1});
    EXPECT_THAT(AccessPoints(store), ElementsAre("A"));

    store.EndRemoveRecord();  // the finished batch is forgotten, too
    EXPECT_THAT(AccessPoints(store), ElementsAre("A"));
}

TEST_F(ConnectionRecords, AreUpdatedAtTheNewEndOfTheListAfterARemoval)
{
    GivenRecords({"A", "B"});
    CDataMgr store;

    Remove(store, {1});
    store.UpdateData({Increment(DIALUP, 5, 6)}, false);

    EXPECT_EQ(ReadAll(store.GetLastConnRecord())[0].uploaded, "5");
    EXPECT_EQ(ReadAll(store.GetLastConnRecord())[0].apn, "A");
}

/// A week whose start day has moved, in a file without a record list: the search for the list ends outside
/// the root, and none is made at the start.
class MissingRecordList : public ConnectionRecords
{
protected:
    MissingRecordList()
    {
        GivenFile(R"(
            <transfer type="ADSL">
            <today/>
            <since/>
            <this_week time="@2026-03-17@"/>
            </transfer>)");
    }
};

TEST_F(MissingRecordList, IsToldByANullSet)
{
    CDataMgr store;

    EXPECT_EQ(store.GetAllConnRecord(), nullptr);
    EXPECT_EQ(store.GetLastConnRecord(), nullptr);
}

TEST_F(MissingRecordList, IsNotMadeByQueriesResetsOrRemovals)
{
    CDataMgr store;
    const std::string before = Saved(store);
    GivenBytes("elsewhere");
    nis::REPORT report;
    report.ullDownloaded = 7;

    store.GetTodayData(report);
    store.ResetConnectRecord();
    Remove(store, {0});

    EXPECT_EQ(report.ullDownloaded, 7U);
    EXPECT_EQ(File(), "elsewhere");  // nothing removed, nothing saved
    EXPECT_EQ(Saved(store), before);

    store.StartNewConnect("ppp0", "A");
    store.EndRemoveRecord();  // the batch is over all the same
    EXPECT_THAT(AccessPoints(store), ElementsAre("A"));
}

TEST_F(MissingRecordList, IsMadeByANewConnection)
{
    CDataMgr store;
    const std::string before = Saved(store);

    store.StartNewConnect("ppp0", "A");

    const std::string list = Elements(R"(
        <total>
        <item device="ppp0" apn="A" starttime="@2026-03-18 15:00:00@" endtime="@2026-03-18 15:00:00@" time="0" uploaded="0" downloaded="0" unitprice="0" fee="0"/>
        </total>)");
    EXPECT_EQ(Saved(store), std::string(before).insert(before.find("</xml>"), list));
}

}  // namespace
