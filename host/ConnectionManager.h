#pragma once

#include <string>
#include <vector>

#include "host/Text16.h"
#include "plugin/HostInterfaces.h"

namespace netinfo {

/// A link as the plug-in's device: its traffic is counted as long as the connection manager lists it.
struct Device
{
    Text16 name;     ///< unique to one run of the link's counters
    Text16 profile;  ///< what people call the connection
    int type = -1;   ///< connection type code

    bool operator==(const Device& other) const = default;
};

/// The sibling plug-in that lists the counted links as devices and reports their coming and going.
///
/// Every listed device is connected: a link that goes down leaves the list.
///
/// Threads:   one host thread. Listeners are called on it, one report at a time, and may list the devices
/// from
///            inside a report.
/// Ownership: listeners are borrowed; an enumerator belongs to whoever asked for it.
/// Errors:    an exception of a listener ends that call, nothing else.
class ConnectionManager final : public IConnectionManager
{
public:
    /// The devices as they now stand; null: there are none.
    IDeviceEnumerator* GetDeviceEnumerator() override;
    /// False, changing nothing, for null and for a listener that is already in.
    bool AddConnectListener(INetConnectEvent* pListener) override;
    bool RemoveConnectListener(INetConnectEvent* pListener) override;

    /// Takes over the devices as the system has them now, and reports to every listener if they differ from
    /// what it was told last. True if there was something to report.
    bool Update(std::vector<Device> devices);

    /// Reports every device again, because listeners may have forgotten them.
    void ReportAgain();

private:
    struct Listener
    {
        INetConnectEvent* event;     ///< borrowed
        std::vector<Device> told{};  ///< what the last report to it said is connected
    };

    bool TakeOver(std::vector<Device> devices);
    void ReportTo(Listener& listener);

    std::vector<Device> m_devices;
    std::vector<Listener> m_listeners;  ///< in registration order
};

}  // namespace netinfo
