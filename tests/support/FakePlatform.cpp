#include "tests/support/FakePlatform.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "platform/common/GlobalFunction.h"
#include "platform/dialup/OSDialup.h"
#include "platform/trace/TraceSrv.h"
#include "tests/support/AllocationCount.h"

namespace nettest {
namespace {

struct State
{
    std::mutex mutex;
    std::vector<FakeRow> rows;
    std::vector<FakeDialup> dialups;
    bool failIfTable = false;
    bool nullIfTable = false;
    bool throwOnIfTable = false;
    bool throwOnEnumConnections = false;
    std::optional<int> claimedCount;
    int unreleased = 0;
    int ifTableReads = 0;
    std::map<std::pair<std::string, std::string>, std::string> settings;
    std::string userDataDirectory;
    std::string moduleDirectory;
    int osType = 0;
    std::vector<FakeTrace> traces;
};

State& TheState()
{
    static State* const state = new State;  // outlives every thread that may still run at exit
    return *state;
}

void FillMac(const std::string& text, unsigned char (&mac)[6])
{
    for (std::size_t i = 0; i < 6 && 2 * i + 1 < text.size(); ++i) {
        mac[i] = static_cast<unsigned char>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
    }
}

const FakeDialup* FindDialup(const State& state, unsigned int handle)
{
    for (const FakeDialup& dialup : state.dialups) {
        if (dialup.handle == handle) return &dialup;
    }
    return nullptr;
}

/// Copies as the platform does: at most `size` units and a terminator; with no buffer only the length.
int CopyUnits(const std::string& text, unsigned short* buffer, int size)
{
    if (!buffer) return static_cast<int>(text.size());
    const int length = std::min(size, static_cast<int>(text.size()));
    for (int i = 0; i < length; ++i)
        buffer[i] = static_cast<unsigned char>(text[static_cast<std::size_t>(i)]);
    buffer[length] = 0;
    return length;
}

}  // namespace

void FakePlatform::Reset()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.rows.clear();
    state.dialups.clear();
    state.failIfTable = state.nullIfTable = state.throwOnIfTable = state.throwOnEnumConnections = false;
    state.claimedCount.reset();
    state.unreleased = state.ifTableReads = 0;
    state.settings.clear();
    state.userDataDirectory.clear();
    state.moduleDirectory.clear();
    state.osType = 0;
    state.traces.clear();
}

void FakePlatform::SetRows(std::vector<FakeRow> rows)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.rows = std::move(rows);
}

void FakePlatform::SetDialups(std::vector<FakeDialup> dialups)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.dialups = std::move(dialups);
}

bool FakePlatform::SetRowCounters(const std::string& description, unsigned int received, unsigned int sent)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    for (FakeRow& row : state.rows) {
        if (row.description != description) continue;
        row.received = received;
        row.sent = sent;
        return true;
    }
    return false;
}

bool FakePlatform::SetDialupCounters(const std::string& name, unsigned long long received,
                                     unsigned long long sent)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    for (FakeDialup& dialup : state.dialups) {
        if (dialup.name != name) continue;
        dialup.received = received;
        dialup.sent = sent;
        return true;
    }
    return false;
}

void FakePlatform::FailIfTable(bool fail)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.failIfTable = fail;
}

void FakePlatform::NullIfTable(bool null)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.nullIfTable = null;
}

void FakePlatform::ThrowOnIfTable(bool throws)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.throwOnIfTable = throws;
}

void FakePlatform::ThrowOnEnumConnections(bool throws)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.throwOnEnumConnections = throws;
}

void FakePlatform::ClaimCount(std::optional<int> count)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.claimedCount = count;
}

int FakePlatform::Unreleased()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.unreleased;
}

int FakePlatform::IfTableReads()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.ifTableReads;
}

void FakePlatform::SetSetting(const std::string& section, const std::string& key, const std::string& value)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.settings[{section, key}] = value;
}

std::string FakePlatform::Setting(const std::string& section, const std::string& key)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    const auto found = state.settings.find({section, key});
    return found == state.settings.end() ? std::string() : found->second;
}

void FakePlatform::SetUserDataDirectory(const std::string& directory)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.userDataDirectory = directory;
}

void FakePlatform::SetModuleDirectory(const std::string& directory)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.moduleDirectory = directory;
}

void FakePlatform::SetOSType(int type)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.osType = type;
}

std::vector<FakeTrace> FakePlatform::Traces()
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.traces;
}

int FakePlatform::TraceCount(const std::string& text)
{
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    return static_cast<int>(std::count_if(state.traces.begin(), state.traces.end(),
                                          [&](const FakeTrace& trace) { return trace.text == text; }));
}

void FakePlatform::ClearTraces()
{
    const Uncounted uncounted;
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.traces.clear();
}

}  // namespace nettest

using nettest::Narrow;
using nettest::TheState;

