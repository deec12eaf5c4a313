// The one place where the library opens descriptors. Private to the library.
#pragma once

#include <sys/types.h>

#include <cstdio>

namespace ORM_LUX {

// Opens path as open() does with these flags; mode is used only if a file is created.
//
// The descriptor is close-on-exec, because the library runs in the host's process and must not leak descriptors into
// programs that the host starts. It is never 0, 1 or 2: if the host has closed a standard stream, its output must not
// end up in a trace file. A terminal does not become the controlling one.
//
// An interrupted call is made again. With O_NONBLOCK, the call still waits for a regular file on which another process
// has a lease, as it does without that flag; the kernel limits how long a lease lasts once the file is asked for.
//
// Returns: the descriptor, which the caller owns; -1 with errno set when the file cannot be opened, or path is null.
int OpenDescriptor(const char* path, int flags, mode_t mode = 0666) noexcept;

// Opens path as fopen() does with this mode, extensions of the C library included, and waits for what fopen() waits
// for: a lease, the other end of a FIFO. The stream's descriptor is as above: close-on-exec, and never 0, 1 or 2; an
// interrupted call is made again.
// Returns:  the stream, which the caller owns; null with errno set when the file cannot be opened.
// REQUIRES: path is not null, mode is not empty.
std::FILE* OpenStream(const char* path, const char* mode) noexcept;

}  // namespace ORM_LUX
