#pragma once

#include <atomic>
#include <mutex>

#include "platform/common/Export.h"
#include "platform/common/ThreadAnnotations.h"

/// A non-recursive mutex that has to be initialised before use.
///
/// Threads: `Init` by one thread before the others lock, or by several at once: the first wins.
/// Errors:  `Lock` and `Unlock` return false, doing nothing, before `Init`.
class NETINFO_PLATFORM_API NETINFO_CAPABILITY("mutex") JMutex
{
public:
    JMutex() = default;
    ~JMutex() = default;  // does nothing, so that a static one serves until the very end of the process
    JMutex(const JMutex&) = delete;
    JMutex& operator=(const JMutex&) = delete;

    bool Init();
    bool IsInitialized() const;
    bool Lock() NETINFO_ACQUIRE();
    bool Unlock() NETINFO_RELEASE();

private:
    std::mutex m_mtx;
    std::atomic<bool> m_bInitialized{false};
};

/// Holds a `JMutex` from construction to the end of its scope. [any thread]
class NETINFO_SCOPED_CAPABILITY JMutexLock
{
public:
    explicit JMutexLock(JMutex& mtx) NETINFO_ACQUIRE(mtx) : m_mtx(mtx) { m_mtx.Lock(); }
    ~JMutexLock() NETINFO_RELEASE() { m_mtx.Unlock(); }
    JMutexLock(const JMutexLock&) = delete;
    JMutexLock& operator=(const JMutexLock&) = delete;

private:
    JMutex& m_mtx;
};
