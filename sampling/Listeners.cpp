#include <unistd.h>

#include "sampling/Statistic.h"

// Who hears of changes. An increment is told with m_mtxEvent released, so that a listener may register and
// deregister from inside its call; the end of a connection is told with the lock held.

namespace {

constexpr useconds_t PAUSE = 1'500'000;  // microseconds that the heartbeat rests after a connection has gone

/// A held `JMutex` as a condition variable releases and retakes it.
struct HELD_MUTEX
{
    JMutex& m_mtx;
    void lock() NETINFO_NO_THREAD_SAFETY_ANALYSIS { m_mtx.Lock(); }
    void unlock() NETINFO_NO_THREAD_SAFETY_ANALYSIS { m_mtx.Unlock(); }
};

}  // namespace

/// A call that is made without the lock, where a deregistration can see and await it. However the call ends,
/// it is over when this object is.
class CStatistic::LISTENER_CALL
{
public:
    LISTENER_CALL(CStatistic& statistic, INetInfoEvent* pEvent) : m_statistic(statistic)
    {
        const JMutexLock lock(m_statistic.m_mtxEvent);
        m_bRegistered = m_statistic.m_setEvent.count(pEvent) != 0;  // it may have left since the walk began
        if (m_bRegistered) m_statistic.m_pCalled = pEvent;
    }
    ~LISTENER_CALL()
    {
        const JMutexLock lock(m_statistic.m_mtxEvent);
        m_statistic.m_pCalled = nullptr;
        m_statistic.m_cvCalled.notify_all();
    }
    LISTENER_CALL(const LISTENER_CALL&) = delete;
    LISTENER_CALL& operator=(const LISTENER_CALL&) = delete;

    bool IsRegistered() const { return m_bRegistered; }

private:
    CStatistic& m_statistic;
    bool m_bRegistered;
};

bool CStatistic::RegisterCallbackEvent(INetInfoEvent* p)
{
    try {
        const JMutexLock lock(m_mtxEvent);
        return m_setEvent.insert(p).second;
    } catch (...) {
        return false;
    }
}

bool CStatistic::DeregisterCallbackEvent(INetInfoEvent* p)
{
    try {
        const JMutexLock lock(m_mtxEvent);
        const bool bRemoved = m_setEvent.erase(p) != 0;
        HELD_MUTEX held{m_mtxEvent};
        while (p && m_pCalled == p && !OnHeartBeatThread())
            m_cvCalled.wait(held);
        return bRemoved;
    } catch (...) {
        return false;
    }
}

void CStatistic::Notify(INetInfoEvent* pEvent, bool bConnected, int nDevice) const
{
    if (m_bMute == 0 && pEvent) pEvent->OnDataChanged(bConnected, nDevice);
}

void CStatistic::NotifyChanged(int nDevice)
{
    {
        const JMutexLock lock(m_mtxEvent);
        m_vecEvent.assign(m_setEvent.begin(), m_setEvent.end());
    }
    for (INetInfoEvent* const pEvent : m_vecEvent) {
        const LISTENER_CALL call(*this, pEvent);
        if (call.IsRegistered()) Notify(pEvent, true, nDevice);
    }
}

void CStatistic::NotifyGone(int nDevice)
{
    const JMutexLock lock(m_mtxEvent);
    for (INetInfoEvent* const pEvent : m_setEvent)
        Notify(pEvent, false, nDevice);
    usleep(PAUSE);  // gives the host time to take in the end of the connection; registrations wait, too
}

void CStatistic::NotifyAllGone()
{
    const JMutexLock lock(m_mtxEvent);
    for (INetInfoEvent* const pEvent : m_setEvent) {
        for (const int nDevice : {0, 1, 4})
            Notify(pEvent, false, nDevice);
    }
}
