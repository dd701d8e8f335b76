#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "common/Utilities.h"
#include "device/DeviceMgr.h"
#include "device/DeviceTrace.h"
#include "platform/common/GlobalFunction.h"
#include "platform/common/NimbString.h"

namespace {

/// The one type of system whose modem adapters are known by their maker's name.
constexpr int OS_TYPE_WITH_VENDOR_FALLBACK = 1;

struct ReleaseConnections
{
    void operator()(_OS_DIALUP_CONNECTIONSLIST* pList) const
    {
        try {
            unsigned int aux = 0;
            OS_DIALUP_ReleaseConnections(pList, &aux);
        } catch (...) {
            TraceAnomaly("CDeviceMgr::GetRasSnapShot() exception!");
        }
    }
};
using ConnectionsList = std::unique_ptr<_OS_DIALUP_CONNECTIONSLIST, ReleaseConnections>;

struct ReleaseIfTable
{
    void operator()(_OS_DIALUP_IFTABLE* pTable) const
    {
        try {
            unsigned int aux = 0;
            OS_DIALUP_ReleaseIfTable(pTable, &aux);
        } catch (...) {
            TraceAnomaly("CDeviceMgr::GetIpHelperSnapShot() exception!");
        }
    }
};
using IfTable = std::unique_ptr<_OS_DIALUP_IFTABLE, ReleaseIfTable>;

std::span<const _OS_DIALUP_IFROW> Rows(const _OS_DIALUP_IFTABLE& table)
{
    if (!table.pRows || table.nCount < 0) return {};
    return {table.pRows, static_cast<std::size_t>(table.nCount)};
}

std::span<const unsigned int> Handles(const _OS_DIALUP_CONNECTIONSLIST& list)
{
    if (list.nCount < 0) return {};
    return {list.aHandle, static_cast<std::size_t>(list.nCount)};
}

/// The row's description, which may fill its field to the last byte.
std::string_view Description(const _OS_DIALUP_IFROW& row)
{
    return {row.szDescription, strnlen(row.szDescription, sizeof row.szDescription)};
}

/// A hardware address in the form in which the connection manager reports a device's.
std::string MacText(const std::array<unsigned char, 6>& mac)
{
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), "%02X%02X%02X%02X%02X%02X", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
    return text.data();
}

bool NamesModemMaker(const std::string& strDescription)
{
    return strDescription.find("VELTRA") != std::string::npos ||
           strDescription.find("QUALCOMM") != std::string::npos;
}

/// Makes a sample of an empty record.
void FillSample(nis::SNAPSHOT& stSample, int nType, unsigned long long ullReceived,
                unsigned long long ullSent)
{
    stSample.nDevice = nType;
    stSample.ullDL = ullReceived;
    stSample.ullUL = ullSent;
    stSample.clkTime = static_cast<int>(clock());
}

/// Adds every record of `vecNew` to the one of its connection type, which keeps its name and clock. Those
/// that are the first of their type are moved away.
void Merge(std::vector<nis::SNAPSHOT>& vecNew, std::vector<nis::SNAPSHOT>& vecMerged)
{
    for (nis::SNAPSHOT& stNew : vecNew) {
        bool bMatched = false;
        for (nis::SNAPSHOT& stMerged : vecMerged) {
            if (stMerged.nDevice != stNew.nDevice) continue;
            stMerged.ullDL += stNew.ullDL;
            stMerged.ullUL += stNew.ullUL;
            bMatched = true;
        }
        if (!bMatched) vecMerged.push_back(std::move(stNew));
    }
}

}  // namespace

bool CDeviceMgr::GetSnapShot(std::vector<nis::SNAPSHOT>& out)
{
    try {
        m_pool.GiveBack(m_vecMerged);
        m_vecMerged = out;  // a copy, so that `out` stays whole if memory runs out

        const bool bRows =
            x_MergeFrom([this](std::vector<nis::SNAPSHOT>& vec) { return GetIpHelperSnapShot(vec, false); });
        const bool bDialups =
            x_MergeFrom([this](std::vector<nis::SNAPSHOT>& vec) { return GetRASSnapShot(vec); });

        if (!bRows && !bDialups) {
            if (CGlobalFunction::GetOSType() != OS_TYPE_WITH_VENDOR_FALLBACK) return false;
            if (!x_MergeFrom(
                    [this](std::vector<nis::SNAPSHOT>& vec) { return GetIpHelperSnapShot(vec, true); }))
                return false;
        }
        out.swap(m_vecMerged);
        return true;
    } catch (...) {
        TraceAnomaly("CDeviceMgr::GetSnapShot() exception!");
        return false;
    }
}

template <typename Read>
bool CDeviceMgr::x_MergeFrom(Read read)
{
    m_pool.GiveBack(m_vecRead);
    const bool bRead = read(m_vecRead);
    if (bRead) Merge(m_vecRead, m_vecMerged);
    return bRead;
}

