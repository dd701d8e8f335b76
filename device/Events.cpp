#include <algorithm>
#include <cstring>

#include "common/Utilities.h"
#include "device/DeviceMgr.h"
#include "device/DeviceTrace.h"
#include "device/SiblingPlugins.h"
#include "plugin/NetInfoPlugin.h"

namespace {

constexpr int STATE_DISCONNECTED = 0;
constexpr int STATE_CONNECTED = 1;
constexpr int POWER_HIBERNATE = 0;
constexpr int POWER_WAKE_UP = 1;

/// Makes one step of several: what it throws is traced, and the next one is made all the same.
template <typename Step>
void Guarded(const char* pszTrace, Step step)
{
    try {
        step();
    } catch (...) {
        TraceAnomaly(pszTrace);
    }
}

/// True if the status says of any connection that it is up or that it is down, not just something between.
bool TellsOfConnections(INetConnectStatus& status)
{
    for (bool bEntry = status.MoveFirst(); bEntry; bEntry = status.MoveNext()) {
        const int nState = status.GetState();
        if (nState == STATE_CONNECTED || nState == STATE_DISCONNECTED) return true;
    }
    return false;
}

void Connect(CDeviceMgr::DEVICE_INFO& device, INetConnectStatus& status)
{
    const unsigned short* const pszProfile = status.GetProfileName();
    device.strProfileName = pszProfile ? CDeviceMgr::U16String(pszProfile) : CDeviceMgr::U16String();
    device.bConnected = 1;
    device.bSelected = 1;
}

void Disconnect(CDeviceMgr::DEVICE_INFO& device)
{
    device.strProfileName.clear();
    device.bConnected = 0;
    device.bSelected = 0;
}

}  // namespace

std::atomic<bool> CDeviceMgr::s_bFirstEvent{true};

CDeviceMgr::CDeviceMgr()
{
    m_mtxDevice.Init();
    RegisterNetConnectEvent();  // may already bring the first event: everything it touches is in place
    GetFluxconflictSoft();
}

CDeviceMgr::~CDeviceMgr() { DeregisterNetConnectEvent(); }

void CDeviceMgr::RegisterNetConnectEvent()
{
    m_pContainer = CNetInfoPlugin::GetPluginContainer();
    if (!m_pContainer) return;

    constexpr const char* pszTrace = "CDeviceMgr::RegisterNetConnectEvent exception!";
    Guarded(pszTrace, [this] {
        if (IConnectionManager* const p = FindConnectionManager(*m_pContainer)) p->AddConnectListener(this);
    });
    Guarded(pszTrace, [this] {
        if (IDeviceManager* const p = FindDeviceManager(*m_pContainer)) p->AddDeviceEventListener(this);
    });
}

void CDeviceMgr::DeregisterNetConnectEvent()
{
    if (!m_pContainer) return;

    // Each apart: a listener that one sibling failed to remove is no reason to leave it with the other, which
    // would go on calling an object that is gone.
    constexpr const char* pszTrace = "CDeviceMgr::DeregisterNetConnectEvent exception!";
    Guarded(pszTrace, [this] {
        if (IConnectionManager* const p = FindConnectionManager(*m_pContainer))
            p->RemoveConnectListener(this);
    });
    Guarded(pszTrace, [this] {
        if (IDeviceManager* const p = FindDeviceManager(*m_pContainer)) p->RemoveDeviceEventListener(this);
    });
}

void CDeviceMgr::OnConnectState(INetConnectStatus* pStatus)
{
    try {
        if (!pStatus || !TellsOfConnections(*pStatus)) return;
        bool bEntry = pStatus->MoveFirst();

        const JMutexLock lock(m_mtxDevice);
        GetAvailableDevices(m_lstDevice);
        const bool bFirstEvent = s_bFirstEvent.exchange(false);
        for (; bEntry; bEntry = pStatus->MoveNext()) {
            if (bFirstEvent)
                x_TakeFirstState(*pStatus);
            else
                x_TakeState(*pStatus);
        }
    } catch (...) {
        TraceAnomaly("CDeviceMgr::OnConnectState() exception!");
    }
}

