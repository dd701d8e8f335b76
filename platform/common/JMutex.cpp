#include "platform/common/JMutex.h"

bool JMutex::Init()
{
    m_bInitialized.store(true, std::memory_order_release);
    return true;
}

bool JMutex::IsInitialized() const { return m_bInitialized.load(std::memory_order_acquire); }

bool JMutex::Lock()
{
    if (!IsInitialized()) return false;
    m_mtx.lock();
    return true;
}

bool JMutex::Unlock()
{
    if (!IsInitialized()) return false;
    m_mtx.unlock();
    return true;
}
