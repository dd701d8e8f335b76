#include "host/ConnectionManager.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace netinfo {
namespace {

const Device* FindDevice(const std::vector<Device>& devices, const Text16& name)
{
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const Device& device) { return device.name == name; });
    return found != devices.end() ? &*found : nullptr;
}

/// Where an iterator of the plug-in's kind stands: before the first entry, on one, or past the last.
class Position
{
public:
    explicit Position(std::size_t count) : m_count(count) {}

    bool First()
    {
        m_index = 0;
        return m_index < m_count;
    }
    bool Next()
    {
        if (m_index < m_count) ++m_index;
        return m_index < m_count;
    }
    bool OnEntry() const { return m_index < m_count; }
    std::size_t Index() const { return m_index; }

private:
    std::size_t m_count;
    std::size_t m_index = 0;
};

/// The devices of one moment; frees itself.
class DeviceEnumerator final : public IDeviceEnumerator
{
public:
    explicit DeviceEnumerator(std::vector<Device> devices)
        : m_devices(std::move(devices)), m_position(m_devices.size())
    {}

    void Release() override { delete this; }
    bool MoveFirst() override { return m_position.First(); }
    bool MoveNext() override { return m_position.Next(); }
    const unsigned short* GetDeviceName() override
    {
        return m_position.OnEntry() ? m_devices[m_position.Index()].name.c_str() : nullptr;
    }
    int GetConnectionType() override
    {
        return m_position.OnEntry() ? m_devices[m_position.Index()].type : -1;
    }
    /// None: the plug-in keeps the old name of a device whose hardware address it knows, and a link that came
    /// back is a new device.
    const unsigned short* GetMAC() override { return nullptr; }

private:
    ~DeviceEnumerator() = default;

    std::vector<Device> m_devices;
    Position m_position;
};

struct StatusEntry
{
    const Device* device;  ///< outlives the status
    bool connected;
};

/// One report; lives for the call only.
class ConnectStatus final : public INetConnectStatus
{
public:
    explicit ConnectStatus(std::vector<StatusEntry> entries)
        : m_entries(std::move(entries)), m_position(m_entries.size())
    {}

    bool MoveFirst() override { return m_position.First(); }
    bool MoveNext() override { return m_position.Next(); }
    const unsigned short* GetProfileName() override
    {
        return m_position.OnEntry() ? m_entries[m_position.Index()].device->profile.c_str() : nullptr;
    }
    const unsigned short* GetDeviceName() override
    {
        return m_position.OnEntry() ? m_entries[m_position.Index()].device->name.c_str() : nullptr;
    }
    int GetState() override
    {
        return m_position.OnEntry() && m_entries[m_position.Index()].connected ? 1 : 0;
    }

private:
    std::vector<StatusEntry> m_entries;
    Position m_position;
};

}  // namespace

IDeviceEnumerator* ConnectionManager::GetDeviceEnumerator()
{
    if (m_devices.empty()) return nullptr;
    return new DeviceEnumerator(m_devices);
}

bool ConnectionManager::AddConnectListener(INetConnectEvent* pListener)
{
    if (!pListener) return false;
    const auto same = [&](const Listener& listener) { return listener.event == pListener; };
    if (std::any_of(m_listeners.begin(), m_listeners.end(), same)) return false;
    m_listeners.push_back({pListener});
    return true;
}

bool ConnectionManager::RemoveConnectListener(INetConnectEvent* pListener)
{
    const auto same = [&](const Listener& listener) { return listener.event == pListener; };
    return std::erase_if(m_listeners, same) != 0;
}

bool ConnectionManager::Update(std::vector<Device> devices)
{
    // A listener keeps the type under which it first knew a device, so a device whose type has changed leaves
    // for the length of one report.
    std::vector<Device> unchanged;
    for (const Device& device : devices) {
        const Device* const before = FindDevice(m_devices, device.name);
        if (!before || before->type == device.type) unchanged.push_back(device);
    }
    bool reported = false;
    if (unchanged.size() != devices.size()) reported = TakeOver(std::move(unchanged));
    return TakeOver(std::move(devices)) || reported;
}

void ConnectionManager::ReportAgain()
{
    for (Listener& listener : m_listeners)
        listener.told.clear();
    TakeOver(m_devices);
}

bool ConnectionManager::TakeOver(std::vector<Device> devices)
{
    m_devices = std::move(devices);
    bool reported = false;
    for (std::size_t i = 0; i < m_listeners.size(); ++i) {
        if (m_listeners[i].told == m_devices) continue;
        ReportTo(m_listeners[i]);
        reported = true;
    }
    return reported;
}

void ConnectionManager::ReportTo(Listener& listener)
{
    const std::vector<Device> before = std::exchange(listener.told, m_devices);
    const std::vector<Device> now = m_devices;
    std::vector<StatusEntry> entries;
    entries.reserve(now.size() + before.size());
    for (const Device& device : now)
        entries.push_back({&device, true});
    for (const Device& device : before) {
        if (!FindDevice(now, device.name)) entries.push_back({&device, false});
    }

    ConnectStatus status(std::move(entries));
    try {
        listener.event->OnConnectState(&status);
    } catch (...) {  // the next report tells the listener everything again
        return;
    }
}

}  // namespace netinfo
