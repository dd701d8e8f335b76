// Any bytes as NetInfo.dat, and a day of connections over it.
//
// Input: the length of the operations of the day, the operations, and the file.

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "calendar/TimeMgr.h"
#include "fuzz/Input.h"
#include "store/DataDocument.h"
#include "store/DataFileNames.h"
#include "store/DataMgr.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"
#include "xml/MarkupSTL.h"

using namespace nettest;

namespace {

constexpr std::array TYPES{0, 1, 4};                         // dial-up, WiFi, ADSL
constexpr std::array COUNTED_TYPES{0, 1, 4, 7};              // and one that nobody knows
constexpr unsigned long long LARGEST = 9223372036854775807;  // what a number in the file counts at most

constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";

/// A record as the host reads it.
struct Listed
{
    std::string apn, start, end, time, uploaded, downloaded;
    bool operator==(const Listed&) const = default;
};

struct Figures
{
    unsigned long long uploaded = 0;
    unsigned long long downloaded = 0;
    unsigned long long connected = 0;
    bool operator==(const Figures&) const = default;
};

/// The totals of all types since the last reset, today and this year: those that no moved start day corrects.
using AllFigures = std::map<int, std::array<Figures, 3>>;

/// Whether every element of a data file takes and keeps an attribute, and stands where the store looks for
/// it. Tags that only a parser as lenient as ours takes for tags need not: `<since/' />` closes no quote.
bool IsRegular(const std::string& file)
{
    static const std::array periods{LABEL_TODAY, LABEL_SINCE, LABEL_THISWEEK, LABEL_THISMONTH,
                                    LABEL_THISYEAR};
    const auto takesAttributes = [](CMarkupSTL& doc) {
        for (const char* name :
             {ATTRIB_TIME, ATTRIB_UPLOADED, ATTRIB_DOWNLOADED, ATTRIB_TODAYTIME, ATTRIB_WEEKTIME,
              ATTRIB_MONTHTIME, ATTRIB_YEARTIME, ATTRIB_SINCETIME, ATTRIB_CONNECTEDTIME, ATTRIB_STARTTIME,
              ATTRIB_ENDTIME, ATTRIB_DEVICE, ATTRIB_APN, LABEL_TYPE}) {
            const std::string before = doc.GetAttrib(name);
            if (!doc.SetAttrib(name, "1") || doc.GetAttrib(name) != "1") return false;
            if (!doc.SetAttrib(name, before.c_str())) return false;
        }
        return doc.AddChildElem("e") && doc.RemoveChildElem();
    };

    if (!file.starts_with(BYTE_ORDER_MARK)) return false;  // its names are converted at the next start
    CMarkupSTL doc;
    if (!doc.SetDoc(file.c_str()) || !doc.FindElem(LABEL_MAIN)) return true;  // it is put aside
    if (!takesAttributes(doc)) return false;
    doc.IntoElem();
    doc.ResetMainPos();
    int lists = 0;
    int transfers = 0;
    while (doc.FindElem()) {
        if (!takesAttributes(doc)) return false;
        const std::string name = doc.GetTagName();
        if (name == LABEL_TOTAL) ++lists;
        const bool isTransfer = name == LABEL_STAT;
        if (isTransfer ? lists > 0 : name == LABEL_TOTAL && transfers == 0) return false;
        if (isTransfer) ++transfers;
        doc.IntoElem();
        doc.ResetMainPos();
        std::size_t period = 0;
        while (doc.FindElem()) {
            if (!takesAttributes(doc)) return false;
            for (std::size_t i = 0; isTransfer && i < periods.size(); ++i) {
                if (doc.GetTagName() != periods[i]) continue;
                if (i != period) return false;  // a missing one is added behind those that follow it
                period = i + 1;
            }
        }
        doc.OutOfElem();
    }
    return lists <= 1;
}

/// A store in a folder of its own, what it has to answer, and the file it began with.
class Day
{
public:
    Day(Input operations, std::string original) : m_input(operations), m_original(std::move(original))
    {
        constexpr std::time_t NEW_YEARS_EVE = 1'767'221'990;  // 23:59:50 in the zone of the tests
        constexpr std::array STARTS{NEW_YEARS_EVE, NEW_YEARS_EVE - 100 * 86400, std::time_t{1'774'745'000}};

        for (const auto& entry : std::filesystem::directory_iterator(Folder().Path()))
            std::filesystem::remove(entry.path());
        FakePlatform::Reset();
        FakePlatform::SetUserDataDirectory(Folder().Path() + "/");
        TestClock::Reset(STARTS[m_input.Below(STARTS.size())]);
        SetStartDays();
        WriteFile(Path(), m_original);
    }

    void Run()
    {
        constexpr int MOST_OPERATIONS = 24;
        m_store = std::make_unique<CDataMgr>();
        m_loaded = ReadFile(Path());
        OriginalIsKept();
        m_figures = Ask();
        for (int count = 0; count < MOST_OPERATIONS && !m_input.AtEnd(); ++count) {
            Step();
            CheckSince();
        }
        Restart();
        LoadedTwiceIsLoadedOnce();
        NothingElseInTheFolder();
    }

private:
    static const TempDir& Folder()
    {
        static const TempDir folder;
        return folder;
    }
    static std::string Path() { return Folder().File("NetInfo.dat"); }

    void SetStartDays()
    {
        FakePlatform::SetSetting("uselimit", "startweekdate",
                                 std::to_string(static_cast<int>(m_input.Number(1)) - 2));
        FakePlatform::SetSetting("uselimit", "startmonthdate",
                                 std::to_string(static_cast<signed char>(m_input.Byte())));
    }

    /// A claim about figures, which holds for every file whose elements are regular.
    void Claim(bool holds, const char* claim) const { Require(holds || !IsRegular(m_loaded), claim); }

    void OriginalIsKept() const
    {
        int kept = 0;
        for (const auto& entry : std::filesystem::directory_iterator(Folder().Path())) {
            if (!entry.path().filename().string().starts_with("NetInfo.dat.bad-")) continue;
            Require(ReadFile(entry.path()) == m_original, "a file that cannot be loaded is kept to the byte");
            ++kept;
        }
        CMarkupSTL doc;
        const bool isDocument = doc.SetDoc(m_original.c_str()) && doc.FindElem(LABEL_MAIN);
        if (isDocument && m_original.starts_with(BYTE_ORDER_MARK)) {
            Require(kept == 0 && m_loaded == m_original, "a good file is loaded and stays as it is");
        }
        Require(kept <= 1 && !m_loaded.empty(), "there is a data file from the start on");
    }

    static void NothingElseInTheFolder()
    {
        for (const auto& entry : std::filesystem::directory_iterator(Folder().Path())) {
            const std::string name = entry.path().filename();
            Require(name == "NetInfo.dat" || name.starts_with("NetInfo.dat.bad-"), "no stray files pile up");
        }
    }

    AllFigures Ask() const
    {
        AllFigures all;
        for (const int type : TYPES) {
            const auto figures = [&](auto get) {
                nis::REPORT report;
                (m_store.get()->*get)(report, type);
                return Figures{report.ullUploaded, report.ullDownloaded, report.ullTime};
            };
            using Get = void (CDataMgr::*)(nis::REPORT&, int) const;
            all[type] = {figures(static_cast<Get>(&CDataMgr::GetSinceData)),
                         figures(static_cast<Get>(&CDataMgr::GetTodayData)),
                         figures(static_cast<Get>(&CDataMgr::GetThisYearData))};
            figures(static_cast<Get>(&CDataMgr::GetThisWeekData));
            figures(static_cast<Get>(&CDataMgr::GetThisMonthData));
        }
        return all;
    }

    std::vector<Listed> List() const
    {
        std::vector<Listed> list;
        IConnRecord* const set = m_store->GetAllConnRecord();
        if (!set) return list;
        for (bool more = set->GetAllRecordCount() > 0 && set->MoveFirst(); more; more = set->MoveNext())
            list.push_back({set->GetAPN(), set->GetStartTime(), set->GetEndTime(), set->GetConnectTime(),
                            set->GetUploadData(), set->GetDownloadData()});
        Require(list.size() == static_cast<std::size_t>(set->GetAllRecordCount()),
                "a set counts its records");
        set->Release();
        return list;
    }

    void Step()
    {
        switch (m_input.Below(12)) {
            case 0:
                Connect();
                break;
            case 1:
                Remove();
                break;
            case 2:
                ResetType();
                break;
            case 3:
                ResetRecords();
                break;
            case 4:
                Restart();
                break;
            case 5:
                SetStartDays();
                break;
            case 6:
                MoveClock();
                break;
            case 7:
                m_store->SaveFile();
                break;
            default:
                TestClock::AdvanceSeconds(static_cast<long long>(m_input.Byte()));
                Update();
                break;
        }
    }

    void Connect()
    {
        const std::vector<Listed> before = List();
        const std::string apn = m_input.Text();
        m_store->StartNewConnect("eth0 \"<&>'", apn);

        const std::vector<Listed> after = List();
        const std::string now = std::to_string(TestClock::Now());
        Claim(after.size() == before.size() + 1 && after.back() == Listed{apn, now, now, "0", "0", "0"},
              "a connection has a record from its start on");
    }

    void Update()
    {
        std::vector<nis::SNAPSHOT> increments;
        const unsigned int which = m_input.Byte();
        for (std::size_t i = 0; i < COUNTED_TYPES.size(); ++i) {
            if (!(which >> i & 1U)) continue;
            nis::SNAPSHOT increment;
            increment.nDevice = COUNTED_TYPES[i];
            increment.ullUL = m_input.Number(which & 16U ? 4 : 1);
            increment.ullDL = m_input.Number(which & 32U ? 8 : 2);
            increments.push_back(increment);
        }
        std::vector<Listed> expected = List();
        if (!increments.empty() && !expected.empty()) {
            Listed& last = expected.back();
            const auto now = static_cast<unsigned long long>(TestClock::Now());
            const auto start = std::min(IsNumber(last.start) ? ToNumber(last.start) : now, now);
            last = {last.apn,
                    std::to_string(start),
                    std::to_string(now),
                    std::to_string(now - start),
                    std::to_string(ToNumber(last.uploaded) + increments[0].ullUL),
                    std::to_string(ToNumber(last.downloaded) + increments[0].ullDL)};
        }

        m_store->UpdateData(increments, false);

        Claim(List() == expected, "the last record, and no other, goes on with the first type's bytes");
        for (const nis::SNAPSHOT& increment : increments) {
            Figures& since = m_figures[increment.nDevice][0];
            since.uploaded = std::min(since.uploaded, LARGEST) + increment.ullUL;
            since.downloaded = std::min(since.downloaded, LARGEST) + increment.ullDL;
        }
    }

    void Remove()
    {
        m_store->SaveFile();
        CMarkupSTL file;
        Require(file.Load(Path().c_str()), "a saved file can be loaded");
        std::vector<Listed> expected = List();
        std::set<int, std::greater<>> marked;
        m_store->BeginRemoveRecord();
        for (unsigned int count = m_input.Below(5); count > 0; --count) {
            const int index = static_cast<int>(m_input.Byte()) - 2;
            m_store->RemoveRecord(index);
            marked.insert(index);
        }
        for (const int index : marked) {
            if (index < 0 || index >= static_cast<int>(expected.size())) continue;
            expected.erase(expected.begin() + index);
            EnterRecordList(file);
            for (int place = 0; place <= index; ++place)
                Require(file.FindElem(LABEL_ITEM), "every record that is listed is in the file");
            file.RemoveElem();
        }
        m_store->EndRemoveRecord();
        Require(ReadFile(Path()) == file.GetDoc(),
                "the marked records are taken out of the text, and nothing else");
        // A record whose last quote is missing is read on into the one behind it.
        Claim(List() == expected, "the marked records are removed, and no others");
    }

    void ResetType()
    {
        const std::vector<Listed> before = List();
        const int type = TYPES[m_input.Below(TYPES.size())];
        m_store->ResetTodayData(type);
        m_store->ResetSinceData(type);
        m_store->ResetThisWeekData(type);
        m_store->ResetThisMonthData(type);
        m_store->ResetThisYearData(type);
        m_figures[type][0] = {};
        Require(List() == before, "a reset of the periods leaves the records alone");
    }

    void ResetRecords()
    {
        const std::vector<Listed> before = List();
        m_store->ResetConnectRecord();
        const std::vector<Listed> after = List();
        Require(after.size() == std::min<std::size_t>(before.size(), 1),
                "one record at most outlives a reset");
        if (!after.empty()) Require(after[0].apn == before.back().apn, "and that is the last one");
    }

    void MoveClock()
    {
        static constexpr std::array<long long, 6> MOVES{86400,         -86400, 31 * 86400,
                                                        366 * 86400LL, 3600,   -7200};
        TestClock::AdvanceSeconds(MOVES[m_input.Below(MOVES.size())]);
        nis::REPORT report;
        m_store->GetSpecHistroryData(report, m_input.Number(6));
    }

    void Restart()
    {
        std::vector<Listed> expected = List();
        m_store.reset();
        m_store = std::make_unique<CDataMgr>();
        while (!expected.empty() &&
               std::strtoll(expected[0].end.c_str(), nullptr, 10) < CTimeMgr::GetBeforeNowTreeMonthlyTime())
            expected.erase(expected.begin());
        Claim(List() == expected, "a start drops the oldest records and no others");
        for (const int type : TYPES) {
            Figures& since = m_figures[type][0];
            since = {std::min(since.uploaded, LARGEST), std::min(since.downloaded, LARGEST), 0};
        }
        CheckSince();
        CheckHistory();
    }

    /// What a store that has just started says of the past, against what it lists.
    void CheckHistory()
    {
        const auto now = static_cast<unsigned long long>(TestClock::Now());
        const unsigned long long since = now - 40 * 86400;
        Figures expected;
        for (const Listed& record : List()) {
            const unsigned long long end = ToNumber(record.end);
            const bool today = CTimeMgr::SameDay(static_cast<long>(end), static_cast<long>(now));
            if (!today && (end < since || end > now)) continue;
            expected.uploaded += ToNumber(record.uploaded);
            expected.downloaded += ToNumber(record.downloaded);
            expected.connected += ToNumber(record.time);
        }
        nis::REPORT report;
        m_store->GetSpecHistroryData(report, since);
        Require(Figures{report.ullUploaded, report.ullDownloaded, report.ullTime} == expected,
                "the history is the sum of the records");
    }

    void CheckSince()
    {
        const AllFigures all = Ask();
        for (const int type : TYPES) {
            const Figures& since = all.at(type)[0];
            const Figures& expected = m_figures.at(type)[0];
            Claim(since.uploaded == expected.uploaded && since.downloaded == expected.downloaded,
                  "every byte counts once since the last reset");
        }
    }

    void LoadedTwiceIsLoadedOnce()
    {
        const AllFigures figures = Ask();
        const std::vector<Listed> list = List();
        m_store.reset();
        m_store = std::make_unique<CDataMgr>();
        Claim(Ask() == figures, "a saved file loads with the same figures");
        Claim(List() == list, "and the same records");
    }

    Input m_input;
    const std::string m_original;
    std::string m_loaded;  ///< the file after the first start
    std::unique_ptr<CDataMgr> m_store;
    AllFigures m_figures;  ///< what the store said at first, and of "since" what it has to say now
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool zoneIsSet = setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1) == 0;
    Require(zoneIsSet, "the zone can be set");

    Input input(data, size);
    const Input operations = input.Part(input.Byte() % 96);
    Day(operations, input.Rest()).Run();
    return 0;
}
