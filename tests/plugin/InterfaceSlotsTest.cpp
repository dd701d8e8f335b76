#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "plugin/ConnRecordImpl.h"
#include "plugin/HostInterfaces.h"
#include "plugin/Interfaces.h"

// Host and plug-in are built apart and meet only at the tables of virtual functions, so the place of each
// operation in its table is part of the interface. A virtual destructor takes two places: one that destroys,
// one that also frees.

#if defined(__clang__)
#define THROUGH_ANY_TYPE __attribute__((no_sanitize("function")))
#else
#define THROUGH_ANY_TYPE
#endif

namespace {

std::string g_called;

/// Calls what stands at `slot` of the table of `face`, as a host that knows only the order would.
template <class RESULT = void, class... ARGUMENTS>
THROUGH_ANY_TYPE RESULT CallSlot(void* face, std::size_t slot, ARGUMENTS... arguments)
{
    void* const* const table = *static_cast<void* const* const*>(face);
    return reinterpret_cast<RESULT (*)(void*, ARGUMENTS...)>(table[slot])(face, arguments...);
}

/// Calls the slots from `slot` on, one for each of `names`, and expects the operations of these names.
template <class FACE>
void ExpectSlots(FACE& object, std::size_t slot, const std::vector<const char*>& names)
{
    for (const char* const name : names) {
        g_called.clear();
        CallSlot(static_cast<void*>(&object), slot);  // too few arguments do no harm: none is looked at
        EXPECT_EQ(g_called, name) << "slot " << slot;
        ++slot;
    }
}

template <class RESULT>
RESULT Called(const char* name)
{
    g_called = name;
    return RESULT();
}

#define OPERATION(result, name, ...) \
    result name(__VA_ARGS__) override { return Called<result>(#name); }

struct Plugin final : IBasePlugin
{
    ~Plugin() override { g_called = "destructor"; }
    OPERATION(void, Release)
    OPERATION(int, GetLastError)
    OPERATION(void, SetPluginContainer, IPluginContainer*)
    OPERATION(bool, Init)
    OPERATION(bool, QueryInterface, int, IBaseInterface**)
    OPERATION(int, GetPluginType)
    OPERATION(const char*, GetCLSID)
    OPERATION(int, GetVersion)
    OPERATION(const char*, GetPluginName)
    OPERATION(bool, IsAllowRelease)
    OPERATION(void, OnDestroy)
};

struct Service final : INetInfoService
{
    ~Service() override { g_called = "destructor"; }
    OPERATION(void, Release)
    OPERATION(int, GetLastError)
    OPERATION(void, GetTodayReport, nis::REPORT&, int)
    OPERATION(void, GetSinceReport, nis::REPORT&, int)
    OPERATION(void, GetThisWeekReport, nis::REPORT&, int)
    OPERATION(void, GetThisMonthReport, nis::REPORT&, int)
    OPERATION(void, GetThisYearReport, nis::REPORT&, int)
    OPERATION(void, GetSpecHistroryData, nis::REPORT&, unsigned long long)
    OPERATION(void*, CreateDailyReport, int)
    OPERATION(void*, CreateWeeklyReport, int)
    OPERATION(void*, CreateMonthlyReport, int)
    OPERATION(void*, CreateYearlyReport, int)
    OPERATION(int, Reset, int)
    OPERATION(void*, CreateDeviceList)
    OPERATION(void*, CreateDeviceInterface)
    OPERATION(int, UpdateDeviceList, const nis::IDevice*)
    OPERATION(int, GetRSSI, int)
    OPERATION(void, GetSnapShot, nis::SNAPSHOT&, int)
    OPERATION(bool, RegisterCallbackEvent, INetInfoEvent*)
    OPERATION(bool, DeregisterCallbackEvent, INetInfoEvent*)
    OPERATION(bool, RegisterCallbackFunc, unsigned char (*)(unsigned int, void*))
    OPERATION(bool, UnregisterCallbackFunc, unsigned char (*)(unsigned int, void*))
};

struct Record final : INetInfoRecord
{
    ~Record() override { g_called = "destructor"; }
    OPERATION(void, Release)
    OPERATION(int, GetLastError)
    OPERATION(IConnRecord*, GetAllConnRecord)
    OPERATION(IConnRecord*, GetLastConnRecord)
    OPERATION(bool, BeginRemoveRecord)
    OPERATION(bool, RemoveRecord, int)
    OPERATION(bool, EndRemoveRecord)
};

struct RecordSet final : IConnRecord
{
    ~RecordSet() override { g_called = "destructor"; }
    OPERATION(void, Release)
    OPERATION(int, GetLastError)
    OPERATION(bool, MoveFirst)
    OPERATION(bool, MoveNext)
    OPERATION(const char*, GetAPN)
    OPERATION(const char*, GetStartTime)
    OPERATION(const char*, GetEndTime)
    OPERATION(const char*, GetConnectTime)
    OPERATION(const char*, GetUploadData)
    OPERATION(const char*, GetDownloadData)
    OPERATION(const char*, GetUnitPrice)
    OPERATION(const char*, GetFee)
    OPERATION(int, GetAllRecordCount)
};

struct Event final : INetInfoEvent
{
    OPERATION(void, OnDataChanged, bool, int)
};

struct Notify final : IHeartBeatNotify
{
    ~Notify() override { g_called = "destructor"; }
    OPERATION(void, OnHeartBeat)
};

struct ConnectEvent final : INetConnectEvent
{
    OPERATION(void, OnConnectState, INetConnectStatus*)
    OPERATION(void, OnConnectMessage, const unsigned short*)
};

struct DeviceEvent final : IDeviceMgrEvent
{
    OPERATION(int, OnDeviceMgrEvent, unsigned long, void*)
};

struct Container final : IPluginContainer
{
    OPERATION(void*, QueryPlugin, const char*, unsigned long)
};

struct Enumerator final : IDeviceEnumerator
{
    OPERATION(void, Release)
    OPERATION(bool, MoveFirst)
    OPERATION(bool, MoveNext)
    OPERATION(const unsigned short*, GetDeviceName)
    OPERATION(int, GetConnectionType)
    OPERATION(const unsigned short*, GetMAC)
};

struct ConnectionManager final : IConnectionManager
{
    OPERATION(IDeviceEnumerator*, GetDeviceEnumerator)
    OPERATION(bool, AddConnectListener, INetConnectEvent*)
    OPERATION(bool, RemoveConnectListener, INetConnectEvent*)
};

struct DeviceManager final : IDeviceManager
{
    OPERATION(bool, AddDeviceEventListener, IDeviceMgrEvent*)
    OPERATION(bool, RemoveDeviceEventListener, IDeviceMgrEvent*)
};

struct ConnectStatus final : INetConnectStatus
{
    OPERATION(bool, MoveFirst)
    OPERATION(bool, MoveNext)
    OPERATION(const unsigned short*, GetProfileName)
    OPERATION(const unsigned short*, GetDeviceName)
    OPERATION(int, GetState)
};

/// Destroys through `slot`, the freeing one of the two places, and expects the destructor to have run.
template <class FACE>
void ExpectDestructor(FACE* object, std::size_t slot)
{
    g_called.clear();
    CallSlot(static_cast<void*>(object), slot);
    EXPECT_EQ(g_called, "destructor");
}

TEST(InterfaceSlots, OfThePlugin)
{
    Plugin plugin;
    IBasePlugin& face = plugin;
    ExpectSlots(face, 0, {"Release", "GetLastError"});
    ExpectSlots(face, 4,
                {"SetPluginContainer", "Init", "QueryInterface", "GetPluginType", "GetCLSID", "GetVersion",
                 "GetPluginName", "IsAllowRelease", "OnDestroy"});
    ExpectDestructor(static_cast<IBasePlugin*>(new Plugin), 3);

    IBaseInterface& base = plugin;
    EXPECT_EQ(static_cast<void*>(&base), static_cast<void*>(&face));  // the first base
    IDestroyEvent& event = plugin;
    ExpectSlots(event, 0, {"OnDestroy"});
}

TEST(InterfaceSlots, OfTheNetInfoService)
{
    Service service;
    INetInfoService& face = service;
    ExpectSlots(face, 0,
                {"Release",
                 "GetLastError",
                 "GetTodayReport",
                 "GetSinceReport",
                 "GetThisWeekReport",
                 "GetThisMonthReport",
                 "GetThisYearReport",
                 "GetSpecHistroryData",
                 "CreateDailyReport",
                 "CreateWeeklyReport",
                 "CreateMonthlyReport",
                 "CreateYearlyReport",
                 "Reset",
                 "CreateDeviceList",
                 "CreateDeviceInterface",
                 "UpdateDeviceList",
                 "GetRSSI",
                 "GetSnapShot",
                 "RegisterCallbackEvent",
                 "DeregisterCallbackEvent",
                 "RegisterCallbackFunc",
                 "UnregisterCallbackFunc"});
    ExpectDestructor(static_cast<INetInfoService*>(new Service), 23);
}

TEST(InterfaceSlots, OfTheRecordService)
{
    Record record;
    INetInfoRecord& face = record;
    ExpectSlots(face, 0,
                {"Release", "GetLastError", "GetAllConnRecord", "GetLastConnRecord", "BeginRemoveRecord",
                 "RemoveRecord", "EndRemoveRecord"});
    ExpectDestructor(static_cast<INetInfoRecord*>(new Record), 8);
}

TEST(InterfaceSlots, OfARecordSet)
{
    RecordSet set;
    IConnRecord& face = set;
    ExpectSlots(face, 0,
                {"Release", "GetLastError", "MoveFirst", "MoveNext", "GetAPN", "GetStartTime", "GetEndTime",
                 "GetConnectTime", "GetUploadData", "GetDownloadData", "GetUnitPrice", "GetFee",
                 "GetAllRecordCount"});
    ExpectDestructor(static_cast<IConnRecord*>(new RecordSet), 14);
    IRecordSet& parent = set;
    ExpectSlots(parent, 0, {"Release", "GetLastError", "MoveFirst", "MoveNext"});
}

TEST(InterfaceSlots, OfTheListeners)
{
    Event event;
    ExpectSlots<INetInfoEvent>(event, 0, {"OnDataChanged"});
    Notify notify;
    ExpectSlots<IHeartBeatNotify>(notify, 0, {"OnHeartBeat"});
    ExpectDestructor(static_cast<IHeartBeatNotify*>(new Notify), 2);
    ConnectEvent connect;
    ExpectSlots<INetConnectEvent>(connect, 0, {"OnConnectState", "OnConnectMessage"});
    DeviceEvent device;
    ExpectSlots<IDeviceMgrEvent>(device, 0, {"OnDeviceMgrEvent"});
}

TEST(InterfaceSlots, OfTheHost)
{
    Container container;
    ExpectSlots<IPluginContainer>(container, 0, {"QueryPlugin"});
    Enumerator enumerator;
    ExpectSlots<IDeviceEnumerator>(
        enumerator, 0, {"Release", "MoveFirst", "MoveNext", "GetDeviceName", "GetConnectionType", "GetMAC"});
    ConnectionManager connections;
    ExpectSlots<IConnectionManager>(connections, 0,
                                    {"GetDeviceEnumerator", "AddConnectListener", "RemoveConnectListener"});
    DeviceManager devices;
    ExpectSlots<IDeviceManager>(devices, 0, {"AddDeviceEventListener", "RemoveDeviceEventListener"});
    ConnectStatus status;
    ExpectSlots<INetConnectStatus>(status, 0,
                                   {"MoveFirst", "MoveNext", "GetProfileName", "GetDeviceName", "GetState"});
}

// With arguments and results, on an object of the plug-in's own.
TEST(InterfaceSlots, CarryArgumentsAndResults)
{
    auto* const set = new CConnRecordImpl;
    set->AddRecord({"apn", "1", "2", "3", "4", "5", "6", "fee"});
    void* const face = static_cast<IConnRecord*>(set);

    EXPECT_TRUE(CallSlot<bool>(face, 2));
    EXPECT_STREQ(CallSlot<const char*>(face, 4), "apn");
    EXPECT_STREQ(CallSlot<const char*>(face, 11), "fee");
    EXPECT_EQ(CallSlot<int>(face, 12), 1);
    EXPECT_FALSE(CallSlot<bool>(face, 3));
    CallSlot(face, 0);
}

}  // namespace
