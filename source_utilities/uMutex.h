// A mutex that its owner may lock again.
#pragma once

#include <pthread.h>

#include <atomic>

#include "source_utilities/Export.h"

namespace ORM_LUX {

// The library's only lock. A thread unlocks as often as it has locked; the mutex is free after the last time.
// Errors:  nothing throws.
// Threads: every operation may be called from any thread.
class ORM_EXPORT uMutex {
public:
    uMutex();
    // REQUIRES: no thread holds the mutex.
    ~uMutex();
    uMutex(const uMutex&) = delete;
    uMutex& operator=(const uMutex&) = delete;

    // Waits until the calling thread owns the mutex; at once when it owns it already.
    // Returns: false when the system refuses the lock, which is then not held.
    bool Lock();

    // Takes back one Lock of the calling thread.
    // Returns: false, and nothing changes, when the calling thread is not the owner.
    bool Unlock();

    // Returns: whether any thread holds the mutex, as it was at some moment during the call.
    bool IsLocked() const;

    // Returns: the thread that holds the mutex, 0 when it is free.
    pthread_t GetOwnerThreadHandle();

    pthread_mutex_t m_mutex;
    // Changed only by the owner. Atomic because other threads look: a thread can find only its own id by owning.
    std::atomic<int> m_lockCount;
    std::atomic<pthread_t> m_owner;
};

}  // namespace ORM_LUX
