// Writing a line to a log file, and to standard output. Private to the library.
//
// Neither call ends the process: the signals for a file-size limit (SIGXFSZ) and for a pipe without a reader (SIGPIPE)
// do not reach the host; one that was pending before stays pending. WriteLine asks for the limit once in a few
// milliseconds; if the host sets a limit in between, a SIGXFSZ that was pending before may be lost. In a process without a
// limit WriteLine handles SIGXFSZ where it would end the process: it still does, unless the thread is in WriteLine. errno
// is not kept.
#pragma once

#include <cstddef>
#include <cstdio>

namespace ORM_LUX {

inline constexpr int kLineBufferSize = 4096;  // no line is longer

// Writes a line, newline included, to the end of a file that is opened for appending: at once, by one system call, so
// that a process that dies loses no line, and lines of several processes do not mix. Data in the stream's buffer is
// written first. Nothing is ever removed from the file, because other processes write to it as well. If only part of a
// line could be written, it stays. It is not continued later, because a line of another process may follow it; instead
// endsInPart is set, and then the next line begins with a newline.
// Returns: whether the complete line is in the file.
bool WriteLine(std::FILE* stream, const char* line, std::size_t length, bool& endsInPart) noexcept;

// Prints a line on standard output, after what its stream holds. A full pipe blocks. The stream keeps no error of the line.
void PrintLine(const char* line, std::size_t length) noexcept;

}  // namespace ORM_LUX
