// A mutex that its owner may lock again.
#pragma once

#include <pthread.h>

#include <atomic>

#include "source_utilities/Export.h"

namespace ORM_LUX {

// The library's only kind of lock. The mutex is free once its owner has unlocked it as often as it locked it.
// Errors:  nothing throws.
// Threads: every operation may be called from any thread.
class ORM_EXPORT uMutex {
public:
    uMutex();
    // REQUIRES: no thread holds the mutex.
    ~uMutex();
    uMutex(const uMutex&) = delete;
    uMutex& operator=(const uMutex&) = delete;

    // Waits until the calling thread owns the mutex; returns at once if it owns it already.
    // Returns: false when the system refuses the lock, which is then not held.
    bool Lock();

    // Undoes one Lock of the calling thread.
    // Returns: false, and nothing changes, when the calling thread is not the owner.
    bool Unlock();

    // Returns: whether any thread holds the mutex, as it was at some moment during the call.
    bool IsLocked() const;

    // Returns: the thread that holds the mutex, 0 when it is free.
    pthread_t GetOwnerThreadHandle();

    pthread_mutex_t m_mutex;
    // Changed only by the owner. Atomic because other threads read them: m_owner equals a thread's id only if that
    // thread is the owner.
    std::atomic<int> m_lockCount;
    std::atomic<pthread_t> m_owner;
};

}  // namespace ORM_LUX
