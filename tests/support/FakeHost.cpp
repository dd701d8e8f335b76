#include "tests/support/FakeHost.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace nettest {
namespace {

[[noreturn]] void ThrowScripted() { throw std::runtime_error("scripted"); }

}  // namespace

const unsigned short* LentTexts::Lend(const std::optional<std::string>& text)
{
    if (!text) return nullptr;
    const U16String units = U16(*text);
    auto copy = std::make_unique<unsigned short[]>(units.size() + 1);
    std::copy(units.begin(), units.end(), copy.get());
    m_texts.push_back(std::move(copy));
    return m_texts.back().get();
}

bool FakeConnectStatus::MoveFirst()
{
    ++m_calls;
    m_texts.TakeBack();
    m_current = 0;
    return !m_entries.empty();
}

bool FakeConnectStatus::MoveNext()
{
    ++m_calls;
    m_texts.TakeBack();
    if (m_current < m_entries.size()) ++m_current;
    return m_current < m_entries.size();
}

const unsigned short* FakeConnectStatus::GetProfileName()
{
    ++m_calls;
    if (m_throwAt == m_current) ThrowScripted();
    return m_texts.Lend(m_entries.at(m_current).profile);
}

const unsigned short* FakeConnectStatus::GetDeviceName()
{
    ++m_calls;
    return m_texts.Lend(m_entries.at(m_current).device);
}

int FakeConnectStatus::GetState()
{
    ++m_calls;
    return m_entries.at(m_current).state;
}

class FakeConnectionManager::Enumerator final : public IDeviceEnumerator
{
public:
    Enumerator(FakeConnectionManager& manager, std::vector<FakeDevice> devices)
        : m_manager(manager), m_devices(std::move(devices))
    {}

    void Release() override
    {
        FakeConnectionManager& manager = m_manager;
        delete this;
        {
            const std::lock_guard lock(manager.m_mutex);
            --manager.m_unreleased;
        }
        manager.ThrowIfScripted(HostCall::Release);
    }

    bool MoveFirst() override
    {
        m_manager.ThrowIfScripted(HostCall::MoveFirst);
        m_texts.TakeBack();
        m_current = 0;
        return !m_devices.empty();
    }

    bool MoveNext() override
    {
        m_manager.ThrowIfScripted(HostCall::MoveNext);
        m_texts.TakeBack();
        if (m_current < m_devices.size()) ++m_current;
        return m_current < m_devices.size();
    }

    const unsigned short* GetDeviceName() override
    {
        m_manager.ThrowIfScripted(HostCall::GetDeviceName);
        return m_texts.Lend(m_devices.at(m_current).name);
    }

    int GetConnectionType() override
    {
        m_manager.ThrowIfScripted(HostCall::GetConnectionType);
        return m_devices.at(m_current).type;
    }

    const unsigned short* GetMAC() override
    {
        m_manager.ThrowIfScripted(HostCall::GetMAC);
        return m_texts.Lend(m_devices.at(m_current).mac);
    }

private:
    ~Enumerator() = default;

    FakeConnectionManager& m_manager;
    std::vector<FakeDevice> m_devices;
    std::size_t m_current = 0;
    LentTexts m_texts;
};

void FakeConnectionManager::SetDevices(std::vector<FakeDevice> devices)
{
    const std::lock_guard lock(m_mutex);
    m_devices = std::move(devices);
}

void FakeConnectionManager::SetNoEnumerator(bool none)
{
    const std::lock_guard lock(m_mutex);
    m_noEnumerator = none;
}

void FakeConnectionManager::SetReportOnRegistration(std::vector<FakeConnection> entries)
{
    const std::lock_guard lock(m_mutex);
    m_reportOnRegistration = std::move(entries);
}

void FakeConnectionManager::ThrowOn(HostCall call, bool throws)
{
    const std::lock_guard lock(m_mutex);
    if (throws)
        m_throwing.insert(call);
    else
        m_throwing.erase(call);
}

void FakeConnectionManager::Report(const std::vector<FakeConnection>& entries)
{
    const std::lock_guard delivery(m_delivery);
    for (INetConnectEvent* const listener : ListenersNow()) {
        FakeConnectStatus status(entries);
        listener->OnConnectState(&status);
    }
}

void FakeConnectionManager::Report(INetConnectStatus* pStatus)
{
    const std::lock_guard delivery(m_delivery);
    for (INetConnectEvent* const listener : ListenersNow())
        listener->OnConnectState(pStatus);
}

std::size_t FakeConnectionManager::Listeners() const
{
    const std::lock_guard lock(m_mutex);
    return m_listeners.size();
}

int FakeConnectionManager::Enumerations() const
{
    const std::lock_guard lock(m_mutex);
    return m_enumerations;
}

int FakeConnectionManager::UnreleasedEnumerators() const
{
    const std::lock_guard lock(m_mutex);
    return m_unreleased;
}

