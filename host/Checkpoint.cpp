#include "host/Checkpoint.h"

#include <ctime>
#include <utility>

#include "host/Settings.h"

namespace netinfo {
namespace {

constexpr long long SECOND = 1'000'000'000;  // nanoseconds; from one tick to the next
constexpr int NO_RECORD = -1;                // an index that no record has

}  // namespace

Checkpoint::Checkpoint(INetInfoRecord& records, Clock clock) : m_records(records), m_clock(std::move(clock))
{}

long long Checkpoint::NanosecondsSinceBoot()
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec * SECOND + now.tv_nsec;
}

void Checkpoint::OnChange()
{
    if (!m_changed) m_changed = m_clock();
}

void Checkpoint::OnTick()
{
    if (!m_changed) return;
    const long long interval = ReadCheckpoint();
    if (interval == 0) return;
    // The next tick would be too late.
    if (m_clock() - *m_changed + SECOND <= interval * SECOND) return;

    m_changed.reset();
    m_records.BeginRemoveRecord();
    m_records.RemoveRecord(NO_RECORD);
    m_records.EndRemoveRecord();
}

}  // namespace netinfo
