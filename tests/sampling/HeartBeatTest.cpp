#include "sampling/HeartBeat.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/FakePlatform.h"
#include "tests/support/TestClock.h"

namespace {

using nettest::FakePlatform;
using nettest::TestClock;

constexpr std::time_t START = 1'700'000'000;

/// Counts its calls, and does in each what the test says.
struct Receiver : IHeartBeatNotify
{
    Receiver() = default;
    explicit Receiver(std::function<void()> action) : onCall(std::move(action)) {}

    void OnHeartBeat() override
    {
        ++calls;
        if (onCall) onCall();
    }

    std::atomic<int> calls{0};
    std::function<void()> onCall;
};

struct HeartBeat : testing::Test
{
    HeartBeat()
    {
        TestClock::Reset(START);
        FakePlatform::Reset();
    }

    /// Registers with a running thread and sees to it that `receiver` has been stamped.
    static void RegisterAndStamp(CHeartBeat& heartbeat, Receiver& receiver, unsigned long interval = 100)
    {
        ASSERT_TRUE(heartbeat.Register(&receiver, interval));
        ASSERT_TRUE(TestClock::Poll());
    }

    /// Whether `condition` comes true within ten seconds of real time.
    static bool Eventually(const std::function<bool()>& condition)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) return false;
            std::this_thread::yield();
        }
        return true;
    }
};

TEST(GetClock, GivesWholeSecondsOfTheWallClock)
{
    TestClock::Reset(START);
    TestClock::Advance(999'999);
    EXPECT_EQ(getclock(), START);
    TestClock::Advance(1);
    EXPECT_EQ(getclock(), START + 1);
}

TEST(GetClock, GivesMinusOneWhenTheClockCannotBeRead)
{
    TestClock::Reset(START);
    TestClock::FailGetTimeOfDay(true);
    EXPECT_EQ(getclock(), -1);
}

TEST_F(HeartBeat, DoesNotCallAReceiverInTheSecondThatStampsIt)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    ASSERT_TRUE(TestClock::Poll());

    EXPECT_EQ(receiver.calls, 0);
}

TEST_F(HeartBeat, CallsAReceiverOnTheFirstPassInALaterSecond)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    TestClock::Advance(999'999);
    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(receiver.calls, 0);

    TestClock::Advance(1);
    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(HeartBeat, CallsOnceForEachChangeOfTheSecondHoweverOftenItPolls)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    for (int poll = 0; poll < 3 * 20; ++poll) {  // three seconds of 50 ms polls
        TestClock::Advance(50'000);
        ASSERT_TRUE(TestClock::Poll());
    }

    EXPECT_EQ(receiver.calls, 3);
}

TEST_F(HeartBeat, CallsOnceForSeveralMissedSeconds)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    TestClock::AdvanceSeconds(60);
    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Poll());

    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(HeartBeat, KeepsTheSameCadenceForEveryInterval)
{
    for (const unsigned long interval : {1UL, 100UL, 5000UL}) {
        SCOPED_TRACE(interval);
        TestClock::Reset(START);
        Receiver receiver;
        CHeartBeat heartbeat;
        RegisterAndStamp(heartbeat, receiver, interval);

        for (int second = 1; second <= 6; ++second) {
            ASSERT_TRUE(TestClock::Beat());
            EXPECT_EQ(receiver.calls, second);
        }
    }
}

TEST_F(HeartBeat, RefusesAReceiverThatIsAlreadyInAndCallsItOncePerSecond)
{
    Receiver receiver;
    CHeartBeat heartbeat;

    EXPECT_TRUE(heartbeat.Register(&receiver, 100));
    EXPECT_FALSE(heartbeat.Register(&receiver, 100));

    ASSERT_TRUE(TestClock::Poll());
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(HeartBeat, CallsReceiversInTheOrderOfTheirRegistration)
{
    std::string order;
    Receiver c([&] { order += 'c'; });
    Receiver a([&] { order += 'a'; });
    Receiver b([&] { order += 'b'; });
    CHeartBeat heartbeat;
    for (Receiver* const receiver : {&b, &c, &a})
        heartbeat.Register(receiver, 100);
    ASSERT_TRUE(TestClock::Poll());

    ASSERT_TRUE(TestClock::Beat());

    EXPECT_EQ(order, "bca");
}

TEST_F(HeartBeat, StampsALaterReceiverByItself)
{
    Receiver early, late;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, early);
    TestClock::AdvanceSeconds(1);
    RegisterAndStamp(heartbeat, late);  // the pass that stamps it calls the other
    EXPECT_EQ(early.calls, 1);
    EXPECT_EQ(late.calls, 0);

    ASSERT_TRUE(TestClock::Beat());

    EXPECT_EQ(early.calls, 2);
    EXPECT_EQ(late.calls, 1);
}

