// What a signal that ends the process must not leave.
#pragma once

#include <signal.h>

#include <bitset>

namespace orm_trace {

// Blocks all signals in the calling thread, and in threads that it starts, for a scope.
class BlockedSignals {
public:
    BlockedSignals() noexcept;
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t m_before;
};

// While it exists, each signal that would end the process takes back unfinished work first; then the process ends by
// that signal. A signal that is ignored, or that somebody else handles, when the guard is made is left to that.
//
// Threads: the thread that makes the guard is the one that writes. A signal that another one gets is handed to it, so
//          that nothing is written after the work was taken back. A forked child takes nothing back.
// REQUIRES: it is the only one.
class InterruptGuard {
public:
    // takeBack(work) is called in a signal handler: it makes async-signal-safe calls only.
    using TakeBack = void (*)(const void* work) noexcept;
    InterruptGuard(TakeBack takeBack, const void* work) noexcept;
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

private:
    std::bitset<_NSIG> m_caught;
};

}  // namespace orm_trace
