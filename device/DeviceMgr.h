#pragma once

#include <array>
#include <atomic>
#include <list>
#include <string>
#include <vector>

#include "device/SnapShotPool.h"
#include "platform/common/JMutex.h"
#include "platform/common/ThreadAnnotations.h"
#include "platform/dialup/OSDialup.h"
#include "plugin/HostInterfaces.h"
#include "plugin/Interfaces.h"
#include "plugin/Records.h"

/// Knows the devices that the host's connection manager reports and which of them are connected, and reads
/// the byte counters of every link that belongs to a connected one.
///
/// Threads:   connection and device events arrive on host threads, on several at once if the host likes; the
///            snapshots, `HaveConnected` and `GetProfileName` are asked on the heartbeat thread. They meet at
///            the device list, under m_mtxDevice. A query holds it for its own duration only, so a snapshot
///            may see the list change between two rows. A connection event holds it from the refresh of the
///            list to the last flag, and calls the connection manager and the status while it does: neither
///            may deliver an event from inside those calls, nor wait there for a lock under which another
///            thread delivers one.
/// Ownership: the container and the sibling plug-ins behind it are borrowed and have to outlive the object;
///            lists, tables and enumerators that they hand out are released before the operation ends.
/// Units:     counters are bytes since the link came up, as the platform presents them.
/// Errors:    no exception leaves an operation of the engine or of the host: it is traced at level 2 with the
///            function's name, and the neutral value (false, empty) returned. Nothing here makes construction
///            fail.
class CDeviceMgr : public INetConnectEvent, public IDeviceMgrEvent
{
public:
    using U16String = std::basic_string<unsigned short>;

    /// A device of the connection manager with its connection state.
    struct DEVICE_INFO
    {
        U16String strDeviceName;   ///< occurs in the names of the links that belong to the device
        U16String strProfileName;  ///< the profile it is connected with; empty while disconnected
        U16String strMAC;          ///< 12 upper-case hexadecimal digits; may be empty
        int nConnectionType = -1;  ///< 0 dial-up, 1 WiFi, 4 ADSL, -1 not known yet
        int bConnected = 0;        ///< 1 while it has an open connection
        int bSelected = 0;         ///< 1 while its traffic is counted; goes together with bConnected
    };

    /// A dial-up connection whose name could be read.
    struct MYCONN
    {
        unsigned int hConnection;         ///< handle in the dial-up layer
        unsigned short szEntryName[132];  ///< NUL-terminated
    };

    /// Registers with the sibling plug-ins and then loads the conflicting-software list. The connection
    /// manager may deliver a state from inside the registration. [host thread]
    CDeviceMgr();
    CDeviceMgr(const CDeviceMgr&) = delete;
    CDeviceMgr& operator=(const CDeviceMgr&) = delete;

    /// A connection has changed its state. The host may rely on this: the call never throws; `pStatus` and
    /// its texts are read during the call only, each text before the next move; a null status, or one
    /// without an entry in state 0 or 1, changes nothing; the next query sees the new state. The first event
    /// of the process only connects; every later one disconnects, too. [host thread]
    void OnConnectState(INetConnectStatus* pStatus) NETINFO_EXCLUDES(m_mtxDevice) override;
    /// Does nothing. [host thread]
    void OnConnectMessage(const unsigned short* pszMessage) override;

    /// Withdraws the registrations, whatever became of them. A sibling plug-in has to finish a call to the
    /// listener before its remove operation returns. [host thread]
    virtual ~CDeviceMgr();

    /// Device reject disconnects every dial-up device, hibernation every device; waking up connects none: the
    /// connection manager reports anew what is up. `pData` is read during the call only. The host may rely
    /// on this: the call never throws, does nothing for an event it does not know, and answers 1 always.
    /// [host thread]
    int OnDeviceMgrEvent(unsigned long nEvent, void* pData) NETINFO_EXCLUDES(m_mtxDevice) override;

    /// Merges into `out` the counters of every link of a selected device, one record for each connection
    /// type. False if there was none; `out` is unchanged then. [heartbeat thread]
    bool GetSnapShot(std::vector<nis::SNAPSHOT>& out);
    /// Where `GetSnapShot` takes its records from, and where they may be given back once they have served.
    /// [heartbeat thread]
    CSnapShotPool& SnapShotPool() { return m_pool; }
    /// Appends one record for each counted dial-up connection; true if there was one. [heartbeat thread]
    bool GetRASSnapShot(std::vector<nis::SNAPSHOT>& out);
    /// Appends one record for each counted row of the interface table; true if there was one. If none
    /// belongs to a selected device, `vendorFallback` counts the rows of known modem makers as dial-up.
    /// [heartbeat thread]
    bool GetIpHelperSnapShot(std::vector<nis::SNAPSHOT>& out, bool vendorFallback);
    /// Fills `conns` with the dial-up connections whose state can be read; leaves it as it was if there is no
    /// list. `*ppList` is null afterwards, or the caller's to release. [heartbeat thread]
    void MyEnumConnections(std::vector<MYCONN>& conns, _OS_DIALUP_CONNECTIONSLIST** ppList);

