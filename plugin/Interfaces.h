#pragma once

#include "plugin/Records.h"

/// The interfaces between the plug-in, its container and the host. Plain abstract classes without reference
/// counting. The order of the operations is the order of the slots in the tables of virtual functions, and
/// host and plug-in are built apart: nothing may be moved, inserted or left out. docs/plugin-interface.md
/// tells how a host uses them, with a complete example.
///
/// Threads, as the tags at the operations name them:
/// - [container's thread]: the thread that loads, initialises and tears down the plug-in, or several threads
///   of which only one at a time is inside such an operation. No lock is taken.
/// - [any thread]: any thread of the host, several at once.
/// - [heartbeat thread]: called by the plug-in, on the one thread of its own that samples the counters once a
///   second.
///
/// Units: bytes, bytes per second, seconds; a moment is seconds since 1970-01-01 00:00 UTC, and days, weeks,
/// months and years are those of the local time zone. A connection type is 0 dial-up (mobile broadband),
/// 1 WiFi or 4 ADSL. Narrow text is UTF-8, wide text (`unsigned short`) is UTF-16 in host byte order; both
/// end with a zero unit.
///
/// Errors: no exception leaves the plug-in. An operation that has nothing to work with gives its neutral
/// answer: null, 0, false, "", or the caller's record left as it was.

class IPluginContainer;
class INetConnectStatus;
namespace nis {
class IDevice;
}

class IBaseInterface
{
public:
    /// Ends the caller's use of the object: does nothing on the plug-in object, destroys a service object or
    /// a record set. [as the object says]
    virtual void Release() = 0;
    /// Outcome of the object's last operation: 0 success, -1 the requested interface does not exist. Always 0
    /// on everything but the plug-in object. [as the object says]
    virtual int GetLastError() = 0;

protected:
    ~IBaseInterface() = default;
};

class IDestroyEvent
{
public:
    /// The container is tearing the plug-in down. [container's thread]
    virtual void OnDestroy() = 0;

protected:
    ~IDestroyEvent() = default;
};

/// The plug-in object, as `CreatePlugin` gives it: one for the process. Called in the order
/// `SetPluginContainer`, `Init`, any number of the others, `OnDestroy`, and then `ReleasePlugin`.
///
/// Threads:   all on the container's thread.
/// Ownership: the object belongs to the plug-in; the container ends it with `ReleasePlugin`, never with
///            `delete`.
class IBasePlugin : public IBaseInterface, public IDestroyEvent
{
public:
    virtual ~IBasePlugin() = default;
    /// Lends the plug-in its container, which has to outlive `OnDestroy`. Without one, or with null, the
    /// plug-in finds no sibling plug-ins, knows no devices and counts nothing.
    virtual void SetPluginContainer(IPluginContainer* pContainer) = 0;
    /// Loads the data file, registers with the sibling plug-ins and starts sampling. Always true: what could
    /// not be made shows in the neutral answers of the services. A second call keeps what there is.
    virtual bool Init() = 0;
    /// Puts the service with that number into `*ppInterface`: 1 `INetInfoService`, 4 `INetInfoRecord`. Every
    /// caller gets the same object, which stays the plug-in's and lives until `OnDestroy`, or until somebody
    /// ends it with `Release()`; then the next request makes a new one. A service made while there is no
    /// engine, before `Init` or after `OnDestroy`, gives neutral answers for good. Any other number: null,
    /// false, last error -1. A null `ppInterface`: false, last error -1.
    virtual bool QueryInterface(int nInterface, IBaseInterface** ppInterface) = 0;
    virtual int GetPluginType() = 0;          ///< 1
    virtual const char* GetCLSID() = 0;       ///< `MYCLSID`
    virtual int GetVersion() = 0;             ///< 0x101: major version 1, minor version 1
    virtual const char* GetPluginName() = 0;  ///< `PLUGIN_NAME`
    /// Whether the container may unload the plug-in: true. Unload it after `OnDestroy` and `ReleasePlugin`.
    virtual bool IsAllowRelease() = 0;
    /// Ends the services, stops sampling, saves the data file and withdraws from the sibling plug-ins. Waits
    /// for a heartbeat under way, its notifications included, which can take some seconds; so it must not be
    /// called from inside a notification, where it would wait for itself, nor under a lock that a listener
    /// takes. A second call finds nothing to do.
    void OnDestroy() override = 0;
};

