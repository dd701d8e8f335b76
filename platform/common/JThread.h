#pragma once

#include <memory>

#include "platform/common/Export.h"

/// A worker thread whose body is the virtual `Thread()` of a derived class.
///
/// Threads:   `Start` from one thread at a time; `IsRunning` from any thread. The new thread takes no signals
///            but faults, so that the host's handlers run on the host's threads.
/// Ownership: the thread is detached. A derived class has to end its body before it is destroyed, or keep
///            everything the body touches alive elsewhere: the base touches nothing of the object once
///            `Thread()` has been entered.
/// Errors:    `Start` returns false when a thread is already running or none can be made. An exception that
///            leaves the body ends the thread, never the process.
class NETINFO_PLATFORM_API JThread
{
public:
    JThread();
    virtual ~JThread();
    JThread(const JThread&) = delete;
    JThread& operator=(const JThread&) = delete;

protected:
    /// Starts the thread and returns once its body has called `ThreadStarted` (or has returned).
    bool Start();
    /// True from a successful `Start` until the body has returned.
    bool IsRunning() const;
    /// To be called by the body first: lets `Start` return. [the new thread]
    void ThreadStarted();
    virtual int Thread() = 0;

private:
    struct State;
    std::shared_ptr<State> m_pState;  ///< shared with the thread, which may outlive the object
};
