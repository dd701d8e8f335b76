#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "store/DataFileNames.h"
#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

namespace {

using namespace nettest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// Which renames fail, by their new name; all others are done.
std::function<bool(const std::string& newName)> g_failRename;

}  // namespace

extern "C" int rename(const char* oldName, const char* newName) noexcept
{
    if (g_failRename && g_failRename(newName)) {
        errno = EACCES;
        return -1;
    }
    return renameat(AT_FDCWD, oldName, AT_FDCWD, newName);
}

namespace {

const std::string SKELETON = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<xml>\r\n</xml>\r\n";

TEST(ConverUllToString, WritesPlainDecimalText)
{
    EXPECT_EQ(ConverUllToString(0), "0");
    EXPECT_EQ(ConverUllToString(7), "7");
    EXPECT_EQ(ConverUllToString(1163635200), "1163635200");
    EXPECT_EQ(ConverUllToString(std::numeric_limits<unsigned long long>::max()), "18446744073709551615");
}

TEST(DataFileNames, AreTheTextsOfTheFormat)
{
    EXPECT_STREQ(LABEL_MAIN, "xml");
    EXPECT_STREQ(LABEL_STAT, "transfer");
    EXPECT_STREQ(LABEL_TYPE, "type");
    EXPECT_STREQ(LABEL_TODAY, "today");
    EXPECT_STREQ(LABEL_SINCE, "since");
    EXPECT_STREQ(LABEL_THISWEEK, "this_week");
    EXPECT_STREQ(LABEL_THISMONTH, "this_month");
    EXPECT_STREQ(LABEL_THISYEAR, "this_year");
    EXPECT_STREQ(LABEL_TOTAL, "total");
    EXPECT_STREQ(LABEL_ITEM, "item");
    EXPECT_STREQ(ATTRIB_TIME, "time");
    EXPECT_STREQ(ATTRIB_UPLOADED, "uploaded");
    EXPECT_STREQ(ATTRIB_DOWNLOADED, "downloaded");
    EXPECT_STREQ(ATTRIB_TODAYTIME, "todaytime");
    EXPECT_STREQ(ATTRIB_WEEKTIME, "weektime");
    EXPECT_STREQ(ATTRIB_MONTHTIME, "monthtime");
    EXPECT_STREQ(ATTRIB_YEARTIME, "yeartime");
    EXPECT_STREQ(ATTRIB_SINCETIME, "sincetime");
    EXPECT_STREQ(ATTRIB_CONNECTEDTIME, "Lastcntime");
    EXPECT_STREQ(ATTRIB_STARTTIME, "starttime");
    EXPECT_STREQ(ATTRIB_ENDTIME, "endtime");
    EXPECT_STREQ(ATTRIB_DEVICE, "device");
    EXPECT_STREQ(ATTRIB_APN, "apn");
    EXPECT_STREQ(ATTRIB_UNITPRICE, "unitprice");
    EXPECT_STREQ(ATTRIB_FEE, "fee");
    EXPECT_EQ(NAME_PLUGIN, U16("NetInfoPlugin"));
    EXPECT_EQ(NAME_DATAFILE, U16("NetInfo.dat"));
    EXPECT_EQ(NAME_LIMITINI, U16("DataUsageLimit.ini"));
    EXPECT_EQ(SETTING_USELIMIT, U16("uselimit"));
    EXPECT_EQ(SETTING_STARTWEEKDATE, U16("startweekdate"));
    EXPECT_EQ(SETTING_STARTMONTHDATE, U16("startmonthdate"));
    EXPECT_EQ(SETTING_STARTDATE, U16("startdate"));
}

class NewDataFile : public StoreTest
{};

TEST_F(NewDataFile, IsTheBareSkeletonUntilTheFirstSave)
{
    const CDataMgr store;

    EXPECT_EQ(File(), SKELETON);
    EXPECT_THAT(Files(), ElementsAre("NetInfo.dat"));
}

TEST_F(NewDataFile, IsReadableByTheUserOnly)
{
    const CDataMgr store;

    struct stat status
    {};
    ASSERT_EQ(stat(Path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(NewDataFile, HoldsTheThreeTypesAndAnEmptyRecordListOnceSaved)
{
    CDataMgr store;

    EXPECT_EQ(Saved(store), DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(NewDataFile, IsSavedWhenTheStoreEnds)
{
    {
        const CDataMgr store;
    }

    EXPECT_EQ(File(), DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(NewDataFile, IsNotSavedByUpdatesNewConnectionsOrResets)
{
    CDataMgr store;

    store.StartNewConnect("ppp0", "internet");
    store.UpdateData({Increment(DIALUP, 1, 2)}, false);
    store.ResetTodayData(DIALUP);
    store.ResetConnectRecord();

    EXPECT_EQ(File(), SKELETON);
}

TEST_F(NewDataFile, IsWrittenWithoutItsHeaderWhenItCouldNotBeMadeInTime)
{
    FakePlatform::SetUserDataDirectory(m_dir.File("later/"));
    CDataMgr store;

    std::filesystem::create_directory(m_dir.File("later"));
    store.SaveFile();

    EXPECT_EQ(ReadFile(m_dir.File("later/NetInfo.dat")),
              "<xml>\r\n" + Elements(EmptyTypes("2026-03-18 15:00:00") + "<total/>") + "</xml>\r\n");
}

TEST_F(NewDataFile, LiesInTheUserDataDirectory)
{
    FakePlatform::SetModuleDirectory("/usr/lib/netinfo/");
    const CDataMgr store;

    EXPECT_EQ(store.GetDataFilePathName(), m_dir.Path() + "/NetInfo.dat");
}

class LoadedDataFile : public StoreTest
{};

TEST_F(LoadedDataFile, ComesBackToTheByteWhenNothingHappens)
{
    {
        CDataMgr store;
        store.StartNewConnect("ppp0", "a \"quoted\" <name> & more");
        store.UpdateData({Increment(DIALUP, 100, 200)}, false);
    }
    const std::string before = File();

    CDataMgr store;

    EXPECT_EQ(Saved(store), before);
    EXPECT_THAT(Files(), ElementsAre("NetInfo.dat"));
}

TEST_F(LoadedDataFile, KeepsWhatTheStoreDoesNotKnow)
{
    GivenFile(R"(
        <!-- kept -->
        <future value="1"/>
        <transfer note="mine" type="Dial-up"/>
        <total version="2"/>)");

    CDataMgr store;

    std::string dialUp = EmptyType("Dial-up", "2026-03-18 15:00:00");
    dialUp.replace(dialUp.find("<transfer"), 9, "<transfer note=\"mine\"");
    EXPECT_EQ(Saved(store), DataFile(R"(
        <!-- kept -->
        <future value="1"/>)" + dialUp +
                                     EmptyType("WiFi", "2026-03-18 15:00:00") +
                                     EmptyType("ADSL", "2026-03-18 15:00:00") + R"(<total version="2"/>)"));
}

TEST_F(LoadedDataFile, ReadsAsZeroWhatIsNoNumber)
{
    struct Row
    {
        const char* text;
        const char* writtenBack;
    };
    const Row rows[] = {
        {"12a", "0"},                                     // any other character
        {"", "0"},                                        // nothing
        {"-5", "0"},                                      // a sign
        {"12 ", "0"},                                     // a blank
        {"1e3", "0"},                                     // an exponent
        {"007", "7"},                                     // leading zeros go
        {"9223372036854775807", "9223372036854775807"},   // the largest that is read
        {"9223372036854775808", "9223372036854775807"},   // larger ones count as that
        {"18446744073709551615", "9223372036854775807"},  // the largest that is written
        {"99999999999999999999999999999999999999999999", "9223372036854775807"}  // any length
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        GivenFile(std::string(R"(<transfer type="Dial-up"><today/><since time="1" uploaded=")") + row.text +
                  R"("/></transfer>)");

        CDataMgr store;

        EXPECT_THAT(Saved(store),
                    HasSubstr(std::string("<since time=\"1\" uploaded=\"") + row.writtenBack + "\""));
    }
}

TEST_F(LoadedDataFile, KeepsItsModeWhenSaved)
{
    GivenFile("");
    ASSERT_EQ(chmod(Path().c_str(), 0640), 0);

    CDataMgr store;
    store.SaveFile();

    struct stat status
    {};
    ASSERT_EQ(stat(Path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

class FailedSave : public StoreTest
{
protected:
    ~FailedSave() override { g_failRename = nullptr; }

    static void SavesFail()
    {
        g_failRename = [](const std::string&) { return true; };
    }
};

TEST_F(FailedSave, LeavesTheFileAndIsTraced)
{
    CDataMgr store;
    SavesFail();

    EXPECT_EQ(Saved(store), SKELETON);
    EXPECT_EQ(FakePlatform::TraceCount("The data file cannot be saved: " + Path()), 1);
    EXPECT_THAT(Files(), ElementsAre("NetInfo.dat"));
}

TEST_F(FailedSave, IsMadeUpForByTheNextOne)
{
    CDataMgr store;
    SavesFail();
    store.SaveFile();
    g_failRename = nullptr;

    EXPECT_EQ(Saved(store), DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

class DamagedDataFile : public StoreTest
{
protected:
    ~DamagedDataFile() override { g_failRename = nullptr; }

    std::string KeptName() const { return "NetInfo.dat.bad-" + std::to_string(TestClock::Now()); }
};

TEST_F(DamagedDataFile, IsKeptBesideANewOne)
{
    for (const std::string& content : {std::string(), std::string("no document"), std::string("<xml><total>"),
                                       std::string("\xEF\xBB\xBF<xml><a></xml>"), std::string("\0\0\0\0", 4),
                                       std::string("\xFF\xFE<\0x\0m\0l\0/\0>\0", 14)}) {
        SCOPED_TRACE(content);
        TestClock::AdvanceSeconds(1);
        GivenBytes(content);

        CDataMgr store;

        EXPECT_EQ(ReadFile(m_dir.File(KeptName())), content);
        EXPECT_EQ(File(), SKELETON);
        EXPECT_THAT(Saved(store), StartsWith(SKELETON.substr(0, SKELETON.find("</xml>"))));
        const std::string kept = "The data file cannot be read; it is kept as " + m_dir.File(KeptName());
        EXPECT_EQ(FakePlatform::TraceCount(kept), 1);
    }
}

TEST_F(DamagedDataFile, IsTracedAsAnAnomaly)
{
    GivenBytes("no document");

    const CDataMgr store;

    ASSERT_EQ(FakePlatform::Traces().size(), 1U);
    EXPECT_EQ(FakePlatform::Traces()[0].level, 2);
    EXPECT_EQ(FakePlatform::Traces()[0].module, "NetInfoPlugin");
}

TEST_F(DamagedDataFile, IsAlsoOneWithAnotherRoot)
{
    const std::string content = "\xEF\xBB\xBF<settings><xml/></settings>";
    GivenBytes(content);

    CDataMgr store;

    EXPECT_EQ(ReadFile(m_dir.File(KeptName())), content);
    EXPECT_EQ(Saved(store), DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(DamagedDataFile, IsAlsoAFolderInItsPlace)
{
    std::filesystem::create_directory(Path());

    CDataMgr store;

    EXPECT_TRUE(std::filesystem::is_directory(m_dir.File(KeptName())));
    EXPECT_EQ(Saved(store), DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

/// Runs as a user whom file modes bind, who owns `path`, as long as it lives.
class AsOrdinaryUser
{
public:
    explicit AsOrdinaryUser(const std::string& path)
    {
        if (geteuid() != 0) return;
        constexpr uid_t NOBODY = 65534;
        m_isOther = chown(path.c_str(), NOBODY, NOBODY) == 0 && seteuid(NOBODY) == 0;
    }
    ~AsOrdinaryUser()
    {
        if (!m_isOther) return;
        EXPECT_EQ(seteuid(0), 0);
    }
    AsOrdinaryUser(const AsOrdinaryUser&) = delete;
    AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;

private:
    bool m_isOther = false;
};

TEST_F(DamagedDataFile, IsAlsoOneThatMayNotBeRead)
{
    const AsOrdinaryUser user(m_dir.Path());
    GivenFile("<!-- old -->");
    ASSERT_EQ(chmod(Path().c_str(), 0), 0);

    CDataMgr store;
    store.SaveFile();

    ASSERT_EQ(chmod(m_dir.File(KeptName()).c_str(), 0600), 0);
    EXPECT_EQ(ReadFile(m_dir.File(KeptName())), DataFile("<!-- old -->"));
    EXPECT_EQ(File(), DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(DamagedDataFile, NeverTakesTheNameOfAnotherOne)
{
    WriteFile(m_dir.File(KeptName()), "first");
    WriteFile(m_dir.File("NetInfo.dat.bad-" + std::to_string(TestClock::Now() + 1)), "second");
    GivenBytes("third");

    const CDataMgr store;

    EXPECT_EQ(ReadFile(m_dir.File(KeptName())), "first");
    EXPECT_EQ(ReadFile(m_dir.File("NetInfo.dat.bad-" + std::to_string(TestClock::Now() + 1))), "second");
    EXPECT_EQ(ReadFile(m_dir.File("NetInfo.dat.bad-" + std::to_string(TestClock::Now() + 2))), "third");
}

TEST_F(DamagedDataFile, IsNotWrittenOverAsLongAsItCannotBePutAside)
{
    g_failRename = [](const std::string& newName) { return newName.find(".bad-") != std::string::npos; };
    GivenBytes("no document");
    {
        CDataMgr store;
        store.UpdateData({Increment(DIALUP, 100, 200)}, false);

        EXPECT_EQ(Saved(store), "no document");

        g_failRename = nullptr;
        EXPECT_THAT(Saved(store), HasSubstr("downloaded=\"200\""));
        EXPECT_EQ(ReadFile(m_dir.File(KeptName())), "no document");
    }
    EXPECT_EQ(Files().size(), 2U);
}

TEST_F(DamagedDataFile, IsNotWrittenOverByTheEndOfTheStoreEither)
{
    g_failRename = [](const std::string& newName) { return newName.find(".bad-") != std::string::npos; };
    GivenBytes("no document");
    {
        const CDataMgr store;
    }

    EXPECT_EQ(File(), "no document");
    EXPECT_EQ(FakePlatform::TraceCount("The data file can neither be read nor put aside; nothing is saved: " +
                                       Path()),
              2);
}

TEST_F(DamagedDataFile, ThatIsGoneInTheEndHoldsNothingBack)
{
    g_failRename = [](const std::string& newName) { return newName.find(".bad-") != std::string::npos; };
    GivenBytes("no document");
    CDataMgr store;

    std::filesystem::remove(Path());

    EXPECT_EQ(Saved(store), DataFile(EmptyTypes("2026-03-18 15:00:00") + "<total/>"));
}

TEST_F(DamagedDataFile, IsNeverLostAtWhateverLengthItIsCut)
{
    const std::string whole = DataFile(R"(
        <transfer type="Dial-up"><today uploaded="1"/></transfer>
        <total>
        <item device="ppp0" apn="internet" starttime="1" endtime="2" uploaded="3" downloaded="4"/>
        </total>)");
    const std::string document = whole.substr(0, whole.find("</xml>") + 6);

    for (std::size_t length = 0; length < document.size(); ++length) {
        SCOPED_TRACE(length);
        TestClock::AdvanceSeconds(1);
        GivenBytes(document.substr(0, length));

        CDataMgr store;
        store.SaveFile();

        EXPECT_EQ(ReadFile(m_dir.File(KeptName())), document.substr(0, length));
        std::filesystem::remove(m_dir.File(KeptName()));
    }
}

class MemoryThatRunsOut : public StoreTest
{};

TEST_F(MemoryThatRunsOut, WhileLoadingLosesNoRecord)
{
    const std::string content = DataFile(R"(
        <total>
        <item apn="internet" starttime="@2026-03-17 12:00:00@" endtime="@2026-03-17 13:00:00@" uploaded="9"/>
        </total>)");
    bool failed = true;
    for (std::size_t succeeding = 0; failed; ++succeeding) {
        SCOPED_TRACE(succeeding);
        TestClock::AdvanceSeconds(1);
        GivenBytes(content);
        std::optional<CDataMgr> store;
        {
            const FailingAllocation failing(succeeding);
            try {
                store.emplace();
            } catch (const std::bad_alloc&) {  // not even the members could be made
            }
            failed = failing.HasFailed();
        }
        if (store) store->UpdateData({Increment(DIALUP, 1, 1)}, false);
        store.reset();

        const std::string kept = ReadFile(m_dir.File("NetInfo.dat.bad-" + std::to_string(TestClock::Now())));
        const bool inTheFile = File().find("apn=\"internet\"") != std::string::npos;
        EXPECT_TRUE(inTheFile || kept == content);
    }
}

TEST_F(MemoryThatRunsOut, EndsAnOperationAndLeavesTheStoreToTheNext)
{
    CDataMgr store;
    store.StartNewConnect("ppp0", "internet");
    nis::REPORT report;
    const auto release = [](IConnRecord* set) {
        if (set) set->Release();
    };
    const std::vector<nis::SNAPSHOT> increments = {Increment(DIALUP, 1, 2), Increment(WIFI, 3, 4)};
    const std::string device(100, 'd');
    const std::function<void()> operations[] = {
        [&] { store.UpdateData(increments, false); },
        [&] { store.StartNewConnect(device, device); },
        [&] { release(store.GetAllConnRecord()); },
        [&] { release(store.GetLastConnRecord()); },
        [&] { store.GetTodayData(report); },
        [&] { store.GetSpecHistroryData(report, 0); },
        [&] { store.GetSpecLastData(nullptr, 0); },
        [&] { store.ResetTodayData(WIFI); },
        [&] { store.ResetSinceData(WIFI); },
        [&] { store.ResetThisWeekData(WIFI); },
        [&] { store.ResetThisMonthData(WIFI); },
        [&] { store.ResetThisYearData(WIFI); },
        [&] { store.ResetConnectRecord(); },
        [&] { store.BeginRemoveRecord(); },
        [&] { store.RemoveRecord(0); },
        [&] { store.EndRemoveRecord(); },
        [&] { store.NetinfoFiletoUTF8(); },
        [&] { store.SaveFile(); },
    };
    for (const auto& operation : operations) {
        bool failed = true;
        for (std::size_t succeeding = 0; failed; ++succeeding) {
            const FailingAllocation failing(succeeding);
            operation();
            failed = failing.HasFailed();
        }
        store.StartNewConnect("ppp0", "after");
        EXPECT_EQ(ReadAll(store.GetLastConnRecord())[0].apn, "after");
        CMarkupSTL saved(Saved(store).c_str());
        EXPECT_TRUE(saved.IsWellFormed());
    }
}

class HostileDataFile : public StoreTest
{
protected:
    /// Everything that can be done with a store.
    static void UseAll(CDataMgr& store)
    {
        const std::vector<nis::SNAPSHOT> increments = {Increment(DIALUP, 1, 2), Increment(WIFI, 3, 4),
                                                       Increment(ADSL, 5, 6), Increment(7, 7, 8)};
        nis::REPORT report;
        for (int i = 0; i < 3; ++i) {
            store.UpdateData(increments, false);
            ReadAll(store.GetAllConnRecord());
            ReadAll(store.GetLastConnRecord());
            store.GetSpecHistroryData(report, 0);
            store.GetTodayData(report);
            store.StartNewConnect("ppp0", "internet");
            store.StartNewConnect("wlan0", "");
            store.UpdateData(increments, false);
            store.BeginRemoveRecord();
            store.RemoveRecord(0);
            store.RemoveRecord(2);
            store.EndRemoveRecord();
            for (const int type : {DIALUP, WIFI, ADSL, 7, -1}) {
                store.ResetTodayData(type);
                store.ResetSinceData(type);
                store.ResetThisWeekData(type);
                store.ResetThisMonthData(type);
                store.ResetThisYearData(type);
            }
            store.ResetConnectRecord();
            FakePlatform::SetSetting("uselimit", "startweekdate", std::to_string(i + 1));
            FakePlatform::SetSetting("uselimit", "startmonthdate", std::to_string(i + 10));
            TestClock::AdvanceSeconds(100'000);
        }
        store.SaveFile();
    }

    void ExpectUsable(const std::string& elements) const
    {
        SCOPED_TRACE(elements.substr(0, 200));
        GivenFile(elements);
        {
            CDataMgr store;
            UseAll(store);
        }
        CDataMgr again;  // what was written can be read
        EXPECT_EQ(ReadAll(again.GetAllConnRecord()).size(), 1U);
    }
};

TEST_F(HostileDataFile, MayHoldMomentsAndNumbersOfAnySize)
{
    for (const std::string number :
         {"2147483648", "4294967296", "67768036191694800", "9223372036854775807", "18446744073709551616",
          "-1", "-9223372036854775808", "1e99", "&#x39;", "\xFF\xFE"}) {
        std::string elements;
        const std::string value = "=\"" + number + "\" ";
        for (const char* type : {"Dial-up", "WiFi", "ADSL", "unknown"}) {
            elements.append("<transfer type=\"").append(type).append("\">");
            for (const char* period : {"today", "since", "this_week", "this_month", "this_year"}) {
                elements.append("<").append(period).append(" ");
                for (const char* attribute : {"time", "uploaded", "downloaded", "todaytime", "Lastcntime",
                                              "weektime", "monthtime", "yeartime", "sincetime"})
                    elements.append(attribute).append(value);
                elements += "/>\n";
            }
            elements += "</transfer>\n";
        }
        elements += "<total>\n";
        for (int i = 0; i < 4; ++i) {
            elements += "<item ";
            for (const char* attribute : {"starttime", "endtime", "time", "uploaded", "downloaded"})
                elements.append(attribute).append(value);
            elements += "/>\n";
        }
        elements += "</total>";
        ExpectUsable(elements);
    }
}

TEST_F(HostileDataFile, MayHoldElementsTwiceOrInTheWrongPlaceOrNotAtAll)
{
    for (
        const char* elements : {
            "",
            "<total/><total><item/></total>",
            "<total/><transfer/>",
            "<total><item><item/></item><total><item/></total></total>",
            R"(<transfer type="Dial-up"/><transfer type="Dial-up"/>)",
            R"(<transfer type="Dial-up"><total><item endtime="5"/></total><today/><today/></transfer>)",
            R"(<transfer type="WiFi"><this_year/><this_month/><this_week/><since/><today/></transfer>)",
            R"(<transfer/><transfer type=""/><transfer type="unknown"/>)",
            R"(<item/><today/><xml><xml/></xml>)",
            R"(<transfer type="Dial-up">text &amp; more<today>inside</today></transfer>)",
            R"(<transfer type="Dial-up" type="WiFi"/><total total="1"><item endtime='7' endtime="8"/></total>)",
            R"(<transfer type=Dial-up/><total><item endtime=7/></total>)",
        })
        ExpectUsable(elements);
}

TEST_F(HostileDataFile, MayBeNestedDeeply)
{
    constexpr int depth = 20'000;
    const auto nested = [](const std::string& name) {
        std::string text;
        for (int i = 0; i < depth; ++i)
            text += "<" + name + ">";
        for (int i = 0; i < depth; ++i)
            text += "</" + name + ">";
        return text;
    };
    ExpectUsable(nested("total"));
    ExpectUsable(nested("transfer"));
    ExpectUsable(nested("item"));
}

}  // namespace