extern "C" {

void TraceSrv_Trace(int nLevel, const char* pszModule, const char* pszText)
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.traces.push_back({nLevel, pszModule ? pszModule : "", pszText ? pszText : ""});
}

unsigned int OS_DIALUP_EnumConnections(_OS_DIALUP_CONNECTIONSLIST** ppList, unsigned int*)
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    if (state.throwOnEnumConnections) throw std::runtime_error("scripted");
    *ppList = nullptr;
    if (state.dialups.empty()) return 0;
    const std::size_t count = state.dialups.size();
    void* const memory = std::malloc(sizeof(int) + count * sizeof(unsigned int));
    if (!memory) return 1;
    auto* const list = static_cast<_OS_DIALUP_CONNECTIONSLIST*>(memory);
    list->nCount = state.claimedCount.value_or(static_cast<int>(count));
    for (std::size_t i = 0; i < count; ++i)
        list->aHandle[i] = state.dialups[i].handle;
    *ppList = list;
    ++state.unreleased;
    return 0;
}

unsigned int OS_DIALUP_GetConnectionState(unsigned int handle, _OS_DIALUP_CONNECTIONSTATE* pState,
                                          unsigned int*)
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    const nettest::FakeDialup* const dialup = nettest::FindDialup(state, handle);
    if (dialup && dialup->stateThrows) throw std::runtime_error("scripted");
    if (!dialup || dialup->stateFails) return 1;
    if (dialup->name.size() < std::size(pState->szName))
        nettest::CopyUnits(dialup->name, pState->szName, 131);
    else
        std::copy_n(nettest::U16(dialup->name).begin(), std::size(pState->szName), pState->szName);
    return 0;
}

unsigned int OS_DIALUP_GetNetworkStatistics(unsigned int handle, _OS_DIALUP_STATISTICS* pStatistics,
                                            unsigned int*)
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    const nettest::FakeDialup* const dialup = nettest::FindDialup(state, handle);
    if (dialup && dialup->statisticsThrow) throw std::runtime_error("scripted");
    if (!dialup || dialup->statisticsFail) return 1;
    pStatistics->ullSent = dialup->sent;
    pStatistics->ullReceived = dialup->received;
    return 0;
}

void OS_DIALUP_ReleaseConnections(_OS_DIALUP_CONNECTIONSLIST* pList, unsigned int*)
{
    if (!pList) return;
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    --state.unreleased;
    std::free(pList);
}

unsigned int OS_DIALUP_GetIfTable(_OS_DIALUP_IFTABLE** ppTable, unsigned int*)
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    ++state.ifTableReads;
    if (state.throwOnIfTable) throw std::runtime_error("scripted");
    if (state.failIfTable) return 1;
    *ppTable = nullptr;
    if (state.nullIfTable) return 0;

    auto table = std::make_unique<_OS_DIALUP_IFTABLE>();
    auto rows = std::make_unique<_OS_DIALUP_IFROW[]>(state.rows.size());
    for (std::size_t i = 0; i < state.rows.size(); ++i) {
        const nettest::FakeRow& from = state.rows[i];
        _OS_DIALUP_IFROW& row = rows[i];
        nettest::FillMac(from.mac, row.aMac);
        row.ulReceivedOctets = from.received;
        row.ulSentOctets = from.sent;
        from.description.copy(row.szDescription, sizeof row.szDescription);
    }
    table->nCount = state.claimedCount.value_or(static_cast<int>(state.rows.size()));
    table->pRows = rows.release();
    *ppTable = table.release();
    ++state.unreleased;
    return 0;
}

void OS_DIALUP_ReleaseIfTable(_OS_DIALUP_IFTABLE* pTable, unsigned int*)
{
    if (!pTable) return;
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    --state.unreleased;
    delete[] pTable->pRows;
    delete pTable;
}

}  // extern "C"

int CGlobalFunction::GetSetting(const unsigned short* section, const unsigned short* key,
                                unsigned short* buffer, int size)
{
    const nettest::Uncounted uncounted;
    return nettest::CopyUnits(nettest::FakePlatform::Setting(Narrow(section), Narrow(key)), buffer, size);
}

bool CGlobalFunction::SetSetting(const unsigned short* section, const unsigned short* key,
                                 const unsigned short* value)
{
    nettest::FakePlatform::SetSetting(Narrow(section), Narrow(key), Narrow(value));
    return true;
}

int CGlobalFunction::GetUserDataDirectory(unsigned short* buffer, int size)
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    return nettest::CopyUnits(state.userDataDirectory, buffer, size - 1);
}

int CGlobalFunction::GetModuleDirectory(unsigned short* buffer, int length)
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    return nettest::CopyUnits(state.moduleDirectory, buffer, length);
}

int CGlobalFunction::GetOSType()
{
    const nettest::Uncounted uncounted;
    auto& state = TheState();
    const std::lock_guard lock(state.mutex);
    return state.osType;
}
