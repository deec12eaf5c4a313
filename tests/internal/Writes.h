// What pwrite does in the tests of this program.
#pragma once

#include <sys/types.h>

#include <vector>

namespace test {

// The next calls, the last one first: how many bytes each writes at most, or the negative number of its error.
extern std::vector<ssize_t> g_writes;

}  // namespace test
