#pragma once

#include "plugin/Interfaces.h"

/// What the plug-in asks of its host. The host implements these; the order of the operations is the order of
/// the slots. Texts are UTF-16 and stay valid until the next move or the end of the call.

class IPluginContainer
{
public:
    /// The sibling plug-in of that class identifier, borrowed; null: not there.
    virtual void* QueryPlugin(const char* pszCLSID, unsigned long ulFlags) = 0;

protected:
    ~IPluginContainer() = default;
};

class IDeviceEnumerator
{
public:
    /// Ends the enumeration and frees the enumerator.
    virtual void Release() = 0;
    virtual bool MoveFirst() = 0;
    virtual bool MoveNext() = 0;
    virtual const unsigned short* GetDeviceName() = 0;  ///< may be null
    virtual int GetConnectionType() = 0;                ///< 0 dial-up, 1 WiFi, 4 ADSL
    virtual const unsigned short* GetMAC() = 0;         ///< 12 upper-case hexadecimal digits, or null

protected:
    ~IDeviceEnumerator() = default;
};

class IConnectionManager
{
public:
    /// A new enumerator, the caller's to release; null: no devices.
    virtual IDeviceEnumerator* GetDeviceEnumerator() = 0;
    virtual bool AddConnectListener(INetConnectEvent* pListener) = 0;
    virtual bool RemoveConnectListener(INetConnectEvent* pListener) = 0;

protected:
    ~IConnectionManager() = default;
};

class IDeviceManager
{
public:
    virtual bool AddDeviceEventListener(IDeviceMgrEvent* pListener) = 0;
    virtual bool RemoveDeviceEventListener(IDeviceMgrEvent* pListener) = 0;

protected:
    ~IDeviceManager() = default;
};

/// An iterator over the connections whose state the connection manager reports.
class INetConnectStatus
{
public:
    virtual bool MoveFirst() = 0;
    virtual bool MoveNext() = 0;
    virtual const unsigned short* GetProfileName() = 0;
    virtual const unsigned short* GetDeviceName() = 0;  ///< may be null
    virtual int GetState() = 0;                         ///< 1 connected, 0 disconnected

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
