#pragma once

#include <functional>
#include <optional>

#include "plugin/Interfaces.h"

namespace netinfo {

/// Has the plug-in write its figures while connections last, so that a power cut costs no more than the
/// setting "checkpoint" says.
///
/// The plug-in writes by itself when a connection ends, which may be days later. It also writes at the end of
/// every removal of records, so a removal that names no record writes and changes nothing.
///
/// Threads:   the host's loop; never from inside a notification, during which the figures are locked.
/// Ownership: the service is borrowed. Units: nanoseconds of a clock that runs through a suspension.
/// Errors:    a write that fails is in the plug-in's trace, and the next one is due as usual. What the
///            service throws passes through.
class Checkpoint
{
public:
    using Clock = std::function<long long()>;

    explicit Checkpoint(INetInfoRecord& records, Clock clock = NanosecondsSinceBoot);

    /// After a notification: there is something to write.
    void OnChange();
    /// About once a second: writes when what has changed has waited long enough.
    void OnTick();

private:
    static long long NanosecondsSinceBoot();

    INetInfoRecord& m_records;
    const Clock m_clock;
    std::optional<long long> m_changed;  ///< when the first change that is not written was heard of
};

}  // namespace netinfo
