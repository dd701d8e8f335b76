#include "tests/support/TestClock.h"

#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace nettest {
namespace {

constexpr useconds_t POLL = 50'000;               // microseconds
constexpr auto LIMIT = std::chrono::seconds(10);  // of real time

struct State
{
    std::mutex mutex;
    std::condition_variable changed;
    std::thread::id testThread = std::this_thread::get_id();
    long long now = 1'000'000'000LL * 1'000'000;  // microseconds since 1970
    long long slept = 0;
    unsigned long long reads = 0;
    std::optional<std::time_t> frozenTime;
    bool failGetTimeOfDay = false;
    bool waitingTakesTime = false;
    bool holdThread = false;
    bool runFree = false;
    long long freeStep = POLL;  ///< microseconds that a poll takes while it runs free
    std::function<void(long long)> onSleep;
    unsigned long long arrived = 0;   // times the heartbeat thread has come to its poll
    unsigned long long released = 0;  // times it was let go again
};

State& TheState()
{
    static State* const state = new State;  // outlives every thread that may still sleep at exit
    return *state;
}

void Sleep(useconds_t microseconds)
{
    State& state = TheState();
    std::unique_lock lock(state.mutex);
    const bool testThread = std::this_thread::get_id() == state.testThread;

    if (microseconds != POLL) {
        if (const auto action = state.onSleep) {
            lock.unlock();
            action(microseconds);
            lock.lock();
        }
        state.now += microseconds;
        state.slept += microseconds;
        return;
    }
    if (testThread) {  // a destructor that waits for the heartbeat thread
        if (state.waitingTakesTime) state.now += microseconds;
        if (!state.holdThread) state.released = state.arrived;
        state.changed.notify_all();
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        return;
    }
    ++state.arrived;
    state.changed.notify_all();
    if (state.runFree) {
        state.now += state.freeStep;
        state.released = state.arrived;
        // On a busy machine, giving way at each beat would leave few beats a second.
        constexpr unsigned BEATS_WITHOUT_GIVING_WAY = 16;
        const bool givesWay = state.freeStep == POLL || state.arrived % BEATS_WITHOUT_GIVING_WAY == 0;
        lock.unlock();
        if (givesWay) std::this_thread::yield();
        return;
    }
    state.changed.wait(lock, [&] { return state.released >= state.arrived || state.runFree; });
    state.released = state.arrived;
}

}  // namespace

void TestClock::Reset(std::time_t second)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.testThread = std::this_thread::get_id();
    state.now = second * 1'000'000LL;
    state.slept = 0;
    state.reads = 0;
    state.frozenTime.reset();
    state.failGetTimeOfDay = false;
    state.waitingTakesTime = false;
    state.holdThread = false;
    state.runFree = false;
    state.freeStep = POLL;
    state.onSleep = nullptr;
    state.arrived = 0;
    state.released = 0;
}

void TestClock::Set(std::time_t second)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.now = second * 1'000'000LL;
}

void TestClock::Advance(long long microseconds)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.now += microseconds;
}

std::time_t TestClock::Now()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.now / 1'000'000;
}

unsigned long long TestClock::Reads()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.reads;
}

long long TestClock::Slept()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.slept;
}

void TestClock::FreezeTime(std::time_t second)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.frozenTime = second;
}

void TestClock::FailGetTimeOfDay(bool fail)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.failGetTimeOfDay = fail;
}

void TestClock::WaitingTakesTime(bool takesTime)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.waitingTakesTime = takesTime;
}

void TestClock::HoldThread(bool hold)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.holdThread = hold;
}

void TestClock::OnSleep(std::function<void(long long)> action)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.onSleep = std::move(action);
}

bool TestClock::AwaitPoll()
{
    State& state = TheState();
    std::unique_lock lock(state.mutex);
    return state.changed.wait_for(lock, LIMIT, [&] { return state.arrived > state.released; });
}

bool TestClock::Poll()
{
    if (!AwaitPoll()) return false;

    State& state = TheState();
    std::unique_lock lock(state.mutex);
    const auto passesBefore = state.arrived;
    state.released = state.arrived;
    state.changed.notify_all();
    return state.changed.wait_for(lock, LIMIT, [&] { return state.arrived > passesBefore; });
}

bool TestClock::Beat()
{
    AdvanceSeconds(1);
    return Poll();
}

void TestClock::RunFree(bool free)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.runFree = free;
    state.freeStep = POLL;
    state.changed.notify_all();
}

void TestClock::RunFast()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.runFree = true;
    state.freeStep = 1'000'000;
    state.changed.notify_all();
}

}  // namespace nettest

// The functions through which the plug-in reads and spends time.
extern "C" {

__attribute__((visibility("default"))) time_t time(time_t* result) noexcept
{
    nettest::State& state = nettest::TheState();
    const std::lock_guard lock(state.mutex);
    ++state.reads;
    const time_t now = state.frozenTime.value_or(state.now / 1'000'000);
    if (result) *result = now;
    return now;
}

__attribute__((visibility("default"))) int gettimeofday(struct timeval* result, void*) noexcept
{
    nettest::State& state = nettest::TheState();
    const std::lock_guard lock(state.mutex);
    ++state.reads;
    if (state.failGetTimeOfDay) return -1;
    result->tv_sec = state.now / 1'000'000;
    result->tv_usec = state.now % 1'000'000;
    return 0;
}

__attribute__((visibility("default"))) clock_t clock() noexcept
{
    nettest::State& state = nettest::TheState();
    const std::lock_guard lock(state.mutex);
    ++state.reads;
    return static_cast<clock_t>(state.now % 1'000'000'000);
}

__attribute__((visibility("default"))) int usleep(useconds_t microseconds)
{
    nettest::Sleep(microseconds);
    return 0;
}

}  // extern "C"
