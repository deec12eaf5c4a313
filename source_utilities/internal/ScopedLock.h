// Holding a uMutex for a scope. Private to the library.
#pragma once

#include "source_utilities/uMutex.h"

namespace ORM_LUX {

class ScopedLock {
public:
    explicit ScopedLock(uMutex& mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~ScopedLock() { m_mutex.Unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    uMutex& m_mutex;
};

}  // namespace ORM_LUX
