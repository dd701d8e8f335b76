#include "platform/dialup/OSDialup.h"

#include <cstdlib>

void OS_DIALUP_ReleaseConnections(_OS_DIALUP_CONNECTIONSLIST* pList, unsigned int* /*pAux*/)
{
    std::free(pList);
}

void OS_DIALUP_ReleaseIfTable(_OS_DIALUP_IFTABLE* pTable, unsigned int* /*pAux*/)
{
    std::free(pTable);
}
