#pragma once

#include "plugin/HostInterfaces.h"

/// The sibling plug-ins by way of the container; null: not there. Borrowed. May throw what the host throws.

inline IConnectionManager* FindConnectionManager(IPluginContainer& container)
{
    return static_cast<IConnectionManager*>(
        container.QueryPlugin(CONNECTION_MANAGER_CLSID, CONNECTION_MANAGER_FLAGS));
}

inline IDeviceManager* FindDeviceManager(IPluginContainer& container)
{
    return static_cast<IDeviceManager*>(container.QueryPlugin(DEVICE_MANAGER_CLSID, DEVICE_MANAGER_FLAGS));
}
