// A small host that knows the plug-in by its public headers alone. It writes a data file with records, loads
// the module, uses every operation of both services and the typed parameter values, and checks each answer.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "common/Parameter.h"
#include "plugin/HostInterfaces.h"
#include "plugin/Interfaces.h"
#include "plugin/Records.h"

namespace {

int g_failures = 0;

void Check(bool holds, const char* what, int line)
{
    if (holds) return;
    std::fprintf(stderr, "line %d: %s\n", line, what);
    ++g_failures;
}

#define CHECK(condition) Check((condition), #condition, __LINE__)

constexpr int ADSL = 4;

/// One modem that never connects; keeps whoever registers.
class Enumerator final : public IDeviceEnumerator
{
public:
    void Release() override { delete this; }
    bool MoveFirst() override { return true; }
    bool MoveNext() override { return false; }
    const unsigned short* GetDeviceName() override { return m_name; }
    int GetConnectionType() override { return 0; }
    const unsigned short* GetMAC() override { return nullptr; }

private:
    unsigned short m_name[6] = {'m', 'o', 'd', 'e', 'm', 0};
};

class ConnectionManager final : public IConnectionManager
{
public:
    IDeviceEnumerator* GetDeviceEnumerator() override { return new Enumerator; }
    bool AddConnectListener(INetConnectEvent* pListener) override
    {
        return m_listeners.insert(pListener).second;
    }
    bool RemoveConnectListener(INetConnectEvent* pListener) override
    {
        return m_listeners.erase(pListener) == 1;
    }

    std::set<INetConnectEvent*> m_listeners;
};

class DeviceManager final : public IDeviceManager
{
public:
    bool AddDeviceEventListener(IDeviceMgrEvent* pListener) override
    {
        return m_listeners.insert(pListener).second;
    }
    bool RemoveDeviceEventListener(IDeviceMgrEvent* pListener) override
    {
        return m_listeners.erase(pListener) == 1;
    }

    std::set<IDeviceMgrEvent*> m_listeners;
};

class Container final : public IPluginContainer
{
public:
    void* QueryPlugin(const char* pszCLSID, unsigned long ulFlags) override
    {
        if (std::strcmp(pszCLSID, CONNECTION_MANAGER_CLSID) == 0 && ulFlags == CONNECTION_MANAGER_FLAGS) {
            return static_cast<IConnectionManager*>(&m_connections);
        }
        if (std::strcmp(pszCLSID, DEVICE_MANAGER_CLSID) == 0 && ulFlags == DEVICE_MANAGER_FLAGS) {
            return static_cast<IDeviceManager*>(&m_devices);
        }
        return nullptr;
    }

