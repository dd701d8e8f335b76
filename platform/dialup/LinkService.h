#pragma once

#include <atomic>

#include "platform/common/JMutex.h"
#include "platform/common/ThreadAnnotations.h"
#include "platform/dialup/LinkMonitor.h"
#include "platform/dialup/SystemLinks.h"

namespace netinfo {

/// The one monitor of the process, behind a lock.
///
/// Threads: any.
class LinkService
{
public:
    /// The service, made at the first call and never destroyed: a thread may outlive the end of the program.
    static LinkService& Instance();

    /// Calls `question(monitor)` with the lock held and returns its answer.
    template <class Question>
    auto Ask(Question question) NETINFO_EXCLUDES(m_mtx)
    {
        const JMutexLock lock(m_mtx);
        auto answer = question(m_monitor);
        m_generation = m_monitor.Generation();
        return answer;
    }

    /// The monitor's generation after the last question, without the lock.
    unsigned long long Generation() const { return m_generation; }

private:
    LinkService() { m_mtx.Init(); }

    JMutex m_mtx;
    SystemLinks m_source NETINFO_GUARDED_BY(m_mtx);
    LinkMonitor m_monitor NETINFO_GUARDED_BY(m_mtx){m_source};
    std::atomic<unsigned long long> m_generation{0};
};

}  // namespace netinfo
