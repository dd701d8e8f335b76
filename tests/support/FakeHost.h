#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "plugin/HostInterfaces.h"
#include "tests/support/Text.h"

namespace nettest {

/// A device of the scripted connection manager. What is missing is reported as null.
struct FakeDevice
{
    std::optional<std::string> name{};
    int type = 0;  ///< 0 dial-up, 1 WiFi, 4 ADSL
    std::optional<std::string> mac{};
};

/// An entry of a connection status. What is missing is reported as null.
struct FakeConnection
{
    std::optional<std::string> device{};
    std::optional<std::string> profile{};
    int state = 1;  ///< 1 connected, 0 disconnected
};

/// Texts lent for as long as the interfaces promise and no longer: each belongs to the current entry and is
/// freed by the next move, so that the address sanitizer sees a late reader.
class LentTexts
{
public:
    const unsigned short* Lend(const std::optional<std::string>& text);
    void TakeBack() { m_texts.clear(); }

private:
    std::vector<std::unique_ptr<unsigned short[]>> m_texts;
};

/// A connection status of the given entries.
///
/// Threads: one at a time.
class FakeConnectStatus final : public INetConnectStatus
{
public:
    explicit FakeConnectStatus(std::vector<FakeConnection> entries) : m_entries(std::move(entries)) {}

    bool MoveFirst() override;
    bool MoveNext() override;
    const unsigned short* GetProfileName() override;
    const unsigned short* GetDeviceName() override;
    int GetState() override;

    /// Reading the profile name of entry `index` throws from now on.
    void ThrowAtProfileOf(std::size_t index) { m_throwAt = index; }
    /// Operations called so far.
    int Calls() const { return m_calls; }

private:
    std::vector<FakeConnection> m_entries;
    std::optional<std::size_t> m_throwAt;
    std::size_t m_current = 0;
    int m_calls = 0;
    LentTexts m_texts;
};

/// The calls to a sibling plug-in that can be made to throw.
enum class HostCall
{
    AddListener,
    RemoveListener,
    GetDeviceEnumerator,
    MoveFirst,
    MoveNext,
    GetDeviceName,
    GetConnectionType,
    GetMAC,
    Release,
};

/// A scripted connection manager: a list of devices, and deliveries to whoever has registered.
///
/// Threads: any. Deliveries are made one at a time, on the thread that asks for them; removing a listener
/// waits for the one under way. The devices may be changed while one is.
class FakeConnectionManager final : public IConnectionManager
{
public:
    void SetDevices(std::vector<FakeDevice> devices);
    void SetNoEnumerator(bool none);  ///< it hands out null
    /// A connection status to be delivered to each listener from inside its registration.
    void SetReportOnRegistration(std::vector<FakeConnection> entries);
    void ThrowOn(HostCall call, bool throws = true);

    /// Tells every listener about `entries`, each with a status of its own.
    void Report(const std::vector<FakeConnection>& entries);
    void Report(INetConnectStatus* pStatus);

    std::size_t Listeners() const;
    int Enumerations() const;           ///< enumerators asked for
    int UnreleasedEnumerators() const;  ///< handed out and not released yet

    IDeviceEnumerator* GetDeviceEnumerator() override;
    bool AddConnectListener(INetConnectEvent* pListener) override;
    bool RemoveConnectListener(INetConnectEvent* pListener) override;

private:
    class Enumerator;

    std::vector<INetConnectEvent*> ListenersNow() const;
    void ThrowIfScripted(HostCall call) const;

    std::mutex m_delivery;  ///< taken before m_mutex
    mutable std::mutex m_mutex;
    std::vector<FakeDevice> m_devices;
    bool m_noEnumerator = false;
    std::optional<std::vector<FakeConnection>> m_reportOnRegistration;
    std::set<HostCall> m_throwing;
    std::set<INetConnectEvent*> m_listeners;
    int m_enumerations = 0;
    int m_unreleased = 0;
};

/// A scripted device manager.
///
/// Threads: any, as with FakeConnectionManager.
class FakeDeviceManager final : public IDeviceManager
{
public:
    /// Tells every listener; the answers, in no particular order.
    std::vector<int> Fire(unsigned long event, void* data);
    /// Power management with that state: 0 hibernate, 1 wake up.
    void FirePower(int state);
    void ThrowOn(HostCall call, bool throws = true);
    std::size_t Listeners() const;

    bool AddDeviceEventListener(IDeviceMgrEvent* pListener) override;
    bool RemoveDeviceEventListener(IDeviceMgrEvent* pListener) override;

private:
    void ThrowIfScripted(HostCall call) const;

    std::mutex m_delivery;  ///< taken before m_mutex
    mutable std::mutex m_mutex;
    std::set<HostCall> m_throwing;
    std::set<IDeviceMgrEvent*> m_listeners;
};

/// A plug-in container that knows the two sibling plug-ins by class identifier and exact flags.
///
/// Threads: any. Ownership: the siblings are borrowed.
class FakeContainer final : public IPluginContainer
{
public:
    struct Query
    {
        std::string clsid;
        unsigned long flags;
        bool operator==(const Query&) const = default;
    };

    FakeContainer() = default;
    FakeContainer(IConnectionManager* pConnectionManager, IDeviceManager* pDeviceManager);

    void SetConnectionManager(IConnectionManager* pConnectionManager);  ///< null: not there
    void SetDeviceManager(IDeviceManager* pDeviceManager);              ///< null: not there
    void ThrowOnQuery(const std::string& clsid, bool throws = true);
    std::vector<Query> Queries() const;

    void* QueryPlugin(const char* pszCLSID, unsigned long ulFlags) override;

private:
    mutable std::mutex m_mutex;
    IConnectionManager* m_pConnectionManager = nullptr;
    IDeviceManager* m_pDeviceManager = nullptr;
    std::set<std::string> m_throwing;
    std::vector<Query> m_queries;
};

}  // namespace nettest
