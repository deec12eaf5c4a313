// Ticks as calendar time, exactly.
#pragma once

#include <cstdint>
#include <string>

#include "analysis/Word.h"

namespace orm_trace {

// A calendar time in whole microseconds since the beginning of 1970, of the clock that the user has in mind.
struct Microseconds {
    std::int64_t count = 0;
};

// REQUIRES: a date of the Gregorian calendar from year 1 to 9999, and a time of day.
Microseconds FromCalendar(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second,
                          unsigned microsecond) noexcept;

// Returns: the time at these ticks, when zero is the time at 0, rounded down to whole microseconds.
constexpr Microseconds TimeAt(Microseconds zero, std::uint64_t ticks) noexcept {
    return {zero.count + static_cast<std::int64_t>(ticks / kTicksPerMicrosecond)};
}

// Returns: YYYY-MM-DDTHH:MM:SS.ffffff; a year after 9999 has as many digits as it needs.
std::string TimeText(Microseconds time);

}  // namespace orm_trace