/// Hears about changes of the traffic figures, once registered with
/// `INetInfoService::RegisterCallbackEvent`. Implemented by the host.
///
/// Ownership: borrowed until `DeregisterCallbackEvent` has returned.
/// Errors:    must not throw. An exception ends the heartbeat: the listeners that were to follow hear
/// nothing,
///            and the bytes of that second are missing in the period totals.
class INetInfoEvent
{
public:
    /// A connection of type `nValue` has been sampled (true), once a second while it is up, whether bytes
    /// have moved or not; or it has gone (false). When the last connection has gone, (false, 0), (false, 1)
    /// and (false, 4) come in a row, whatever was connected. [heartbeat thread]
    ///
    /// What may be called from inside, and why not the rest:
    /// - Reports, `GetSnapShot`, records and `Reset`: always. The period totals do not have this second's
    /// bytes
    ///   yet, the snapshot has.
    /// - `RegisterCallbackEvent` and `DeregisterCallbackEvent`: only when `bConnected` is true. With false
    /// the
    ///   heartbeat holds the lock of the listeners, and they would wait for it for ever.
    /// - `IBasePlugin::OnDestroy` and `Release()` of the net-info service: never. They wait for the very
    ///   heartbeat that is calling.
    /// - Nor may it wait for another thread that is inside one of these or inside `GetSnapShot`.
    ///
    /// Sampling waits for the call to return. Seconds missed meanwhile are not made up for one by one: the
    /// next heartbeat counts all bytes moved since the last.
    virtual void OnDataChanged(bool bConnected, int nValue) = 0;

protected:
    ~INetInfoEvent() = default;
};

