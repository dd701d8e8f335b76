#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <thread>

#include "platform/common/JMutex.h"
#include "platform/common/JThread.h"
#include "platform/common/ThreadAnnotations.h"
#include "plugin/Interfaces.h"

/// The sampling clock: whole seconds of the wall clock; -1 when it cannot be read. [any thread]
int getclock();

/// Calls every registered receiver once whenever the sampling clock's second changes, on a thread of its own.
///
/// Threads:   receivers are registered from host threads and heard on the heartbeat thread with m_mtxReceiver
///            held. A receiver must not register or deregister from inside its call: it would wait for
///            itself.
/// Ownership: receivers are borrowed. Once `Deregister` has returned, that receiver is never called again.
/// Units:     clock values are whole seconds; the clock is polled every 50 ms.
/// Errors:    an exception from a receiver ends that pass, never the thread. A clock that cannot be read
///            counts as a clock value like any other.
///
/// The thread shares its state with the object and touches nothing else of it, so that an object destroyed
/// under a receiver that hangs leaves nothing behind for that call to fall over when it comes back.
///
/// An object that nobody destroys ends its thread all the same before the process ends or the module is
/// unloaded, for the code and the static data that receivers use go then.
class CHeartBeat : private JThread
{
public:
    CHeartBeat();
    /// Ends the thread, waiting for it at most 5 seconds, and leaves it behind if it hangs for longer.
    ~CHeartBeat() override;

    /// Adds `p` and starts the thread on first use; false, changing nothing, if `p` is already in.
    /// `ulInterval` is kept but not used: every receiver hears once per clock second. [host thread]
    bool Register(IHeartBeatNotify* p, unsigned long ulInterval);
    /// Removes `p`, waiting for the end of a pass under way; false if it was not in. [host thread]
    bool Deregister(const IHeartBeatNotify* p);

private:
    class ALL;
    struct RECEIVER
    {
        IHeartBeatNotify* pNotify;  ///< borrowed
        unsigned int ulInterval;    ///< as given to Register, never read
        unsigned int ulLastClock;   ///< clock second of the last call; 0: not stamped yet
    };

    /// What the thread works on; freed by the last of the object and the thread.
    struct STATE
    {
        JMutex m_mtxReceiver;
        std::list<RECEIVER> m_lstReceiver NETINFO_GUARDED_BY(m_mtxReceiver);  ///< in registration order
        std::atomic<int> m_bStop{0};                ///< set to end the thread, which polls it
        std::atomic<std::thread::id> m_idThread{};  ///< the thread, once it runs

        void CallReceivers() NETINFO_EXCLUDES(m_mtxReceiver);
    };

    int Thread() override;
    void EndThread();

    const std::shared_ptr<STATE> m_pState;
    CHeartBeat* m_pNext = nullptr;  ///< in the list of all heartbeats
};
