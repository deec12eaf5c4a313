#include "tdf/FileIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "source_utilities/internal/OpenDescriptor.h"

namespace Orm::Lux::Trace {
namespace {

FilePtr Open(const char* path, int flags, const char* mode) noexcept {
    const int descriptor = ORM_LUX::OpenDescriptor(path, flags | O_NONBLOCK);
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

// Units: bytes, of one call. The kernel refuses a read whose buffer would end after the address space, even if the file
// ends long before: a caller may ask for more than its buffer has room for, if it knows that the file has less.
constexpr std::size_t kMaxRead = 1 << 20;

// Calls step, which continues after the bytes that are done, until all are done, the file ends, or it fails.
template <class Step> std::size_t Transfer(std::size_t size, Step step) noexcept {
    std::size_t done = 0;
    const int before = errno;
    while (done < size) {
        const ssize_t got = step(done);
        if (got < 0 && errno == EINTR) {
            errno = before;
            continue;
        }
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

}  // namespace

FilePtr OpenForReading(const char* path) noexcept { return Open(path, O_RDONLY, "rb"); }

FilePtr OpenForUpdate(const char* path) noexcept { return OpenUnbuffered(path, O_RDWR, "r+b"); }

FilePtr OpenEmpty(const char* path) noexcept { return OpenUnbuffered(path, O_WRONLY | O_CREAT | O_TRUNC, "wb"); }

bool CloseChecked(FilePtr stream) noexcept { return std::fclose(stream.release()) == 0; }

std::size_t ReadAt(std::FILE* stream, std::uint64_t offset, void* buffer, std::size_t size) noexcept {
    const int before = errno;
    const int descriptor = fileno_unlocked(stream);
    if (descriptor < 0) {  // a stream over memory, which refuses positions after its end with EINVAL
        errno = before;
        if (fseeko(stream, static_cast<off_t>(offset), SEEK_SET) != 0) {
            if (errno == EINVAL) errno = before;
            return 0;
        }
        return std::fread(buffer, 1, size, stream);
    }
    return Transfer(size, [&](std::size_t done) {
        return pread(descriptor, static_cast<char*>(buffer) + done, std::min(size - done, kMaxRead),
                     static_cast<off_t>(offset + done));
    });
}

std::size_t WriteAt(std::FILE* stream, std::uint64_t offset, const void* data, std::size_t size) noexcept {
    const int descriptor = fileno_unlocked(stream);
    return Transfer(size, [&](std::size_t done) {
        return pwrite(descriptor, static_cast<const char*>(data) + done, size - done,
                      static_cast<off_t>(offset + done));
    });
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
