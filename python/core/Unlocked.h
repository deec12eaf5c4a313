// Working without Python's lock, so that other threads go on.
#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <cstdint>

namespace orm_trace {

// Releases Python's lock, which the thread has, and takes it again in the end. A thread that wants the lock while the
// interpreter ends never gets it: it waits here for the end of the process, and nothing of what it holds is destroyed.
class Unlocked {
public:
    Unlocked() noexcept;
    ~Unlocked() { Lock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

    // Call with the bytes that were worked on since the call before. Now and then, in the main thread, it runs the signal
    // handlers that are due, for example for Ctrl-C. Errors: theirs, as pybind11::error_already_set.
    void Count(std::uint64_t bytes) {
        m_bytes += bytes;
        if (m_bytes < kBytes || !m_isMain) return;
        m_bytes = 0;
        const auto now = Clock::now();
        if (now - m_checked < kPeriod) return;
        CheckSignals();
        m_checked = now;
    }
    // The same at once.
    void CheckSignals();

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::uint64_t kBytes = 1 << 20;
    static constexpr std::chrono::milliseconds kPeriod{50};

    void Lock() noexcept;

    PyThreadState* m_state;
    bool m_isMain;  // the thread in which Python runs signal handlers
    std::uint64_t m_bytes = 0;
    Clock::time_point m_checked = Clock::now();
};

}  // namespace orm_trace
