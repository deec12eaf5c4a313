#include "source_utilities/uMutex.h"

namespace ORM_LUX {

uMutex::uMutex() : m_lockCount(0), m_owner(0) { pthread_mutex_init(&m_mutex, nullptr); }

uMutex::~uMutex() { pthread_mutex_destroy(&m_mutex); }

bool uMutex::Lock() {
    const pthread_t self = pthread_self();
    if (m_owner.load(std::memory_order_relaxed) != self) {
        if (pthread_mutex_lock(&m_mutex) != 0) return false;
        m_owner.store(self, std::memory_order_relaxed);
    }
    m_lockCount.store(m_lockCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    return true;
}

bool uMutex::Unlock() {
    if (m_owner.load(std::memory_order_relaxed) != pthread_self()) return false;
    const int count = m_lockCount.load(std::memory_order_relaxed);
    if (count <= 0) return true;
    m_lockCount.store(count - 1, std::memory_order_relaxed);
    if (count == 1) {
        m_owner.store(0, std::memory_order_relaxed);
        pthread_mutex_unlock(&m_mutex);
    }
    return true;
}

bool uMutex::IsLocked() const { return m_lockCount.load(std::memory_order_relaxed) > 0; }

pthread_t uMutex::GetOwnerThreadHandle() { return m_owner.load(std::memory_order_relaxed); }

}  // namespace ORM_LUX
