#include <ctime>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "calendar/TimeMgr.h"
#include "store/DataMgr.h"
#include "tests/store/StoreTest.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"

namespace {

using namespace nettest;

bool OnOneDay(long a, long b)
{
    std::tm dayA{};
    std::tm dayB{};
    localtime_r(&a, &dayA);
    localtime_r(&b, &dayB);
    return dayA.tm_year == dayB.tm_year && dayA.tm_yday == dayB.tm_yday;
}

bool InOneYear(long a, long b)
{
    std::tm dayA{};
    std::tm dayB{};
    localtime_r(&a, &dayA);
    localtime_r(&b, &dayB);
    return dayA.tm_year == dayB.tm_year;
}

struct Sums
{
    unsigned long long downloaded = 0;
    unsigned long long uploaded = 0;
    unsigned long long seconds = 0;

    void Add(const Listed& record)
    {
        downloaded += std::stoull(record.downloaded);
        uploaded += std::stoull(record.uploaded);
        seconds += std::stoull(record.time);
    }
};

struct Totals
{
    unsigned long long uploaded = 0;
    unsigned long long downloaded = 0;
    long mark = 0;  ///< a moment in the period they belong to
};

/// A store that is used at random, and beside it what it has to answer, kept in plain variables.
class RandomUse : public StoreTest
{
protected:
    void Start(unsigned seed)
    {
        m_random.seed(seed);
        m_store.emplace();
        for (const int type : {DIALUP, WIFI, ADSL})
            m_since[type] = {};
    }

    unsigned Pick(unsigned count) { return static_cast<unsigned>(m_random() % count); }

    void Step()
    {
        switch (Pick(16)) {
            case 0:
            case 1:
                Connect();
                break;
            case 2:
                Remove();
                break;
            case 3:
                Pick(4) ? ResetPeriods() : ResetRecords();
                break;
            case 4:
                Restart();
                break;
            case 5:
                MoveStartDays();
                break;
            case 6:
            case 7:
                MoveClock();
                break;
            case 8:
            case 9:
            case 10:
                QueryHistory();
                break;
            default:
                TestClock::AdvanceSeconds(static_cast<long long>(Pick(90)));
                Update();
                break;
        }
        CheckReports();
    }

private:
    std::vector<Listed> List() { return ReadAll(m_store->GetAllConnRecord()); }

    void Connect()
    {
        std::vector<Listed> expected = List();
        const std::string now = std::to_string(TestClock::Now());
        const std::string name = "apn " + std::to_string(m_connections++);
        expected.push_back({name, now, now, "0", "0", "0", "0", "0"});

        m_store->StartNewConnect("device", name);

        EXPECT_EQ(List(), expected);
    }

    void Update()
    {
        std::vector<nis::SNAPSHOT> increments;
        for (const int type : {DIALUP, WIFI, ADSL}) {
            if (Pick(2)) increments.push_back(Increment(type, Pick(5000), Pick(90000)));
        }
        std::vector<Listed> expected = List();
        const bool recorded = !increments.empty() && !expected.empty();
        if (recorded) {
            Listed& last = expected.back();
            const long now = TestClock::Now();
            const long start = std::min(std::stol(last.start), now);
            last.start = std::to_string(start);
            last.end = std::to_string(now);
            last.time = std::to_string(now - start);
            last.uploaded = std::to_string(std::stoull(last.uploaded) + increments[0].ullUL);
            last.downloaded = std::to_string(std::stoull(last.downloaded) + increments[0].ullDL);
        }

        m_store->UpdateData(increments, false);

        EXPECT_EQ(List(), expected);
        for (const nis::SNAPSHOT& increment : increments)
            Count(increment);
        if (recorded) MarkFirstType();
    }

    void Count(const nis::SNAPSHOT& increment)
    {
        const int type = increment.nDevice;
        const long now = TestClock::Now();
        if (!OnOneDay(m_today[type].mark, now)) m_today[type] = {0, 0, m_today[type].mark};
        if (!InOneYear(m_year[type].mark, now)) m_year[type] = {0, 0, m_year[type].mark};
        for (Totals* totals : {&m_since[type], &m_today[type], &m_year[type]}) {
            totals->uploaded += increment.ullUL;
            totals->downloaded += increment.ullDL;
        }
    }

    void MarkFirstType()
    {
        const long now = TestClock::Now();
        if (!OnOneDay(m_today[DIALUP].mark, now)) m_today[DIALUP].mark = now;
        if (!InOneYear(m_year[DIALUP].mark, now)) m_year[DIALUP].mark = now;
    }

    void Remove()
    {
        std::vector<Listed> left = List();
        std::set<int, std::greater<>> marked;
        m_store->BeginRemoveRecord();
        for (unsigned i = Pick(4); i > 0; --i) {
            const int index = static_cast<int>(Pick(static_cast<unsigned>(left.size()) + 2)) - 1;
            m_store->RemoveRecord(index);
            marked.insert(index);
        }
        for (const int index : marked) {
            if (index >= 0 && index < static_cast<int>(left.size())) left.erase(left.begin() + index);
        }

        m_store->EndRemoveRecord();

        EXPECT_EQ(List(), left);
    }

