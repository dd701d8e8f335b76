// A plug-in module with fixed figures for the tests of the host. The environment scripts it:
//   NETINFO_SCRIPT      words, separated by spaces, for what goes wrong ("throw-init", "no-records" ...)
//   NETINFO_SCRIPT_LOG  a file that gets a line for each call of the host

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "plugin/HostInterfaces.h"
#include "plugin/Interfaces.h"

namespace {

bool Scripted(std::string_view word)
{
    const char* const text = std::getenv("NETINFO_SCRIPT");
    const std::string words = std::string(" ") + (text ? text : "") + " ";
    return words.find(" " + std::string(word) + " ") != std::string::npos;
}

void Log(const std::string& line)
{
    const char* const path = std::getenv("NETINFO_SCRIPT_LOG");
    if (!path) return;
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::string text = line + "\n";
    if (write(file, text.data(), text.size()) < 0) std::abort();
    close(file);
}

/// Notes the call and, if the script says so, throws.
void Enter(const std::string& call)
{
    Log(call);
    if (Scripted("throw-" + call)) throw std::runtime_error("scripted\nby the test");
    if (Scripted("throw-odd-" + call)) throw 42;
}

/// Puts a new file into the data directory, as a save does.
void SaveInto(const std::string& name)
{
    const char* const directory = std::getenv("NETINFO_DATA_DIR");
    if (!directory) return;
    const std::string path = std::string(directory) + "/" + name;
    const int file = open((path + ".new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    close(file);
    if (std::rename((path + ".new").c_str(), path.c_str()) != 0) std::abort();
}

std::string Narrow(const unsigned short* text)
{
    std::string result;
    for (; text && *text != 0; ++text)
        result += static_cast<char>(*text);
    return result;
}

struct Listener : INetConnectEvent, IDeviceMgrEvent
{
    virtual ~Listener() = default;
    void OnConnectState(INetConnectStatus* status) override
    {
        for (bool more = status->MoveFirst(); more; more = status->MoveNext())
            Log("state " + Narrow(status->GetDeviceName()) + " " + std::to_string(status->GetState()));
    }
    void OnConnectMessage(const unsigned short*) override {}
    int OnDeviceMgrEvent(unsigned long, void*) override { return 1; }
};

/// Figures that tell type and period apart: 1024 * (10 * type + period).
nis::REPORT Figures(int type, unsigned period)
{
    nis::REPORT report;
    report.nDevice = type;
    report.ullDownloaded = 1024ULL * (10ULL * static_cast<unsigned>(type) + period);
    report.ullUploaded = report.ullDownloaded / 2;
    report.ullTime = 60ULL * period;
    report.tmStart = 1'714'514'400;  // 2024-05-01 00:00 in the zone of the tests
    report.tmEnd = report.tmStart;
    return report;
}

class Traffic final : public INetInfoService
{
public:
    ~Traffic() override
    {
        m_ending = true;
        if (m_heartbeat.joinable()) m_heartbeat.join();
    }

    void Release() override {}
    int GetLastError() override { return 0; }
    void GetTodayReport(nis::REPORT& report, int type) override { report = Figures(type, 1); }
    void GetThisWeekReport(nis::REPORT& report, int type) override { report = Figures(type, 2); }
    void GetThisMonthReport(nis::REPORT& report, int type) override { report = Figures(type, 3); }
    void GetThisYearReport(nis::REPORT& report, int type) override { report = Figures(type, 4); }
    void GetSinceReport(nis::REPORT& report, int type) override
    {
        Enter("since");
        if (++m_sinceReports == 7 && Scripted("throw-third-since")) throw std::runtime_error("scripted");
        report = Figures(type, 5);
    }
    void GetSpecHistroryData(nis::REPORT& report, unsigned long long from) override
    {
        Log("history " + std::to_string(from));
        report = Figures(0, 6);
        report.tmStart = report.tmEnd = static_cast<int>(from);
    }
    void* CreateDailyReport(int) override { return nullptr; }
    void* CreateWeeklyReport(int) override { return nullptr; }
    void* CreateMonthlyReport(int) override { return nullptr; }
    void* CreateYearlyReport(int) override { return nullptr; }
    int Reset(int which) override
    {
        Log("reset " + std::to_string(which));
        return 0;
    }
    void* CreateDeviceList() override { return nullptr; }
    void* CreateDeviceInterface() override { return nullptr; }
    int UpdateDeviceList(const nis::IDevice*) override { return 0; }
    int GetRSSI(int) override { return 0; }
    void GetSnapShot(nis::SNAPSHOT& snapshot, int type) override
    {
        snapshot = {};
        snapshot.nDevice = type;
        if (type != 1 || !m_connected) return;
        snapshot.ullDL = Scripted("flood") ? 4096ULL * static_cast<unsigned>(m_beats) : 4096;
        snapshot.ullUL = 2048;
        snapshot.ulDLSpeed = 1024;
        snapshot.clkTime = 1;
    }
    bool RegisterCallbackEvent(INetInfoEvent* event) override
    {
        Log("register listener");
        const int beats = Scripted("flood") ? 200'000 : Scripted("beat") ? 1 : 0;
        m_connected = beats != 0;
        m_heartbeat = std::thread([this, event, beats] {
            while (m_beats < beats && !m_ending) {
                ++m_beats;
                event->OnDataChanged(true, 1);
            }
        });
        return true;
    }
    bool DeregisterCallbackEvent(INetInfoEvent*) override
    {
        m_ending = true;
        if (m_heartbeat.joinable()) m_heartbeat.join();
        Log("deregister listener");
        return true;
    }
    bool RegisterCallbackFunc(unsigned char (*)(unsigned int, void*)) override
    {
        Log("register function");
        return true;
    }
    bool UnregisterCallbackFunc(unsigned char (*)(unsigned int, void*)) override
    {
        Log("unregister function");
        return true;
    }

private:
    bool m_connected = false;  ///< written before the thread starts
    int m_sinceReports = 0;
    std::atomic<int> m_beats{0};
    std::atomic<bool> m_ending{false};
    std::thread m_heartbeat;
};

std::vector<tagConnRecord> AllRecords()
{
    return {
        {"internet", "1714557600", "1714561203", "3603", "1048576", "5242880", "0", "0"},
        {"caf\xC3\xA9 \x1B[31mred", "1714557600x", "", "-5", "many", "99999999999999999999", "0", "0"},
        {"", "0", "0", "0", "0", "0", "", ""},
    };
}

class RecordSet final : public IConnRecord
{
public:
    explicit RecordSet(std::vector<tagConnRecord> records) : m_records(std::move(records)) {}

    void Release() override
    {
        Log("release records");
        delete this;
    }
    int GetLastError() override { return 0; }
    bool MoveFirst() override
    {
        m_at = 0;
        return m_at < m_records.size();
    }
    bool MoveNext() override
    {
        if (m_at < m_records.size()) ++m_at;
        return m_at < m_records.size();
    }
    const char* GetAPN() override { return Text(&tagConnRecord::strAPN); }
    const char* GetStartTime() override { return Text(&tagConnRecord::strStartTime); }
    const char* GetEndTime() override { return Text(&tagConnRecord::strEndTime); }
    const char* GetConnectTime() override { return Text(&tagConnRecord::strConnectTime); }
    const char* GetUploadData() override { return Text(&tagConnRecord::strUploadData); }
    const char* GetDownloadData() override { return Text(&tagConnRecord::strDownloadData); }
    const char* GetUnitPrice() override { return Text(&tagConnRecord::strUnitPrice); }
    const char* GetFee() override { return Text(&tagConnRecord::strFee); }
    int GetAllRecordCount() override { return static_cast<int>(m_records.size()); }

private:
    const char* Text(std::string tagConnRecord::*field) const
    {
        return m_at < m_records.size() ? (m_records[m_at].*field).c_str() : "";
    }

    std::vector<tagConnRecord> m_records;
    std::size_t m_at = 0;
};

class Records final : public INetInfoRecord
{
public:
    void Release() override {}
    int GetLastError() override { return 0; }
    IConnRecord* GetAllConnRecord() override
    {
        Enter("records");
        if (Scripted("no-list")) return nullptr;
        if (Scripted("empty-list")) return new RecordSet({});
        return new RecordSet(AllRecords());
    }
    IConnRecord* GetLastConnRecord() override
    {
        if (Scripted("no-list")) return nullptr;
        if (Scripted("empty-list")) return new RecordSet({});
        return new RecordSet({AllRecords().back()});
    }
    bool BeginRemoveRecord() override
    {
        Log("begin remove");
        return true;
    }
    bool RemoveRecord(int index) override
    {
        Log("remove " + std::to_string(index));
        return true;
    }
    bool EndRemoveRecord() override
    {
        Log("end remove");
        return true;
    }
};

class Plugin final : public IBasePlugin
{
public:
    void Release() override {}
    int GetLastError() override { return 0; }
    void SetPluginContainer(IPluginContainer* container) override
    {
        Enter("container");
        m_container = container;
    }
    bool Init() override
    {
        Enter("init");
        m_connections = static_cast<IConnectionManager*>(
            m_container->QueryPlugin(CONNECTION_MANAGER_CLSID, CONNECTION_MANAGER_FLAGS));
        m_devices = static_cast<IDeviceManager*>(
            m_container->QueryPlugin(DEVICE_MANAGER_CLSID, DEVICE_MANAGER_FLAGS));
        if (Scripted("set-aside")) SaveInto("NetInfo.dat.bad-1714557600");
        Log(m_connections && m_devices ? "siblings" : "no siblings");
        if (m_connections) m_connections->AddConnectListener(&m_listener);
        if (m_devices) m_devices->AddDeviceEventListener(&m_listener);
        return !Scripted("init-fails");
    }
    bool QueryInterface(int number, IBaseInterface** result) override
    {
        Enter("query");
        *result = nullptr;
        if (number == NETINFO_INTERFACE_SERVICE && !Scripted("no-traffic")) *result = &m_traffic;
        if (number == NETINFO_INTERFACE_RECORD && !Scripted("no-records")) *result = &m_records;
        return *result != nullptr;
    }
    int GetPluginType() override { return 1; }
    const char* GetCLSID() override { return "test"; }
    int GetVersion() override { return 0x101; }
    const char* GetPluginName() override { return "test"; }
    bool IsAllowRelease() override { return true; }
    void OnDestroy() override
    {
        if (m_connections) m_connections->RemoveConnectListener(&m_listener);
        if (m_devices) m_devices->RemoveDeviceEventListener(&m_listener);
        if (!Scripted("no-save")) SaveInto("NetInfo.dat");
        Enter("destroy");
    }

private:
    IPluginContainer* m_container = nullptr;
    IConnectionManager* m_connections = nullptr;
    IDeviceManager* m_devices = nullptr;
    Listener m_listener;
    Traffic m_traffic;
    Records m_records;
};

Plugin* s_plugin = nullptr;

}  // namespace

extern "C" {

IBasePlugin* CreatePlugin()
{
    Enter("create");
    if (Scripted("no-plugin")) return nullptr;
    s_plugin = new Plugin;
    return s_plugin;
}

void ReleasePlugin()
{
    delete s_plugin;
    s_plugin = nullptr;
    Enter("release");
}

}  // extern "C"