    /// True while any device is connected. [any thread]
    bool HaveConnected() NETINFO_EXCLUDES(m_mtxDevice);
    /// The profile of the first selected device if `deviceName` is empty, else of the first device whose name
    /// occurs in `deviceName`; empty if there is none. [any thread]
    U16String GetProfileName(const U16String& deviceName) NETINFO_EXCLUDES(m_mtxDevice);

    /// Brings `devices` up to date with the connection manager: its devices in its order, those already known
    /// (by name or hardware address) with their state. Unchanged if there is no connection manager or it
    /// throws, empty if it reports no device. Whoever passes the object's own list holds its lock.
    /// [host thread]
    void GetAvailableDevices(std::list<DEVICE_INFO>& devices) const;

    /// True if the name of a selected device occurs in `name`, no conflicting software does, and `name` is
    /// not that of a packet scheduler's row; `type` and `deviceName` are then the device's. In the packet
    /// scheduler's case they are filled all the same, otherwise untouched. Case matters. [any thread]
    bool IsSelected(const U16String& name, int& type, U16String& deviceName) NETINFO_EXCLUDES(m_mtxDevice);
    /// The same for a narrow name; null selects nothing. [any thread]
    bool IsSelected(const char* name, int& type, U16String& deviceName) NETINFO_EXCLUDES(m_mtxDevice);
    /// True if `mac` is exactly the address of a selected device; `type` and `deviceName` are then the
    /// device's, otherwise untouched. Null selects nothing. [any thread]
    bool IsMacSelected(const unsigned short* mac, int& type, U16String& deviceName)
        NETINFO_EXCLUDES(m_mtxDevice);

    /// Adds the object to the listeners of both sibling plug-ins. [the constructor]
    void RegisterNetConnectEvent();
    /// Takes it back out. [the destructor]
    void DeregisterNetConnectEvent();

    /// The full path of a file in the module's directory. [any thread]
    std::string GetSystemSettingPath(std::string fileName);
    /// Appends the keywords of the system settings file to the conflicting-software list. [the constructor]
    void GetFluxconflictSoft();
    /// True if a keyword of the conflicting-software list occurs in `text`. Case matters. [any thread]
    bool ContainCrashSoftKeyWord(const U16String& text) const;

protected:
    /// Set until the first connection event of the process has been handled.
    static std::atomic<bool> s_bFirstEvent;

private:
    /// Of the platform's narrow texts: descriptions, paths, keywords of the settings file, trace lines. One
    /// for all, so that a keyword and the description it occurs in are read alike.
    static constexpr int SYSTEM_CODE_PAGE = 0;

    /// Connection type of the modem devices.
    static constexpr int TYPE_DIALUP = 0;

    /// The texts of a row as devices are matched with them.
    struct ROW_TEXT
    {
        std::string strDescription;
        U16String strName;                   ///< the description, converted
        std::array<unsigned char, 6> mac{};  ///< as in the row
        U16String strMac;                    ///< the same in the form of a device's; empty: not made yet
    };

    /// The two passes of the interface table: the rows of selected devices; the rows of known modem makers.
    void x_AppendSelectedRows(const _OS_DIALUP_IFTABLE& table, std::vector<nis::SNAPSHOT>& out)
        NETINFO_EXCLUDES(m_mtxDevice);
    void x_AppendVendorRows(const _OS_DIALUP_IFTABLE& table, std::vector<nis::SNAPSHOT>& out) const;
    bool x_IsRowSelected(const ROW_TEXT& text, int& type, U16String& deviceName)
        NETINFO_EXCLUDES(m_mtxDevice);
    const ROW_TEXT& x_RowText(const _OS_DIALUP_IFROW& row, std::size_t nRow);
    /// Reads one of the sources with `read`, merges what it gives into m_vecMerged and answers what it
    /// answers.
    template <typename Read>
    bool x_MergeFrom(Read read);
    /// One entry of the first connection status of the process, and of every later one.
    void x_TakeFirstState(INetConnectStatus& status) NETINFO_REQUIRES(m_mtxDevice);
    void x_TakeState(INetConnectStatus& status) NETINFO_REQUIRES(m_mtxDevice);
    void x_OnDeviceReject() NETINFO_EXCLUDES(m_mtxDevice);
    void x_OnPowerManagement(const void* pData) NETINFO_EXCLUDES(m_mtxDevice);
    std::list<DEVICE_INFO>::iterator x_FindDevice(const U16String& strDeviceName)
        NETINFO_REQUIRES(m_mtxDevice);

    std::list<DEVICE_INFO> m_lstDevice NETINFO_GUARDED_BY(m_mtxDevice);  ///< in the order reported
    JMutex m_mtxDevice;
    IPluginContainer* m_pContainer = nullptr;  ///< borrowed; where the listener is registered, null: nowhere
    std::list<U16String> m_lstCrashSoft;       ///< keywords in file order; not changed after construction

    // Kept from one snapshot to the next, for texts and memory. [heartbeat thread]

    CSnapShotPool m_pool;
    std::vector<ROW_TEXT> m_vecRowText;  ///< of the rows of the last table, in its order
    std::vector<nis::SNAPSHOT> m_vecRead;
    std::vector<nis::SNAPSHOT> m_vecMerged;
    std::vector<MYCONN> m_vecConn;
    U16String m_strEntryName;
};
