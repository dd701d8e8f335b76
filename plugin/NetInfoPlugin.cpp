#include "plugin/NetInfoPlugin.h"

#include <utility>

#include "device/DeviceMgr.h"
#include "platform/trace/TraceSrv.h"
#include "plugin/NetInfoImpl.h"
#include "plugin/NetInfoRecordImpl.h"
#include "sampling/PinModule.h"
#include "sampling/Statistic.h"

const char* const MYCLSID = "3F2A9C71-6D4B-4c8e-A1E5-7B90C2D4E613";
const char* const PLUGIN_NAME = "NetInfoSrvPlugin";

CNetInfoPlugin* CNetInfoPluginFactory::m_pPlugin = nullptr;
CNetInfoImpl* CNetInfoPlugin::m_pNetInfoImpl = nullptr;
CNetInfoRecordImpl* CNetInfoPlugin::m_NetInfoRecordImpl = nullptr;

namespace {

constexpr int TYPE = 1;
constexpr int VERSION = 0x101;  // major 1, minor 1

void Trace(const char* pszText) { TraceSrv_Trace(2, "NetInfoPlugin", pszText); }

/// Destroys what `p` points to and sets it to null, whatever the destructor does.
template <class OBJECT>
void Destroy(OBJECT*& p)
{
    try {
        delete std::exchange(p, nullptr);
    } catch (...) {
        Trace("CNetInfoPlugin::OnDestroy exception!");
    }
}

}  // namespace

CNetInfoPlugin::CNetInfoPlugin() = default;

CNetInfoPlugin::~CNetInfoPlugin()
{
    if (m_pStatistic || m_pDeviceMgr) PinModule();  // the engine runs on in this module's code
    m_pIPluginContainer = nullptr;
    m_pStatistic = nullptr;
    m_pDeviceMgr = nullptr;
}

void CNetInfoPlugin::Release() {}

int CNetInfoPlugin::GetLastError() { return m_nLastError; }

bool CNetInfoPlugin::Init()
{
    try {
        if (!m_pDeviceMgr) m_pDeviceMgr = new CDeviceMgr;
        if (!m_pStatistic) m_pStatistic = new CStatistic(m_pDeviceMgr);
    } catch (...) {
        Trace("CNetInfoPlugin::Init exception!");
    }
    m_nLastError = 0;
    return true;
}

bool CNetInfoPlugin::QueryInterface(int nInterface, IBaseInterface** ppInterface)
{
    m_nLastError = -1;
    if (!ppInterface) return false;
    *ppInterface = nullptr;
    try {
        switch (nInterface) {
            case NETINFO_INTERFACE_SERVICE:
                if (!m_pNetInfoImpl) m_pNetInfoImpl = new CNetInfoImpl(m_pDeviceMgr, m_pStatistic);
                *ppInterface = m_pNetInfoImpl;
                break;
            case NETINFO_INTERFACE_RECORD:
                if (!m_NetInfoRecordImpl)
                    m_NetInfoRecordImpl = new CNetInfoRecordImpl(m_pDeviceMgr, m_pStatistic);
                *ppInterface = m_NetInfoRecordImpl;
                break;
            default:
                return false;
        }
    } catch (...) {
        Trace("CNetInfoPlugin::QueryInterface exception!");
        return false;
    }
    m_nLastError = 0;
    return true;
}

int CNetInfoPlugin::GetPluginType()
{
    m_nLastError = 0;
    return TYPE;
}

const char* CNetInfoPlugin::GetCLSID()
{
    m_nLastError = 0;
    return MYCLSID;
}

int CNetInfoPlugin::GetVersion()
{
    m_nLastError = 0;
    return VERSION;
}

const char* CNetInfoPlugin::GetPluginName()
{
    m_nLastError = 0;
    return PLUGIN_NAME;
}

bool CNetInfoPlugin::IsAllowRelease() { return true; }

// Consumers before producers: the services, what feeds them, what feeds that.
void CNetInfoPlugin::OnDestroy()
{
    Destroy(m_pNetInfoImpl);
    Destroy(m_NetInfoRecordImpl);
    Destroy(m_pStatistic);
    Destroy(m_pDeviceMgr);
}

IBasePlugin* CNetInfoPluginFactory::Create()
{
    try {
        if (!m_pPlugin) m_pPlugin = new CNetInfoPlugin;
    } catch (...) {
        Trace("CreatePlugin exception!");
    }
    return m_pPlugin;
}

void CNetInfoPluginFactory::Destroy()
{
    try {
        delete std::exchange(m_pPlugin, nullptr);
    } catch (...) {
        Trace("ReleasePlugin exception!");
    }
}

IBasePlugin* CreatePlugin() { return CNetInfoPluginFactory::Create(); }

void ReleasePlugin() { CNetInfoPluginFactory::Destroy(); }
