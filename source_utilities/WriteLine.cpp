#include "source_utilities/WriteLine.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace ORM_LUX {
namespace {

// Writes as write() does, except that the signal for a file that would outgrow the limit on its size, which by default
// ends the process, is neither delivered nor left pending. The limit is asked for anew each time, by the cheapest call
// there is: the host may change it. Only where there is one is the signal held back, which costs more than the asking.
ssize_t WriteUnsignalled(int descriptor, const char* data, std::size_t size) {
    rlimit limit{};
    if (syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY) {
        return write(descriptor, data, size);
    }
    sigset_t signal, before;
    sigemptyset(&signal);
    sigaddset(&signal, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal, &before);
    const ssize_t written = write(descriptor, data, size);
    const int error = errno;
    const timespec atOnce{};
    if (written < 0 && error == EFBIG) sigtimedwait(&signal, nullptr, &atOnce);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return written;
}

}  // namespace

bool WriteLine(int descriptor, const char* line, std::size_t length) noexcept {
    std::size_t written = 0;
    while (written < length) {
        const ssize_t step = WriteUnsignalled(descriptor, line + written, length - written);
        if (step > 0) written += static_cast<std::size_t>(step);
        if (step == 0 || (step < 0 && errno != EINTR)) break;
    }
    if (written == length) return true;
    struct stat status {};
    std::array<char, kLineBufferSize> end{};
    const auto part = static_cast<off_t>(written);
    const bool isLast = written > 0 && written <= end.size() && fstat(descriptor, &status) == 0 &&
                        pread(descriptor, end.data(), written, status.st_size - part) == part &&
                        std::memcmp(end.data(), line, written) == 0;
    if (isLast && ftruncate(descriptor, status.st_size - part) == 0) lseek(descriptor, 0, SEEK_END);
    return false;
}

}  // namespace ORM_LUX