/// Interface number 1: the figures, and ways to hear of their changes.
///
/// Threads:   any thread, unless said otherwise.
/// Ownership: the object is the plug-in's; see `IBasePlugin::QueryInterface`. `Release()` destroys it, for
///            every caller that has it, and no notification reaches its callback functions any more.
///            [container's thread]
/// Errors:    without an engine, records passed in stay as they were and results are null, 0 or false.
class INetInfoService : public IBaseInterface
{
public:
    /// Each of the next five: fills `report` with the totals of one period for connection type `nDevice`; the
    /// period's start is in both of the report's moments. Leaves it as it was for a type never counted, so
    /// set it to zero first. `ullTime` lags by one heartbeat. Answers from memory.
    virtual void GetTodayReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetSinceReport(nis::REPORT& report, int nDevice) = 0;  ///< since the last `Reset`
    virtual void GetThisWeekReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetThisMonthReport(nis::REPORT& report, int nDevice) = 0;
    virtual void GetThisYearReport(nis::REPORT& report, int nDevice) = 0;
    /// Fills `report` with the sums over all connections, of every type, that ended from the moment `tmFrom`
    /// up to now. Two details of how it is summed: connections that ended earlier today always count, and of
    /// two questions on the same day about the same past day the second gets the first one's sum of the past
    /// days. A moment in the future: only the three sums are set, to 0.
    virtual void GetSpecHistroryData(nis::REPORT& report, unsigned long long tmFrom) = 0;
    virtual void* CreateDailyReport(int nDevice) = 0;    ///< null
    virtual void* CreateWeeklyReport(int nDevice) = 0;   ///< null
    virtual void* CreateMonthlyReport(int nDevice) = 0;  ///< null
    virtual void* CreateYearlyReport(int nDevice) = 0;   ///< null
    /// Sets every period of connection type `nWhich` to zero and restarts it, removes the records of all
    /// connections, of every type, but the last, restarts that one, and saves the data file. Always 0.
    virtual int Reset(int nWhich) = 0;
    virtual void* CreateDeviceList() = 0;                           ///< null
    virtual void* CreateDeviceInterface() = 0;                      ///< null
    virtual int UpdateDeviceList(const nis::IDevice* pDevice) = 0;  ///< 0; `pDevice` is not looked at
    virtual int GetRSSI(int nDevice) = 0;                           ///< 0
    /// Fills `snapshot` with the running total of the live connection of type `nDevice`: bytes since the
    /// connections came up, the speeds of the last second, their peaks, and the seconds connected. Sets
    /// `nDevice` and every number, all 0 if there is no such connection; leaves the name alone. Waits for a
    /// heartbeat under way, which lasts 1.5 seconds and more in the second in which one of several
    /// connections has gone.
    virtual void GetSnapShot(nis::SNAPSHOT& snapshot, int nDevice) = 0;
    /// Adds a listener; false, changing nothing, if it is already in. From inside a notification only when
    /// that one says true; see `INetInfoEvent`.
    virtual bool RegisterCallbackEvent(INetInfoEvent* pEvent) = 0;
    /// Removes a listener; false if it was not in. Once it has returned, the listener is not called again,
    /// and no call to it is under way, unless on the calling thread itself: it waits for one on the heartbeat
    /// thread. So it must not be called under a lock that the listener takes. From inside a notification only
    /// when that one says true.
    virtual bool DeregisterCallbackEvent(INetInfoEvent* pEvent) = 0;
    /// Adds a function that is called on the heartbeat thread for every change a listener would hear of, with
    /// `NETINFO_MESSAGE_CHANGE` and a pointer to a `NETINFO_CHANGE` that lives for the call only. Its result
    /// is ignored; what it throws is traced and goes no further. True, also when it is already in; null is
    /// kept but never called; false when memory runs out. Must not be called from inside such a function,
    /// which runs under the lock of the functions and would wait for itself; from inside a listener it may.
    /// What a listener must not do holds for functions, too.
    virtual bool RegisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*)) = 0;
    /// Removes a function, waiting for a round of calls under way; true, also when it was not in. Not from
    /// inside such a function, nor under a lock that one takes.
    virtual bool UnregisterCallbackFunc(unsigned char (*pFunction)(unsigned int, void*)) = 0;
    virtual ~INetInfoService() = default;
};

/// Threads:   one thread at a time.
/// Ownership: the caller's, who ends it with `Release()`.
class IRecordSet : public IBaseInterface
{
public:
    /// Puts the cursor on the first record; true if there is one.
    virtual bool MoveFirst() = 0;
    /// Moves the cursor on, at most to the end; true while it stands on a record.
    virtual bool MoveNext() = 0;

protected:
    ~IRecordSet() = default;
};

/// Past connections as they were when the set was made; later changes do not reach it, and it outlives the
/// plug-in object, but not the loaded library. A new set stands on its first record. Each text is that of the
/// record under the cursor, "" at the end, never null; it lives as long as the set. Numbers are decimal
/// texts, passed on as the data file has them.
class IConnRecord : public IRecordSet
{
public:
    virtual const char* GetAPN() = 0;        ///< the connection's profile name
    virtual const char* GetStartTime() = 0;  ///< moment
    virtual const char* GetEndTime() = 0;    ///< moment; while the connection is up, that of the last update
    virtual const char* GetConnectTime() = 0;   ///< seconds
    virtual const char* GetUploadData() = 0;    ///< bytes sent
    virtual const char* GetDownloadData() = 0;  ///< bytes received
    virtual const char* GetUnitPrice() = 0;     ///< "0"
    virtual const char* GetFee() = 0;           ///< "0"
    virtual int GetAllRecordCount() = 0;        ///< number of records, wherever the cursor stands
    virtual ~IConnRecord() = default;
};

