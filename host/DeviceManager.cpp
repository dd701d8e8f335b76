#include "host/DeviceManager.h"

#include <algorithm>

namespace netinfo {
namespace {

constexpr int HIBERNATE = 0;
constexpr int WAKE_UP = 1;

}  // namespace

bool DeviceManager::AddDeviceEventListener(IDeviceMgrEvent* pListener)
{
    if (!pListener) return false;
    if (std::find(m_listeners.begin(), m_listeners.end(), pListener) != m_listeners.end()) return false;
    m_listeners.push_back(pListener);
    return true;
}

bool DeviceManager::RemoveDeviceEventListener(IDeviceMgrEvent* pListener)
{
    return std::erase(m_listeners, pListener) != 0;
}

void DeviceManager::ReportSleep()
{
    Send(EVENT_DEVICE_POWER_MANAGEMENT, HIBERNATE);
    Send(EVENT_DEVICE_POWER_MANAGEMENT, WAKE_UP);
}

void DeviceManager::Send(unsigned long event, int state)
{
    const std::vector<IDeviceMgrEvent*> listeners = m_listeners;
    for (IDeviceMgrEvent* const listener : listeners) {
        try {
            listener->OnDeviceMgrEvent(event, &state);
        } catch (...) {  // the others still hear of it
            continue;
        }
    }
}

}  // namespace netinfo
