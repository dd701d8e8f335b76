#pragma once

#include "plugin/HostInterfaces.h"

namespace netinfo {

/// What the plug-in finds its sibling plug-ins through.
///
/// Threads:   any. Ownership: the siblings are borrowed and have to outlive the plug-in's engine.
class Container final : public IPluginContainer
{
public:
    /// A container without siblings: the plug-in then samples nothing.
    Container() = default;
    Container(IConnectionManager& connections, IDeviceManager& devices)
        : m_connections(&connections), m_devices(&devices)
    {}

    /// The sibling of that class identifier; null for any other, whatever the flags.
    void* QueryPlugin(const char* pszCLSID, unsigned long ulFlags) override;

private:
    IConnectionManager* const m_connections = nullptr;
    IDeviceManager* const m_devices = nullptr;
};

}  // namespace netinfo