/// Interface number 4: the records of past connections.
///
/// Threads:   any thread; removing is a batch of several calls, one batch at a time. May all be called from
///            inside a notification.
/// Ownership: the object is the plug-in's; see `IBasePlugin::QueryInterface`. `Release()` destroys it for
///            every caller that has it. [container's thread]
/// Errors:    without an engine, null or false.
class INetInfoRecord : public IBaseInterface
{
public:
    /// A new set of all connections kept, oldest first, the caller's to release; null if the data file has no
    /// list of them.
    virtual IConnRecord* GetAllConnRecord() = 0;
    /// A new set of the last connection only, or of none; null likewise.
    virtual IConnRecord* GetLastConnRecord() = 0;
    /// Begins a batch of removals, forgetting what was marked before. True.
    virtual bool BeginRemoveRecord() = 0;
    /// Marks the connection at position `nIndex`, from 0, in the order of `GetAllConnRecord`. A position that
    /// does not exist is ignored. True.
    virtual bool RemoveRecord(int nIndex) = 0;
    /// Removes what is marked, all at once, and saves the data file. True, also when nothing was.
    virtual bool EndRemoveRecord() = 0;
    virtual ~INetInfoRecord() = default;
};

/// Inside the plug-in only: receives its heartbeat.
class IHeartBeatNotify
{
public:
    /// The wall clock's second has changed. [heartbeat thread]
    virtual void OnHeartBeat() = 0;
    virtual ~IHeartBeatNotify() = default;
};

/// Implemented by the plug-in, which registers it with the host's connection manager for as long as it
/// samples.
class INetConnectEvent
{
public:
    /// The state of connections has changed: `pStatus` lists those concerned, and is read during the call
    /// only. An entry in state 1 connects the device of that name, which is counted from then on; any other
    /// state disconnects it. A list without an entry in state 0 or 1 changes nothing, nor does null. The
    /// first list of the process only connects. Asks the connection manager for its devices meanwhile. [any
    /// thread]
    virtual void OnConnectState(INetConnectStatus* pStatus) = 0;
    /// Does nothing. [any thread]
    virtual void OnConnectMessage(const unsigned short* pszMessage) = 0;

protected:
    ~INetConnectEvent() = default;
};

/// Implemented by the plug-in, which registers it with the host's device manager for as long as it samples.
class IDeviceMgrEvent
{
public:
    /// `EVENT_DEVICE_REJECT` disconnects every dial-up device. `EVENT_DEVICE_POWER_MANAGEMENT` with an `int`
    /// at `pData`: 0, hibernation, disconnects every device; 1, waking up, connects none, for the connection
    /// manager reports anew what is up. Anything else does nothing. `pData` is read during the call only.
    /// Always 1. [any thread]
    virtual int OnDeviceMgrEvent(unsigned long nEvent, void* pData) = 0;

protected:
    ~IDeviceMgrEvent() = default;
};

/// Interface numbers of `IBasePlugin::QueryInterface`.
inline constexpr int NETINFO_INTERFACE_SERVICE = 1;
inline constexpr int NETINFO_INTERFACE_RECORD = 4;

/// What `GetCLSID` and `GetPluginName` answer: "3F2A9C71-6D4B-4c8e-A1E5-7B90C2D4E613" and "NetInfoSrvPlugin".
/// Exported by the module, so that a container can read them before it creates the plug-in.
extern __attribute__((visibility("default"))) const char* const MYCLSID;
extern __attribute__((visibility("default"))) const char* const PLUGIN_NAME;

extern "C" {
/// The one plug-in object of the process, made on the first call; null if it could not be made.
/// [container's thread]
__attribute__((visibility("default"))) IBasePlugin* CreatePlugin();
/// Destroys it; does nothing if there is none. Call `OnDestroy` first: without it the engine goes on
/// sampling, in a module that then stays in memory until the process ends. [container's thread]
__attribute__((visibility("default"))) void ReleasePlugin();
}
