#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/UsageLedger.h"
#include "host/UsageMeter.h"
#include "host/UserCommand.h"
#include "platform/dialup/CountedLinks.h"
#include "plugin/Interfaces.h"

namespace netinfo {

/// The plug-in's totals and the kernel's counters behind them, of one sample. Nothing if the plug-in took
/// sample after sample meanwhile. Not from inside a notification.
std::optional<TrafficSample> ReadTrafficSample(INetInfoService& traffic);

/// The system's clocks.
MeterTime SystemTime();

/// This run of the kernel and this network namespace, in which alone a link's number stands for the link.
/// Empty if the system does not say.
std::string BootIdentity();

/// Keeps the usage ledger while the plug-in counts, and has the user warned of a limit.
///
/// Threads:   the host's loop; never from inside a notification.
/// Ownership: owns the ledger; the service is borrowed.
/// Errors:    `tell` hears what goes wrong, once. Without a ledger nothing is recorded and the plug-in counts
///            on; what cannot be committed waits. What the service throws passes through.
class UsageRecorder
{
public:
    using Tell = std::function<void(const std::string&)>;
    using Clock = std::function<MeterTime()>;

    /// `directory` ends with '/'.
    UsageRecorder(const std::string& directory, INetInfoService& traffic, Tell tell,
                  Clock clock = SystemTime);
    /// Commits.
    ~UsageRecorder();
    UsageRecorder(const UsageRecorder&) = delete;
    UsageRecorder& operator=(const UsageRecorder&) = delete;

    /// The links that are counted now.
    void Present(const std::vector<CountedLink>& links);
    /// After a notification: adds what the plug-in has counted.
    void OnChange();
    /// About once a second: commits every ten seconds, and warns.
    void OnTick();
    /// Adds what there is, and commits.
    void Finish();

    /// What has been recorded so far, uncommitted additions included; null: there is no ledger.
    const UsageLedger* Ledger() const { return m_ledger.get(); }

private:
    void Commit();
    void CheckLimit();
    void TellOnce(std::string& told, const std::string& problem);

    INetInfoService& m_traffic;
    const Tell m_tell;
    const Clock m_clock;
    std::unique_ptr<UsageLedger> m_ledger;
    std::optional<UsageMeter> m_meter;
    UserCommand m_command;
    long long m_committed;        ///< boot clock, nanoseconds
    std::string m_commitProblem;  ///< as last told; empty: none
    std::string m_limitProblem;   ///< as last told; empty: none
};

}  // namespace netinfo
