// What the system does with reads and writes in tests.
#pragma once

#include <sys/types.h>

#include <vector>

namespace test {

// How much the system reads at most at once. If that is set, every other call is interrupted; if it is negative, all fail.
extern ssize_t g_piece;
// How many reads succeed before all fail; negative: no limit.
extern int g_goodReads;
// The next writes, the last one first: how many bytes each writes at most, or the negative number of its error.
extern std::vector<ssize_t> g_writes;

}  // namespace test
