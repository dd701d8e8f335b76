#pragma once

#include "plugin/Interfaces.h"

/// What the plug-in asks of its host. The host implements these; the order of the operations is the order of
/// the slots.
///
/// Threads:   `QueryPlugin` and the adding and removing of listeners are called on the container's thread,
/// from
///            inside `Init` and `OnDestroy`. The devices are enumerated on the thread that delivers a
///            connection state, from inside that delivery and under a lock of the plug-in: none of these
///            operations may deliver a state or a device event from inside, nor wait for a lock under which
///            another thread delivers one. Adding a listener is the exception: it may deliver at once.
/// Ownership: every pointer the plug-in gets is borrowed, but for the enumerator, which it releases. Wide
/// texts
///            stay valid until the next move or the end of the enumeration or delivery; the plug-in copies
///            what it keeps.
/// Errors:    an exception is caught and traced; it counts as "not there".

class IPluginContainer
{
public:
    /// The sibling plug-in of that class identifier, borrowed: an `IConnectionManager*` or `IDeviceManager*`
    /// as `void*`. It has to live until the plug-in's `OnDestroy` has returned, which asks for it again.
    /// Null: not there; without a connection manager nothing is counted.
    virtual void* QueryPlugin(const char* pszCLSID, unsigned long ulFlags) = 0;

protected:
    ~IPluginContainer() = default;
};

/// Walks over the devices of the connection manager. One thread, one enumeration.
class IDeviceEnumerator
{
public:
    /// Ends the enumeration and frees the enumerator.
    virtual void Release() = 0;
    virtual bool MoveFirst() = 0;  ///< true if there is a device
    virtual bool MoveNext() = 0;   ///< true if there is another
    /// Designates the links whose bytes are counted: those whose description or dial-up entry contains this
    /// text. Choose it so that no other link's does ("eth1" is in "eth10", too). Null: the device is left
    /// out.
    virtual const unsigned short* GetDeviceName() = 0;
    virtual int GetConnectionType() = 0;  ///< 0 dial-up, 1 WiFi, 4 ADSL
    /// The hardware address, by which a link is recognised under another name: 12 upper-case hexadecimal
    /// digits. Null or empty: by name only.
    virtual const unsigned short* GetMAC() = 0;

protected:
    ~IDeviceEnumerator() = default;
};

class IConnectionManager
{
public:
    /// A new enumerator, the plug-in's to release; null: no devices.
    virtual IDeviceEnumerator* GetDeviceEnumerator() = 0;
    /// Tells `pListener` about every change of a connection state from now on. The result is not looked at.
    virtual bool AddConnectListener(INetConnectEvent* pListener) = 0;
    /// Returns once no delivery to `pListener` is under way: it is destroyed next. The result is not looked
    /// at.
    virtual bool RemoveConnectListener(INetConnectEvent* pListener) = 0;

protected:
    ~IConnectionManager() = default;
};

class IDeviceManager
{
public:
    /// Tells `pListener` about every device event from now on. The result is not looked at.
    virtual bool AddDeviceEventListener(IDeviceMgrEvent* pListener) = 0;
    /// Returns once no delivery to `pListener` is under way: it is destroyed next. The result is not looked
    /// at.
    virtual bool RemoveDeviceEventListener(IDeviceMgrEvent* pListener) = 0;

protected:
    ~IDeviceManager() = default;
};

/// Walks over the connections whose state the connection manager reports. The plug-in may walk it several
/// times during the delivery.
class INetConnectStatus
{
public:
    virtual bool MoveFirst() = 0;                        ///< true if there is an entry
    virtual bool MoveNext() = 0;                         ///< true if there is another
    virtual const unsigned short* GetProfileName() = 0;  ///< shown as the APN of the connection's record
    virtual const unsigned short* GetDeviceName() = 0;  ///< exactly as enumerated; null: the entry is ignored
    virtual int GetState() = 0;  ///< 1 connected, 0 disconnected; others occur and count as not connected

protected:
    ~INetConnectStatus() = default;
};

/// Class identifiers and query flags of the sibling plug-ins.
inline constexpr const char* CONNECTION_MANAGER_CLSID = "9D1E4B27-2C8F-4a61-B3D7-05E8F6A9C142";
inline constexpr unsigned long CONNECTION_MANAGER_FLAGS = 0x4001;
inline constexpr const char* DEVICE_MANAGER_CLSID = "C7A05E94-18B6-4f2d-8E3C-D6F1A2B47E90";
inline constexpr unsigned long DEVICE_MANAGER_FLAGS = 1;

/// Events of the device manager.
inline constexpr unsigned long EVENT_DEVICE_REJECT = 6601;
inline constexpr unsigned long EVENT_DEVICE_POWER_MANAGEMENT = 6616;  ///< data: int, 0 hibernate, 1 wake up
