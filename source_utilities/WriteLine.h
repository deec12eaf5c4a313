// How a line gets into a log file. Private to the library.
#pragma once

#include <cstddef>

namespace ORM_LUX {

inline constexpr int kLineBufferSize = 4096;  // no line is longer

// Writes a line at the end of a file: at once, by one system call, so that a process that dies loses none, and lines of
// several processes do not mix. Of a line that does not fit, nothing stays: a later one would be glued to it.
// Returns: whether the line is in the file.
// Errors:  none ends or blocks the process, a full disk and a limit on the size of files included; errno is not kept.
bool WriteLine(int descriptor, const char* line, std::size_t length) noexcept;

}  // namespace ORM_LUX
