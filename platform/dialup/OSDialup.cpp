#include "platform/dialup/OSDialup.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <vector>

#include "platform/dialup/LinkService.h"
#include "platform/trace/TraceSrv.h"

namespace {

using netinfo::LinkMonitor;
using netinfo::LinkService;
using netinfo::PresentedLink;

void Trace(const char* function, const char* text)
{
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), "%s() %s", function, text);
    TraceSrv_Trace(2, "OSDialup", line.data());
}

/// Puts one of the plug-in's questions to the monitor: `question(monitor)` delivers the answer and returns 0
/// or an error number. Nothing is thrown at the plug-in; an answer lost on its way fails the heartbeat.
template <class Question>
unsigned int Ask(const char* function, Question question) noexcept
try {
    return static_cast<unsigned int>(LinkService::Instance().Ask([&](LinkMonitor& monitor) {
        try {
            return question(monitor);
        } catch (...) {
            monitor.FailHeartbeat(ENOMEM);
            throw;
        }
    }));
} catch (...) {
    Trace(function, "exception!");
    return ENOMEM;
}

/// Zeroed memory for a `T` and `size` bytes behind it.
template <class T>
T* Allocate(std::size_t size)
{
    auto* const memory = static_cast<T*>(std::calloc(1, sizeof(T) + size));
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void FillRow(const PresentedLink& link, _OS_DIALUP_IFROW& row)
{
    std::copy(link.link.address.begin(), link.link.address.end(), row.aMac);
    row.ulReceivedOctets = PresentedLink::InRow(link.counters.received);
    row.ulSentOctets = PresentedLink::InRow(link.counters.sent);
    link.deviceName.copy(row.szDescription, sizeof(row.szDescription) - 1);
}

}  // namespace

unsigned int OS_DIALUP_EnumConnections(_OS_DIALUP_CONNECTIONSLIST** ppList, unsigned int* /*pAux*/)
{
    if (ppList == nullptr) return EINVAL;
    *ppList = nullptr;
    return Ask(__func__, [&](LinkMonitor& monitor) {
        std::vector<PresentedLink> connections;
        if (const int error = monitor.ReadConnections(connections); error != 0) return error;
        if (connections.empty()) return 0;

        auto* const list = Allocate<_OS_DIALUP_CONNECTIONSLIST>(connections.size() * sizeof(unsigned int));
        for (const PresentedLink& connection : connections) {
            list->aHandle[list->nCount++] = connection.number;
        }
        *ppList = list;
        return 0;
    });
}

unsigned int OS_DIALUP_GetConnectionState(unsigned int handle, _OS_DIALUP_CONNECTIONSTATE* pState,
                                          unsigned int* /*pAux*/)
{
    if (pState == nullptr) return EINVAL;
    return Ask(__func__, [&](LinkMonitor& monitor) {
        PresentedLink connection;
        if (const int error = monitor.ReadName(handle, connection); error != 0) return error;

        *pState = {};
        const std::size_t length = std::min(connection.deviceName.size(), std::size(pState->szName) - 1);
        std::copy_n(connection.deviceName.begin(), length, pState->szName);  // printable ASCII
        return 0;
    });
}

unsigned int OS_DIALUP_GetNetworkStatistics(unsigned int handle, _OS_DIALUP_STATISTICS* pStatistics,
                                            unsigned int* /*pAux*/)
{
    if (pStatistics == nullptr) return EINVAL;
    return Ask(__func__, [&](LinkMonitor& monitor) {
        PresentedLink connection;
        if (const int error = monitor.ReadStatistics(handle, connection); error != 0) return error;

        *pStatistics = {connection.counters.sent, connection.counters.received, 0};
        return 0;
    });
}

void OS_DIALUP_ReleaseConnections(_OS_DIALUP_CONNECTIONSLIST* pList, unsigned int* /*pAux*/)
{
    std::free(pList);
}

unsigned int OS_DIALUP_GetIfTable(_OS_DIALUP_IFTABLE** ppTable, unsigned int* /*pAux*/)
{
    if (ppTable == nullptr) return EINVAL;
    *ppTable = nullptr;
    return Ask(__func__, [&](LinkMonitor& monitor) {
        std::vector<PresentedLink> rows;
        if (const int error = monitor.ReadRows(rows); error != 0) {
            Trace("OS_DIALUP_GetIfTable", std::strerror(error));
            return error;
        }

        auto* const table = Allocate<_OS_DIALUP_IFTABLE>(rows.size() * sizeof(_OS_DIALUP_IFROW));
        table->pRows = reinterpret_cast<_OS_DIALUP_IFROW*>(table + 1);
        for (const PresentedLink& row : rows) {
            FillRow(row, table->pRows[table->nCount++]);
        }
        *ppTable = table;
        return 0;
    });
}

void OS_DIALUP_ReleaseIfTable(_OS_DIALUP_IFTABLE* pTable, unsigned int* /*pAux*/) { std::free(pTable); }