    ConnectionManager m_connections;
    DeviceManager m_devices;
};

class Listener final : public INetInfoEvent
{
public:
    void OnDataChanged(bool, int) override {}
};

unsigned char OnChange(unsigned int, void*) { return 0; }

/// A record that ended so many seconds ago, lasted a minute and moved ten times as much down as up.
std::string Record(const char* apn, long secondsAgo, unsigned long long uploaded)
{
    const long end = static_cast<long>(std::time(nullptr)) - secondsAgo;
    return std::string("<item device=\"modem\" apn=\"") + apn + "\" starttime=\"" + std::to_string(end - 60) +
           "\" endtime=\"" + std::to_string(end) + "\" time=\"60\" uploaded=\"" + std::to_string(uploaded) +
           "\" downloaded=\"" + std::to_string(10 * uploaded) + "\" unitprice=\"0\" fee=\"x\"/>\r\n";
}

void WriteDataFile(const char* path)
{
    std::ofstream file(path, std::ios::binary);
    file << "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<xml>\r\n<total>\r\n"
         << Record("first", 40 * 86400, 1'000) << Record("second", 20 * 86400, 200)
         << Record("third", 10 * 86400, 30) << "</total>\r\n</xml>\r\n";
}

std::vector<std::string> Names(IConnRecord* pRecords)
{
    std::vector<std::string> names;
    if (!pRecords) return names;
    for (bool more = pRecords->MoveFirst(); more; more = pRecords->MoveNext()) {
        names.emplace_back(pRecords->GetAPN());
    }
    CHECK(pRecords->GetAllRecordCount() == static_cast<int>(names.size()));
    CHECK(pRecords->GetLastError() == 0);
    pRecords->Release();
    return names;
}

void UseNetInfoService(INetInfoService& service)
{
    CHECK(service.GetLastError() == 0);

    nis::REPORT report;
    service.GetTodayReport(report, ADSL);
    CHECK(report.nDevice == ADSL && report.ullDownloaded == 0);
    service.GetSinceReport(report, ADSL);
    CHECK(report.nDevice == ADSL && report.ullUploaded == 0);
    service.GetThisWeekReport(report, ADSL);
    service.GetThisMonthReport(report, ADSL);
    service.GetThisYearReport(report, ADSL);
    CHECK(report.nDevice == ADSL && report.ullTime == 0);
    nis::REPORT untouched;
    untouched.ullTime = 77;
    service.GetTodayReport(untouched, 3);
    CHECK(untouched.ullTime == 77);

    const auto now = static_cast<unsigned long long>(std::time(nullptr));
    nis::REPORT history;
    service.GetSpecHistroryData(history, now - 30 * 86400);
    CHECK(history.ullUploaded == 230 && history.ullDownloaded == 2'300 && history.ullTime == 120);
    service.GetSpecHistroryData(history, now + 1'000);
    CHECK(history.ullUploaded == 0);

    CHECK(!service.CreateDailyReport(0) && !service.CreateWeeklyReport(0));
    CHECK(!service.CreateMonthlyReport(0) && !service.CreateYearlyReport(0));
    CHECK(!service.CreateDeviceList() && !service.CreateDeviceInterface());
    CHECK(service.UpdateDeviceList(nullptr) == 0);
    CHECK(service.GetRSSI(0) == 0);

    nis::SNAPSHOT snapshot;
    snapshot.ullDL = 5;
    service.GetSnapShot(snapshot, ADSL);
    CHECK(snapshot.nDevice == ADSL && snapshot.ullDL == 0 && snapshot.strName.empty());

    Listener listener;
    CHECK(service.RegisterCallbackEvent(&listener));
    CHECK(!service.RegisterCallbackEvent(&listener));
    CHECK(service.DeregisterCallbackEvent(&listener));
    CHECK(!service.DeregisterCallbackEvent(&listener));
    CHECK(service.RegisterCallbackFunc(&OnChange));
    CHECK(service.UnregisterCallbackFunc(&OnChange));
}

void UseRecordService(INetInfoRecord& records, INetInfoService& service)
{
    CHECK(records.GetLastError() == 0);
    CHECK((Names(records.GetAllConnRecord()) == std::vector<std::string>{"first", "second", "third"}));
    CHECK((Names(records.GetLastConnRecord()) == std::vector<std::string>{"third"}));

    IConnRecord* const last = records.GetLastConnRecord();
    CHECK(std::strcmp(last->GetConnectTime(), "60") == 0);
    CHECK(std::strcmp(last->GetUploadData(), "30") == 0);
    CHECK(std::strcmp(last->GetDownloadData(), "300") == 0);
    CHECK(std::strcmp(last->GetUnitPrice(), "0") == 0);
    CHECK(std::strcmp(last->GetFee(), "x") == 0);
    CHECK(std::atol(last->GetEndTime()) - std::atol(last->GetStartTime()) == 60);
    CHECK(!last->MoveNext());
    CHECK(std::strcmp(last->GetAPN(), "") == 0);
    last->Release();

    CHECK(records.BeginRemoveRecord());
    CHECK(records.RemoveRecord(0));
    CHECK(records.RemoveRecord(0));
    CHECK(records.RemoveRecord(99));
    CHECK(records.EndRemoveRecord());
    CHECK((Names(records.GetAllConnRecord()) == std::vector<std::string>{"second", "third"}));

    CHECK(service.Reset(0) == 0);
    CHECK((Names(records.GetAllConnRecord()) == std::vector<std::string>{"third"}));
}

void UseParameterValues()
{
    NUMERIC number;
    number = 12345ULL;
    CHECK(number.ToString() == "12345" && number.GetLength() == 5 && number.TypeId() == 3);
    HEX hex;
    CHECK(hex.FromString("1g") && hex.GetNumValue() == 1);
    BINARY bytes;
    CHECK(bytes.FromString("0aFF") && bytes.ToString() == "0AFF");
    STRING text;
    CHECK(text.FromString("AT") && text.ToString() == "AT");
    RANGE range;
    CHECK(range.FromString("(3-7)") && range.GetRangeBegin() == 3 && range.GetRangeEnd() == 7);
    REAL real;
    CHECK(real.FromString("1.5") && real.GetFloatValue() == 1.5);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    WriteDataFile(argv[2]);

    void* const module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const auto create = reinterpret_cast<IBasePlugin* (*)()>(dlsym(module, "CreatePlugin"));
    const auto release = reinterpret_cast<void (*)()>(dlsym(module, "ReleasePlugin"));
    if (!create || !release) return 1;

    Container container;
    IBasePlugin* const plugin = create();
    CHECK(plugin && plugin == create());
    CHECK(std::strcmp(plugin->GetPluginName(), "NetInfoSrvPlugin") == 0);
    CHECK(std::strcmp(plugin->GetCLSID(), "3F2A9C71-6D4B-4c8e-A1E5-7B90C2D4E613") == 0);
    CHECK(plugin->GetPluginType() == 1 && plugin->GetVersion() == 0x101 && plugin->IsAllowRelease());
    plugin->SetPluginContainer(&container);
    CHECK(plugin->Init());
    CHECK(container.m_connections.m_listeners.size() == 1);
    CHECK(container.m_devices.m_listeners.size() == 1);

    IBaseInterface* service = nullptr;
    IBaseInterface* records = nullptr;
    IBaseInterface* none = nullptr;
    CHECK(plugin->QueryInterface(NETINFO_INTERFACE_SERVICE, &service) && service);
    CHECK(plugin->QueryInterface(NETINFO_INTERFACE_RECORD, &records) && records);
    CHECK(!plugin->QueryInterface(7, &none) && !none && plugin->GetLastError() == -1);
    if (service && records) {
        auto& netInfo = static_cast<INetInfoService&>(*service);
        UseNetInfoService(netInfo);
        UseRecordService(static_cast<INetInfoRecord&>(*records), netInfo);
    }
    UseParameterValues();

    plugin->OnDestroy();
    CHECK(container.m_connections.m_listeners.empty());
    CHECK(container.m_devices.m_listeners.empty());
    release();
    dlclose(module);

    std::ifstream file(argv[2], std::ios::binary);
    const std::string saved{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    CHECK(saved.find("apn=\"third\"") != std::string::npos &&
          saved.find("apn=\"second\"") == std::string::npos);
    return g_failures == 0 ? 0 : 1;
}
