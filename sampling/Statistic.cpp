#include "sampling/Statistic.h"

#include <algorithm>
#include <utility>

#include "calendar/TimeMgr.h"
#include "common/Utilities.h"
#include "device/DeviceMgr.h"
#include "platform/trace/TraceSrv.h"

namespace {

/// Whether any connection was up at the previous heartbeat; one state for the whole process.
std::atomic<int> s_bConnected{0};

void Trace(const char* pszText) { TraceSrv_Trace(2, "NetInfoPlugin", pszText); }

/// The first entry of `vec` with the name of `stWanted`; null if there is none.
const nis::SNAPSHOT* FindNamesake(const std::vector<nis::SNAPSHOT>& vec, const nis::SNAPSHOT& stWanted)
{
    const auto found = std::find_if(vec.begin(), vec.end(), [&stWanted](const nis::SNAPSHOT& st) {
        return st.strName == stWanted.strName;
    });
    return found == vec.end() ? nullptr : &*found;
}

/// Everything but the type and the name.
void CopyNumbers(const nis::SNAPSHOT& stFrom, nis::SNAPSHOT& stTo)
{
    stTo.ullDL = stFrom.ullDL;
    stTo.ullUL = stFrom.ullUL;
    stTo.ulDLSpeed = stFrom.ulDLSpeed;
    stTo.ulULSpeed = stFrom.ulULSpeed;
    stTo.ulMaxDLSpeed = stFrom.ulMaxDLSpeed;
    stTo.ulMaxULSpeed = stFrom.ulMaxULSpeed;
    stTo.ulConnectTime = stFrom.ulConnectTime;
    stTo.ulReserved = stFrom.ulReserved;
    stTo.clkTime = stFrom.clkTime;
}

}  // namespace

CStatistic::CStatistic(CDeviceMgr* pDevice) : m_pDevice(pDevice)
{
    m_mtxEvent.Init();
    m_mtxSnapShot.Init();
    s_bConnected = 0;  // no heartbeat of this engine has seen anything: its first one takes its own bases
    m_pHeartBeat = std::make_unique<CHeartBeat>();
    m_pHeartBeat->Register(this, 100);
}

CStatistic::~CStatistic()
{
    if (m_pHeartBeat) m_pHeartBeat->Deregister(this);
    m_pHeartBeat.reset();
    m_pDevice = nullptr;
}

void CStatistic::OnHeartBeat()
{
    if (!m_pDevice) {
        Trace("CStatistic::OnHeartBeat() m_pDevice!");
        return;
    }
    const int bNow = m_pDevice->HaveConnected() ? 1 : 0;
    if (s_bConnected == 0 && bNow == 0) return;

    m_idHeartBeat = std::this_thread::get_id();
    try {
        if (bNow != s_bConnected) OnConnectionChange(bNow);
    } catch (...) {
        Trace("CStatistic::OnHeartBeat() Exception No.1!");
    }
    try {
        if (s_bConnected == 0)
            NotifyAllGone();
        else
            Sample();
    } catch (...) {
        Trace("CStatistic::OnHeartBeat() Exception No.2!");
    }
    m_idHeartBeat = std::thread::id{};
}

void CStatistic::OnConnectionChange(int bNow)
{
    s_bConnected = bNow;
    {
        const JMutexLock lock(m_mtxSnapShot);
        m_vecSnapShot.clear();
    }
    if (bNow == 0) {
        m_nReserved = 0;
        m_DataMgr.SaveFile();
        return;
    }
    m_vecBase.clear();
    m_tmConnect = static_cast<int>(CTimeMgr::GetTime());
    m_pDevice->GetSnapShot(m_vecBase);
}

void CStatistic::Sample()
{
    const JMutexLock lock(m_mtxSnapShot);
    CSnapShotPool& pool = m_pDevice->SnapShotPool();
    pool.GiveBack(m_vecIncrement);  // of a heartbeat that ended half-way
    pool.GiveBack(m_vecOld);
    GetIncrement(m_vecIncrement);
    m_vecOld.swap(m_vecSnapShot);

    for (const nis::SNAPSHOT& stIncrement : m_vecIncrement) {
        AddTotal(stIncrement);
        NotifyChanged(stIncrement.nDevice);
    }
    for (const nis::SNAPSHOT& stOld : m_vecOld) {
        if (FindNamesake(m_vecIncrement, stOld)) continue;
        m_DataMgr.SaveFile();
        NotifyGone(stOld.nDevice);
    }
    m_DataMgr.UpdateData(m_vecIncrement, false);
    pool.GiveBack(m_vecIncrement);
    pool.GiveBack(m_vecOld);
}