TEST_F(HeartBeat, RestampsWhenTheClockWentBackAndCallsAtTheNextChange)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    TestClock::Set(START - 3600);
    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(receiver.calls, 0);

    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(HeartBeat, CallsNoOftenerAfterACallThatTookThreeSeconds)
{
    Receiver receiver([] { TestClock::AdvanceSeconds(3); });
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);
    ASSERT_TRUE(TestClock::Beat());
    ASSERT_EQ(receiver.calls, 1);
    receiver.onCall = nullptr;

    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(receiver.calls, 1);
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(receiver.calls, 2);
}

TEST_F(HeartBeat, TakesAnUnreadableClockForAnotherSecond)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    TestClock::FailGetTimeOfDay(true);
    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(receiver.calls, 1);
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(receiver.calls, 1);  // it stays the same second while it fails

    TestClock::FailGetTimeOfDay(false);
    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(receiver.calls, 1);  // readable again looks like a clock that went back
    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(receiver.calls, 2);
}

TEST_F(HeartBeat, SkipsTheRestOfThePassWhenAReceiverThrowsAndGoesOn)
{
    Receiver thrower([] { throw std::runtime_error("scripted"); });
    Receiver other;
    CHeartBeat heartbeat;
    heartbeat.Register(&thrower, 100);
    heartbeat.Register(&other, 100);
    ASSERT_TRUE(TestClock::Poll());

    ASSERT_TRUE(TestClock::Beat());
    EXPECT_EQ(thrower.calls, 1);
    EXPECT_EQ(other.calls, 0);

    ASSERT_TRUE(TestClock::Poll());  // it has not been stamped: it is called again with the next pass
    EXPECT_EQ(thrower.calls, 2);
    EXPECT_EQ(other.calls, 0);

    thrower.onCall = nullptr;
    ASSERT_TRUE(TestClock::Poll());
    EXPECT_EQ(thrower.calls, 3);
    EXPECT_EQ(other.calls, 1);
}

TEST_F(HeartBeat, NeverCallsADeregisteredReceiver)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    EXPECT_TRUE(heartbeat.Deregister(&receiver));
    ASSERT_TRUE(TestClock::Beat());

    EXPECT_EQ(receiver.calls, 0);
}

TEST_F(HeartBeat, DeregistersOnlyWhatIsRegistered)
{
    Receiver receiver, stranger;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);

    EXPECT_FALSE(heartbeat.Deregister(&stranger));
    EXPECT_TRUE(heartbeat.Deregister(&receiver));
    EXPECT_FALSE(heartbeat.Deregister(&receiver));
}

TEST_F(HeartBeat, RunsOnWithoutReceivers)
{
    Receiver receiver;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);
    heartbeat.Deregister(&receiver);
    ASSERT_TRUE(TestClock::Beat());

    RegisterAndStamp(heartbeat, receiver);
    ASSERT_TRUE(TestClock::Beat());

    EXPECT_EQ(receiver.calls, 1);
    EXPECT_EQ(FakePlatform::TraceCount("CHeartBeat::Thread() started"), 1);
}

