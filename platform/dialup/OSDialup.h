#pragma once

#include <cstddef>

#include "platform/common/Export.h"

/// Counters of the machine's counted links, as the plug-in reads them once a second: dial-up connections by
/// handle, every other link as a row of the interface table. Fixed layouts, C linkage. Names, descriptions
/// and the order of rows and handles are those of CountedLinks.h.
///
/// The table opens a heartbeat: the list, names and statistics that are asked for after it are of the same
/// moment. What is asked for again within 200 ms is answered alike.
///
/// Threads:   any thread; calls are serialised inside.
/// Ownership: lists and tables belong to the caller, who gives them back to the Release function.
/// Units:     bytes since the link came up, counted from 1. A row holds them folded with the modulus
///            2^32 - 1, and never 0.
/// Errors:    0 is success; otherwise the result is an error number of the system, and list and table are
///            null. The list is null, too, where there is no dial-up connection.
extern "C" {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"  // the handles follow the count in memory
struct _OS_DIALUP_CONNECTIONSLIST
{
    int nCount;
    unsigned int aHandle[];
};
#pragma GCC diagnostic pop

struct _OS_DIALUP_CONNECTIONSTATE
{
    unsigned char aReserved[44];
    unsigned short szName[132];  ///< NUL-terminated
};

struct _OS_DIALUP_STATISTICS
{
    unsigned long long ullSent;
    unsigned long long ullReceived;
    unsigned long long ullReserved;
};

struct _OS_DIALUP_IFROW
{
    unsigned char aMac[6];
    unsigned char aReserved[26];
    unsigned int ulReceivedOctets;
    unsigned int ulSentOctets;
    char szDescription[256];  ///< NUL-terminated
};

struct _OS_DIALUP_IFTABLE
{
    int nCount;
    _OS_DIALUP_IFROW* pRows;
};

NETINFO_PLATFORM_API unsigned int OS_DIALUP_EnumConnections(_OS_DIALUP_CONNECTIONSLIST** ppList,
                                                            unsigned int* pAux);
NETINFO_PLATFORM_API unsigned int OS_DIALUP_GetConnectionState(unsigned int handle,
                                                               _OS_DIALUP_CONNECTIONSTATE* pState,
                                                               unsigned int* pAux);
NETINFO_PLATFORM_API unsigned int OS_DIALUP_GetNetworkStatistics(unsigned int handle,
                                                                 _OS_DIALUP_STATISTICS* pStatistics,
                                                                 unsigned int* pAux);
NETINFO_PLATFORM_API void OS_DIALUP_ReleaseConnections(_OS_DIALUP_CONNECTIONSLIST* pList, unsigned int* pAux);
NETINFO_PLATFORM_API unsigned int OS_DIALUP_GetIfTable(_OS_DIALUP_IFTABLE** ppTable, unsigned int* pAux);
NETINFO_PLATFORM_API void OS_DIALUP_ReleaseIfTable(_OS_DIALUP_IFTABLE* pTable, unsigned int* pAux);

}  // extern "C"

static_assert(offsetof(_OS_DIALUP_CONNECTIONSLIST, aHandle) == 4);
static_assert(offsetof(_OS_DIALUP_CONNECTIONSTATE, szName) == 44);
static_assert(sizeof(_OS_DIALUP_CONNECTIONSTATE) == 44 + 2 * 132);
static_assert(offsetof(_OS_DIALUP_STATISTICS, ullSent) == 0);
static_assert(offsetof(_OS_DIALUP_STATISTICS, ullReceived) == 8);
static_assert(sizeof(_OS_DIALUP_STATISTICS) == 24);
static_assert(offsetof(_OS_DIALUP_IFROW, aMac) == 0);
static_assert(offsetof(_OS_DIALUP_IFROW, ulReceivedOctets) == 32);
static_assert(offsetof(_OS_DIALUP_IFROW, ulSentOctets) == 36);
static_assert(offsetof(_OS_DIALUP_IFROW, szDescription) == 40);
static_assert(sizeof(_OS_DIALUP_IFROW) == 296);
