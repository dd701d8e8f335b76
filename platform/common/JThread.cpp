#include "platform/common/JThread.h"

#include <cxxabi.h>
#include <pthread.h>

#include <condition_variable>
#include <csignal>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

/// What the object and its thread both hold on to; the last of them frees it.
struct JThread::State
{
    std::mutex mutex;
    std::condition_variable changed;
    bool running = false;  ///< from a successful Start until the body has returned
    bool started = false;  ///< the body said so; Start may return

    void Announce()
    {
        const std::lock_guard lock(mutex);
        started = true;
        changed.notify_all();
    }

    void Finish()
    {
        const std::lock_guard lock(mutex);
        running = false;
        changed.notify_all();
    }
};

namespace {

/// Blocks signals for the calling thread, and so for a thread that it makes meanwhile: the host's handlers
/// run on the host's threads. Faults stay open, for a blocked fault would bypass the host's crash handler.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
            sigdelset(&blocked, fault);
        pthread_sigmask(SIG_SETMASK, &blocked, &m_previous);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_previous{};
};

}  // namespace

JThread::JThread() : m_pState(std::make_shared<State>()) {}

JThread::~JThread() = default;

bool JThread::Start()
{
    const std::shared_ptr<State> state = m_pState;
    std::unique_lock lock(state->mutex);
    if (state->running) return false;

    try {
        const SignalsBlocked blocked;
        std::thread([this, state] {
            // However the body ends, the thread counts as running until here.
            const std::unique_ptr<State, void (*)(State*)> finish(state.get(), [](State* s) { s->Finish(); });
            try {
                Thread();
            } catch (abi::__forced_unwind&) {
                throw;  // pthread_exit and cancellation have to pass
            } catch (...) {
                // An exception of the body ends the thread, never the host.
            }
        }).detach();
    } catch (const std::exception&) {  // no thread, or no memory for one
        return false;
    }
    state->running = true;
    state->started = false;
    state->changed.wait(lock, [&] { return state->started || !state->running; });
    return true;
}

bool JThread::IsRunning() const
{
    const std::lock_guard lock(m_pState->mutex);
    return m_pState->running;
}

void JThread::ThreadStarted() { m_pState->Announce(); }
