#include "capture/InterruptGuard.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

namespace orm_trace {
namespace {

struct Work {
    InterruptGuard::Undo undo = nullptr;
    const void* object = nullptr;
    pid_t process = 0;
    pid_t thread = 0;
};
Work g_work;
std::atomic<bool> g_isUnfinished = false;
std::atomic<std::uint64_t> g_passedOn = 0;  // signals, a bit each
static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "a handler may use it");

constexpr std::uint64_t BitOf(int signal) { return std::uint64_t{1} << (signal - 1); }

bool EndsProcess(int signal) {
    switch (signal) {
        case SIGCHLD:
        case SIGCONT:
        case SIGSTOP:
        case SIGTSTP:
        case SIGTTIN:
        case SIGTTOU:
        case SIGURG:
        case SIGWINCH: return false;
        default: return true;
    }
}

// Whether the thread that gets it caused it and cannot go on.
bool IsFault(int signal) {
    switch (signal) {
        case SIGABRT:
        case SIGBUS:
        case SIGFPE:
        case SIGILL:
        case SIGSEGV:
        case SIGSYS:
        case SIGTRAP: return true;
        default: return false;
    }
}

void SetDefault(int signal) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
}

void UndoAndEnd(int signal) {
    const int error = errno;
    if (g_isUnfinished && getpid() == g_work.process) {
        const bool isForeign = gettid() != g_work.thread && !IsFault(signal);
        if (isForeign) g_passedOn |= BitOf(signal);
        if (isForeign && tgkill(g_work.process, g_work.thread, signal) == 0) {
            errno = error;
            return;
        }
        g_passedOn &= ~BitOf(signal);
        g_work.undo(g_work.object);
    }
    SetDefault(signal);
    raise(signal);  // delivered when this handler, which blocks it, returns
    errno = error;
}

}  // namespace

BlockedSignals::BlockedSignals() noexcept {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_before);
}

BlockedSignals::~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

InterruptGuard::InterruptGuard(Undo undo, const void* work) noexcept {
    g_work = {undo, work, getpid(), gettid()};
    g_passedOn = 0;
    g_isUnfinished = true;
    struct sigaction action {};
    action.sa_handler = UndoAndEnd;  // without SA_RESTART: the process ends, and no call has to go on
    sigfillset(&action.sa_mask);
    for (int signal = 1; signal < _NSIG; ++signal) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        if (!EndsProcess(signal) || before.sa_handler != SIG_DFL) continue;
        if (sigaction(signal, &action, nullptr) == 0) m_caught.set(static_cast<std::size_t>(signal));
    }
}

InterruptGuard::~InterruptGuard() {
    g_isUnfinished = false;
    for (int signal = 1; signal < _NSIG; ++signal) {
        if (!m_caught.test(static_cast<std::size_t>(signal))) continue;
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        if (now.sa_handler == UndoAndEnd) SetDefault(signal);
    }
    // Those that this thread blocks did not end the process when they were passed on: another thread gets them now.
    for (int signal = 1; signal < _NSIG; ++signal) {
        if ((g_passedOn & BitOf(signal)) != 0) kill(getpid(), signal);
    }
}

}  // namespace orm_trace
