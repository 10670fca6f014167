#include "Utility/Generic/SUGSingleton.h"

void BaseSingleton::initInstance() {
    if (hasInstance()) return;
    std::lock_guard<std::mutex> hold(m_createLock);
    if (m_instance.load(std::memory_order_relaxed) == nullptr)
        m_instance.store(create(), std::memory_order_release);
}