    void ResetPeriods()
    {
        const std::vector<Listed> before = List();
        const int type = std::vector<int>{DIALUP, WIFI, ADSL}[Pick(3)];
        m_store->ResetTodayData(type);
        m_store->ResetSinceData(type);
        m_store->ResetThisWeekData(type);
        m_store->ResetThisMonthData(type);
        m_store->ResetThisYearData(type);
        m_since[type] = {};
        m_today[type] = m_year[type] = {0, 0, TestClock::Now()};

        EXPECT_EQ(List(), before);
    }

    void ResetRecords()
    {
        std::vector<Listed> expected = List();
        if (!expected.empty()) {
            const std::string now = std::to_string(TestClock::Now());
            expected = {{expected.back().apn, now, now, "0", "0", "0", "0", "0"}};
        }

        m_store->ResetConnectRecord();

        EXPECT_EQ(List(), expected);
        m_cacheNow = 0;
    }

    void Restart()
    {
        std::vector<Listed> expected = List();
        m_store.reset();
        while (!expected.empty() && std::stol(expected.front().end) < CTimeMgr::GetBeforeNowTreeMonthlyTime())
            expected.erase(expected.begin());

        m_store.emplace();

        EXPECT_EQ(List(), expected);
        m_cacheNow = m_cacheSince = 0;
        m_cache = {};
        for (const int type : {DIALUP, WIFI, ADSL})
            Count(Increment(type, 0, 0));
    }

    void MoveStartDays()
    {
        FakePlatform::SetSetting("uselimit", "startweekdate", std::to_string(Pick(7)));
        FakePlatform::SetSetting("uselimit", "startmonthdate", std::to_string(Pick(31)));
    }

    void MoveClock()
    {
        constexpr long long DAY = 86400;
        switch (Pick(8)) {
            case 0:
                TestClock::AdvanceSeconds(-static_cast<long long>(Pick(2 * DAY)));
                break;
            case 1:
                TestClock::AdvanceSeconds(static_cast<long long>(Pick(40)) * DAY);
                break;
            default:
                TestClock::AdvanceSeconds(static_cast<long long>(Pick(DAY)));
                break;
        }
    }

    void QueryHistory()
    {
        const long now = TestClock::Now();
        const long since = now - static_cast<long>(Pick(20)) * 43200;
        if (!OnOneDay(m_cacheNow, now) || !OnOneDay(m_cacheSince, since)) {
            m_cacheNow = now;
            m_cacheSince = since;
            m_cache = {};
            for (const Listed& record : List()) {
                const long end = std::stol(record.end);
                if (since <= end && end <= now && !OnOneDay(end, now)) m_cache.Add(record);
            }
        }
        Sums expected = m_cache;
        for (const Listed& record : List()) {
            if (OnOneDay(std::stol(record.end), now)) expected.Add(record);
        }

        nis::REPORT report;
        m_store->GetSpecHistroryData(report, static_cast<unsigned long long>(since));

        EXPECT_EQ(Fields(report), ReportFields(0, expected.downloaded, expected.uploaded, expected.seconds,
                                               m_cacheSince, m_cacheSince));
    }

    void CheckReports()
    {
        for (const int type : {DIALUP, WIFI, ADSL}) {
            SCOPED_TRACE(type);
            nis::REPORT report;
            m_store->GetSinceData(report, type);
            EXPECT_EQ(report.ullUploaded, m_since[type].uploaded);
            EXPECT_EQ(report.ullDownloaded, m_since[type].downloaded);
            m_store->GetTodayData(report, type);
            EXPECT_EQ(report.ullUploaded, m_today[type].uploaded);
            EXPECT_EQ(report.ullDownloaded, m_today[type].downloaded);
            m_store->GetThisYearData(report, type);
            EXPECT_EQ(report.ullUploaded, m_year[type].uploaded);
            EXPECT_EQ(report.ullDownloaded, m_year[type].downloaded);
        }
    }

    std::mt19937 m_random;
    std::optional<CDataMgr> m_store;
    int m_connections = 0;
    std::map<int, Totals> m_since;
    std::map<int, Totals> m_today;
    std::map<int, Totals> m_year;
    long m_cacheNow = 0;
    long m_cacheSince = 0;
    Sums m_cache;  ///< of the days before m_cacheNow's
};

class AnySequenceOfUse : public RandomUse, public testing::WithParamInterface<unsigned>
{};

TEST_P(AnySequenceOfUse, GivesTheSumsOfWhatWasCountedAndIsListed)
{
    Start(GetParam());
    for (int step = 0; step < 400 && !HasFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        Step();
    }
}

INSTANTIATE_TEST_SUITE_P(Seed, AnySequenceOfUse, testing::Range(0U, 12U));

}  // namespace