void CStatistic::AddTotal(const nis::SNAPSHOT& stIncrement)
{
    nis::SNAPSHOT stTotal = m_pDevice->SnapShotPool().Copy(stIncrement);
    if (const nis::SNAPSHOT* const pOld = FindNamesake(m_vecOld, stIncrement)) {
        stTotal.ullDL += pOld->ullDL;
        stTotal.ullUL += pOld->ullUL;
        const long tmNow = CTimeMgr::GetTime();
        if (tmNow > m_tmConnect) stTotal.ulConnectTime = static_cast<unsigned int>(tmNow - m_tmConnect);
    } else {
        const auto strProfile = m_pDevice->GetProfileName({});
        m_DataMgr.StartNewConnect(MyWideCharToMultiByte(stIncrement.strName.c_str(), 0),
                                  MyWideCharToMultiByte(strProfile.c_str(), 65001));
    }
    m_vecSnapShot.push_back(std::move(stTotal));
}

// On the heartbeat thread the lock is either held already, by the heartbeat that is notifying, or not needed,
// as nobody else writes the totals.
void CStatistic::GetSnapShot(nis::SNAPSHOT& stSnapShot, int nDevice) NETINFO_NO_THREAD_SAFETY_ANALYSIS
{
    const bool bLock = !OnHeartBeatThread();
    if (bLock) m_mtxSnapShot.Lock();
    CopyNumbers(nis::SNAPSHOT{}, stSnapShot);
    for (const nis::SNAPSHOT& stTotal : m_vecSnapShot) {
        if (stTotal.nDevice == nDevice) CopyNumbers(stTotal, stSnapShot);
    }
    if (bLock) m_mtxSnapShot.Unlock();
    stSnapShot.nDevice = nDevice;
}

void CStatistic::GetTodayReport(nis::REPORT& report, int nDevice) { m_DataMgr.GetTodayData(report, nDevice); }
void CStatistic::GetSinceReport(nis::REPORT& report, int nDevice) { m_DataMgr.GetSinceData(report, nDevice); }
void CStatistic::GetThisWeekReport(nis::REPORT& report, int nDevice)
{
    m_DataMgr.GetThisWeekData(report, nDevice);
}
void CStatistic::GetThisMonthReport(nis::REPORT& report, int nDevice)
{
    m_DataMgr.GetThisMonthData(report, nDevice);
}
void CStatistic::GetThisYearReport(nis::REPORT& report, int nDevice)
{
    m_DataMgr.GetThisYearData(report, nDevice);
}
void CStatistic::GetSpecHistroryData(nis::REPORT& report, unsigned long long tmFrom)
{
    m_DataMgr.GetSpecHistroryData(report, tmFrom);
}
IConnRecord* CStatistic::GetAllConnRecord() { return m_DataMgr.GetAllConnRecord(); }
IConnRecord* CStatistic::GetLastConnRecord() { return m_DataMgr.GetLastConnRecord(); }
bool CStatistic::BeginRemoveRecord() { return m_DataMgr.BeginRemoveRecord(); }
bool CStatistic::RemoveRecord(int nIndex) { return m_DataMgr.RemoveRecord(nIndex); }
bool CStatistic::EndRemoveRecord() { return m_DataMgr.EndRemoveRecord(); }

void CStatistic::Reset(int nDevice)
{
    m_DataMgr.ResetTodayData(nDevice);
    m_DataMgr.ResetSinceData(nDevice);
    m_DataMgr.ResetThisWeekData(nDevice);
    m_DataMgr.ResetThisMonthData(nDevice);
    m_DataMgr.ResetThisYearData(nDevice);
    m_DataMgr.ResetConnectRecord();
    m_DataMgr.SaveFile();
}
