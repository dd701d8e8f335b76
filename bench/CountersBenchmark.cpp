#include <benchmark/benchmark.h>

#include "platform/dialup/OSDialup.h"

namespace {

/// What one heartbeat reads of this machine's links: the interface table, then the dial-up connections. Reads
/// that follow each other at once share a dump of the kernel, so this is the cost without it.
void ReadCountersOfOneBeat(benchmark::State& state)
{
    unsigned int aux = 0;
    for (auto _ : state) {
        _OS_DIALUP_IFTABLE* table = nullptr;
        if (OS_DIALUP_GetIfTable(&table, &aux) == 0) OS_DIALUP_ReleaseIfTable(table, &aux);
        _OS_DIALUP_CONNECTIONSLIST* connections = nullptr;
        OS_DIALUP_EnumConnections(&connections, &aux);
        if (connections) OS_DIALUP_ReleaseConnections(connections, &aux);
    }
}
BENCHMARK(ReadCountersOfOneBeat)->Unit(benchmark::kMicrosecond);

}  // namespace
