// Opening, reading, writing and closing trace and TDF files. Private to the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace Orm::Lux::Trace {

struct FileCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// Opens an existing file for reading. A directory cannot be opened. A FIFO or a device never blocks here; the later
// seek or read fails. Descriptors come from OpenDescriptor, with its guarantees.
// Returns: null, with errno set, when path is null or cannot be opened.
FilePtr OpenForReading(const char* path) noexcept;

// The same for changing an existing file in place, and for creating or emptying a file. Nothing is buffered: every
// write goes straight to the kernel, and reports its own failure.
FilePtr OpenForUpdate(const char* path) noexcept;
FilePtr OpenEmpty(const char* path) noexcept;

// Closes a file that was written to. Returns: false if the system reports only now that a write has failed.
bool CloseChecked(FilePtr stream) noexcept;

// Reads up to size bytes at an offset of an open file, wherever the stream stands; where it stands afterwards is
// unspecified. An interrupted call is made again.
// Returns: the bytes read: fewer than size at the end of the file, with errno unchanged, or if reading fails, with
//          errno set.
std::size_t ReadAt(std::FILE* stream, std::uint64_t offset, void* buffer, std::size_t size) noexcept;

// Writes size bytes at an offset of an open file, wherever the stream stands. REQUIRES: the stream is not buffered.
// Returns: the bytes written; fewer than size, with errno set, if writing fails.
std::size_t WriteAt(std::FILE* stream, std::uint64_t offset, const void* data, std::size_t size) noexcept;

// Stores the size of an open file in bytes; where the stream stands afterwards is unspecified.
// Returns: false for a stream that cannot seek and so has no size.
bool MeasureSize(std::FILE* stream, std::uint64_t& size) noexcept;

}  // namespace Orm::Lux::Trace
