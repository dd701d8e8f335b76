#pragma once

#include <vector>

#include "plugin/HostInterfaces.h"

namespace netinfo {

/// The sibling plug-in that tells of the machine going to sleep and waking up.
///
/// Threads:   one host thread, on which the listeners are called.
/// Ownership: listeners are borrowed.
/// Errors:    an exception of a listener ends that call, nothing else.
class DeviceManager final : public IDeviceManager
{
public:
    /// False, changing nothing, for null and for a listener that is already in.
    bool AddDeviceEventListener(IDeviceMgrEvent* pListener) override;
    bool RemoveDeviceEventListener(IDeviceMgrEvent* pListener) override;

    /// Tells every listener that the machine slept: hibernation, then wake-up.
    void ReportSleep();

private:
    void Send(unsigned long event, int state);

    std::vector<IDeviceMgrEvent*> m_listeners;  ///< in registration order
};

}  // namespace netinfo
