#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <span>
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
std::string Description(const _OS_DIALUP_IFROW& row)
{
    return {row.szDescription, strnlen(row.szDescription, sizeof row.szDescription)};
}

/// The row's hardware address in the form in which the connection manager reports a device's.
std::string MacText(const _OS_DIALUP_IFROW& row)
{
    std::array<char, 128> text{};
    const auto& mac = row.aMac;
    std::snprintf(text.data(), text.size(), "%02X%02X%02X%02X%02X%02X", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
    return text.data();
}

bool NamesModemMaker(const std::string& strDescription)
{
    return strDescription.find("VELTRA") != std::string::npos ||
           strDescription.find("QUALCOMM") != std::string::npos;
}

nis::SNAPSHOT MakeSample(int nType, CDeviceMgr::U16String strName, unsigned long long ullReceived,
                         unsigned long long ullSent)
{
    nis::SNAPSHOT stSample;
    stSample.nDevice = nType;
    stSample.strName = std::move(strName);
    stSample.ullDL = ullReceived;
    stSample.ullUL = ullSent;
    stSample.clkTime = static_cast<int>(clock());
    return stSample;
}

/// Adds every record of `vecNew` to the one of its connection type, which keeps its name and clock.
void Merge(const std::vector<nis::SNAPSHOT>& vecNew, std::vector<nis::SNAPSHOT>& vecMerged)
{
    for (const nis::SNAPSHOT& stNew : vecNew) {
        bool bMatched = false;
        for (nis::SNAPSHOT& stMerged : vecMerged) {
            if (stMerged.nDevice != stNew.nDevice) continue;
            stMerged.ullDL += stNew.ullDL;
            stMerged.ullUL += stNew.ullUL;
            bMatched = true;
        }
        if (!bMatched) vecMerged.push_back(stNew);
    }
}

}  // namespace

bool CDeviceMgr::GetSnapShot(std::vector<nis::SNAPSHOT>& out)
{
    try {
        std::vector<nis::SNAPSHOT> vecMerged(out);  // so that `out` stays whole if memory runs out

        std::vector<nis::SNAPSHOT> vecRows;
        const bool bRows = GetIpHelperSnapShot(vecRows, false);
        Merge(vecRows, vecMerged);
        std::vector<nis::SNAPSHOT> vecDialups;
        const bool bDialups = GetRASSnapShot(vecDialups);
        Merge(vecDialups, vecMerged);

        if (!bRows && !bDialups) {
            if (CGlobalFunction::GetOSType() != OS_TYPE_WITH_VENDOR_FALLBACK) return false;
            std::vector<nis::SNAPSHOT> vecVendor;
            if (!GetIpHelperSnapShot(vecVendor, true)) return false;
            Merge(vecVendor, vecMerged);
        }
        out.swap(vecMerged);
        return true;
    } catch (...) {
        TraceAnomaly("CDeviceMgr::GetSnapShot() exception!");
        return false;
    }
}

bool CDeviceMgr::GetRASSnapShot(std::vector<nis::SNAPSHOT>& out)
{
    const std::size_t nBefore = out.size();
    try {
        std::vector<MYCONN> vecConn;
        _OS_DIALUP_CONNECTIONSLIST* pHandedOut = nullptr;
        MyEnumConnections(vecConn, &pHandedOut);
        const ConnectionsList pList(pHandedOut);

        for (const MYCONN& conn : vecConn) {
            int nType = 0;
            U16String strDevice;
            if (!IsSelected(U16String(conn.szEntryName), nType, strDevice)) continue;

            _OS_DIALUP_STATISTICS statistics{};
            unsigned int aux = 0;
            if (OS_DIALUP_GetNetworkStatistics(conn.hConnection, &statistics, &aux) != 0) continue;

            out.push_back(
                MakeSample(nType, std::move(strDevice), statistics.ullReceived, statistics.ullSent));
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
    for (const _OS_DIALUP_IFROW& row : Rows(table)) {
        int nType = 0;
        U16String strDevice;
        if (!x_IsRowSelected(row, nType, strDevice)) continue;
        out.push_back(MakeSample(nType, std::move(strDevice), row.ulReceivedOctets, row.ulSentOctets));
    }
}

void CDeviceMgr::x_AppendVendorRows(const _OS_DIALUP_IFTABLE& table, std::vector<nis::SNAPSHOT>& out) const
{
    for (const _OS_DIALUP_IFROW& row : Rows(table)) {
        const std::string strDescription = Description(row);
        if (!NamesModemMaker(strDescription)) continue;
        U16String strName = MyMultiByteToWideChar(strDescription.c_str(), SYSTEM_CODE_PAGE);
        if (ContainCrashSoftKeyWord(strName)) continue;
        out.push_back(MakeSample(TYPE_DIALUP, std::move(strName), row.ulReceivedOctets, row.ulSentOctets));
    }
}

bool CDeviceMgr::x_IsRowSelected(const _OS_DIALUP_IFROW& row, int& type, U16String& deviceName)
{
    if (IsSelected(Description(row).c_str(), type, deviceName)) return true;
    const U16String strMac = MyMultiByteToWideChar(MacText(row).c_str(), SYSTEM_CODE_PAGE);
    return IsMacSelected(strMac.c_str(), type, deviceName);
}
