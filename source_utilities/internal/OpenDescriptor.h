// The one place where the library opens descriptors. Private to the library.
#pragma once

#include <sys/types.h>

#include <cstdio>

namespace ORM_LUX {

// Opens path as open() does with these flags; mode counts where a file is created.
//
// The descriptor is close-on-exec, since the library lives in somebody else's process and must not leave descriptors to
// programs that are started there. It is never 0, 1 or 2: where the host has closed a standard stream, its output must
// not reach a trace file. A terminal does not become the controlling one.
//
// An interrupted call is made again. With O_NONBLOCK, a regular file that another process has a lease on is waited for,
// as without that flag; the kernel limits how long a lease lasts after somebody asked for the file.
//
// Returns: the descriptor, which the caller owns; -1 with errno set when the file cannot be opened, or path is null.
int OpenDescriptor(const char* path, int flags, mode_t mode = 0666) noexcept;

// Opens path as fopen() does with this mode, whatever the C library knows in it, and waits for what fopen() waits for:
// a lease, the other end of a FIFO. The stream's descriptor is as above: close-on-exec, and never 0, 1 or 2; an
// interrupted call is made again.
// Returns:  the stream, which the caller owns; null with errno set when the file cannot be opened.
// REQUIRES: path is not null, mode is not empty.
std::FILE* OpenStream(const char* path, const char* mode) noexcept;

}  // namespace ORM_LUX
