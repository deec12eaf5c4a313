// Questions about words, answered by analysis/, as functions of Python.
#pragma once

#include <pybind11/numpy.h>

#include <cstdint>

#include "python/core/WordSource.h"

namespace orm_trace {

// All of them release Python's lock while they work. Errors: those of WordSource::ForEachPart; std::bad_alloc.

// Returns: the numbers of the words that equal value in the bits of the mask.
pybind11::array_t<std::uint64_t> Find(const WordSource& words, std::uint64_t value, std::uint64_t mask);

// Returns: for each word whether it is a time stamp.
pybind11::array_t<bool> IsStampOf(const WordSource& words);

// Returns: for each word its ticks, or the other value where it is not a time stamp.
pybind11::array_t<std::uint64_t> Ticks(const WordSource& words, std::uint64_t reference, std::uint64_t other);

// Returns: for each word its time in microseconds, rounded down, or the least number where it is not a time stamp. zero: the
//          time at 0 ticks, in microseconds.
pybind11::array_t<std::int64_t> Times(const WordSource& words, std::int64_t zero, std::uint64_t reference);

// Returns: what orm-trace stats says, as a dictionary of its JSON's members. gap: ticks. limit: steps of each kind to list.
pybind11::dict Stats(const WordSource& words, std::uint64_t reference, std::uint64_t gap, std::size_t limit);

// Returns: for a picture of so many columns, a dictionary: edges (numbers of words, one more than columns), types
//          (columns x 256 counts), stamps, least and greatest (of the stamps in each column, in ticks), and the steps of
//          all words, gaps and steps_back, as in Stats.
pybind11::dict Columns(const WordSource& words, std::uint64_t columns, std::uint64_t reference, std::uint64_t gap,
                       std::size_t limit);

}  // namespace orm_trace
