// The smallest host that counts something: it loads the plug-in, declares one device connected, listens for
// some seconds and prints what the plug-in tells.
//
//     minimal-host /usr/lib/netinfo/NetInfoSrvPlugin.so /eth0/ 10
//
// Build it against the installed headers, with nothing of the plug-in linked:
//
//     c++ -std=c++17 -I/usr/include/netinfo MinimalHost.cpp -o minimal-host -ldl

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "plugin/HostInterfaces.h"
#include "plugin/Interfaces.h"

namespace {

using WideText = std::basic_string<unsigned short>;

constexpr int WIFI = 1;  // the type under which the device is counted, whatever it is

WideText Widen(const char* text)
{
    WideText result;
    for (; *text; ++text)
        result.push_back(static_cast<unsigned char>(*text));  // ASCII only, for brevity
    return result;
}

/// The one device, enumerated. Released by the plug-in, so it is made with `new`.
class Devices final : public IDeviceEnumerator
{
public:
    explicit Devices(const WideText& name) : m_name(name) {}
    void Release() override { delete this; }
    bool MoveFirst() override { return true; }
    bool MoveNext() override { return false; }
    const unsigned short* GetDeviceName() override { return m_name.c_str(); }
    int GetConnectionType() override { return WIFI; }
    const unsigned short* GetMAC() override { return nullptr; }

private:
    const WideText m_name;
};

/// The one connection, reported as up or down.
class Connection final : public INetConnectStatus
{
public:
    Connection(const WideText& name, int state) : m_name(name), m_state(state) {}
    bool MoveFirst() override { return true; }
    bool MoveNext() override { return false; }
    const unsigned short* GetProfileName() override { return m_name.c_str(); }
    const unsigned short* GetDeviceName() override { return m_name.c_str(); }
    int GetState() override { return m_state; }

private:
    const WideText m_name;
    const int m_state;
};

/// The sibling plug-in that knows the devices and says when they connect. Here all on one thread.
class ConnectionManager final : public IConnectionManager
{
public:
    explicit ConnectionManager(const char* name) : m_name(Widen(name)) {}
    IDeviceEnumerator* GetDeviceEnumerator() override { return new Devices(m_name); }
    bool AddConnectListener(INetConnectEvent* listener) override
    {
        m_listener = listener;
        return true;
    }
    bool RemoveConnectListener(INetConnectEvent*) override
    {
        m_listener = nullptr;
        return true;
    }
    void Report(int state)
    {
        Connection connection(m_name, state);
        if (m_listener) m_listener->OnConnectState(&connection);
    }

private:
    const WideText m_name;
    INetConnectEvent* m_listener = nullptr;
};

/// What the plug-in asks for its siblings. This host has no device manager.
class Container final : public IPluginContainer
{
public:
    explicit Container(ConnectionManager& connections) : m_connections(connections) {}
    void* QueryPlugin(const char* clsid, unsigned long) override
    {
        if (std::strcmp(clsid, CONNECTION_MANAGER_CLSID) != 0) return nullptr;
        return static_cast<IConnectionManager*>(&m_connections);
    }

private:
    ConnectionManager& m_connections;
};

/// Prints every change. Called on the plug-in's heartbeat thread.
class Printer final : public INetInfoEvent
{
public:
    explicit Printer(INetInfoService& service) : m_service(service) {}
    void OnDataChanged(bool connected, int type) override
    {
        if (!connected) return;
        nis::SNAPSHOT total;
        m_service.GetSnapShot(total, type);
        std::printf("received %llu (%u/s), sent %llu (%u/s)\n", total.ullDL, total.ulDLSpeed, total.ullUL,
                    total.ulULSpeed);
    }

private:
    INetInfoService& m_service;
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s MODULE DEVICE SECONDS\n", argv[0]);
        return 2;
    }
    void* const module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const auto create = reinterpret_cast<decltype(&CreatePlugin)>(dlsym(module, "CreatePlugin"));
    const auto release = reinterpret_cast<decltype(&ReleasePlugin)>(dlsym(module, "ReleasePlugin"));
    IBasePlugin* const plugin = create && release ? create() : nullptr;
    if (!plugin) {
        std::fprintf(stderr, "%s is no such plug-in\n", argv[1]);
        return 1;
    }
    std::printf("%s %x\n", plugin->GetPluginName(), static_cast<unsigned int>(plugin->GetVersion()));

    // 1. A container, then the engine. Both have to outlive OnDestroy.
    ConnectionManager connections(argv[2]);
    Container container(connections);
    plugin->SetPluginContainer(&container);
    plugin->Init();

    // 2. The service, and a listener.
    IBaseInterface* face = nullptr;
    if (plugin->QueryInterface(NETINFO_INTERFACE_SERVICE, &face)) {
        auto* const service = static_cast<INetInfoService*>(face);
        Printer printer(*service);
        service->RegisterCallbackEvent(&printer);

        // 3. Something to count.
        connections.Report(1);
        std::this_thread::sleep_for(std::chrono::seconds(std::atoi(argv[3])));
        connections.Report(0);

        service->DeregisterCallbackEvent(&printer);  // from here on it is not called any more
        nis::REPORT since;
        service->GetSinceReport(since, WIFI);
        std::printf("since the last reset: received %llu, sent %llu\n", since.ullDownloaded,
                    since.ullUploaded);
    }

    // 4. The end, in this order: stop and save, destroy, unload.
    plugin->OnDestroy();
    release();
    dlclose(module);
    return 0;
}
