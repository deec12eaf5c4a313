#include "source_utilities/internal/OpenDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace ORM_LUX {
namespace {

// Returns: whether opening path again can succeed once its lease is broken. Devices may refuse with the same error.
bool HasLease(const char* path) noexcept {
    struct stat status {};
    return errno == EWOULDBLOCK && stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

// Returns: the descriptor, or, for one of the standard streams' numbers, a copy with a greater number in its place.
int AboveStandardStreams(int descriptor) noexcept {
    if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return moved;
}

}  // namespace

int OpenDescriptor(const char* path, int flags, mode_t mode) noexcept {
    constexpr timespec kPause{0, 1'000'000};
    if (path == nullptr) {
        errno = EFAULT;
        return -1;
    }
    for (;;) {
        const int descriptor = open(path, flags | O_CLOEXEC | O_NOCTTY, mode);
        if (descriptor >= 0) return AboveStandardStreams(descriptor);
        if (errno == EINTR) continue;
        const int error = errno;
        if ((flags & O_NONBLOCK) == 0 || !HasLease(path)) {
            errno = error;
            return -1;
        }
        nanosleep(&kPause, nullptr);
    }
}

// Uses fopen() itself: fdopen() knows fewer modes, and runs out of memory only after the file has been emptied.
std::FILE* OpenStream(const char* path, const char* mode) noexcept {
    // fopen() looks at only six characters after the first. To make room for 'e', each one that it knows is written
    // once.
    std::array<char, 64> closeOnExec{*mode, 'e'};
    std::size_t size = 2;
    for (const char letter : std::string_view(mode, strnlen(mode, 7))) {
        if (std::strchr("+xmc", letter) != nullptr && std::strchr(closeOnExec.data(), letter) == nullptr) {
            closeOnExec[size++] = letter;
        }
    }
    if (const char* characterSet = std::strstr(mode, ",ccs=")) {
        std::snprintf(closeOnExec.data() + size, closeOnExec.size() - size, "%s", characterSet);
    }
    std::FILE* stream = nullptr;
    do stream = std::fopen(path, closeOnExec.data());
    while (stream == nullptr && errno == EINTR);
    if (stream == nullptr || fileno(stream) > STDERR_FILENO) return stream;
    // Only this field of the stream depends on the number.
    stream->_fileno = AboveStandardStreams(fileno(stream));
    if (stream->_fileno >= 0) return stream;
    const int error = errno;
    std::fclose(stream);
    errno = error;
    return nullptr;
}

}  // namespace ORM_LUX
