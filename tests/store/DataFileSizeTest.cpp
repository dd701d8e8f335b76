// Data files of sizes that no line fills, and what is left of one when the power goes.

#include <filesystem>
#include <string>

#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/MemoryPeak.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

namespace {

using namespace nettest;

class DataFileSize : public StoreTest
{
protected:
    /// A file of at least `size` bytes of records that end at `end`.
    void GivenRecords(std::size_t size, long end)
    {
        const std::string record = R"(<item device="wlan0" apn=")" + std::string(400, 'n') +
                                   R"(" starttime="5" endtime=")" + std::to_string(end) +
                                   R"(" time="7" uploaded="1" downloaded="2" unitprice="0" fee="0"/>)" +
                                   "\r\n";
        std::string records;
        records.reserve(size + record.size());
        for (m_records = 0; records.size() < size; ++m_records)
            records += record;
        const std::string empty = DataFile(EmptyTypes("2026-03-18 12:00:00") + "<total>\n</total>");
        const std::size_t place = empty.find("</total>");
        GivenBytes(empty.substr(0, place) + records + empty.substr(place));
    }

    std::size_t m_records = 0;
};

TEST_F(DataFileSize, HundredMegabytesAreLoadedCountedIntoAndSavedInTwiceTheirSize)
{
    constexpr std::size_t SIZE = 100'000'000;
    GivenRecords(SIZE, Moment("2026-03-18 12:00:00"));

    const MemoryPeak peak;
    {
        CDataMgr store;
        store.UpdateData({Increment(WIFI, 10, 20)}, false);
        nis::REPORT report;
        store.GetTodayData(report);
        EXPECT_EQ(report.ullUploaded, m_records + 10);
        EXPECT_EQ(report.ullDownloaded, 2 * m_records + 20);
    }
    EXPECT_LT(peak.Bytes(), 2 * SIZE);

    CDataMgr again;
    nis::REPORT report;
    again.GetSinceData(report, WIFI);
    EXPECT_EQ(report.ullUploaded, 10U);
    again.GetTodayData(report);
    EXPECT_EQ(report.ullDownloaded, 2 * m_records + 20);
}

TEST_F(DataFileSize, HundredMegabytesOfOldRecordsAreDroppedAtTheStart)
{
    GivenRecords(100'000'000, Moment("2025-12-01 12:00:00"));
    {
        CDataMgr store;
        EXPECT_EQ(ReadAll(store.GetAllConnRecord()).size(), 0U);
    }
    EXPECT_TRUE(File() == DataFile(EmptyTypes("2026-03-18 12:00:00") + "<total>\n</total>"));
}

TEST_F(DataFileSize, MillionNestedElementsAreNoMoreThanAnyOthers)
{
    constexpr int DEPTH = 1'000'000;
    std::string nested;
    nested.reserve(15 * DEPTH);
    for (int i = 0; i < DEPTH; ++i)
        nested += "<total>";
    for (int i = 0; i < DEPTH; ++i)
        nested += "</total>";
    GivenFile(nested);
    {
        CDataMgr store;
        store.StartNewConnect("ppp0", "internet");
        store.UpdateData({Increment(DIALUP, 10, 20)}, false);
        nis::REPORT report;
        store.GetSinceData(report, DIALUP);
        EXPECT_EQ(report.ullUploaded, 10U);
    }
    CDataMgr again;
    EXPECT_EQ(ReadAll(again.GetAllConnRecord()).size(), 1U);
}

TEST_F(DataFileSize, MillionOpenElementsAreKeptBesideANewFile)
{
    std::string open = "\xEF\xBB\xBF";
    for (int i = 0; i < 1'000'000; ++i)
        open += "<xml>";
    GivenBytes(open);

    const CDataMgr store;

    EXPECT_EQ(ReadFile(m_dir.File("NetInfo.dat.bad-" + std::to_string(TestClock::Now()))), open);
}

/// Some file systems fill the part of a file that was not written yet with zeros.
TEST_F(DataFileSize, FileThatEndsInZerosIsKeptWhereverTheyBegin)
{
    const std::string whole = DataFile(R"(
        <transfer type="Dial-up"><today uploaded="1"/></transfer>
        <total>
        <item device="ppp0" apn="internet" starttime="1" endtime="2" uploaded="3" downloaded="4"/>
        </total>)");
    const std::size_t end = whole.find("</xml>") + 6;

    for (std::size_t length = 0; length < end; ++length) {
        SCOPED_TRACE(length);
        TestClock::AdvanceSeconds(1);
        const std::string content = whole.substr(0, length) + std::string(whole.size() - length, '\0');
        GivenBytes(content);

        CDataMgr store;
        store.SaveFile();

        const std::string kept = m_dir.File("NetInfo.dat.bad-" + std::to_string(TestClock::Now()));
        EXPECT_EQ(ReadFile(kept), content);
        std::filesystem::remove(kept);
    }
}

TEST_F(DataFileSize, ZerosBehindTheDocumentDoNotHideIt)
{
    const std::string whole = DataFile(R"(
        <transfer type="WiFi"><today/><since time="7" uploaded="5" downloaded="6"/></transfer>)");
    GivenBytes(whole + std::string(512, '\0'));

    CDataMgr store;

    nis::REPORT report;
    store.GetSinceData(report, WIFI);
    EXPECT_EQ(Fields(report), ReportFields(WIFI, 6, 5, 0, 7, 7));
    EXPECT_EQ(Files(), std::vector<std::string>{"NetInfo.dat"});
}

}  // namespace
