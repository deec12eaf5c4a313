#include "source_utilities/internal/WriteLine.h"

#include <signal.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

namespace ORM_LUX {
namespace {

// Calls put, which returns whether it succeeded, while the signals that a failure raises, and that end the process by
// default, are blocked in this thread. A signal that was raised is removed; one that was pending before stays pending.
template <class Call> void WithoutSignals(Call&& put) noexcept {
    constexpr std::array<int, 2> kSignals{SIGPIPE, SIGXFSZ};
    sigset_t held, before, waiting;
    sigemptyset(&held);
    for (const int signal : kSignals) sigaddset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &before);
    sigpending(&waiting);
    if (!put()) {
        for (const int signal : kSignals) {
            if (sigismember(&waiting, signal) == 1) sigdelset(&held, signal);
        }
        const timespec atOnce{};
        sigtimedwait(&held, nullptr, &atOnce);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

bool PutAll(int file, const char* text, std::size_t length) noexcept {
    while (length != 0) {
        const ssize_t written = write(file, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

// The threads that are writing a line without the signals blocked: the kernel raises the signal in the thread that writes.
// 0 is a free place. A variable of each thread would either need memory when a signal handler reads it, or keep the library
// from being loaded where other libraries have used up the room for such variables.
std::array<std::atomic<pthread_t>, 64> g_unguarded{};

// Returns: a place that holds this thread now; null if none is free.
std::atomic<pthread_t>* TakePlace() noexcept {
    for (std::atomic<pthread_t>& place : g_unguarded) {
        pthread_t nobody = 0;
        if (place.load(std::memory_order_relaxed) == nobody && place.compare_exchange_strong(nobody, pthread_self())) {
            return &place;
        }
    }
    return nullptr;
}

bool IsUnguarded() noexcept {
    return std::any_of(g_unguarded.begin(), g_unguarded.end(),
                       [](const std::atomic<pthread_t>& place) { return place.load() == pthread_self(); });
}

// Ignores the signal of a limit that the host has set since the logger last asked for it. While this thread writes no
// line, ends the process, as the signal does by default.
void OnSizeLimit(int signal) {
    if (IsUnguarded()) return;
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(signal, &byDefault, nullptr);
    raise(signal);  // blocked until this handler returns
}

// Handles SIGXFSZ where it would end the process. The library is never unloaded.
// Returns: whether the signal now is handled here or ignored. The host's own handler may do anything.
bool HandleSizeLimit() noexcept {
    struct sigaction now {};
    if (sigaction(SIGXFSZ, nullptr, &now) != 0) return false;
    if (now.sa_handler == SIG_DFL) {
        struct sigaction ours {};
        ours.sa_handler = OnSizeLimit;
        ours.sa_flags = SA_RESTART | SA_ONSTACK;
        sigemptyset(&ours.sa_mask);
        struct sigaction before {};
        sigaction(SIGXFSZ, &ours, &before);
        if (before.sa_handler == SIG_DFL) return true;
        sigaction(SIGXFSZ, &before, nullptr);  // the host was faster
        return false;
    }
    return now.sa_handler == OnSizeLimit || now.sa_handler == SIG_IGN;
}

// The tick of the coarse clock, a few milliseconds long, in which the process had no limit. Zero: ask.
std::atomic<std::int64_t> g_tickWithoutLimit = 0;

// Only the thread that forked is in the child.
void StartInChild() {
    g_tickWithoutLimit = 0;
    for (std::atomic<pthread_t>& place : g_unguarded) place = 0;
}

// Returns: whether the process has a limit on the size of files. The host may change it, so it is asked for again in
// each tick, and by a child that was forked: blocking the signals costs more than asking, and asking for each line would
// take a fifth of the time of writing it.
bool HasSizeLimit() noexcept {
    timespec now{};
    const bool hasClock = clock_gettime(CLOCK_MONOTONIC_COARSE, &now) == 0;
    const std::int64_t tick = now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
    if (hasClock && g_tickWithoutLimit.load(std::memory_order_relaxed) == tick) return false;
    rlimit limit{};
    if (syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY) return true;
    static const bool childrenAsk = pthread_atfork(nullptr, nullptr, StartInChild) == 0;
    if (childrenAsk && HandleSizeLimit()) g_tickWithoutLimit.store(tick, std::memory_order_relaxed);
    return false;
}

// Calls put with signals as the host has them, for a host without a limit. If the host has just set one, and blocks its
// signal, removes the signal.
template <class Call> void WithSignals(Call&& put) noexcept {
    std::atomic<pthread_t>* const place = TakePlace();
    if (place == nullptr) return WithoutSignals(put);
    errno = 0;
    const bool isPut = put();
    place->store(0, std::memory_order_release);
    if (isPut) return;
    g_tickWithoutLimit = 0;
    if (errno != EFBIG) return;
    sigset_t raised;
    sigemptyset(&raised);
    sigaddset(&raised, SIGXFSZ);
    const timespec atOnce{};
    sigtimedwait(&raised, nullptr, &atOnce);
}

}  // namespace

bool WriteLine(std::FILE* stream, const char* line, std::size_t length, bool& endsInPart) noexcept {
    const int file = fileno(stream);
    const std::size_t before = endsInPart ? 1 : 0;
    ssize_t written = 0;
    const auto put = [&]() noexcept {
        if (__fpending(stream) != 0) fflush_unlocked(stream);
        char newline = '\n';
        const std::array<iovec, 2> both{{{&newline, 1}, {const_cast<char*>(line), length}}};
        do written = before == 0 ? write(file, line, length) : writev(file, both.data(), both.size());
        while (written < 0 && errno == EINTR);
        return written == static_cast<ssize_t>(before + length);
    };
    HasSizeLimit() ? WithoutSignals(put) : WithSignals(put);
    if (written <= 0) return false;
    const std::size_t ofLine = static_cast<std::size_t>(written) - before;
    endsInPart = ofLine > 0 && line[ofLine - 1] != '\n';
    return ofLine == length;
}

void PrintLine(const char* line, std::size_t length) noexcept {
    WithoutSignals([&]() noexcept {
        flockfile(stdout);
        if (__fpending(stdout) != 0) fflush_unlocked(stdout);
        // The stream itself would drop the line when a signal interrupts it, and keep the error for the host.
        const bool isPut = PutAll(fileno(stdout), line, length);
        funlockfile(stdout);
        return isPut;
    });
}

}  // namespace ORM_LUX
