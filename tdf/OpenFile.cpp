#include "tdf/OpenFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace Orm::Lux::Trace {
namespace {

FilePtr Open(const char* path, int flags, const char* mode) noexcept {
    if (path == nullptr) {
        errno = EFAULT;
        return nullptr;
    }
    const int descriptor = open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    if (descriptor < 0) return nullptr;

    struct stat status {};
    FilePtr stream;
    int error = EISDIR;
    if (fstat(descriptor, &status) != 0) {
        error = errno;
    } else if (!S_ISDIR(status.st_mode)) {
        stream.reset(fdopen(descriptor, mode));
        error = errno;
    }
    if (!stream) {
        close(descriptor);
        errno = error;
    }
    return stream;
}

FilePtr OpenUnbuffered(const char* path, int flags, const char* mode) noexcept {
    FilePtr stream = Open(path, flags, mode);
    if (stream) std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    return stream;
}

}  // namespace

FilePtr OpenForReading(const char* path) noexcept { return Open(path, O_RDONLY, "rb"); }

FilePtr OpenForUpdate(const char* path) noexcept { return OpenUnbuffered(path, O_RDWR, "r+b"); }

FilePtr OpenEmpty(const char* path) noexcept { return OpenUnbuffered(path, O_WRONLY | O_CREAT | O_TRUNC, "wb"); }

bool Close(FilePtr stream) noexcept { return std::fclose(stream.release()) == 0; }

std::size_t ReadAt(std::FILE* stream, void* buffer, std::size_t size, std::uint64_t position) noexcept {
    const int descriptor = fileno(stream);
    if (descriptor < 0) {  // a stream over memory
        if (fseeko(stream, static_cast<off_t>(position), SEEK_SET) != 0) return 0;
        return std::fread(buffer, 1, size, stream);
    }
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got =
            pread(descriptor, static_cast<char*>(buffer) + done, size - done, static_cast<off_t>(position + done));
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

bool MeasureSize(std::FILE* stream, std::uint64_t& size) noexcept {
    struct stat status {};
    if (fstat(fileno(stream), &status) == 0 && S_ISREG(status.st_mode)) {
        size = static_cast<std::uint64_t>(status.st_size);
        return true;
    }
    if (fseeko(stream, 0, SEEK_END) != 0) return false;
    const off_t end = ftello(stream);
    if (end < 0) return false;
    size = static_cast<std::uint64_t>(end);
    return true;
}

}  // namespace Orm::Lux::Trace
