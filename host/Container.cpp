#include "host/Container.h"

#include <string_view>

namespace netinfo {

void* Container::QueryPlugin(const char* pszCLSID, unsigned long /*ulFlags*/)
{
    if (!pszCLSID) return nullptr;
    const std::string_view wanted = pszCLSID;
    if (wanted == CONNECTION_MANAGER_CLSID) return m_connections;
    if (wanted == DEVICE_MANAGER_CLSID) return m_devices;
    return nullptr;
}

}  // namespace netinfo
