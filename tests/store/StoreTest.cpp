#include "tests/store/StoreTest.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <memory>
#include <ostream>
#include <stdexcept>

#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"
#include "tests/support/Text.h"

/// Tests do not wait for the disk.
extern "C" int fsync(int) { return 0; }

namespace nettest {
namespace {

struct ReleaseSet
{
    void operator()(IConnRecord* set) const { set->Release(); }
};

}  // namespace

long Moment(const std::string& localTime)
{
    std::tm local{};
    local.tm_isdst = -1;
    const char* const date = strptime(localTime.c_str(), "%Y-%m-%d", &local);
    if (!date) throw std::invalid_argument("no date: " + localTime);
    const char* const end = *date ? strptime(date, " %H:%M:%S", &local) : date;
    if (!end || *end) throw std::invalid_argument("no time: " + localTime);
    return std::mktime(&local);
}

std::string Elements(std::string_view elements)
{
    std::string text;
    std::size_t begin = 0;
    while (begin < elements.size()) {
        const std::size_t end = std::min(elements.find('\n', begin), elements.size());
        std::string_view line = elements.substr(begin, end - begin);
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        if (!line.empty()) text.append(line).append("\r\n");
        begin = end + 1;
    }
    for (std::size_t at = 0; (at = text.find('@', at)) != std::string::npos;) {
        const std::size_t end = text.find('@', at + 1);
        text.replace(at, end + 1 - at, std::to_string(Moment(text.substr(at + 1, end - at - 1))));
    }
    return text;
}

std::string DataFile(std::string_view elements)
{
    return "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<xml>\r\n" + Elements(elements) +
           "</xml>\r\n";
}

std::string Item(long start, long end, unsigned long long uploaded, unsigned long long downloaded)
{
    return R"(<item device="" apn="" starttime=")" + std::to_string(start) + R"(" endtime=")" +
           std::to_string(end) + R"(" time=")" + std::to_string(end - start) + R"(" uploaded=")" +
           std::to_string(uploaded) + R"(" downloaded=")" + std::to_string(downloaded) +
           R"(" unitprice="0" fee="0"/>)" + "\n";
}

nis::SNAPSHOT Increment(int nDevice, unsigned long long uploaded, unsigned long long downloaded)
{
    nis::SNAPSHOT increment;
    increment.nDevice = nDevice;
    increment.ullUL = uploaded;
    increment.ullDL = downloaded;
    return increment;
}

ReportFields Fields(const nis::REPORT& report)
{
    return {report.nDevice, report.ullDownloaded, report.ullUploaded,
            report.ullTime, report.tmStart,       report.tmEnd};
}

void PrintTo(const Listed& record, std::ostream* out)
{
    *out << "{apn " << record.apn << ", " << record.start << " to " << record.end << ", " << record.time
         << " s, up " << record.uploaded << ", down " << record.downloaded << ", price " << record.unitPrice
         << ", fee " << record.fee << "}";
}

std::vector<Listed> ReadAll(IConnRecord* set)
{
    const std::unique_ptr<IConnRecord, ReleaseSet> owned(set);
    std::vector<Listed> records;
    if (!owned) {
        ADD_FAILURE() << "there is no record list";
        return records;
    }
    for (bool more = set->MoveFirst(); more; more = set->MoveNext()) {
        records.push_back({set->GetAPN(), set->GetStartTime(), set->GetEndTime(), set->GetConnectTime(),
                           set->GetUploadData(), set->GetDownloadData(), set->GetUnitPrice(), set->GetFee()});
    }
    return records;
}

StoreTest::StoreTest()
{
    FakePlatform::Reset();
    FakePlatform::SetUserDataDirectory(m_dir.Path() + "/");
    TestClock::Reset(Moment("2026-03-18 15:00:00"));
}

std::string StoreTest::File() const { return ReadFile(Path()); }

std::string StoreTest::Saved(CDataMgr& store) const
{
    store.SaveFile();
    return File();
}

void StoreTest::GivenFile(std::string_view elements) const { WriteFile(Path(), DataFile(elements)); }

void StoreTest::GivenBytes(std::string_view content) const { WriteFile(Path(), content); }

std::vector<std::string> StoreTest::Files() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_dir.Path()))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

void StoreTest::At(const std::string& localTime) { TestClock::Set(Moment(localTime)); }

std::string EmptyType(const std::string& type, const std::string& since)
{
    return R"(
        <transfer type=")" +
           type + R"(">
        <today uploaded="0" downloaded="0" todaytime="0"/>
        <since time="@)" +
           since + R"(@" uploaded="0" downloaded="0"/>
        <this_week uploaded="0" downloaded="0" weektime="0"/>
        <this_month uploaded="0" downloaded="0" monthtime="0"/>
        <this_year uploaded="0" downloaded="0"/>
        </transfer>
        )";
}

std::string EmptyTypes(const std::string& since)
{
    return EmptyType("Dial-up", since) + EmptyType("WiFi", since) + EmptyType("ADSL", since);
}

}  // namespace nettest
