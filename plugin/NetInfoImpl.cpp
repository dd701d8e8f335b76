#include "plugin/NetInfoImpl.h"

#include "platform/trace/TraceSrv.h"
#include "plugin/NetInfoPlugin.h"
#include "sampling/Statistic.h"

namespace {

void Trace(const char* pszText) { TraceSrv_Trace(2, "NetInfoPlugin", pszText); }

}  // namespace

CNetInfoImpl::CNetInfoImpl(CDeviceMgr* pDeviceMgr, CStatistic* pStatistic)
    : m_pDeviceMgr(pDeviceMgr), m_pStatistic(pStatistic)
{
    m_mtxCallback.Init();
    if (m_pStatistic) m_pStatistic->RegisterCallbackEvent(this);
}

CNetInfoImpl::~CNetInfoImpl()
{
    if (m_pStatistic) m_pStatistic->DeregisterCallbackEvent(this);
    m_pStatistic = nullptr;
    m_pDeviceMgr = nullptr;
    if (CNetInfoPlugin::m_pNetInfoImpl == this) CNetInfoPlugin::m_pNetInfoImpl = nullptr;
}

void CNetInfoImpl::Release()
{
    try {
        delete this;
    } catch (...) {  // nothing leaves the plug-in
    }
}

int CNetInfoImpl::GetLastError() { return 0; }

void CNetInfoImpl::GetTodayReport(nis::REPORT& report, int nDevice)
{
    if (m_pStatistic) m_pStatistic->GetTodayReport(report, nDevice);
}

void CNetInfoImpl::GetSinceReport(nis::REPORT& report, int nDevice)
{
    if (m_pStatistic) m_pStatistic->GetSinceReport(report, nDevice);
}

void CNetInfoImpl::GetThisWeekReport(nis::REPORT& report, int nDevice)
{
    if (m_pStatistic) m_pStatistic->GetThisWeekReport(report, nDevice);
}

void CNetInfoImpl::GetThisMonthReport(nis::REPORT& report, int nDevice)
{
    if (m_pStatistic) m_pStatistic->GetThisMonthReport(report, nDevice);
}

void CNetInfoImpl::GetThisYearReport(nis::REPORT& report, int nDevice)
{
    if (m_pStatistic) m_pStatistic->GetThisYearReport(report, nDevice);
}

void CNetInfoImpl::GetSpecHistroryData(nis::REPORT& report, unsigned long long tmFrom)
{
    if (m_pStatistic) m_pStatistic->GetSpecHistroryData(report, tmFrom);
}

// Fixed answers: these belong to other kinds of plug-in.
void* CNetInfoImpl::CreateDailyReport(int) { return nullptr; }
void* CNetInfoImpl::CreateWeeklyReport(int) { return nullptr; }
void* CNetInfoImpl::CreateMonthlyReport(int) { return nullptr; }
void* CNetInfoImpl::CreateYearlyReport(int) { return nullptr; }
void* CNetInfoImpl::CreateDeviceList() { return nullptr; }
void* CNetInfoImpl::CreateDeviceInterface() { return nullptr; }
int CNetInfoImpl::UpdateDeviceList(const nis::IDevice*) { return 0; }
int CNetInfoImpl::GetRSSI(int) { return 0; }

int CNetInfoImpl::Reset(int nWhich)
{
    if (m_pStatistic) m_pStatistic->Reset(nWhich);
    return 0;
}

void CNetInfoImpl::GetSnapShot(nis::SNAPSHOT& snapshot, int nDevice)
{
    if (m_pStatistic) m_pStatistic->GetSnapShot(snapshot, nDevice);
}

bool CNetInfoImpl::RegisterCallbackEvent(INetInfoEvent* pEvent)
{
    return m_pStatistic && m_pStatistic->RegisterCallbackEvent(pEvent);
}

bool CNetInfoImpl::DeregisterCallbackEvent(INetInfoEvent* pEvent)
{
    return m_pStatistic && m_pStatistic->DeregisterCallbackEvent(pEvent);
}

bool CNetInfoImpl::RegisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*))
{
    try {
        const JMutexLock lock(m_mtxCallback);
        m_setCallback.insert(pFunction);
        return true;
    } catch (...) {
        Trace("CNetInfoImpl::RegisterCallbackFunc exception!");
        return false;
    }
}

bool CNetInfoImpl::UnregisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*))
{
    const JMutexLock lock(m_mtxCallback);
    m_setCallback.erase(pFunction);
    return true;
}

void CNetInfoImpl::OnDataChanged(bool bConnected, int nValue)
{
    const JMutexLock lock(m_mtxCallback);
    for (const auto pFunction : m_setCallback) {
        if (!pFunction) continue;
        NETINFO_CHANGE change{bConnected, nValue};
        try {
            pFunction(NETINFO_MESSAGE_CHANGE, &change);
        } catch (...) {
            Trace("CNetInfoImpl::OnDataChanged exception!");
        }
    }
}
