#include <algorithm>
#include <memory>
#include <utility>

#include "common/Utilities.h"
#include "device/DeviceMgr.h"
#include "device/DeviceTrace.h"
#include "device/SiblingPlugins.h"
#include "plugin/NetInfoPlugin.h"

namespace {

using U16String = CDeviceMgr::U16String;
using DEVICE_INFO = CDeviceMgr::DEVICE_INFO;

struct ReleaseEnumerator
{
    void operator()(IDeviceEnumerator* pEnumerator) const
    {
        try {
            pEnumerator->Release();
        } catch (...) {
            TraceAnomaly("CDeviceMgr::GetAvailableDevices exception!");
        }
    }
};
using DeviceEnumerator = std::unique_ptr<IDeviceEnumerator, ReleaseEnumerator>;

bool Occurs(const U16String& strPart, const U16String& strText)
{
    return strText.find(strPart) != U16String::npos;
}

/// A packet scheduler shows the traffic of the adapter beneath it a second time, under the adapter's name.
bool NamesPacketScheduler(const U16String& strName)
{
    static const U16String strPacketScheduler = ToNimb_wchar(L"QoS Packet Scheduler");
    return Occurs(strPacketScheduler, strName);
}

/// The entry for the device on which the enumerator stands: the known one with its state, or a fresh one.
DEVICE_INFO Entry(const std::list<DEVICE_INFO>& lstKnown, const unsigned short* pszName,
                  IDeviceEnumerator& enumerator)
{
    const U16String strName(pszName);
    const unsigned short* const pszMac = enumerator.GetMAC();
    const U16String strMac = pszMac ? U16String(pszMac) : U16String();

    const auto known = std::find_if(lstKnown.begin(), lstKnown.end(), [&](const DEVICE_INFO& device) {
        return device.strDeviceName == strName || (!strMac.empty() && device.strMAC == strMac);
    });
    if (known != lstKnown.end()) return *known;

    DEVICE_INFO fresh;
    fresh.strDeviceName = strName;
    fresh.strMAC = strMac;
    fresh.nConnectionType = enumerator.GetConnectionType();
    return fresh;
}

}  // namespace

void CDeviceMgr::GetAvailableDevices(std::list<DEVICE_INFO>& devices) const
{
    try {
        IPluginContainer* const pContainer = CNetInfoPlugin::GetPluginContainer();
        if (!pContainer) return;
        IConnectionManager* const pConnectionManager = FindConnectionManager(*pContainer);
        if (!pConnectionManager) return;

        std::list<DEVICE_INFO> lstAvailable;
        const DeviceEnumerator pEnumerator(pConnectionManager->GetDeviceEnumerator());
        for (bool bDevice = pEnumerator && pEnumerator->MoveFirst(); bDevice;
             bDevice = pEnumerator->MoveNext()) {
            const unsigned short* const pszName = pEnumerator->GetDeviceName();
            if (pszName) lstAvailable.push_back(Entry(devices, pszName, *pEnumerator));
        }
        devices.swap(lstAvailable);
    } catch (...) {
        // The devices stay as they were: a manager that fails half-way must not disconnect the others.
        TraceAnomaly("CDeviceMgr::GetAvailableDevices exception!");
    }
}

bool CDeviceMgr::HaveConnected()
{
    try {
        const JMutexLock lock(m_mtxDevice);
        return std::any_of(m_lstDevice.begin(), m_lstDevice.end(),
                           [](const DEVICE_INFO& device) { return device.bConnected != 0; });
    } catch (...) {
        TraceAnomaly("CDeviceMgr::HaveConnected() exception!");
        return false;
    }
}

CDeviceMgr::U16String CDeviceMgr::GetProfileName(const U16String& deviceName)
{
    try {
        const JMutexLock lock(m_mtxDevice);
        const auto designated =
            std::find_if(m_lstDevice.begin(), m_lstDevice.end(), [&](const DEVICE_INFO& device) {
                return deviceName.empty() ? device.bSelected != 0 : Occurs(device.strDeviceName, deviceName);
            });
        if (designated == m_lstDevice.end()) return {};
        return designated->strProfileName;
    } catch (...) {
        TraceAnomaly("CDeviceMgr::GetProfileName() exception!");
        return {};
    }
}

bool CDeviceMgr::IsSelected(const U16String& name, int& type, U16String& deviceName)
{
    if (ContainCrashSoftKeyWord(name)) return false;
    {
        const JMutexLock lock(m_mtxDevice);
        const auto found =
            std::find_if(m_lstDevice.begin(), m_lstDevice.end(), [&](const DEVICE_INFO& device) {
                return device.bSelected != 0 && Occurs(device.strDeviceName, name);
            });
        if (found == m_lstDevice.end()) return false;
        type = found->nConnectionType;
        deviceName = found->strDeviceName;
    }
    return !NamesPacketScheduler(name);
}

bool CDeviceMgr::IsSelected(const char* name, int& type, U16String& deviceName)
{
    if (!name) return false;
    return IsSelected(MyMultiByteToWideChar(name, SYSTEM_CODE_PAGE), type, deviceName);
}

bool CDeviceMgr::IsMacSelected(const unsigned short* mac, int& type, U16String& deviceName)
{
    if (!mac) return false;
    const JMutexLock lock(m_mtxDevice);
    const auto found = std::find_if(m_lstDevice.begin(), m_lstDevice.end(), [&](const DEVICE_INFO& device) {
        return device.bSelected != 0 && device.strMAC == mac;
    });
    if (found == m_lstDevice.end()) return false;
    type = found->nConnectionType;
    deviceName = found->strDeviceName;
    return true;
}
