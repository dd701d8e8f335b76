#pragma once

#include <map>
#include <stdexcept>
#include <vector>

#include "plugin/Interfaces.h"

namespace nettest {

/// A traffic service with scripted figures, by connection type code.
class FakeTraffic final : public INetInfoService
{
public:
    using Callback = unsigned char (*)(unsigned int, void*);

    std::map<int, nis::SNAPSHOT> snapshots;
    std::map<int, nis::REPORT> since;
    std::vector<INetInfoEvent*> listeners;
    std::vector<Callback> callbacks;
    bool throwsOnDeregister = false;

    /// Notifies as the engine does.
    void Notify(bool connected, int type)
    {
        for (INetInfoEvent* const listener : listeners)
            listener->OnDataChanged(connected, type);
        NETINFO_CHANGE change{connected, type};
        for (const Callback callback : callbacks)
            callback(NETINFO_MESSAGE_CHANGE, &change);
    }

    void Release() override {}
    int GetLastError() override { return 0; }
    void GetTodayReport(nis::REPORT&, int) override {}
    void GetSinceReport(nis::REPORT& report, int nDevice) override
    {
        if (since.count(nDevice) != 0) report = since[nDevice];
    }
    void GetThisWeekReport(nis::REPORT&, int) override {}
    void GetThisMonthReport(nis::REPORT&, int) override {}
    void GetThisYearReport(nis::REPORT&, int) override {}
    void GetSpecHistroryData(nis::REPORT&, unsigned long long) override {}
    void* CreateDailyReport(int) override { return nullptr; }
    void* CreateWeeklyReport(int) override { return nullptr; }
    void* CreateMonthlyReport(int) override { return nullptr; }
    void* CreateYearlyReport(int) override { return nullptr; }
    int Reset(int) override { return 0; }
    void* CreateDeviceList() override { return nullptr; }
    void* CreateDeviceInterface() override { return nullptr; }
    int UpdateDeviceList(const nis::IDevice*) override { return 0; }
    int GetRSSI(int) override { return 0; }
    void GetSnapShot(nis::SNAPSHOT& snapshot, int nDevice) override
    {
        snapshot = snapshots.count(nDevice) != 0 ? snapshots[nDevice] : nis::SNAPSHOT{};
        snapshot.nDevice = nDevice;
    }
    bool RegisterCallbackEvent(INetInfoEvent* pEvent) override
    {
        listeners.push_back(pEvent);
        return true;
    }
    bool DeregisterCallbackEvent(INetInfoEvent* pEvent) override
    {
        if (throwsOnDeregister) throw std::runtime_error("scripted");
        return std::erase(listeners, pEvent) != 0;
    }
    bool RegisterCallbackFunc(Callback pFunction) override
    {
        callbacks.push_back(pFunction);
        return true;
    }
    bool UnregisterCallbackFunc(Callback pFunction) override
    {
        std::erase(callbacks, pFunction);
        return true;
    }
};

}  // namespace nettest
