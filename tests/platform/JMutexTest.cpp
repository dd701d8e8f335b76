#include "platform/common/JMutex.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

// What is tested here is locking itself, out of the sight of the compiler's own checks.
bool LockAndUnlock(JMutex& mutex) NETINFO_NO_THREAD_SAFETY_ANALYSIS { return mutex.Lock() && mutex.Unlock(); }
bool Unlock(JMutex& mutex) NETINFO_NO_THREAD_SAFETY_ANALYSIS { return mutex.Unlock(); }
bool Lock(JMutex& mutex) NETINFO_NO_THREAD_SAFETY_ANALYSIS { return mutex.Lock(); }

TEST(JMutex, DoesNothingBeforeItIsInitialised)
{
    JMutex mutex;

    EXPECT_FALSE(mutex.IsInitialized());
    EXPECT_FALSE(Lock(mutex));
    EXPECT_FALSE(Lock(mutex)) << "the first one must not have locked it";
    EXPECT_FALSE(Unlock(mutex));
}

TEST(JMutex, LocksOnceInitialised)
{
    JMutex mutex;

    EXPECT_TRUE(mutex.Init());

    EXPECT_TRUE(mutex.IsInitialized());
    EXPECT_TRUE(LockAndUnlock(mutex));
    EXPECT_TRUE(LockAndUnlock(mutex));
}

TEST(JMutex, StaysAsItIsWhenInitialisedAgain)
{
    JMutex mutex;
    mutex.Init();
    ASSERT_TRUE(Lock(mutex));

    EXPECT_TRUE(mutex.Init());

    bool released = false;
    bool enteredAfterRelease = false;
    std::thread other([&] {
        const JMutexLock lock(mutex);
        enteredAfterRelease = released;
    });
    std::this_thread::yield();
    released = true;
    EXPECT_TRUE(Unlock(mutex));
    other.join();
    EXPECT_TRUE(enteredAfterRelease);
}

TEST(JMutex, LetsOneThreadInAtATimeThoughAllInitialiseIt)
{
    constexpr int ROUNDS = 5000;
    JMutex mutex;
    long sum = 0;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < ROUNDS; ++i) {
                if (!mutex.IsInitialized()) mutex.Init();
                const JMutexLock lock(mutex);
                ++sum;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(sum, 4L * ROUNDS);
}

}  // namespace
