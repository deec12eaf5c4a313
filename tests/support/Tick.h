// The coarse clock, by which the log asks for the limit on the size of files.
#pragma once

#include <ctime>

namespace test {

// Waits until it ticks: what follows has a whole tick, of a few milliseconds.
inline void AwaitTick() {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        return time.tv_nsec;
    };
    for (const long before = now(); now() == before;) continue;
}

}  // namespace test