IDeviceEnumerator* FakeConnectionManager::GetDeviceEnumerator()
{
    ThrowIfScripted(HostCall::GetDeviceEnumerator);
    const std::lock_guard lock(m_mutex);
    ++m_enumerations;
    if (m_noEnumerator) return nullptr;
    auto* const enumerator = new Enumerator(*this, m_devices);
    ++m_unreleased;
    return enumerator;
}

bool FakeConnectionManager::AddConnectListener(INetConnectEvent* pListener)
{
    ThrowIfScripted(HostCall::AddListener);
    std::optional<std::vector<FakeConnection>> report;
    {
        const std::lock_guard lock(m_mutex);
        if (!m_listeners.insert(pListener).second) return false;
        report = m_reportOnRegistration;
    }
    if (!report) return true;

    const std::lock_guard delivery(m_delivery);
    FakeConnectStatus status(*report);
    pListener->OnConnectState(&status);
    return true;
}

bool FakeConnectionManager::RemoveConnectListener(INetConnectEvent* pListener)
{
    ThrowIfScripted(HostCall::RemoveListener);
    const std::lock_guard delivery(m_delivery);
    const std::lock_guard lock(m_mutex);
    return m_listeners.erase(pListener) == 1;
}

std::vector<INetConnectEvent*> FakeConnectionManager::ListenersNow() const
{
    const std::lock_guard lock(m_mutex);
    return {m_listeners.begin(), m_listeners.end()};
}

void FakeConnectionManager::ThrowIfScripted(HostCall call) const
{
    const std::lock_guard lock(m_mutex);
    if (m_throwing.contains(call)) ThrowScripted();
}

std::vector<int> FakeDeviceManager::Fire(unsigned long event, void* data)
{
    const std::lock_guard delivery(m_delivery);
    std::vector<IDeviceMgrEvent*> listeners;
    {
        const std::lock_guard lock(m_mutex);
        listeners.assign(m_listeners.begin(), m_listeners.end());
    }
    std::vector<int> answers;
    answers.reserve(listeners.size());
    for (IDeviceMgrEvent* const listener : listeners)
        answers.push_back(listener->OnDeviceMgrEvent(event, data));
    return answers;
}

void FakeDeviceManager::FirePower(int state) { Fire(EVENT_DEVICE_POWER_MANAGEMENT, &state); }

void FakeDeviceManager::ThrowOn(HostCall call, bool throws)
{
    const std::lock_guard lock(m_mutex);
    if (throws)
        m_throwing.insert(call);
    else
        m_throwing.erase(call);
}

std::size_t FakeDeviceManager::Listeners() const
{
    const std::lock_guard lock(m_mutex);
    return m_listeners.size();
}

bool FakeDeviceManager::AddDeviceEventListener(IDeviceMgrEvent* pListener)
{
    ThrowIfScripted(HostCall::AddListener);
    const std::lock_guard lock(m_mutex);
    return m_listeners.insert(pListener).second;
}

bool FakeDeviceManager::RemoveDeviceEventListener(IDeviceMgrEvent* pListener)
{
    ThrowIfScripted(HostCall::RemoveListener);
    const std::lock_guard delivery(m_delivery);
    const std::lock_guard lock(m_mutex);
    return m_listeners.erase(pListener) == 1;
}

void FakeDeviceManager::ThrowIfScripted(HostCall call) const
{
    const std::lock_guard lock(m_mutex);
    if (m_throwing.contains(call)) ThrowScripted();
}

FakeContainer::FakeContainer(IConnectionManager* pConnectionManager, IDeviceManager* pDeviceManager)
    : m_pConnectionManager(pConnectionManager), m_pDeviceManager(pDeviceManager)
{}

void FakeContainer::SetConnectionManager(IConnectionManager* pConnectionManager)
{
    const std::lock_guard lock(m_mutex);
    m_pConnectionManager = pConnectionManager;
}

void FakeContainer::SetDeviceManager(IDeviceManager* pDeviceManager)
{
    const std::lock_guard lock(m_mutex);
    m_pDeviceManager = pDeviceManager;
}

void FakeContainer::ThrowOnQuery(const std::string& clsid, bool throws)
{
    const std::lock_guard lock(m_mutex);
    if (throws)
        m_throwing.insert(clsid);
    else
        m_throwing.erase(clsid);
}

std::vector<FakeContainer::Query> FakeContainer::Queries() const
{
    const std::lock_guard lock(m_mutex);
    return m_queries;
}

void* FakeContainer::QueryPlugin(const char* pszCLSID, unsigned long ulFlags)
{
    const std::lock_guard lock(m_mutex);
    const std::string clsid = pszCLSID;
    m_queries.push_back({clsid, ulFlags});
    if (m_throwing.contains(clsid)) ThrowScripted();
    if (clsid == CONNECTION_MANAGER_CLSID && ulFlags == CONNECTION_MANAGER_FLAGS) return m_pConnectionManager;
    if (clsid == DEVICE_MANAGER_CLSID && ulFlags == DEVICE_MANAGER_FLAGS) return m_pDeviceManager;
    return nullptr;
}

}  // namespace nettest
