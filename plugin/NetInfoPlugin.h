#pragma once

#include "plugin/Interfaces.h"

class CDeviceMgr;
class CStatistic;
class CNetInfoImpl;
class CNetInfoRecordImpl;

/// The one plug-in object: owns the engine and hands out the two service objects.
///
/// Threads:   every operation on the container's thread, no lock is taken. The heartbeat thread runs from
///            `Init` until `OnDestroy`.
/// Ownership: owns `m_pDeviceMgr`, `m_pStatistic` and the two service objects; the container is borrowed.
///            A service object that the host has ended itself is forgotten, and the next request makes a
///            new one.
/// Errors:    no exception leaves; `GetLastError` is 0 or -1 (unknown interface number, failed construction).
///
/// This header names the engine's classes without including them: the device tracker, which stands below the
/// plug-in object, asks it for the container.
class CNetInfoPlugin : public IBasePlugin
{
public:
    CNetInfoPlugin();
    /// Leaves an engine that `OnDestroy` has not freed running, and the module in memory for it.
    ~CNetInfoPlugin() override;
    CNetInfoPlugin(const CNetInfoPlugin&) = delete;
    CNetInfoPlugin& operator=(const CNetInfoPlugin&) = delete;

    /// Does nothing: the object lives until `ReleasePlugin`.
    void Release() override;
    int GetLastError() override;
    /// Keeps `pContainer` for the whole plug-in; it has to outlive the engine.
    void SetPluginContainer(IPluginContainer* pContainer) override;
    /// Makes the engine and starts sampling. Always true; an engine that could not be made shows in neutral
    /// answers of the services. A second call keeps the engine there is.
    bool Init() override;
    /// False, with last error -1, for an unknown number or a null `ppInterface`.
    bool QueryInterface(int nInterface, IBaseInterface** ppInterface) override;
    int GetPluginType() override;
    const char* GetCLSID() override;
    int GetVersion() override;
    const char* GetPluginName() override;
    bool IsAllowRelease() override;
    /// Ends the services, then the engine, consumer before producer; the file is saved on the way. A second
    /// call finds nothing to do.
    void OnDestroy() override;

    /// The container given last; null before, and once the plug-in object is gone. [any thread]
    static IPluginContainer* GetPluginContainer();

private:
    friend class CNetInfoImpl;
    friend class CNetInfoRecordImpl;

    int m_nLastError = 0;
    CDeviceMgr* m_pDeviceMgr = nullptr;  ///< owned, freed by OnDestroy only
    CStatistic* m_pStatistic = nullptr;  ///< owned, freed by OnDestroy only

    static IPluginContainer* m_pIPluginContainer;
    static CNetInfoImpl* m_pNetInfoImpl;  ///< owned, unless the host ends it; its destructor clears this
    static CNetInfoRecordImpl* m_NetInfoRecordImpl;  ///< the same
};

/// Makes and keeps the one plug-in object, behind the exported entry points. [container's thread]
class CNetInfoPluginFactory
{
public:
    CNetInfoPluginFactory() = delete;

    static IBasePlugin* Create();
    static void Destroy();

private:
    static CNetInfoPlugin* m_pPlugin;  ///< owned
};
