// Undoing unfinished work when a signal ends the process.
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

// While it exists, each signal that would end the process first undoes unfinished work; then the process ends by that
// signal. A signal that is ignored or has a handler when the guard is made is not touched.
//
// Threads: the thread that makes the guard is the one that writes. A signal that another thread gets is passed on to it, so
//          that nothing is written after the work was undone; if that thread blocks it, the work is finished first. A
//          forked child undoes nothing.
// REQUIRES: it is the only one.
class InterruptGuard {
public:
    // undo(work) is called in a signal handler: it makes async-signal-safe calls only.
    using Undo = void (*)(const void* work) noexcept;
    InterruptGuard(Undo undo, const void* work) noexcept;
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

private:
    std::bitset<_NSIG> m_caught;
};

}  // namespace orm_trace