TEST_F(HeartBeat, DeregistersOnlyAfterACallUnderWayHasEnded)
{
    std::promise<void> entered, leave;
    std::atomic<bool> ended{false};
    Receiver receiver([&] {
        entered.set_value();
        leave.get_future().wait();
        ended = true;
    });
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, receiver);
    auto beat = std::async(std::launch::async, [] { return TestClock::Beat(); });
    entered.get_future().wait();

    auto endedAtReturn = std::async(std::launch::async, [&] {
        heartbeat.Deregister(&receiver);
        return ended.load();
    });
    std::this_thread::yield();
    leave.set_value();

    EXPECT_TRUE(endedAtReturn.get());
    EXPECT_TRUE(beat.get());
}

TEST_F(HeartBeat, StartsItsThreadWithTheFirstReceiver)
{
    CHeartBeat heartbeat;
    EXPECT_TRUE(FakePlatform::Traces().empty());

    Receiver receiver;
    RegisterAndStamp(heartbeat, receiver);

    ASSERT_EQ(FakePlatform::Traces().size(), 1U);
    const auto trace = FakePlatform::Traces().front();
    EXPECT_EQ(trace.level, 4);
    EXPECT_EQ(trace.module, "NetInfoPlugin");
    EXPECT_EQ(trace.text, "CHeartBeat::Thread() started");
}

TEST_F(HeartBeat, EndsItsThreadBeforeItIsGone)
{
    Receiver receiver;
    {
        CHeartBeat heartbeat;
        RegisterAndStamp(heartbeat, receiver);
        FakePlatform::ClearTraces();
    }

    const auto traces = FakePlatform::Traces();
    ASSERT_EQ(traces.size(), 2U);
    EXPECT_EQ(traces[0].text, "CHeartBeat::Thread() stopped");
    EXPECT_EQ(traces[0].level, 4);
    EXPECT_EQ(traces[1].text, "CHeartBeat::~CHeartBeat()");
    EXPECT_EQ(traces[1].level, 4);
    EXPECT_EQ(TestClock::Now(), START);
}

TEST_F(HeartBeat, WaitsForNothingWhenItHasNeverStarted)
{
    TestClock::WaitingTakesTime(true);
    {
        const CHeartBeat heartbeat;
    }
    EXPECT_EQ(TestClock::Now(), START);
    EXPECT_EQ(FakePlatform::TraceCount("CHeartBeat::~CHeartBeat()"), 1);
}

TEST_F(HeartBeat, IsGivenUpAfterFiveSecondsAndLeavesNothingForItsThreadToTouch)
{
    std::promise<void> entered, leave;
    Receiver stuck([&] {
        entered.set_value();
        leave.get_future().wait();
    });
    auto doomed = std::make_unique<Receiver>();
    auto heartbeat = std::make_unique<CHeartBeat>();
    heartbeat->Register(&stuck, 100);
    heartbeat->Register(doomed.get(), 100);
    ASSERT_TRUE(TestClock::Poll());
    auto beat = std::async(std::launch::async, [] { return TestClock::Beat(); });
    entered.get_future().wait();
    TestClock::WaitingTakesTime(true);
    const std::time_t before = TestClock::Now();

    heartbeat.reset();
    doomed.reset();

    EXPECT_EQ(TestClock::Now() - before, 5);
    EXPECT_EQ(FakePlatform::TraceCount("CHeartBeat::~CHeartBeat()"), 1);
    EXPECT_EQ(FakePlatform::TraceCount("CHeartBeat::Thread() stopped"), 0);

    TestClock::RunFree(true);
    leave.set_value();  // the late call returns into freed memory, were there any to return into
    EXPECT_TRUE(Eventually([] { return FakePlatform::TraceCount("CHeartBeat::Thread() stopped") == 1; }));
    beat.wait();
}

TEST_F(HeartBeat, ServesReceiversThatComeAndGoOnManyThreads)
{
    Receiver permanent;
    CHeartBeat heartbeat;
    RegisterAndStamp(heartbeat, permanent);
    TestClock::RunFree(true);

    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                Receiver passing;
                EXPECT_TRUE(heartbeat.Register(&passing, 100));
                EXPECT_FALSE(heartbeat.Register(&permanent, 100));
                std::this_thread::yield();
                EXPECT_TRUE(heartbeat.Deregister(&passing));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_TRUE(Eventually([&] { return permanent.calls > 0; }));
}

}  // namespace
