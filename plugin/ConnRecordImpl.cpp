#include "plugin/ConnRecordImpl.h"

#include <utility>

CConnRecordImpl::CConnRecordImpl() : m_itCursor(m_vecRecord.cend()) {}

void CConnRecordImpl::Release()
{
    try {
        delete this;
    } catch (...) {  // nothing leaves the plug-in
    }
}

int CConnRecordImpl::GetLastError() { return 0; }

bool CConnRecordImpl::MoveFirst()
{
    m_itCursor = m_vecRecord.cbegin();
    return !m_vecRecord.empty();
}

bool CConnRecordImpl::MoveNext()
{
    if (m_itCursor != m_vecRecord.cend()) ++m_itCursor;
    return m_itCursor != m_vecRecord.cend();
}

const char* CConnRecordImpl::GetAPN() { return Text(&tagConnRecord::strAPN); }
const char* CConnRecordImpl::GetStartTime() { return Text(&tagConnRecord::strStartTime); }
const char* CConnRecordImpl::GetEndTime() { return Text(&tagConnRecord::strEndTime); }
const char* CConnRecordImpl::GetConnectTime() { return Text(&tagConnRecord::strConnectTime); }
const char* CConnRecordImpl::GetUploadData() { return Text(&tagConnRecord::strUploadData); }
const char* CConnRecordImpl::GetDownloadData() { return Text(&tagConnRecord::strDownloadData); }
const char* CConnRecordImpl::GetUnitPrice() { return Text(&tagConnRecord::strUnitPrice); }
const char* CConnRecordImpl::GetFee() { return Text(&tagConnRecord::strFee); }

int CConnRecordImpl::GetAllRecordCount() { return static_cast<int>(m_vecRecord.size()); }

void CConnRecordImpl::Reserve(std::size_t count)
{
    m_vecRecord.reserve(count);
    m_itCursor = m_vecRecord.cbegin();
}

void CConnRecordImpl::AddRecord(const tagConnRecord& rec) { AddRecord(tagConnRecord(rec)); }

void CConnRecordImpl::AddRecord(tagConnRecord&& rec)
{
    m_vecRecord.push_back(std::move(rec));
    m_itCursor = m_vecRecord.cbegin();
}

const char* CConnRecordImpl::Text(std::string tagConnRecord::*pField) const
{
    if (m_itCursor == m_vecRecord.cend()) return "";
    return ((*m_itCursor).*pField).c_str();
}
