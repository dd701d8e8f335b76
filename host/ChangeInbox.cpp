#include "host/ChangeInbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "host/TrafficType.h"

namespace netinfo {
namespace {

std::atomic<ChangeInbox*> s_inbox{nullptr};  ///< of the one subscription

unsigned char OnChange(unsigned int nValue, void* pData)
{
    ChangeInbox* const inbox = s_inbox.load();
    if (!inbox || nValue != NETINFO_MESSAGE_CHANGE || !pData) return 0;
    const auto* const change = static_cast<const NETINFO_CHANGE*>(pData);
    inbox->OnDataChanged(change->bConnected, change->nValue);
    return 1;
}

}  // namespace

ChangeInbox::ChangeInbox() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

ChangeInbox::~ChangeInbox()
{
    if (m_descriptor >= 0) close(m_descriptor);
}

void ChangeInbox::OnDataChanged(bool /*bConnected*/, int nValue)
{
    for (std::size_t i = 0; i < TRAFFIC_TYPES.size(); ++i) {
        if (TRAFFIC_TYPES[i].code == nValue) m_changed.fetch_or(1U << i);
    }
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and then the loop is awake already.
    [[maybe_unused]] const ssize_t written = write(m_descriptor, &one, sizeof one);
}

unsigned ChangeInbox::Take()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t length = read(m_descriptor, &count, sizeof count);  // empties it
    return m_changed.exchange(0);
}

ChangeSubscription::ChangeSubscription(INetInfoService& service, ChangeInbox& inbox)
    : m_service(service), m_inbox(inbox)
{
    s_inbox = &m_inbox;
    m_service.RegisterCallbackFunc(&OnChange);
    m_service.RegisterCallbackEvent(&m_inbox);
}

ChangeSubscription::~ChangeSubscription()
{
    try {
        m_service.DeregisterCallbackEvent(&m_inbox);
        m_service.UnregisterCallbackFunc(&OnChange);
    } catch (...) {  // the plug-in's end, which follows, ends the notifications, too
        s_inbox = nullptr;
    }
    s_inbox = nullptr;
}

}  // namespace netinfo
