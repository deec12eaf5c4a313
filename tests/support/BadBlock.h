// A file with a place that cannot be read, as on a disk with a bad block.
#pragma once

#include <cerrno>
#include <cstdio>
#include <string>

namespace test {

struct BadBlock {
    std::string bytes;
    std::size_t bad;      // the first of 500 bytes that cannot be read
    int seeks = 1 << 30;  // that succeed
    std::size_t at = 0;

    // Returns: an unbuffered stream over the bytes, without a descriptor. This object outlives it.
    std::FILE* Open() {
        std::FILE* stream = fopencookie(this, "rb", {Read, nullptr, Seek, nullptr});
        std::setvbuf(stream, nullptr, _IONBF, 0);
        return stream;
    }

private:
    static ssize_t Read(void* cookie, char* buffer, std::size_t size) {
        auto& [bytes, bad, seeks, at] = *static_cast<BadBlock*>(cookie);
        if (at >= bad && at < bad + 500) return errno = EIO, -1;
        const std::size_t got = bytes.copy(buffer, at < bad ? std::min(size, bad - at) : size, at);
        at += got;
        return static_cast<ssize_t>(got);
    }
    static int Seek(void* cookie, off64_t* offset, int whence) {
        auto& [bytes, bad, seeks, at] = *static_cast<BadBlock*>(cookie);
        if (seeks-- <= 0) return errno = EIO, -1;
        *offset += static_cast<off64_t>(whence == SEEK_END ? bytes.size() : whence == SEEK_CUR ? at : 0);
        at = static_cast<std::size_t>(*offset);
        return 0;
    }
};

}  // namespace test
