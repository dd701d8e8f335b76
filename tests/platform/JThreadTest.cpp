#include "platform/common/JThread.h"

#include <pthread.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

namespace {

/// A thread whose body is a function of the test; it announces itself first unless told otherwise.
class Worker : public JThread
{
public:
    using JThread::IsRunning;
    using JThread::Start;
    using JThread::ThreadStarted;

    explicit Worker(std::function<void()> body, bool announces = true)
        : m_body(std::move(body)), m_announces(announces)
    {}

    void WaitUntilEnded() const
    {
        while (IsRunning())
            std::this_thread::yield();
    }

private:
    int Thread() override
    {
        const std::function<void()> body = m_body;  // the object may go before the body ends
        if (m_announces) ThreadStarted();
        body();
        return 0;
    }

    std::function<void()> m_body;
    bool m_announces;
};

/// A door that a body waits at until the test opens it.
class Door
{
public:
    void Open() { m_open.set_value(); }
    void Wait() const { m_opened.wait(); }

private:
    std::promise<void> m_open;
    std::shared_future<void> m_opened = m_open.get_future().share();
};

TEST(JThread, RunsItsBodyOnAnotherThread)
{
    std::promise<std::thread::id> id;
    Worker worker([&] { id.set_value(std::this_thread::get_id()); });

    ASSERT_TRUE(worker.Start());

    EXPECT_NE(id.get_future().get(), std::this_thread::get_id());
    worker.WaitUntilEnded();
}

TEST(JThread, IsRunningUntilTheBodyHasReturned)
{
    Door door;
    Worker worker([&] { door.Wait(); });
    EXPECT_FALSE(worker.IsRunning());

    ASSERT_TRUE(worker.Start());
    EXPECT_TRUE(worker.IsRunning());

    door.Open();
    worker.WaitUntilEnded();
    EXPECT_FALSE(worker.IsRunning());
}

TEST(JThread, EveryStartWaitsForTheBodyToAnnounceItself)
{
    std::atomic<bool> announced{false};
    Worker* self = nullptr;
    Worker worker(
        [&] {
            for (int i = 0; i < 100; ++i)
                std::this_thread::yield();
            announced = true;
            self->ThreadStarted();
        },
        false);
    self = &worker;

    for (int i = 0; i < 20; ++i) {
        announced = false;
        ASSERT_TRUE(worker.Start());
        ASSERT_TRUE(announced);
        worker.WaitUntilEnded();
    }
}

TEST(JThread, StartReturnsWhenABodyEndsWithoutAnnouncingItself)
{
    bool ran = false;
    Worker worker([&] { ran = true; }, false);

    EXPECT_TRUE(worker.Start());

    EXPECT_TRUE(ran);
    EXPECT_FALSE(worker.IsRunning());
}

TEST(JThread, DoesNotStartTwiceAtATime)
{
    std::atomic<int> runs{0};
    Door door;
    Worker worker([&] {
        ++runs;
        door.Wait();
    });
    ASSERT_TRUE(worker.Start());

    EXPECT_FALSE(worker.Start());

    door.Open();
    worker.WaitUntilEnded();
    EXPECT_EQ(runs, 1);
}

TEST(JThread, StartsAgainAfterTheBodyHasEnded)
{
    std::atomic<int> runs{0};
    Worker worker([&] { ++runs; });
    for (int i = 1; i <= 20; ++i) {
        ASSERT_TRUE(worker.Start());
        worker.WaitUntilEnded();
        ASSERT_EQ(runs, i);
    }
}

TEST(JThread, MayOutliveItsObject)
{
    auto door = std::make_shared<Door>();
    auto ended = std::make_shared<std::promise<void>>();
    auto worker = std::make_unique<Worker>([door, ended] {
        door->Wait();
        ended->set_value();
    });
    ASSERT_TRUE(worker->Start());

    worker.reset();
    door->Open();

    ended->get_future().wait();
}

TEST(JThread, AnExceptionOfTheBodyEndsTheThreadOnly)
{
    Worker worker([] { throw std::runtime_error("from the body"); });

    EXPECT_TRUE(worker.Start());

    worker.WaitUntilEnded();
    EXPECT_TRUE(worker.Start()) << "it can be started again";
    worker.WaitUntilEnded();
}

TEST(JThread, CountsAsEndedWhenTheBodyLeavesByPthreadExit)
{
    Worker worker([] { pthread_exit(nullptr); });

    EXPECT_TRUE(worker.Start());

    worker.WaitUntilEnded();
}

TEST(JThread, BlocksTheSignalsOfTheHostButNoFaults)
{
    std::promise<sigset_t> promise;
    Worker worker([&] {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        promise.set_value(mask);
    });
    ASSERT_TRUE(worker.Start());
    const sigset_t mask = promise.get_future().get();
    worker.WaitUntilEnded();

    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGALRM, SIGUSR1, SIGRTMIN})
        EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        EXPECT_EQ(sigismember(&mask, fault), 0) << fault;
}

TEST(JThread, LeavesTheSignalMaskOfTheStarterAlone)
{
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    Worker worker([] {});

    ASSERT_TRUE(worker.Start());
    worker.WaitUntilEnded();

    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < NSIG; ++signal)
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
}

}  // namespace
