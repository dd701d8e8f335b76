#include "sampling/HeartBeat.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <mutex>
#include <type_traits>
#include <utility>

#include "platform/trace/TraceSrv.h"
#include "sampling/PinModule.h"

namespace {

constexpr useconds_t POLL = 50'000;   // microseconds
constexpr std::time_t END_LIMIT = 5;  // seconds to wait for the end of the thread

void Trace(const char* pszText) { TraceSrv_Trace(4, "NetInfoPlugin", pszText); }

}  // namespace

int getclock()
{
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) return -1;
    return static_cast<int>(now.tv_sec);
}

/// All heartbeats there are, and the end of their threads with the process or the module.
class CHeartBeat::ALL
{
public:
    static void Add(CHeartBeat& heartbeat)
    {
        // Made after the static data of the library, so it goes before them.
        static const ALL s_end;
        const std::lock_guard lock(s_mutex);
        heartbeat.m_pNext = std::exchange(s_pFirst, &heartbeat);
    }

    static void Remove(CHeartBeat& heartbeat)
    {
        const std::lock_guard lock(s_mutex);
        CHeartBeat** ppLink = &s_pFirst;
        while (*ppLink != &heartbeat)
            ppLink = &(*ppLink)->m_pNext;
        *ppLink = heartbeat.m_pNext;
    }

    ALL(const ALL&) = delete;
    ALL& operator=(const ALL&) = delete;

private:
    ALL() = default;
    ~ALL()
    {
        if (getpid() != m_process) return;  // a forked child has the objects but not the threads
        const std::lock_guard lock(s_mutex);
        for (CHeartBeat* p = s_pFirst; p; p = p->m_pNext)
            p->EndThread();
    }

    const pid_t m_process = getpid();

    // Both stay usable to the very end: a host may tear the plug-in down from a static object of its own.
    static std::mutex s_mutex;
    static CHeartBeat* s_pFirst;
    static_assert(std::is_trivially_destructible_v<std::mutex>);
};

std::mutex CHeartBeat::ALL::s_mutex;
CHeartBeat* CHeartBeat::ALL::s_pFirst = nullptr;

CHeartBeat::CHeartBeat() : m_pState(std::make_shared<STATE>())
{
    m_pState->m_mtxReceiver.Init();
    ALL::Add(*this);
}

CHeartBeat::~CHeartBeat()
{
    ALL::Remove(*this);
    EndThread();
    if (IsRunning()) PinModule();  // the thread still has to come back through this code
    Trace("CHeartBeat::~CHeartBeat()");
}

/// Waits for the thread's end, too, but not for ever, nor for the calling thread.
void CHeartBeat::EndThread()
{
    m_pState->m_bStop = 1;
    if (m_pState->m_idThread == std::this_thread::get_id()) return;
    const std::time_t start = time(nullptr);
    while (IsRunning() && time(nullptr) - start < END_LIMIT)
        usleep(POLL);
}

bool CHeartBeat::Register(IHeartBeatNotify* p, unsigned long ulInterval)
{
    bool bAdded = false;
    {
        const JMutexLock lock(m_pState->m_mtxReceiver);
        auto& lstReceiver = m_pState->m_lstReceiver;
        bAdded = std::none_of(lstReceiver.begin(), lstReceiver.end(),
                              [p](const RECEIVER& receiver) { return receiver.pNotify == p; });
        if (bAdded) lstReceiver.push_back({p, static_cast<unsigned int>(ulInterval), 0});
    }
    if (!IsRunning()) Start();
    return bAdded;
}

bool CHeartBeat::Deregister(const IHeartBeatNotify* p)
{
    const JMutexLock lock(m_pState->m_mtxReceiver);
    auto& lstReceiver = m_pState->m_lstReceiver;
    const auto found = std::find_if(lstReceiver.begin(), lstReceiver.end(),
                                    [p](const RECEIVER& receiver) { return receiver.pNotify == p; });
    if (found == lstReceiver.end()) return false;
    lstReceiver.erase(found);
    return true;
}

int CHeartBeat::Thread()
{
    const std::shared_ptr<STATE> pState = m_pState;
    pState->m_idThread = std::this_thread::get_id();
    ThreadStarted();  // from here on the object may be gone
    Trace("CHeartBeat::Thread() started");
    while (!pState->m_bStop) {
        try {
            pState->CallReceivers();
        } catch (...) {  // that receiver's own trouble; the heartbeat goes on
        }
        usleep(POLL);
    }
    Trace("CHeartBeat::Thread() stopped");
    return 0;
}

void CHeartBeat::STATE::CallReceivers()
{
    const JMutexLock lock(m_mtxReceiver);
    for (RECEIVER& receiver : m_lstReceiver) {
        if (m_bStop) return;  // the object may have been given up on during the call before
        const auto ulClock = static_cast<unsigned int>(getclock());
        if (receiver.ulLastClock == 0 || receiver.ulLastClock > ulClock) {  // new, or the clock went back
            receiver.ulLastClock = ulClock;
            continue;
        }
        if (receiver.ulLastClock == ulClock) continue;

        receiver.pNotify->OnHeartBeat();
        // Read anew, so that a call that takes long is not made up for by a burst of calls.
        receiver.ulLastClock = static_cast<unsigned int>(getclock());
    }
}
