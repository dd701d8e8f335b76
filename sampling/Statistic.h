#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "platform/common/JMutex.h"
#include "platform/common/ThreadAnnotations.h"
#include "plugin/Interfaces.h"
#include "plugin/Records.h"
#include "sampling/HeartBeat.h"
#include "store/DataMgr.h"

class CDeviceMgr;

/// Turns the raw byte counters of the live connections into increments, speeds and running totals, once a
/// second; hands every increment to the store, opens a record for every new connection and tells the
/// listeners what changed.
///
/// Threads:   sampling and notifications run on the heartbeat thread, everything else on host threads, on
///            several at once if the host likes. Locks nest in this order: heartbeat receivers,
///            m_mtxSnapShot, m_mtxEvent; the locks of the store and of the device tracker are taken inside
///            their operations and never held while a listener is called.
/// Ownership: owns the heartbeat and the store; the device tracker and the listeners are borrowed. Once
///            `DeregisterCallbackEvent` has returned, that listener is never called again.
/// Units:     bytes, bytes per second, seconds.
/// Errors:    no exception leaves `OnHeartBeat`. A device tracker that is missing or cannot be read yields no
///            increments.
class CStatistic : public IHeartBeatNotify
{
public:
    /// Opens the store and starts sampling `pDevice`, which has to outlive the object; null: nothing is
    /// sampled. Throws when memory runs out. [host thread]
    explicit CStatistic(CDeviceMgr* pDevice);
    /// Waits for a heartbeat under way, stops sampling and saves. [host thread]
    ~CStatistic() override;
    CStatistic(const CStatistic&) = delete;
    CStatistic& operator=(const CStatistic&) = delete;

    /// One heartbeat: samples, accumulates, notifies. [heartbeat thread]
    void OnHeartBeat() override;

    /// Appends one increment for each raw sample that the device tracker gives now. Moves nothing on: the
    /// running totals become new ones only in `OnHeartBeat`. [heartbeat thread]
    void GetIncrement(std::vector<nis::SNAPSHOT>& vecIncrement);

    /// The running total of the live connection of type `nDevice`: sets `nDevice` and every number of
    /// `stSnapShot`, all 0 if there is none; leaves the name alone. Waits for a heartbeat under way, unless
    /// it is called from inside a notification. [any thread]
    void GetSnapShot(nis::SNAPSHOT& stSnapShot, int nDevice);

    /// Adds a listener; false if it was in already or memory ran out. [any thread]
    bool RegisterCallbackEvent(INetInfoEvent* p) NETINFO_EXCLUDES(m_mtxEvent);
    /// Removes a listener, waiting for the end of a call to it under way on another thread; false if it was
    /// not in. [any thread]
    bool DeregisterCallbackEvent(INetInfoEvent* p) NETINFO_EXCLUDES(m_mtxEvent);

    // The store's reports and records. [any thread]

    void GetTodayReport(nis::REPORT& report, int nDevice);
    void GetSinceReport(nis::REPORT& report, int nDevice);
    void GetThisWeekReport(nis::REPORT& report, int nDevice);
    void GetThisMonthReport(nis::REPORT& report, int nDevice);
    void GetThisYearReport(nis::REPORT& report, int nDevice);
    void GetSpecHistroryData(nis::REPORT& report, unsigned long long tmFrom);
    IConnRecord* GetAllConnRecord();
    IConnRecord* GetLastConnRecord();
    bool BeginRemoveRecord();
    bool RemoveRecord(int nIndex);
    bool EndRemoveRecord();

    /// Sets every period of type `nDevice` to zero, removes all connection records but the last, and saves. A
    /// heartbeat may run in between. [any thread]
    void Reset(int nDevice);

private:
    class LISTENER_CALL;

    // Increments.cpp

    const nis::SNAPSHOT* FindBase(const nis::SNAPSHOT& stNew, const std::vector<nis::SNAPSHOT>& vecNew);

    // Statistic.cpp

    void OnConnectionChange(int bNow) NETINFO_EXCLUDES(m_mtxSnapShot);
    void Sample() NETINFO_EXCLUDES(m_mtxSnapShot, m_mtxEvent);
    void AddTotal(const nis::SNAPSHOT& stIncrement) NETINFO_REQUIRES(m_mtxSnapShot);
    bool OnHeartBeatThread() const { return m_idHeartBeat == std::this_thread::get_id(); }

    // Listeners.cpp

    void Notify(INetInfoEvent* pEvent, bool bConnected, int nDevice) const;
    void NotifyChanged(int nDevice) NETINFO_EXCLUDES(m_mtxEvent);
    void NotifyGone(int nDevice) NETINFO_EXCLUDES(m_mtxEvent);
    void NotifyAllGone() NETINFO_EXCLUDES(m_mtxEvent);

    std::unique_ptr<CHeartBeat> m_pHeartBeat;
    CDeviceMgr* m_pDevice;  ///< borrowed; null: nothing is sampled
    CDataMgr m_DataMgr;
    std::set<INetInfoEvent*> m_setEvent NETINFO_GUARDED_BY(m_mtxEvent);  ///< borrowed
    JMutex m_mtxEvent;
    /// The running total of every live connection. Written on the heartbeat thread only, which therefore
    /// reads it without the lock.
    std::vector<nis::SNAPSHOT> m_vecSnapShot NETINFO_GUARDED_BY(m_mtxSnapShot);
    JMutex m_mtxSnapShot;
    int m_bMute = 0;  ///< listeners are called while it is 0; nothing sets it
    /// The raw counters as the current connection phase began. [heartbeat thread]
    std::vector<nis::SNAPSHOT> m_vecBase;
    // Kept from one heartbeat to the next for their memory alone. [heartbeat thread]
    std::vector<nis::SNAPSHOT> m_vecNew;        ///< raw samples
    std::vector<nis::SNAPSHOT> m_vecIncrement;  ///< what they grew by
    std::vector<nis::SNAPSHOT> m_vecOld;        ///< the totals of the heartbeat before
    std::vector<INetInfoEvent*> m_vecEvent;     ///< the listeners that are told of an increment
    int m_tmConnect = 0;  ///< when the current connection phase began, seconds since 1970. [heartbeat thread]
    int m_nReserved = 0;  ///< never read; kept for layout

    /// The listener that is being told of an increment, without the lock; null: none.
    INetInfoEvent* m_pCalled NETINFO_GUARDED_BY(m_mtxEvent) = nullptr;
    std::condition_variable_any m_cvCalled;        ///< m_pCalled has changed
    std::atomic<std::thread::id> m_idHeartBeat{};  ///< the thread inside OnHeartBeat; no thread: none is
};
