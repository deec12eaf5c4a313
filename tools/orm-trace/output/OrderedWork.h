// Working on several things at once, with the output of working on one after the other.
#pragma once

#include <cstddef>
#include <functional>

#include "tools/orm-trace/output/Output.h"

namespace orm_trace {

// Calls work(n, part) for each n below count, in up to jobs threads at once. What is written to the part, and what work
// reports, comes out in the order of n. A short output is held until its turn, and its thread goes on with other work, but
// not far ahead. A long one is written as soon as its turn has come, and its thread waits until then, so that memory use does
// not depend on its length.
//
// Errors: the first one that work or out throws. No further work is begun then.
void WorkInOrder(Output& out, std::size_t count, unsigned jobs,
                 const std::function<void(std::size_t n, Output& part)>& work);

}  // namespace orm_trace
