#include "host/UsageRecorder.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <ctime>
#include <fstream>
#include <utility>

#include "host/Format.h"
#include "host/LimitAlarm.h"
#include "host/Settings.h"
#include "platform/trace/TraceSrv.h"

namespace netinfo {
namespace {

constexpr long long SECOND = 1'000'000'000;      // nanoseconds
constexpr long long COMMIT_EVERY = 10 * SECOND;  // nanoseconds
constexpr int MOST_ATTEMPTS = 5;                 // a sample takes milliseconds, and the next is a second away

}  // namespace

MeterTime SystemTime()
{
    timespec boot{};
    clock_gettime(CLOCK_BOOTTIME, &boot);
    return {std::time(nullptr), boot.tv_sec * SECOND + boot.tv_nsec};
}

std::optional<TrafficSample> ReadTrafficSample(INetInfoService& traffic)
{
    TrafficSample sample;
    for (int attempt = 0; attempt < MOST_ATTEMPTS; ++attempt) {
        const unsigned long long before = ReadHandedCounters().number;
        for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
            // Waits for a sample under way, so that the totals hold all that was handed out before.
            nis::SNAPSHOT snapshot;
            traffic.GetSnapShot(snapshot, TRAFFIC_TYPES[i].code);
            sample.totals[i] = {snapshot.clkTime != 0, {snapshot.ullDL, snapshot.ullUL}};
        }
        sample.handed = ReadHandedCounters();
        if (sample.handed.number == before) return sample;
    }
    return std::nullopt;
}

std::string BootIdentity()
{
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string boot;
    struct stat space
    {};
    if (!std::getline(file, boot) || boot.empty()) return {};
    if (stat("/proc/self/ns/net", &space) != 0) return {};
    return fmt::format("{} {}", boot, space.st_ino);
}

UsageRecorder::UsageRecorder(const std::string& directory, INetInfoService& traffic, Tell tell, Clock clock)
    : m_traffic(traffic), m_tell(std::move(tell)), m_clock(std::move(clock)), m_committed(m_clock().boot)
{
    auto ledger = UsageLedger::Open(directory, m_tell);
    if (!ledger) {
        m_tell(ledger.Error().message + "; usage is not recorded");
        return;
    }
    m_ledger = std::move(*ledger);
    auto marks = m_ledger->Marks();
    if (!marks) m_tell(marks.Error().message);
    m_meter.emplace(BootIdentity(), marks ? *marks : std::vector<LinkMark>());
}

UsageRecorder::~UsageRecorder() { Commit(); }

void UsageRecorder::Present(const std::vector<CountedLink>& links)
{
    if (m_meter) m_meter->Present(links);
}

void UsageRecorder::OnChange()
{
    if (!m_meter) return;
    const auto sample = ReadTrafficSample(m_traffic);
    if (!sample) return;
    bool recovered = false;
    for (const UsageRow& row : m_meter->Take(*sample, m_clock())) {
        m_ledger->Add(row);
        recovered = recovered || row.recovered;
    }
    if (recovered) Commit();  // it may be days' worth
}

void UsageRecorder::OnTick()
{
    for (const std::string& problem : m_command.Reap())
        m_tell("the command of the limit " + problem);
    if (m_clock().boot - m_committed < COMMIT_EVERY) return;
    CheckLimit();
    Commit();
}

void UsageRecorder::Finish()
{
    OnChange();
    Commit();
}

void UsageRecorder::Commit()
{
    m_committed = m_clock().boot;
    if (!m_meter) return;
    const auto failure = m_ledger->Commit(m_meter->Marks());
    TellOnce(m_commitProblem, failure ? failure->message : "");
}

void UsageRecorder::CheckLimit()
{
    if (!m_ledger) return;
    const auto limit = ReadLimit();
    TellOnce(m_limitProblem, limit ? "" : limit.Error().message);
    if (!limit || !*limit) return;
    const auto alarm = TakeLimitAlarm(**limit, *m_ledger, ReadPeriodStarts(), m_clock().wall);
    if (!alarm) TellOnce(m_limitProblem, alarm.Error().message);
    if (!alarm || !*alarm) return;

    const std::string message = (*alarm)->Message();
    TraceSrv_Trace(2, "netinfo", message.c_str());
    m_tell(message);
    const std::string command = ReadLimitCommand();
    if (command.empty()) return;
    if (const auto problem = m_command.Start(command, (*alarm)->Variables()))
        m_tell(fmt::format("the command of the limit did not start: {}", *problem));
}

void UsageRecorder::TellOnce(std::string& told, const std::string& problem)
{
    if (problem == told) return;
    told = problem;
    if (!problem.empty()) m_tell(problem);
}

}  // namespace netinfo