bool CDeviceMgr::GetRASSnapShot(std::vector<nis::SNAPSHOT>& out)
{
    const std::size_t nBefore = out.size();
    try {
        m_vecConn.clear();
        _OS_DIALUP_CONNECTIONSLIST* pHandedOut = nullptr;
        MyEnumConnections(m_vecConn, &pHandedOut);
        const ConnectionsList pList(pHandedOut);

        for (const MYCONN& conn : m_vecConn) {
            int nType = 0;
            _OS_DIALUP_STATISTICS statistics{};
            unsigned int aux = 0;
            nis::SNAPSHOT stSample = m_pool.Take();
            m_strEntryName = conn.szEntryName;
            if (IsSelected(m_strEntryName, nType, stSample.strName) &&
                OS_DIALUP_GetNetworkStatistics(conn.hConnection, &statistics, &aux) == 0) {
                FillSample(stSample, nType, statistics.ullReceived, statistics.ullSent);
                out.push_back(std::move(stSample));
            } else {
                m_pool.GiveBack(stSample);
            }
        }
    } catch (...) {
        TraceAnomaly("CDeviceMgr::GetRasSnapShot() exception!");
    }
    return out.size() > nBefore;
}

bool CDeviceMgr::GetIpHelperSnapShot(std::vector<nis::SNAPSHOT>& out, bool vendorFallback)
{
    const std::size_t nBefore = out.size();
    try {
        _OS_DIALUP_IFTABLE* pHandedOut = nullptr;
        unsigned int aux = 0;
        if (OS_DIALUP_GetIfTable(&pHandedOut, &aux) != 0) return false;
        const IfTable pTable(pHandedOut);
        if (!pTable) {
            TraceAnomaly("CDeviceMgr::GetIpHelperSnapShot() -- GetIFTable() exception!");
            return false;
        }

        x_AppendSelectedRows(*pTable, out);
        if (vendorFallback && out.size() == nBefore) x_AppendVendorRows(*pTable, out);
    } catch (...) {
        TraceAnomaly("CDeviceMgr::GetIpHelperSnapShot() exception!");
    }
    return out.size() > nBefore;
}

void CDeviceMgr::MyEnumConnections(std::vector<MYCONN>& conns, _OS_DIALUP_CONNECTIONSLIST** ppList)
{
    if (!ppList) return;
    *ppList = nullptr;
    try {
        unsigned int aux = 0;
        OS_DIALUP_EnumConnections(ppList, &aux);
        if (!*ppList) return;

        conns.clear();
        for (const unsigned int hConnection : Handles(**ppList)) {
            _OS_DIALUP_CONNECTIONSTATE state{};
            if (OS_DIALUP_GetConnectionState(hConnection, &state, &aux) != 0) continue;
            std::end(state.szName)[-1] = 0;

            MYCONN conn{hConnection, {}};
            NIMB_wcscpy(conn.szEntryName, state.szName);
            conns.push_back(conn);
        }
    } catch (...) {
        TraceAnomaly("CDeviceMgr::RasEnumConnections() exception!");
    }
}

void CDeviceMgr::x_AppendSelectedRows(const _OS_DIALUP_IFTABLE& table, std::vector<nis::SNAPSHOT>& out)
{
    const auto rows = Rows(table);
    m_vecRowText.resize(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        int nType = 0;
        nis::SNAPSHOT stSample = m_pool.Take();
        if (x_IsRowSelected(x_RowText(rows[i], i), nType, stSample.strName)) {
            FillSample(stSample, nType, rows[i].ulReceivedOctets, rows[i].ulSentOctets);
            out.push_back(std::move(stSample));
        } else {
            m_pool.GiveBack(stSample);
        }
    }
}

void CDeviceMgr::x_AppendVendorRows(const _OS_DIALUP_IFTABLE& table, std::vector<nis::SNAPSHOT>& out) const
{
    for (const _OS_DIALUP_IFROW& row : Rows(table)) {
        const std::string strDescription(Description(row));
        if (!NamesModemMaker(strDescription)) continue;
        nis::SNAPSHOT stSample;
        stSample.strName = MyMultiByteToWideChar(strDescription.c_str(), SYSTEM_CODE_PAGE);
        if (ContainCrashSoftKeyWord(stSample.strName)) continue;
        FillSample(stSample, TYPE_DIALUP, row.ulReceivedOctets, row.ulSentOctets);
        out.push_back(std::move(stSample));
    }
}

bool CDeviceMgr::x_IsRowSelected(const ROW_TEXT& text, int& type, U16String& deviceName)
{
    return IsSelected(text.strName, type, deviceName) || IsMacSelected(text.strMac.c_str(), type, deviceName);
}

/// The row's texts, converted only if they are others than in the last table.
const CDeviceMgr::ROW_TEXT& CDeviceMgr::x_RowText(const _OS_DIALUP_IFROW& row, std::size_t nRow)
{
    ROW_TEXT& text = m_vecRowText[nRow];
    if (text.strDescription != Description(row) || text.strName.empty()) {
        text.strName.clear();
        text.strDescription = Description(row);
        text.strName = MyMultiByteToWideChar(text.strDescription.c_str(), SYSTEM_CODE_PAGE);
    }
    if (std::memcmp(text.mac.data(), row.aMac, sizeof row.aMac) != 0 || text.strMac.empty()) {
        text.strMac.clear();
        std::memcpy(text.mac.data(), row.aMac, sizeof row.aMac);
        text.strMac = MyMultiByteToWideChar(MacText(text.mac).c_str(), SYSTEM_CODE_PAGE);
    }
    return text;
}
