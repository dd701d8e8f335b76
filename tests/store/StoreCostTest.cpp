#include <algorithm>
#include <memory>
#include <string>

#include "tests/store/StoreTest.h"
#include "tests/support/TestClock.h"

// What operations cost with few and with many records, in steps of the document: bytes and tags moved,
// elements passed. No time is measured.

namespace {

using namespace nettest;

constexpr int FEW = 1'000;
constexpr int MANY = 100'000;

using Steps = CMarkupSTL::Steps;

Steps operator-(const Steps& a, const Steps& b)
{
    return {a.bytesMoved - b.bytesMoved, a.tagsMoved - b.tagsMoved, a.elementsPassed - b.elementsPassed};
}

class StoreCost : public StoreTest
{
protected:
    /// A store with `count` records, the first `old` of which ended long ago when it is constructed.
    std::unique_ptr<CDataMgr> StoreWith(int count, int old = 0)
    {
        const long now = Moment("2026-03-18 15:00:00");
        std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<xml>\r\n";
        for (const char* type : {"Dial-up", "WiFi", "ADSL"})
            text += "<transfer type=\"" + std::string(type) + "\"/>\r\n";
        text += "<total>\r\n";
        for (int i = 0; i < count; ++i) {
            const long end = i < old ? 86'400 : now - (count - i) * 60L;
            text += "<item device=\"/eth0/1/\" apn=\"home\" starttime=\"" + std::to_string(end - 30) +
                    "\" endtime=\"" + std::to_string(end) +
                    "\" time=\"30\" uploaded=\"1000\" downloaded=\"20000\" unitprice=\"0\" fee=\"0\"/>\r\n";
        }
        GivenBytes("\xEF\xBB\xBF" + text + "</total>\r\n</xml>\r\n");
        At("2026-03-18 15:00:00");
        return std::make_unique<CDataMgr>();
    }

    /// What `work` costs at the worst of `times` times.
    template <typename Work>
    static Steps WorstCost(const CDataMgr& store, int times, Work work)
    {
        Steps worst;
        for (int i = 0; i < times; ++i) {
            const Steps before = store.GetSteps();
            work();
            const Steps cost = store.GetSteps() - before;
            worst.bytesMoved = std::max(worst.bytesMoved, cost.bytesMoved);
            worst.tagsMoved = std::max(worst.tagsMoved, cost.tagsMoved);
            worst.elementsPassed = std::max(worst.elementsPassed, cost.elementsPassed);
        }
        return worst;
    }

    static void ExpectAtMost(const Steps& steps, const Steps& limit)
    {
        EXPECT_LE(steps.bytesMoved, limit.bytesMoved);
        EXPECT_LE(steps.tagsMoved, limit.tagsMoved);
        EXPECT_LE(steps.elementsPassed, limit.elementsPassed);
    }
};

}  // namespace

TEST_F(StoreCost, OfAHeartbeatDoesNotGrowWithTheRecords)
{
    for (const int count : {FEW, MANY}) {
        SCOPED_TRACE(count);
        const auto store = StoreWith(count);
        const Steps cost = WorstCost(*store, 1'000, [&] {
            TestClock::AdvanceSeconds(1);
            store->UpdateData({Increment(ADSL, 12'345, 67'890)}, false);
        });
        ExpectAtMost(cost, {3'000, 60, 20});
    }
}

TEST_F(StoreCost, OfANewRecordDoesNotGrowWithTheRecords)
{
    for (const int count : {FEW, MANY}) {
        SCOPED_TRACE(count);
        const auto store = StoreWith(count);
        const Steps cost = WorstCost(*store, 500, [&] {
            TestClock::AdvanceSeconds(10);
            store->StartNewConnect("/eth0/1/", "home");
            store->UpdateData({Increment(ADSL, 1, 2)}, false);
        });
        ExpectAtMost(cost, {3'000, 60, 25});
    }
}

TEST_F(StoreCost, OfRemovingABatchIsThatOfOnePass)
{
    for (const int count : {FEW, MANY}) {
        SCOPED_TRACE(count);
        const auto store = StoreWith(count);
        store->BeginRemoveRecord();
        for (int index = 0; index < count; index += 2)
            store->RemoveRecord(index);

        const Steps cost = WorstCost(*store, 1, [&] { store->EndRemoveRecord(); });

        const auto kept = static_cast<unsigned long long>(count) / 2;
        ExpectAtMost(cost, {kept * 150 + 1'000, kept + 10, 20});
    }
}

TEST_F(StoreCost, OfDroppingOldRecordsIsNotThatOfThoseKept)
{
    for (const int count : {FEW, MANY}) {
        SCOPED_TRACE(count);
        const auto store = StoreWith(count, count / 2);
        ExpectAtMost(store->GetSteps(), {1'000, 30, 20});
    }
}

TEST_F(StoreCost, OfAResetOfTheRecordsIsThatOfTheOneKept)
{
    for (const int count : {FEW, MANY}) {
        SCOPED_TRACE(count);
        const auto store = StoreWith(count);
        ExpectAtMost(WorstCost(*store, 1, [&] { store->ResetConnectRecord(); }), {1'000, 30, 20});
    }
}

TEST_F(StoreCost, OfTheLastRecordDoesNotGrowWithTheRecords)
{
    for (const int count : {FEW, MANY}) {
        SCOPED_TRACE(count);
        const auto store = StoreWith(count);
        ExpectAtMost(WorstCost(*store, 1, [&] { store->GetLastConnRecord()->Release(); }), {0, 0, 20});
    }
}
