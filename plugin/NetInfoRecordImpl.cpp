#include "plugin/NetInfoRecordImpl.h"

#include "plugin/NetInfoPlugin.h"
#include "sampling/Statistic.h"

CNetInfoRecordImpl::CNetInfoRecordImpl(CDeviceMgr* pDeviceMgr, CStatistic* pStatistic)
    : m_pDeviceMgr(pDeviceMgr), m_pStatistic(pStatistic)
{}

CNetInfoRecordImpl::~CNetInfoRecordImpl()
{
    if (CNetInfoPlugin::m_NetInfoRecordImpl == this) CNetInfoPlugin::m_NetInfoRecordImpl = nullptr;
}

void CNetInfoRecordImpl::Release()
{
    try {
        delete this;
    } catch (...) {  // nothing leaves the plug-in
    }
}

int CNetInfoRecordImpl::GetLastError() { return 0; }

IConnRecord* CNetInfoRecordImpl::GetAllConnRecord()
{
    return m_pStatistic ? m_pStatistic->GetAllConnRecord() : nullptr;
}

IConnRecord* CNetInfoRecordImpl::GetLastConnRecord()
{
    return m_pStatistic ? m_pStatistic->GetLastConnRecord() : nullptr;
}

bool CNetInfoRecordImpl::BeginRemoveRecord() { return m_pStatistic && m_pStatistic->BeginRemoveRecord(); }

bool CNetInfoRecordImpl::RemoveRecord(int nIndex)
{
    return m_pStatistic && m_pStatistic->RemoveRecord(nIndex);
}

bool CNetInfoRecordImpl::EndRemoveRecord() { return m_pStatistic && m_pStatistic->EndRemoveRecord(); }
