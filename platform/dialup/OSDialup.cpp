#include "platform/dialup/OSDialup.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>

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

/// Memory for lists or tables. What is given back is kept for the next one, so that a caller who gives back
/// before asking again costs no allocation.
///
/// Threads: any.
class Blocks
{
public:
    /// Memory for a `T` and `size` bytes behind it. It holds zeros, or what it was last used for.
    template <class T>
    T* Take(std::size_t size)
    {
        return static_cast<T*>(TakeBytes(sizeof(T) + size));
    }
    void GiveBack(void* memory)
    {
        if (memory == nullptr) return;
        std::free(m_spare.exchange(static_cast<Head*>(memory) - 1));
    }

private:
    struct alignas(std::max_align_t) Head
    {
        std::size_t size;  ///< of what follows, in bytes
    };

    void* TakeBytes(std::size_t size)
    {
        Head* block = m_spare.exchange(nullptr);
        if (block == nullptr || block->size < size) {
            std::free(block);
            block = static_cast<Head*>(std::calloc(1, sizeof(Head) + size));
            if (block == nullptr) throw std::bad_alloc();
            block->size = size;
        }
        return block + 1;
    }

    std::atomic<Head*> m_spare{nullptr};  ///< the last one given back
};

// One each, for they are held at the same time. Never freed: a thread may outlive the end of the program.
constinit Blocks g_lists;
constinit Blocks g_tables;

void FillRow(const PresentedLink& link, _OS_DIALUP_IFROW& row)
{
    // Nothing else of the row is touched: most of it is room for a long description.
    std::copy(link.link.address.begin(), link.link.address.end(), row.aMac);
    row.ulReceivedOctets = PresentedLink::InRow(link.counters.received);
    row.ulSentOctets = PresentedLink::InRow(link.counters.sent);
    const std::size_t length = std::min(link.deviceName.size(), sizeof(row.szDescription) - 1);
    std::copy_n(link.deviceName.data(), length, row.szDescription);
    row.szDescription[length] = 0;
}

}  // namespace

unsigned int OS_DIALUP_EnumConnections(_OS_DIALUP_CONNECTIONSLIST** ppList, unsigned int* /*pAux*/)
{
    if (ppList == nullptr) return EINVAL;
    *ppList = nullptr;
    return Ask(__func__, [&](LinkMonitor& monitor) {
        netinfo::PresentedLinks connections;
        if (const int error = monitor.ReadConnections(connections); error != 0) return error;
        if (connections.empty()) return 0;

        auto* const list =
            g_lists.Take<_OS_DIALUP_CONNECTIONSLIST>(connections.size() * sizeof(unsigned int));
        list->nCount = 0;
        for (const PresentedLink* const connection : connections) {
            list->aHandle[list->nCount++] = connection->number;
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
        const PresentedLink* connection = nullptr;
        if (const int error = monitor.ReadName(handle, connection); error != 0) return error;

        *pState = {};
        const std::string& name = connection->deviceName;  // printable ASCII
        std::copy_n(name.begin(), std::min(name.size(), std::size(pState->szName) - 1), pState->szName);
        return 0;
    });
}

unsigned int OS_DIALUP_GetNetworkStatistics(unsigned int handle, _OS_DIALUP_STATISTICS* pStatistics,
                                            unsigned int* /*pAux*/)
{
    if (pStatistics == nullptr) return EINVAL;
    return Ask(__func__, [&](LinkMonitor& monitor) {
        const PresentedLink* connection = nullptr;
        if (const int error = monitor.ReadStatistics(handle, connection); error != 0) return error;

        *pStatistics = {connection->counters.sent, connection->counters.received, 0};
        return 0;
    });
}

void OS_DIALUP_ReleaseConnections(_OS_DIALUP_CONNECTIONSLIST* pList, unsigned int* /*pAux*/)
{
    g_lists.GiveBack(pList);
}

unsigned int OS_DIALUP_GetIfTable(_OS_DIALUP_IFTABLE** ppTable, unsigned int* /*pAux*/)
{
    if (ppTable == nullptr) return EINVAL;
    *ppTable = nullptr;
    return Ask(__func__, [&](LinkMonitor& monitor) {
        netinfo::PresentedLinks rows;
        if (const int error = monitor.ReadRows(rows); error != 0) {
            Trace("OS_DIALUP_GetIfTable", std::strerror(error));
            return error;
        }

        auto* const table = g_tables.Take<_OS_DIALUP_IFTABLE>(rows.size() * sizeof(_OS_DIALUP_IFROW));
        table->nCount = 0;
        table->pRows = reinterpret_cast<_OS_DIALUP_IFROW*>(table + 1);
        for (const PresentedLink* const row : rows) {
            FillRow(*row, table->pRows[table->nCount++]);
        }
        *ppTable = table;
        return 0;
    });
}

void OS_DIALUP_ReleaseIfTable(_OS_DIALUP_IFTABLE* pTable, unsigned int* /*pAux*/)
{
    g_tables.GiveBack(pTable);
}
