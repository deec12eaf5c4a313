#include "source_utilities/internal/WriteLine.h"

#include <signal.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>

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

// The limit is read each time, because the host may change it, by the cheapest call available. Signals are blocked only
// if a limit is set: blocking costs more than reading the limit.
bool HasSizeLimit() noexcept {
    rlimit limit{};
    return syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY;
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
    HasSizeLimit() ? WithoutSignals(put) : static_cast<void>(put());
    if (written <= 0) return false;
    const std::size_t ofLine = static_cast<std::size_t>(written) - before;
    endsInPart = ofLine > 0 && line[ofLine - 1] != '\n';
    return ofLine == length;
}

void PrintLine(const char* line) noexcept {
    WithoutSignals([line]() noexcept {
        const bool isPut = std::fputs(line, stdout) >= 0;
        return std::fflush(stdout) == 0 && isPut;
    });
}

}  // namespace ORM_LUX