void CDeviceMgr::OnConnectMessage(const unsigned short*) {}

int CDeviceMgr::OnDeviceMgrEvent(unsigned long nEvent, void* pData)
{
    try {
        if (nEvent == EVENT_DEVICE_REJECT) x_OnDeviceReject();
        if (nEvent == EVENT_DEVICE_POWER_MANAGEMENT) x_OnPowerManagement(pData);
    } catch (...) {
        TraceAnomaly("CDeviceMgr::OnDeviceMgrEvent() exception!");
    }
    return 1;
}

void CDeviceMgr::x_TakeFirstState(INetConnectStatus& status)
{
    if (status.GetState() != STATE_CONNECTED) return;
    const unsigned short* const pszDeviceName = status.GetDeviceName();
    if (!pszDeviceName) {
        TraceAnomaly("pszDeviceName == 0");
        return;
    }
    const U16String strDeviceName(pszDeviceName);
    const std::string strNarrow = MyWideCharToMultiByte(strDeviceName.c_str(), SYSTEM_CODE_PAGE);
    const auto device = x_FindDevice(strDeviceName);
    if (device == m_lstDevice.end()) {
        TraceAnomaly("EqualToDeviceName() Failed! Device Name: " + strNarrow);
        return;
    }
    Connect(*device, status);
    TraceInformation("Device Name 11: " + strNarrow + " -> " + "Connected");
}

void CDeviceMgr::x_TakeState(INetConnectStatus& status)
{
    const unsigned short* const pszDeviceName = status.GetDeviceName();
    if (!pszDeviceName) {
        TraceAnomaly("pszDeviceName == 0");
        return;
    }
    const U16String strDeviceName(pszDeviceName);
    std::string strMessage =
        "Device Name 22: " + MyWideCharToMultiByte(strDeviceName.c_str(), SYSTEM_CODE_PAGE) + " -> ";
    auto device = x_FindDevice(strDeviceName);
    if (device == m_lstDevice.end()) {
        TraceAnomaly(strMessage + "not in available device list");
        return;
    }
    if (status.GetState() == STATE_CONNECTED) {
        Connect(*device, status);
        TraceInformation(strMessage + "Connected");
        return;
    }
    for (; device != m_lstDevice.end(); ++device) {
        if (device->strDeviceName == strDeviceName) {
            Disconnect(*device);
            strMessage += "Disconnected";
        }
        TraceInformation(strMessage);  // for every device passed: the trace shows how far the walk went
    }
}

void CDeviceMgr::x_OnDeviceReject()
{
    TraceInformation("Get Device Reject Event , Disconnect all 3G Connection");
    const JMutexLock lock(m_mtxDevice);
    for (DEVICE_INFO& device : m_lstDevice) {
        if (device.nConnectionType == TYPE_DIALUP) Disconnect(device);
    }
}

void CDeviceMgr::x_OnPowerManagement(const void* pData)
{
    TraceInformation("Get EVENT_DEVICE_POWER_MANAGEMENT form DeviceMgr");
    if (!pData) return;
    int nState = 0;
    std::memcpy(&nState, pData, sizeof nState);

    if (nState == POWER_WAKE_UP) TraceInformation("Statistic Come Into System Wake up");
    if (nState != POWER_HIBERNATE) return;
    TraceInformation("Statistic on HIBERNATION Set All the Device to Disconnect Status");
    const JMutexLock lock(m_mtxDevice);
    for (DEVICE_INFO& device : m_lstDevice)
        Disconnect(device);
}

std::list<CDeviceMgr::DEVICE_INFO>::iterator CDeviceMgr::x_FindDevice(const U16String& strDeviceName)
{
    return std::find_if(m_lstDevice.begin(), m_lstDevice.end(),
                        [&](const DEVICE_INFO& device) { return device.strDeviceName == strDeviceName; });
}
