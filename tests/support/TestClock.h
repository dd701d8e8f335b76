#pragma once

#include <ctime>
#include <functional>

namespace nettest {

/// The clock of a test program: `time`, `gettimeofday`, `clock` and `usleep` read and spend it, in the
/// program and in every library it loads.
///
/// The thread that first touches the clock is the test's own; a plug-in's heartbeat thread is any other. A
/// sleep on the test's thread just moves the clock, with one exception: the 50 ms polls of a destructor that
/// waits for the heartbeat thread really wait a moment and take no time, unless `WaitingTakesTime(true)`.
/// A 50 ms poll on the heartbeat thread ends only when the test says so, with `Poll`; any other sleep there
/// moves the clock.
class TestClock
{
public:
    /// Back to `second`, with nothing slept and every switch off. Call it first in a test.
    static void Reset(std::time_t second);
    static void Set(std::time_t second);
    static void Advance(long long microseconds);
    static void AdvanceSeconds(long long seconds) { Advance(seconds * 1'000'000); }
    static std::time_t Now();
    /// How often `time`, `gettimeofday` and `clock` have been asked since the last `Reset`.
    static unsigned long long Reads();

    /// Microseconds spent in `usleep`, the 50 ms polls left out.
    static long long Slept();
    /// Makes `time` alone answer `second`, also one that is no date at all, until the next `Reset`.
    static void FreezeTime(std::time_t second);
    /// Makes `gettimeofday` fail.
    static void FailGetTimeOfDay(bool fail);
    static void WaitingTakesTime(bool takesTime);
    /// Keeps the heartbeat thread in its poll even while a destructor waits for it.
    static void HoldThread(bool hold);
    /// Is called at every sleep but the polls, on the thread that sleeps, with the microseconds.
    static void OnSleep(std::function<void(long long)> action);

    /// Waits until the heartbeat thread stands in its poll, so that nothing of its start is still to come.
    /// False if it does not arrive within ten seconds of real time.
    static bool AwaitPoll();
    /// Lets the heartbeat thread make exactly one pass over its receivers and waits until it is back in its
    /// poll. The first call also waits for the thread to arrive there. False if none arrives within ten
    /// seconds of real time.
    static bool Poll();
    /// Moves the clock one second on and polls.
    static bool Beat();
    /// Lets the heartbeat thread poll freely, with the clock moving 50 ms at each, or holds it again.
    static void RunFree(bool free);
    /// The same, with the clock moving a whole second at each poll, so that every poll is a beat.
    static void RunFast();
};

}  // namespace nettest
