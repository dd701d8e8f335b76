#pragma once

#include "plugin/Records.h"

/// The interfaces between the plug-in, its container and the host. Plain abstract classes without reference
/// counting: the order of the operations is the order of the slots, so nothing may be moved or inserted.
///
/// Thread tags: [host thread] any thread of the host, one call at a time unless said otherwise;
/// [any thread] several at once; [heartbeat thread] called by the plug-in's own sampling thread.

class IPluginContainer;
class INetConnectStatus;
namespace nis {
class IDevice;
}

class IBaseInterface
{
public:
    /// Ends the caller's use of the object; what that does is per class.
    virtual void Release() = 0;
    /// Outcome of the object's last operation: 0 success, -1 the requested interface does not exist.
    virtual int GetLastError() = 0;

protected:
    ~IBaseInterface() = default;
};

class IDestroyEvent
{
public:
    virtual void OnDestroy() = 0;

protected:
    ~IDestroyEvent() = default;
};

class IBasePlugin : public IBaseInterface, public IDestroyEvent
{
public:
    virtual ~IBasePlugin() = default;
    virtual void SetPluginContainer(IPluginContainer* pContainer) = 0;
    virtual bool Init() = 0;
    virtual bool QueryInterface(int nInterface, IBaseInterface** ppInterface) = 0;
    virtual int GetPluginType() = 0;
    virtual const char* GetCLSID() = 0;
    virtual int GetVersion() = 0;
    virtual const char* GetPluginName() = 0;
    virtual bool IsAllowRelease() = 0;
    void OnDestroy() override = 0;
};

/// Hears about changes of the traffic figures. [heartbeat thread]
class INetInfoEvent
{
public:
    /// (true, type) after each increment of a live connection, (false, type) when a connection has gone.
    virtual void OnDataChanged(bool bConnected, int nValue) = 0;

protected:
    ~INetInfoEvent() = default;
};

class INetInfoService : public IBaseInterface
{
public:
    virtual void GetTodayReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetSinceReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetThisWeekReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetThisMonthReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetThisYearReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetSpecHistroryData(nis::REPORT& report, unsigned long long tmFrom) = 0;
    virtual void* CreateDailyReport(int nDevice) = 0;
    virtual void* CreateWeeklyReport(int nDevice) = 0;
    virtual void* CreateMonthlyReport(int nDevice) = 0;
    virtual void* CreateYearlyReport(int nDevice) = 0;
    virtual int Reset(int nWhich) = 0;
    virtual void* CreateDeviceList() = 0;
    virtual void* CreateDeviceInterface() = 0;
    virtual int UpdateDeviceList(const nis::IDevice* pDevice) = 0;
    virtual int GetRSSI(int nDevice) = 0;
    virtual void GetSnapShot(nis::SNAPSHOT& snapshot, int nDevice) = 0;
    virtual bool RegisterCallbackEvent(INetInfoEvent* pEvent) = 0;
    virtual bool DeregisterCallbackEvent(INetInfoEvent* pEvent) = 0;
    virtual bool RegisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*)) = 0;
    virtual bool UnregisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*)) = 0;
    virtual ~INetInfoService() = default;
};

class IRecordSet : public IBaseInterface
{
public:
    virtual bool MoveFirst() = 0;
    virtual bool MoveNext() = 0;

protected:
    ~IRecordSet() = default;
};

class IConnRecord : public IRecordSet
{
public:
    virtual const char* GetAPN() = 0;
    virtual const char* GetStartTime() = 0;
    virtual const char* GetEndTime() = 0;
    virtual const char* GetConnectTime() = 0;
    virtual const char* GetUploadData() = 0;
    virtual const char* GetDownloadData() = 0;
    virtual const char* GetUnitPrice() = 0;
    virtual const char* GetFee() = 0;
    virtual int GetAllRecordCount() = 0;
    virtual ~IConnRecord() = default;
};

class INetInfoRecord : public IBaseInterface
{
public:
    virtual IConnRecord* GetAllConnRecord() = 0;
    virtual IConnRecord* GetLastConnRecord() = 0;
    virtual bool BeginRemoveRecord() = 0;
    virtual bool RemoveRecord(int nIndex) = 0;
    virtual bool EndRemoveRecord() = 0;
    virtual ~INetInfoRecord() = default;
};

class IHeartBeatNotify
{
public:
    /// The wall-clock second has changed. [heartbeat thread]
    virtual void OnHeartBeat() = 0;
    virtual ~IHeartBeatNotify() = default;
};

/// Implemented by the plug-in, called by the host's connection manager. [host thread]
class INetConnectEvent
{
public:
    virtual void OnConnectState(INetConnectStatus* pStatus) = 0;
    virtual void OnConnectMessage(const unsigned short* pszMessage) = 0;

protected:
    ~INetConnectEvent() = default;
};

/// Implemented by the plug-in, called by the host's device manager. [host thread]
class IDeviceMgrEvent
{
public:
    virtual int OnDeviceMgrEvent(unsigned long nEvent, void* pData) = 0;

protected:
    ~IDeviceMgrEvent() = default;
};

/// Interface numbers of `IBasePlugin::QueryInterface`.
inline constexpr int NETINFO_INTERFACE_SERVICE = 1;
inline constexpr int NETINFO_INTERFACE_RECORD = 4;

/// What `GetCLSID` and `GetPluginName` answer, exported as well.
extern __attribute__((visibility("default"))) const char* const MYCLSID;
extern __attribute__((visibility("default"))) const char* const PLUGIN_NAME;

extern "C" {
/// The one plug-in object of the process, made on the first call; null if it could not be made.
__attribute__((visibility("default"))) IBasePlugin* CreatePlugin();
/// Destroys it.
__attribute__((visibility("default"))) void ReleasePlugin();
}
