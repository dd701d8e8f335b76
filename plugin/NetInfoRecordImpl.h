#pragma once

#include "plugin/Interfaces.h"

class CDeviceMgr;
class CStatistic;

/// The record service: forwards to the engine.
///
/// Threads:   any thread, several at once; `Release` and destruction are the container's alone.
/// Ownership: the engine is borrowed and has to outlive the object; the plug-in object owns it unless the
///            host ends it with `Release()`. Record sets go to the caller.
/// Errors:    without an engine every operation gives its neutral answer.
class CNetInfoRecordImpl : public INetInfoRecord
{
public:
    CNetInfoRecordImpl(CDeviceMgr* pDeviceMgr, CStatistic* pStatistic);
    ~CNetInfoRecordImpl() override;
    CNetInfoRecordImpl(const CNetInfoRecordImpl&) = delete;
    CNetInfoRecordImpl& operator=(const CNetInfoRecordImpl&) = delete;

    void Release() override;
    int GetLastError() override;
    IConnRecord* GetAllConnRecord() override;
    IConnRecord* GetLastConnRecord() override;
    bool BeginRemoveRecord() override;
    bool RemoveRecord(int nIndex) override;
    bool EndRemoveRecord() override;

private:
    [[maybe_unused]] CDeviceMgr* m_pDeviceMgr;  ///< borrowed; not used
    CStatistic* m_pStatistic;                   ///< borrowed; null: no engine
};
