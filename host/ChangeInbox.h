#pragma once

#include <atomic>

#include "plugin/Interfaces.h"

namespace netinfo {

/// Where the plug-in's notifications land. They come while the engine's locks are held, so all they do here
/// is to note which types changed and to wake the host's loop, which asks the services afterwards.
///
/// Threads:   notified on the heartbeat thread; everything else on one host thread.
/// Ownership: owns its descriptor. It has to outlive its registration with the plug-in.
/// Errors:    without a descriptor (the system gave none) nothing wakes the loop; the changes are still
/// noted.
class ChangeInbox final : public INetInfoEvent
{
public:
    ChangeInbox();
    ~ChangeInbox();
    ChangeInbox(const ChangeInbox&) = delete;
    ChangeInbox& operator=(const ChangeInbox&) = delete;

    /// [heartbeat thread]
    void OnDataChanged(bool bConnected, int nValue) override;

    /// Becomes readable when something was noted; -1: there is none.
    int Descriptor() const { return m_descriptor; }
    /// Which types changed since the last call: bit i stands for the i-th connection type.
    unsigned Take();

private:
    const int m_descriptor;  ///< owned; of eventfd
    std::atomic<unsigned> m_changed{0};
};

/// Keeps a listener and a callback function registered with the plug-in's traffic service as long as it
/// lives.
///
/// Threads:   one host thread; the notifications come on the heartbeat thread. One such object at a time, for
///            the callback function has nothing but the process to find its inbox by.
/// Ownership: service and inbox are borrowed.
class ChangeSubscription
{
public:
    ChangeSubscription(INetInfoService& service, ChangeInbox& inbox);
    /// Once it returns, nothing is notified any more.
    ~ChangeSubscription();
    ChangeSubscription(const ChangeSubscription&) = delete;
    ChangeSubscription& operator=(const ChangeSubscription&) = delete;

private:
    INetInfoService& m_service;
    ChangeInbox& m_inbox;
};

}  // namespace netinfo
