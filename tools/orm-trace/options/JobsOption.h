// The option that says how many files are worked on at once.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orm-trace/options/NumberOption.h"

namespace orm_trace {

inline void AddJobsOption(CLI::App& app, unsigned& jobs) {
    constexpr unsigned kMaxJobs = 256;
    AddNumberOption(app, "-j,--jobs", jobs, kMaxJobs, "Work on this many files at once (default: 1)")
        ->check(CLI::PositiveNumber);
}

}  // namespace orm_trace
