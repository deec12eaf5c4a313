// How a line gets into a log file, and to standard output. Private to the library.
//
// Neither call ends the process: the signals of a limit on the size of files and of a pipe that nobody reads do not
// reach the host, and one that waited before goes on waiting. errno is not kept.
#pragma once

#include <cstddef>
#include <cstdio>

namespace ORM_LUX {

inline constexpr int kLineBufferSize = 4096;  // no line is longer

// Writes a line, newline included, to the end of a file that is opened for appending: at once, by one system call, so
// that a process that dies loses none, and lines of several processes do not mix. What the stream holds back goes
// first. Nothing is ever taken out of the file, which others write to as well. Of a line that does not fit, a part may
// stay; it is not continued later, since a line of somebody else may stand between, but ended: endsInPart notes that
// what was written last lacks its end, and then the next line begins with a newline.
// Returns: whether the line is in the file, whole.
bool WriteLine(std::FILE* stream, const char* line, std::size_t length, bool& endsInPart) noexcept;

// Prints a line on standard output. A pipe that is full blocks.
void PrintLine(const char* line) noexcept;

}  // namespace ORM_LUX
