#pragma once

#include <set>

#include "platform/common/JMutex.h"
#include "platform/common/ThreadAnnotations.h"
#include "plugin/Interfaces.h"

class CDeviceMgr;
class CStatistic;

/// The net-info service: forwards to the engine, and passes the engine's notifications on to the callback
/// functions of the host, being a listener itself.
///
/// Threads:   any thread, several at once; `Release` and destruction are the container's alone. Callback
///            functions are called on the heartbeat thread with m_mtxCallback held, so one that registers or
///            unregisters a function from inside its call waits for itself.
/// Ownership: the engine is borrowed and has to outlive the object; the plug-in object owns it unless the
///            host ends it with `Release()`.
/// Errors:    without an engine every operation gives its neutral answer. An exception from a callback
///            function is traced and goes no further; the other functions are called all the same.
class CNetInfoImpl : public INetInfoService, public INetInfoEvent
{
public:
    /// Listens to `pStatistic`, unless it is null. [container's thread]
    CNetInfoImpl(CDeviceMgr* pDeviceMgr, CStatistic* pStatistic);
    /// Listens no longer; waits for a notification under way. [container's thread]
    ~CNetInfoImpl() override;
    CNetInfoImpl(const CNetInfoImpl&) = delete;
    CNetInfoImpl& operator=(const CNetInfoImpl&) = delete;

    void Release() override;
    int GetLastError() override;
    void GetTodayReport(nis::REPORT& report, int nDevice) override;
    void GetSinceReport(nis::REPORT& report, int nDevice) override;
    void GetThisWeekReport(nis::REPORT& report, int nDevice) override;
    void GetThisMonthReport(nis::REPORT& report, int nDevice) override;
    void GetThisYearReport(nis::REPORT& report, int nDevice) override;
    void GetSpecHistroryData(nis::REPORT& report, unsigned long long tmFrom) override;
    void* CreateDailyReport(int nDevice) override;
    void* CreateWeeklyReport(int nDevice) override;
    void* CreateMonthlyReport(int nDevice) override;
    void* CreateYearlyReport(int nDevice) override;
    int Reset(int nWhich) override;
    void* CreateDeviceList() override;
    void* CreateDeviceInterface() override;
    int UpdateDeviceList(const nis::IDevice* pDevice) override;
    int GetRSSI(int nDevice) override;
    void GetSnapShot(nis::SNAPSHOT& snapshot, int nDevice) override;
    bool RegisterCallbackEvent(INetInfoEvent* pEvent) override;
    bool DeregisterCallbackEvent(INetInfoEvent* pEvent) override;
    bool RegisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*))
        NETINFO_EXCLUDES(m_mtxCallback) override;
    bool UnregisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*))
        NETINFO_EXCLUDES(m_mtxCallback) override;

    /// Calls every callback function with `NETINFO_MESSAGE_CHANGE` and a `NETINFO_CHANGE`.
    /// [heartbeat thread]
    void OnDataChanged(bool bConnected, int nValue) NETINFO_EXCLUDES(m_mtxCallback) override;

private:
    CDeviceMgr* m_pDeviceMgr;  ///< borrowed; not used
    CStatistic* m_pStatistic;  ///< borrowed; null: no engine
    std::set<unsigned char (*)(unsigned int, void*)> m_setCallback NETINFO_GUARDED_BY(m_mtxCallback);
    JMutex m_mtxCallback;
};
