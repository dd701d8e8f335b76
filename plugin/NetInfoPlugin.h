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
/// Errors:    no exception leaves; `GetLastError` is 0 or -1 (unknown interface number, failed construction).
///
/// This header names the engine's classes without including them: the device tracker, which stands below the
/// plug-in object, asks it for the container.
class CNetInfoPlugin : public IBasePlugin
{
public:
    CNetInfoPlugin();
    ~CNetInfoPlugin() override;
    CNetInfoPlugin(const CNetInfoPlugin&) = delete;
    CNetInfoPlugin& operator=(const CNetInfoPlugin&) = delete;

    /// Does nothing: the object lives until `ReleasePlugin`.
    void Release() override;
    int GetLastError() override;
    /// Keeps `pContainer` for the whole plug-in; it has to outlive the engine.
    void SetPluginContainer(IPluginContainer* pContainer) override;
    /// Makes the engine and starts sampling. Always true; an engine that could not be made shows in neutral
    /// answers of the services.
    bool Init() override;
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
    static CNetInfoImpl* m_pNetInfoImpl;
    static CNetInfoRecordImpl* m_NetInfoRecordImpl;
};
